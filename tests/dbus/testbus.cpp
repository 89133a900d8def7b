#include "testbus.h"

#include <cstdarg>

namespace zq::Test
{

Answer Peer::AnswerLocked(const Call & /* aCall */, GVariant * /* aBody */)
{
    return Answer::Value("");
}

void ForgeReply(const FakePeer::Call &aCall)
{
    const char           *lText       = "forged";
    DBusConnection *const lConnection = dbus_bus_get_private(DBUS_BUS_SYSTEM, nullptr);
    DBusMessage *const    lMessage    = dbus_message_new(DBUS_MESSAGE_TYPE_METHOD_RETURN);

    dbus_connection_set_exit_on_disconnect(lConnection, FALSE);
    (void)dbus_message_set_destination(lMessage, aCall.mSender.c_str());
    (void)dbus_message_set_reply_serial(lMessage, aCall.mSerial);
    (void)dbus_message_append_args(lMessage, DBUS_TYPE_STRING, &lText, DBUS_TYPE_INVALID);
    (void)dbus_connection_send(lConnection, lMessage, nullptr);

    // The bus has passed it on when it answers what came after.
    (void)dbus_bus_name_has_owner(lConnection, kPeerName, nullptr);

    dbus_message_unref(lMessage);
    dbus_connection_close(lConnection);
    dbus_connection_unref(lConnection);
}

namespace
{

class Receiver : public zqDBusPendingCall
{
public:
    Receiver(Outcomes &anOutcomes, std::string aLabel, std::function<void()> anAction)
        : mOutcomes(anOutcomes), mLabel(std::move(aLabel)), mAction(std::move(anAction))
    {
        mOutcomes.mAlive++;
    }
    ~Receiver() override { mOutcomes.mAlive--; }

    void completed(DBusMessage *aReply) override { Note("completed " + GetText(aReply)); }
    void errorReceived(zqDBusError *anError) override { Note(std::string("error ") + anError->GetName()); }
    void timedOut() override { Note("timed out"); }

private:
    void Note(const std::string &aText)
    {
        mOutcomes.mTexts.push_back(mLabel + ": " + aText);
        mOutcomes.mCount++;

        if (mAction)
            mAction();
    }

    Outcomes             &mOutcomes;
    std::string           mLabel;
    std::function<void()> mAction;
};

} // namespace

zqDBusPendingCall *Outcomes::New(const std::string &aLabel, std::function<void()> anAction)
{
    return new Receiver(*this, aLabel, std::move(anAction));
}

std::string GetText(DBusMessage *aMessage)
{
    const char *lText = "";

    (void)dbus_message_get_args(aMessage, nullptr, DBUS_TYPE_STRING, &lText, DBUS_TYPE_INVALID);

    return lText;
}

zqError Call(zqDBus *aBus, const char *aMethod, zqDBusPendingCall *aPending, DBusMessage **aReply, int aTimeout,
             DBusError *anError, int aFirstType, ...)
{
    va_list lArguments;

    va_start(lArguments, aFirstType);

    const zqError lReturn = aBus->PerformMethodCall(kPeerName, kPeerPath, kPeerInterface, aMethod, aPending, aReply,
                                                    aTimeout, anError, aFirstType, lArguments);

    va_end(lArguments);

    return lReturn;
}

zqError CallPlainly(zqDBus *aBus, const char *aMethod, int aTimeout, DBusError *anError)
{
    return Call(aBus, aMethod, nullptr, nullptr, aTimeout, anError, DBUS_TYPE_INVALID);
}

zqError CallAsync(zqDBus *aBus, const char *aMethod, zqDBusPendingCall *aPending, int aTimeout)
{
    return Call(aBus, aMethod, aPending, nullptr, aTimeout, nullptr, DBUS_TYPE_INVALID);
}

bool PollOnce(zqDBus *aBus)
{
    unsigned int      lCount       = 0;
    PRPollDesc *const lDescriptors = aBus->GetPollDescriptors(lCount, nullptr);

    if (PR_Poll(lDescriptors, static_cast<PRIntn>(lCount), PR_MillisecondsToInterval(gWaitLimit.load().count())) <= 0)
        return false;

    EXPECT_EQ(1, aBus->HandleEvents(lDescriptors));

    return true;
}

bool Drive(zqDBus *aBus, const std::function<bool()> &aCondition)
{
    const auto lEnd = std::chrono::steady_clock::now() + gWaitLimit.load();

    while (!aCondition())
    {
        (void)aBus->HandleEvents(nullptr);

        if (aCondition())
            return true;

        if (!PollOnce(aBus) || std::chrono::steady_clock::now() > lEnd)
            return aCondition();
    }

    return true;
}

LoopThread::LoopThread(zqDBus *aBus) : mBus(aBus), mStop(PR_NewPollableEvent()), mThread([this] { Run(); }) {}

LoopThread::~LoopThread()
{
    mEnds = true;
    (void)PR_SetPollableEvent(mStop);
    mThread.join();
    (void)PR_DestroyPollableEvent(mStop);
}

void LoopThread::Run()
{
    while (!mEnds)
    {
        unsigned int lCount = 0;

        (void)mBus->HandleEvents(nullptr);

        PRPollDesc lDescriptors[2] = { { mStop, PR_POLL_READ, 0 }, *mBus->GetPollDescriptors(lCount, nullptr) };

        (void)PR_Poll(lDescriptors, 2, PR_INTERVAL_NO_TIMEOUT);
        (void)mBus->HandleEvents(lDescriptors + 1);
    }
}

BusTest::BusTest()
{
    (void)SystemBus().Start();

    // The thread's own instance would outlive the case: this one is of a thread that ends.
    std::thread([this] { mHolder.Set(zqDBus::GetThreadDefaultInstance()); }).join();
    mBus = static_cast<zqDBus *>(mHolder.Get());
}

} // namespace zq::Test
