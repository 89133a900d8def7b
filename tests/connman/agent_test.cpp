#include "connmanfixture.h"

#include <thread>

using namespace zq::Test;

namespace
{

const std::string kCanceled = "net.connman.Agent.Error.Canceled";
const std::string kUnknown  = "org.freedesktop.DBus.Error.UnknownMethod";

std::string RequestFor(const std::string &aPath)
{
    return "(objectpath '" + aPath +
           "', {'Passphrase': <{'Type': <'psk'>, 'Requirement': <'mandatory'>, 'Alternates': <['WPS']>}>})";
}

class AgentTest : public ConnManTest
{
protected:
    AgentTest()
    {
        AddService("a");
        AddService("b");
        Start();
    }

    /** Let the daemon ask, until the delegate has the request. */
    std::uint32_t Ask(const std::string &aPath = Path("a"))
    {
        const std::size_t   lCount  = mDelegate.Count("ServiceRequestInput");
        const std::uint32_t lTicket = mFake.CallAgent("RequestInput", RequestFor(aPath));

        EXPECT_NE(lTicket, 0u);
        EXPECT_TRUE(PumpUntil([&] { return mDelegate.Count("ServiceRequestInput") == lCount + 1; }));
        return lTicket;
    }

    /** The error's name and message, or the body of a return. */
    std::string Reply(std::uint32_t aTicket)
    {
        FakePeer::Reply lReply;

        EXPECT_TRUE(PumpUntil([&] { return mFake.GetReply(aTicket, lReply); }));
        return lReply.mErrorName + lReply.mBody;
    }

    std::string CallAgent(const char *aMethod, const std::string &aBody)
    {
        return Reply(mFake.CallAgent(aMethod, aBody));
    }

    bool HasReply(std::uint32_t aTicket)
    {
        FakePeer::Reply lReply;

        Settle();
        mFake.Flush();
        return mFake.GetReply(aTicket, lReply);
    }

    zqError Complete(const std::string &aPath) { return mConnMan.ServiceCompleteInput(aPath.c_str(), mNothing.Get()); }

