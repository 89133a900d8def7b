#include "connmanfixture.h"

#include <thread>

namespace zq::Test
{
namespace
{

const std::string kPath     = "/net/connman/service/a";
const std::string kCanceled = "net.connman.Agent.Error.Canceled";

std::string RequestFor(const std::string &aPath)
{
    return "(objectpath '" + aPath +
           "', {'Passphrase': <{'Type': <'psk'>, 'Requirement': <'mandatory'>, 'Alternates': <['WPS']>}>})";
}

class AgentTest : public ConnManTest
{
protected:
    void Begin()
    {
        AddService("a");
        AddService("b");
        Start();
        Take();
        mLog.Clear();
    }

    /** Let the daemon ask, until the delegate has the request. */
    std::uint32_t Ask(const std::string &aPath = kPath)
    {
        const std::size_t   lCount  = mDelegate.Count("ServiceRequestInput");
        const std::uint32_t lTicket = mFake.CallAgent("RequestInput", RequestFor(aPath));

        EXPECT_NE(lTicket, 0u);
        EXPECT_TRUE(PumpUntil([&] { return mDelegate.Count("ServiceRequestInput") == lCount + 1; }));
        return lTicket;
    }

    /** The error's name, or the body of a return. */
    std::string Reply(std::uint32_t aTicket)
    {
        FakePeer::Reply lReply;

        EXPECT_TRUE(PumpUntil([&] { return mFake.GetReply(aTicket, lReply); }));
        return lReply.mErrorName.empty() ? lReply.mBody : lReply.mErrorName;
    }

