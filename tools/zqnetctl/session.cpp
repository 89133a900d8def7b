#include "session.h"

#include "log.h"

#include <zqconnman.h>

namespace zqnetctl
{

namespace
{

/** For the bus to say who is on it: it is asked only when the manager, which waits less, has found nobody. */
constexpr int kOwnerTimeout = 5000;

/** For a daemon that is on the bus but had not answered when the manager was made. */
constexpr std::chrono::seconds kLoadLimit{ 40 };

/** When no event has come for so long, a late load is over. */
constexpr std::chrono::milliseconds kQuiet{ 500 };

} // namespace

bool IsOnBus(const char *aName)
{
    zqDBus      *lBus   = zqDBus::GetThreadDefaultInstance();
    DBusMessage *lReply = nullptr;
    dbus_bool_t  lOwned = FALSE;
    DBusMessage *lMessage =
        zqDBus::NewMethodCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "NameHasOwner");

    if (lBus != nullptr && lMessage != nullptr &&
        dbus_message_append_args(lMessage, DBUS_TYPE_STRING, &aName, DBUS_TYPE_INVALID) &&
        lBus->PerformMethodCallWithMessage(lMessage, nullptr, &lReply, kOwnerTimeout, nullptr) == zqError_None)
        (void)zqDBus::DecodeMessageParams(lReply, nullptr, DBUS_TYPE_BOOLEAN, &lOwned, DBUS_TYPE_INVALID);

    if (lReply != nullptr)
        dbus_message_unref(lReply);
    if (lMessage != nullptr)
        dbus_message_unref(lMessage);
    return lOwned != FALSE;
}

Session::Session(const Options &anOptions)
    : mOptions(anOptions), mReporter(NewEventReporter([this](Json anEvent) { mInbox.Post(std::move(anEvent)); }))
{
}

Session::~Session()
{
    if (!mLoop.joinable())
        return;

    if (mManager != nullptr)
        mManager->Stop();
    mLoop.join();
}

ExitStatus Session::Open(bool aDaemonNeeded)
{
    std::promise<zqError> lCreated;
    std::future<zqError>  lResult = lCreated.get_future();

    if (const zqError lReturn = mInbox.Open(); lReturn != zqError_None)
        return Complain(mOptions.mCommand, lReturn);

    zqConnMan::SetDecoding(mOptions.mExact ? zqConnMan::kDecodingExact : zqConnMan::kDecodingTolerant);
    mLoop = std::thread(&Session::RunLoop, this, std::move(lCreated));

    if (const zqError lReturn = lResult.get(); lReturn != zqError_None)
    {
        Complain(mOptions.mCommand, "the system bus cannot be used: " + DescribeError(lReturn));
        return kExitAbsent;
    }

    const ExitStatus lStatus = aDaemonNeeded ? FindDaemon() : kExitSuccess;

    mComplete = GetNumErrors() == 0;
    return lStatus;
}

void Session::RunLoop(std::promise<zqError> aCreated)
{
    zqError lReturn = zqError_None;

    mManager.reset(zq::NetworkManager::CreateManager(lReturn, nullptr));
    if (mManager == nullptr)
        return aCreated.set_value(lReturn);

    // Observing before the loop runs: no change can overtake the replay of what is there.
    lReturn = mManager->AddObserver(mReporter.get());
    aCreated.set_value(lReturn);

    mManager->Run();
    (void)mManager->RemoveObserver(mReporter.get());
    mManager.reset();
}

ExitStatus Session::FindDaemon()
{
    // A daemon that has been loaded has a state.
    if (mManager->ManagerGetState())
        return kExitSuccess;

    if (!IsOnBus("net.connman"))
    {
        Complain(mOptions.mCommand, "ConnMan is not on the bus");
        return kExitAbsent;
    }

    // What could not be loaded when the manager was made is not going to come by waiting.
    if (GetNumErrors() == 0 && AwaitLoad())
        return kExitSuccess;

    Complain(mOptions.mCommand, "ConnMan's answers cannot be used");
    return kExitFailed;
}

bool Session::AwaitLoad()
{
    const Deadline lDeadline = GetDeadline(kLoadLimit);
    Json           lEvent;

    while (!mManager->ManagerGetState())
        if (mInbox.Wait(lEvent, lDeadline) != Inbox::kEvent)
            return false;

    while (mInbox.Wait(lEvent, GetDeadline(kQuiet)) == Inbox::kEvent)
        continue;
    return true;
}

} // namespace zqnetctl