    const std::string kB       = Path("b");
    const Dictionary  mNothing = Dict({});
};

TEST_F(AgentTest, ARequestIsHeldUntilItIsAnswered)
{
    const auto          lValues      = Dict({ { "Passphrase", "topsecret" } });
    const auto          lUnsupported = Dict({ { "Passphrase", std::string("topsecret\0", 10) } });
    const std::uint32_t lTicket      = Ask();

    EXPECT_EQ(mDelegate.mEvents, Events{ "ServiceRequestInput " + kA +
                                         " {Passphrase: {Type: psk, Requirement: mandatory, Alternates: [WPS]}}" });

    // None of these answers it.
    EXPECT_EQ(Complete(kB), zqError_NotFound);
    EXPECT_TRUE(mLog.Contains("ASSERT: connman: mInput.Matches(aPath)", 4));
    EXPECT_EQ(mConnMan.ServiceCancelInput(kB.c_str()), 0);
    EXPECT_EQ(mConnMan.ServiceCompleteInput(nullptr, lValues.Get()), zqError_InvalidArgument);
    EXPECT_EQ(mConnMan.ServiceCompleteInput(kA.c_str(), nullptr), zqError_InvalidArgument);
    EXPECT_TRUE(mLog.Contains("ASSERT: connman: aValues != __null", 4));
    EXPECT_EQ(mConnMan.ServiceCompleteInput(kA.c_str(), lUnsupported.Get()), zqError_InvalidArgument);
    EXPECT_FALSE(HasReply(lTicket));

    EXPECT_EQ(mConnMan.ServiceCompleteInput(kA.c_str(), lValues.Get()), 0);
    EXPECT_EQ(Reply(lTicket), "({'Passphrase': <'topsecret'>},)");

    // Once answered there is nothing to answer.
    EXPECT_EQ(Complete(kA), zqError_WrongState);
    EXPECT_TRUE(mLog.Contains("ASSERT: connman: mInput.IsPending()", 4));
    EXPECT_EQ(mConnMan.ServiceCancelInput(kA.c_str()), 0);
    EXPECT_FALSE(mLog.Contains("topsecret"));
}

TEST_F(AgentTest, AHeldRequestEndsWithWhateverMakesItsAnswerVain)
{
    const std::string lCanceled = kCanceled + "('Operation canceled',)";
    const struct
    {
        const char           *mName;
        std::function<void()> mEnd;
        std::string           mReply; ///< empty: none
        zqError               mLate;  ///< of an answer that comes then
    } lCases[] = {
        { "refused", [&] { EXPECT_EQ(mConnMan.ServiceCancelInput(kA.c_str()), 0); }, lCanceled, zqError_WrongState },
        { "another request", [&] { (void)Ask(kB); }, lCanceled, zqError_NotFound },
        { "withdrawn", [&] { EXPECT_EQ(CallAgent("Cancel", ""), "()"); }, "", zqError_WrongState },
        { "another delegate",
          [&]
          {
              mConnMan.SetDelegate(nullptr);
              mConnMan.SetDelegate(&mDelegate);
          },
          lCanceled, zqError_WrongState },
        { "client gone", [&] { mConnMan.Destroy(); }, lCanceled, zqError_WrongState },
    };

    // With the daemon goes whoever waits for the answer.
    (void)Ask();
    ASSERT_TRUE(Crash());
    EXPECT_EQ(Complete(kA), zqError_WrongState);
    ASSERT_TRUE(Appear());

    for (const auto &lCase : lCases)
    {
        SCOPED_TRACE(lCase.mName);

        const std::uint32_t lTicket = Ask();

        lCase.mEnd();
        EXPECT_EQ(Complete(kA), lCase.mLate);

        EXPECT_EQ(lCase.mReply.empty() && !HasReply(lTicket) ? "" : Reply(lTicket), lCase.mReply);
    }
}

TEST_F(AgentTest, TheDelegateMayAnswerInItsCallback)
{
    static const struct
    {
        bool        mAnswers;
        zqError     mResult;
        std::string mReply;
    } sCases[] = {
        { true, 0, "(@a{sv} {},)" },
        { true, -5, "(@a{sv} {},)" },
        { false, -5, kCanceled + "('Operation canceled',)" },
    };

    for (const auto &lCase : sCases)
    {
        mDelegate.mOnInput = [&]
        {
            if (lCase.mAnswers)
            {
                EXPECT_EQ(Complete(kA), 0);
            }
            return lCase.mResult;
        };
        EXPECT_EQ(Reply(Ask()), lCase.mReply);
        EXPECT_EQ(Complete(kA), zqError_WrongState);
    }
}

TEST_F(AgentTest, RequestsThatAreNoneAreCanceledAtOnce)
{
    static const std::pair<const char *, const char *> sCases[] = {
        { "(objectpath '/net/connman/service/a',)", "numValues == 2" },
        { "(@a{sv} {}, objectpath '/net/connman/service/a')", "CFUIsTypeID(path, CFStringGetTypeID())" },
        { "(objectpath '/net/connman/service/a', 'text')", "CFUIsTypeID(properties, CFDictionaryGetTypeID())" },
        { "(objectpath '/net/connman/service/a', {'Field': <uint64 1>})", "" },
    };

    for (const auto &lCase : sCases)
    {
        mLog.Clear();
        EXPECT_EQ(CallAgent("RequestInput", lCase.first), kCanceled + "('Operation canceled',)") << lCase.first;
        EXPECT_TRUE(mLog.Contains(lCase.second, 4)) << lCase.first << mLog.GetText();
    }
    EXPECT_EQ(mDelegate.mEvents, Events());
    EXPECT_EQ(Complete(kA), zqError_WrongState);
}

TEST_F(AgentTest, ReportedErrorsReachTheDelegateForKnownServicesOnly)
{
    EXPECT_EQ(CallAgent("ReportError", "(objectpath '" + kA + "', 'invalid-key')"), "()");
    EXPECT_EQ(CallAgent("ReportError", "(objectpath '/unknown', 'invalid-key')").find(kUnknown), 0u);
    EXPECT_EQ(CallAgent("ReportError", "('text',)").find(kUnknown), 0u);

    EXPECT_EQ(mDelegate.mEvents, Events{ "ServiceReportError " + kA + " invalid-key" });
    EXPECT_TRUE(mLog.Contains("connman: service (" + kA + ") reported error (invalid-key)", 4));
    EXPECT_TRUE(mLog.Contains("connman: failed to find service /unknown for service error"));
}

TEST_F(AgentTest, NobodyButTheDaemonMayCallTheAgent)
{
    const std::string   lOwn  = dbus_bus_get_unique_name(mBus->GetConnection());
    const std::uint32_t lHeld = Ask();

    for (const auto &lCall : Properties{ { "RequestInput", RequestFor(kB) },
                                         { "ReportError", "(objectpath '" + kA + "', 'invalid-key')" },
                                         { "Release", "" },
                                         { "Cancel", "" } })
        EXPECT_EQ(Reply(mFake.CallForged(lOwn, "/com/corvanix/client", FakeConnMan::kAgent, lCall.first, lCall.second))
                      .find("org.freedesktop.DBus.Error.AccessDenied"),
                  0u)
            << lCall.first;

    EXPECT_EQ(mDelegate.mEvents.size(), 1u);
    EXPECT_TRUE(mConnMan.IsAvailable());
    EXPECT_EQ(Complete(kA), 0);
    EXPECT_EQ(Reply(lHeld), "(@a{sv} {},)");
}

TEST_F(AgentTest, OfTwoThreadsThatAnswerOneDoes)
{
    for (int lCount = 0; lCount < 50; ++lCount)
    {
        const std::uint32_t lTicket = Ask();
        zqError             lFirst  = 1;
        std::thread         lThread([&] { lFirst = Complete(kA); });
        const zqError       lSecond = Complete(kA);

        lThread.join();
        EXPECT_EQ((lFirst == 0) + (lSecond == 0), 1);
        EXPECT_EQ(Reply(lTicket), "(@a{sv} {},)");
    }
}

} // namespace