    bool HasReply(std::uint32_t aTicket)
    {
        FakePeer::Reply lReply;

        Settle();
        mFake.Flush();
        return mFake.GetReply(aTicket, lReply);
    }
};

TEST_F(AgentTest, ARequestIsHeldUntilItIsAnswered)
{
    const auto lValues = MakeDictionary({ { "Passphrase", "topsecret" } });

    Begin();

    const std::uint32_t lTicket = Ask();

    EXPECT_EQ(mDelegate.mEvents, Events{ "ServiceRequestInput " + kPath +
                                         " {Passphrase: {Type: psk, Requirement: mandatory, Alternates: [WPS]}}" });
    EXPECT_FALSE(HasReply(lTicket));

    // Neither of these answers it.
    EXPECT_EQ(mConnMan.ServiceCompleteInput(Path("b").c_str(), lValues.Get()), zqError_NotFound);
    EXPECT_TRUE(mLog.Contains("ASSERT: connman: mInput.Matches(aPath)", 4));
    EXPECT_EQ(mConnMan.ServiceCancelInput(Path("b").c_str()), 0);
    EXPECT_EQ(mConnMan.ServiceCompleteInput(nullptr, lValues.Get()), zqError_InvalidArgument);
    EXPECT_EQ(mConnMan.ServiceCompleteInput(kPath.c_str(), nullptr), zqError_InvalidArgument);
    const auto lUnsupported = MakeDictionary({});
    CFDictionarySetValue(lUnsupported.Get(), CFSTR("SSID"), CFUAdopt(CFDataCreate(nullptr, nullptr, 0)).Get());
    EXPECT_EQ(mConnMan.ServiceCompleteInput(kPath.c_str(), lUnsupported.Get()), zqError_InvalidArgument);
    EXPECT_FALSE(HasReply(lTicket));

    EXPECT_EQ(mConnMan.ServiceCompleteInput(kPath.c_str(), lValues.Get()), 0);
    EXPECT_EQ(Reply(lTicket), "({'Passphrase': <'topsecret'>},)");

    // Once answered there is nothing to answer.
    EXPECT_EQ(mConnMan.ServiceCompleteInput(kPath.c_str(), lValues.Get()), zqError_WrongState);
    EXPECT_TRUE(mLog.Contains("ASSERT: connman: mInput.IsPending()", 4));
    EXPECT_EQ(mConnMan.ServiceCancelInput(kPath.c_str()), 0);
    EXPECT_FALSE(mLog.Contains("topsecret"));
}

TEST_F(AgentTest, ARefusedRequestIsCanceled)
{
    Begin();

    const std::uint32_t lTicket = Ask();
    FakePeer::Reply     lReply;

    EXPECT_EQ(mConnMan.ServiceCancelInput(kPath.c_str()), 0);
    EXPECT_EQ(Reply(lTicket), kCanceled);
    ASSERT_TRUE(mFake.GetReply(lTicket, lReply));
    EXPECT_EQ(lReply.mBody, "('Operation canceled',)");
}

TEST_F(AgentTest, TheSecondRequestCancelsTheFirst)
{
    Begin();

    const std::uint32_t lFirst  = Ask();
    const std::uint32_t lSecond = Ask(Path("b"));

    EXPECT_EQ(Reply(lFirst), kCanceled);
    EXPECT_EQ(mConnMan.ServiceCompleteInput(kPath.c_str(), MakeDictionary({}).Get()), zqError_NotFound);
    EXPECT_EQ(mConnMan.ServiceCompleteInput(Path("b").c_str(), MakeDictionary({}).Get()), 0);
    EXPECT_EQ(Reply(lSecond), "(@a{sv} {},)");
}

TEST_F(AgentTest, TheDelegateMayAnswerInItsCallback)
{
    static const struct
    {
        bool        mAnswers;
        zqError     mResult;
        const char *mReply;
    } sCases[] = {
        { true, 0, "(@a{sv} {},)" },
        { true, -5, "(@a{sv} {},)" },
        { false, -5, "net.connman.Agent.Error.Canceled" },
    };

    Begin();
    for (const auto &lCase : sCases)
    {
        mDelegate.mOnInput = [&]
        {
            if (lCase.mAnswers)
            {
                EXPECT_EQ(mConnMan.ServiceCompleteInput(kPath.c_str(), MakeDictionary({}).Get()), 0);
            }
            return lCase.mResult;
        };
        EXPECT_EQ(Reply(Ask()), lCase.mReply);
        EXPECT_EQ(mConnMan.ServiceCompleteInput(kPath.c_str(), MakeDictionary({}).Get()), zqError_WrongState);
    }
}

TEST_F(AgentTest, RequestsThatAreNoneAreCanceledAtOnce)
{
    static const struct
    {
        const char *mBody;
        const char *mAssertion;
    } sCases[] = {
        { "", "numValues == 2" },
        { "(objectpath '/net/connman/service/a',)", "numValues == 2" },
        { "(objectpath '/net/connman/service/a', @a{sv} {}, 'more')", "numValues == 2" },
        { "(@a{sv} {}, objectpath '/net/connman/service/a')", "CFUIsTypeID(path, CFStringGetTypeID())" },
        { "(objectpath '/net/connman/service/a', 'text')", "CFUIsTypeID(properties, CFDictionaryGetTypeID())" },
        { "(objectpath '/net/connman/service/a', {'Field': <uint64 1>})", "" },
    };

    Begin();
    for (const auto &lCase : sCases)
    {
        mLog.Clear();
        EXPECT_EQ(Reply(mFake.CallAgent("RequestInput", lCase.mBody)), kCanceled) << lCase.mBody;
        EXPECT_TRUE(mLog.Contains(lCase.mAssertion, 4)) << lCase.mBody << mLog.GetText();
    }
    EXPECT_EQ(mDelegate.mEvents, Events());
    EXPECT_EQ(mConnMan.ServiceCompleteInput(kPath.c_str(), MakeDictionary({}).Get()), zqError_WrongState);
}

TEST_F(AgentTest, TheDaemonWithdrawsARequest)
{
    Begin();

    const std::uint32_t lTicket = Ask();

    EXPECT_EQ(Reply(mFake.CallAgent("Cancel", "")), "()");
    EXPECT_EQ(mConnMan.ServiceCompleteInput(kPath.c_str(), MakeDictionary({}).Get()), zqError_WrongState);
    EXPECT_FALSE(HasReply(lTicket));
}

TEST_F(AgentTest, AHeldRequestIsDroppedWithTheDaemonAndCanceledWithTheDelegate)
{
    Begin();
    (void)Ask();
    mFake.Crash();
    ASSERT_TRUE(PumpUntil([this] { return !mConnMan.IsAvailable(); }));
    EXPECT_EQ(mConnMan.ServiceCompleteInput(kPath.c_str(), MakeDictionary({}).Get()), zqError_WrongState);

    ASSERT_TRUE(mFake.Appear());
    ASSERT_TRUE(PumpUntil([this] { return mConnMan.IsAvailable(); }));
    Settle();

    const std::uint32_t lTicket = Ask();

    mConnMan.SetDelegate(nullptr);
    EXPECT_EQ(Reply(lTicket), kCanceled);

    mConnMan.SetDelegate(&mDelegate);
    const std::uint32_t lLast = Ask();

    mConnMan.Destroy();
    FakePeer::Reply lReply;
    EXPECT_TRUE(mFake.WaitForReply(lLast, lReply));
    EXPECT_EQ(lReply.mErrorName, kCanceled);
}

TEST_F(AgentTest, ReportedErrorsReachTheDelegateForKnownServicesOnly)
{
    Begin();
    EXPECT_EQ(Reply(mFake.CallAgent("ReportError", "(objectpath '" + kPath + "', 'invalid-key')")), "()");
    EXPECT_EQ(Reply(mFake.CallAgent("ReportError", "(objectpath '/unknown', 'invalid-key')")),
              "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(Reply(mFake.CallAgent("ReportError", "('text',)")), "org.freedesktop.DBus.Error.UnknownMethod");

    EXPECT_EQ(mDelegate.mEvents, Events{ "ServiceReportError " + kPath + " invalid-key" });
    EXPECT_TRUE(mLog.Contains("connman: service (" + kPath + ") reported error (invalid-key)", 4));
    EXPECT_TRUE(mLog.Contains("connman: failed to find service /unknown for service error"));
}

TEST_F(AgentTest, NobodyButTheDaemonMayCallTheAgent)
{
    Begin();

    const std::string   lOwn  = dbus_bus_get_unique_name(mBus->GetConnection());
    const std::uint32_t lHeld = Ask();

    for (const char *lMethod : { "RequestInput", "ReportError", "Release", "Cancel" })
    {
        const std::string lBody = std::string(lMethod) == "RequestInput" ? RequestFor(Path("b"))
                                  : std::string(lMethod) == "ReportError"
                                      ? "(objectpath '" + kPath + "', 'invalid-key')"
                                      : "";

        EXPECT_EQ(Reply(mFake.CallForged(lOwn, "/com/corvanix/client", FakeConnMan::kAgent, lMethod, lBody)),
                  "org.freedesktop.DBus.Error.AccessDenied")
            << lMethod;
    }
    EXPECT_EQ(mDelegate.Count("ServiceRequestInput"), 1u);
    EXPECT_EQ(mDelegate.Count("ServiceReportError"), 0u);
    EXPECT_TRUE(mConnMan.IsAvailable());
    EXPECT_EQ(mConnMan.ServiceCompleteInput(kPath.c_str(), MakeDictionary({}).Get()), 0);
    EXPECT_EQ(Reply(lHeld), "(@a{sv} {},)");
}

TEST_F(AgentTest, AnAnswerMayComeFromAnotherThread)
{
    Begin();
    for (int lCount = 0; lCount < 50; ++lCount)
    {
        const std::uint32_t lTicket = Ask();
        zqError             lFirst  = 1;
        std::thread   lThread([&] { lFirst = mConnMan.ServiceCompleteInput(kPath.c_str(), MakeDictionary({}).Get()); });
        const zqError lSecond = mConnMan.ServiceCompleteInput(kPath.c_str(), MakeDictionary({}).Get());

        lThread.join();

        // Exactly one of the two was the answer.
        EXPECT_EQ((lFirst == 0) + (lSecond == 0), 1);
        EXPECT_EQ(Reply(lTicket), "(@a{sv} {},)");
    }
}

} // namespace
} // namespace zq::Test
