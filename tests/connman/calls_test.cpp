#include "connmanfixture.h"

#include <thread>

using namespace zq::Test;

namespace
{

class CallsTest : public ConnManTest
{
protected:
    CallsTest()
    {
        AddService("a", { { "State", "'ready'" }, { "Type", "'wifi'" }, { "Favorite", "true" } });
        mFake.AddTechnology("/t", FakeConnMan::Technology("wifi", { { "Powered", "false" } }));
        Start();
    }
};

template <typename T>
Value Real(CFNumberType aType, T aValue)
{
    return CFUAdopt<CFTypeRef>(CFNumberCreate(nullptr, aType, &aValue));
}

// What arrives

TEST_F(CallsTest, EveryOperationArrivesAsOneCall)
{
    const char *const lA = kA.c_str();
    const struct
    {
        std::function<zqError()> mRun;
        std::string              mPath;
        const char              *mInterface;
        const char              *mMethod;
        const char              *mArguments;
        std::string              mLog;
    } lCases[] = {
        { [&] { return mConnMan.ServiceConnect(lA); }, kA, kService, "Connect", "()",
          "connman: Connecting service " + kA + " with time out 12345" },
        { [&] { return mConnMan.ServiceOnlineCheck(lA); }, kA, kService, "OnlineCheck", "('www.example.com',)",
          "connman: Checking service " + kA + " online with time out 12345" },
        { [&] { return mConnMan.ServiceDisconnect(lA); }, kA, kService, "Disconnect", "()",
          "connman: disconnecting service " + kA + " with time out 12345" },
        { [&] { return mConnMan.ServiceRemove(lA); }, kA, kService, "Remove", "()",
          "connman: removing service " + kA + " with time out 12345" },
        { [&] { return mConnMan.ServiceMove(lA, "/b", true); }, kA, kService, "MoveBefore", "(objectpath '/b',)",
          "connman: service " + kA + " MoveBefore /b with time out 12345" },
        { [&] { return mConnMan.ServiceMove(lA, "/b", false); }, kA, kService, "MoveAfter", "(objectpath '/b',)",
          "connman: service " + kA + " MoveAfter /b with time out 12345" },
        { [&] { return mConnMan.ServiceClearProperty(lA, "Error"); }, kA, kService, "ClearProperty", "('Error',)",
          "connman: service ClearProperty Error for " + kA + " with time out 12345" },
        { [&] { return mConnMan.ManagerSetProperty("OfflineMode", kCFBooleanTrue); }, "/", kManager, "SetProperty",
          "('OfflineMode', <true>)", "for / at net.connman.Manager with time out 12345" },
        { [&] { return mConnMan.ServiceSetProperty(lA, "AutoConnect", kCFBooleanFalse); }, kA, kService, "SetProperty",
          "('AutoConnect', <false>)", "connman: SetProperty AutoConnect with 0x" },
        { [&] { return mConnMan.TechnologySetProperty("/t", "Powered", kCFBooleanTrue, kConnmanMethodSync); }, "/t",
          kTechnology, "SetProperty", "('Powered', <true>)", "for /t at net.connman.Technology with time out 12345" },
        { [&] { return mConnMan.TechnologySetProperty("/t", "Powered", kCFBooleanFalse, kConnmanMethodAsync); }, "/t",
          kTechnology, "SetProperty", "('Powered', <false>)", "for /t at net.connman.Technology with time out 12345" },
        { [&] { return mConnMan.TechnologyScan("/t"); }, "/t", kTechnology, "Scan", "()",
          "connman: requesting scan for /t" },
    };

    mConnMan.SetTimeout(12345);
    for (const auto &lCase : lCases)
    {
        SCOPED_TRACE(lCase.mMethod + lCase.mLog);
        mLog.Clear();
        mFake.ClearCalls();
        mFake.Script(lCase.mMethod, Answer::Value(""));
        EXPECT_EQ(lCase.mRun(), 0);
        ASSERT_TRUE(mFake.WaitForCall(lCase.mMethod));
        Settle();

        const auto lCalls = mFake.GetCalls();

        ASSERT_EQ(lCalls.size(), 1u);
        EXPECT_EQ(lCalls[0].mPath, lCase.mPath);
        EXPECT_EQ(lCalls[0].mInterface, lCase.mInterface);
        EXPECT_EQ(lCalls[0].mMethod, lCase.mMethod);
        EXPECT_EQ(lCalls[0].mArguments, lCase.mArguments);
        EXPECT_TRUE(mLog.Contains(lCase.mLog)) << mLog.GetText();
    }
}

TEST_F(CallsTest, ValuesArriveWithTheTypesOfTheTable)
{
    const auto  lOuter     = Dict({});
    const auto  lLists     = Dict({});
    const auto  lEmbedding = Dict({});
    const UInt8 lByte      = 1;

    CFDictionarySetValue(lOuter.Get(), CFSTR("In"), Dict({ { "Method", "manual" } }).Get());
    CFDictionarySetValue(lOuter.Get(), CFSTR("PrefixLength"), NumberOf(kCFNumberSInt8Type, 24).Get());
    CFDictionarySetValue(lLists.Get(), CFSTR("Servers"), Strings({ "a", "b" }).Get());
    CFDictionarySetValue(lEmbedding.Get(), CFSTR("Self"), lEmbedding.Get());

    const struct
    {
        Value       mValue;
        const char *mText; ///< null: refused
        bool        mTolerantOnly = false;
    } lCases[] = {
        { Str("W\u00fcst"), "'W\u00fcst'" },
        { CFURetain<CFTypeRef>(kCFBooleanTrue), "true" },
        { NumberOf(kCFNumberSInt8Type, 200), "byte 0xc8" },
        { NumberOf(kCFNumberCharType, 7), "byte 0x07" },
        { NumberOf(kCFNumberSInt16Type, -2), "int16 -2" },
        { NumberOf(kCFNumberShortType, 3), "int16 3" },
        { NumberOf(kCFNumberSInt32Type, -4), "-4" },
        { NumberOf(kCFNumberIntType, 5), "5" },
        { NumberOf(kCFNumberLongType, 6), "6" },
        { NumberOf(kCFNumberSInt64Type, 5000000000), "int64 5000000000" },
        { NumberOf(kCFNumberLongLongType, -8), "int64 -8" },
        { Real(kCFNumberFloat32Type, 0.5f), "0.5" },
        { Real(kCFNumberFloat64Type, 0.25), "0.25" },
        { Real(kCFNumberFloatType, 0.5f), "0.5" },
        { Real(kCFNumberDoubleType, 0.25), "0.25" },
        { NumberOf(kCFNumberCFIndexType, 1), nullptr },
        { lOuter, "{'In': <{'Method': <'manual'>}>, 'PrefixLength': <byte 0x18>}" },
        { Dict({}), "@a{sv} {}" },
        { Dict({ { std::string("a\0b", 3), "value" } }), nullptr },
        { Str({ "a\0b", 3 }), nullptr },
        { Strings({ "192.0.2.1", "192.0.2.2" }), "['192.0.2.1', '192.0.2.2']", true },
        { Strings({}), "@as []", true },
        { lLists, "{'Servers': <['a', 'b']>}", true },
        { CFUAdopt<CFTypeRef>(CFDataCreate(nullptr, &lByte, 1)), nullptr },
        { lEmbedding, nullptr },
    };

    for (const zqConnMan::Decoding lDecoding : { zqConnMan::kDecodingExact, zqConnMan::kDecodingTolerant })
        for (const auto &lCase : lCases)
        {
            const bool lIsSent =
                lCase.mText != nullptr && (!lCase.mTolerantOnly || lDecoding == zqConnMan::kDecodingTolerant);

            zqConnMan::SetDecoding(lDecoding);
            mFake.ClearCalls();
            EXPECT_EQ(mConnMan.ServiceSetProperty(kA.c_str(), "P", lCase.mValue.Get()),
                      lIsSent ? 0 : zqError_InvalidArgument);

            const auto lCalls = mFake.GetCalls("SetProperty");

            ASSERT_EQ(lCalls.size(), lIsSent ? 1u : 0u);
            EXPECT_EQ(lIsSent ? lCalls[0].mArguments : "", lIsSent ? "('P', <" + std::string(lCase.mText) + ">)" : "");
        }
    EXPECT_TRUE(mLog.Contains("connman: unsupported cf number type 14", 4));
    EXPECT_TRUE(mLog.Contains("connman: unsupported property value type " + std::to_string(CFDataGetTypeID()), 4));

    CFDictionaryRemoveAllValues(lEmbedding.Get());
}

TEST_F(CallsTest, NullAndUnusableArgumentsAreRefusedWithTheirAssertion)
{
    const CFTypeRef   lTrue = kCFBooleanTrue;
    const char *const lPath = kA.c_str();
    CFDictionaryRef   lOut  = nullptr;
    DBusMessage      *lNone = nullptr;

    const struct
    {
        std::function<zqError()> mRun;
        const char              *mAssertion;
    } lCases[] = {
        { [&] { return mConnMan.ServiceConnect(nullptr); }, "aPath != __null" },
        { [&] { return mConnMan.ServiceRemove(nullptr); }, "aPath != __null" },
        { [&] { return mConnMan.ServiceMove(nullptr, lPath, true); }, "aPath != __null" },
        { [&] { return mConnMan.ServiceMove(lPath, nullptr, true); }, "aTarget != __null" },
        { [&] { return mConnMan.ServiceClearProperty(lPath, nullptr); }, "aName != __null" },
        { [&] { return mConnMan.ServiceSetProperty(lPath, nullptr, lTrue); }, "aName != __null" },
        { [&] { return mConnMan.ManagerSetProperty("P", nullptr); }, "aValue != __null" },
        { [&] { return mConnMan.ManagerSetProperty("P", lTrue, nullptr); }, "aPending != __null" },
        { [&] { return mConnMan.TechnologySetProperty(nullptr, "P", lTrue, kConnmanMethodAsync); }, "aPath != __null" },
        { [&] { return mConnMan.TechnologyScan(nullptr); }, "aPath != __null" },
        { [&] { return mConnMan.ServiceGetProperties(nullptr, lOut); }, "aPath != __null" },
        { [&] { return mConnMan.PerformMethodCallWithMessage(nullptr, &lNone, 1, nullptr); }, "aMessage != __null" },
        // What libdbus would end the process for.
        { [&] { return mConnMan.ServiceDisconnect("no path"); }, "" },
        { [&] { return mConnMan.ServiceMove(lPath, "\xff", true); }, "" },
        { [&] { return mConnMan.ServiceClearProperty(lPath, "\xff"); }, "" },
        { [&] { return mConnMan.ServiceSetProperty(lPath, "\xff", lTrue); }, "dbus_validate_utf8" },
    };

    for (const auto &lCase : lCases)
    {
        mLog.Clear();
        EXPECT_EQ(lCase.mRun(), zqError_InvalidArgument) << lCase.mAssertion;
        EXPECT_TRUE(*lCase.mAssertion == '\0' || mLog.Contains("ASSERT: connman: " + std::string(lCase.mAssertion), 4))
            << lCase.mAssertion;
    }
    EXPECT_NE(mConnMan.ServiceSetProperty("no path", "P", lTrue), 0);
    EXPECT_EQ(mConnMan.NewMethodCall(nullptr, "i.i", "M"), nullptr);
    EXPECT_TRUE(mLog.Contains("anObject != __null"));
    EXPECT_EQ(mFake.GetCalls().size(), 0u);
}

// What comes of it

const struct
{
    const char *mName;
    const char *mMessage;
    zqError     mError;
} kErrors[] = {
    { "net.connman.Error.InvalidArguments", "Invalid arguments", -5 },
    { "net.connman.Error.PermissionDenied", "PERMISSION DENIED", -19 },
    { "net.connman.Error.NotUnique", "not unique", -18 },
    { "net.connman.Error.NotSupported", "Not supported", -27 },
    { "net.connman.Error.NotImplemented", "Not Implemented", -26 },
    { "net.connman.Error.NotFound", "nOT fOUND", -17 },
    { "net.connman.Error.InProgress", "In progress", -23 },
    { "net.connman.Error.AlreadyExists", "Already exists", -22 },
    { "net.connman.Error.AlreadyEnabled", "already ENABLED", -22 },
    { "net.connman.Error.AlreadyDisabled", "Already disabled", -22 },
    { "net.connman.Error.AlreadyConnected", "aLrEaDy CoNnEcTeD", -22 },
    { "net.connman.Error.NotConnected", "Not connected", -21 },
    { "net.connman.Error.OperationAborted", "Operation aborted", -20 },
    { "net.connman.Error.OperationTimeout", "Operation timeout", -16 },
    { "net.connman.Error.InvalidService", "Invalid service", -5 },
    { "net.connman.Error.InvalidProperty", "Invalid property", -5 },
    { "net.connman.Error.Failed", "No route to host", -113 },
    { "org.freedesktop.DBus.Error.NoReply", "Not found", -17 },
    { "org.freedesktop.DBus.Error.NoReply", "whatever", -7001 },
    { "org.freedesktop.dbus.error.serviceunknown", "whatever", -7000 },
    { "org.freedesktop.DBus.Error.UnknownMethod", "whatever", -7002 },
    { "org.freedesktop.DBus.Error.UnknownObject", "whatever", -7003 },
    // What the name says does not count, nor does a part of a message.
    { "net.connman.Error.NotFound", "Input/output error", -1 },
    { "net.connman.Error.NotRegistered", "Not registered", -1 },
    { "net.connman.Error.Failed", "Not found here", -1 },
    { "net.connman.Error.Failed", "", -1 },
};

TEST_F(CallsTest, ErrorsAreToldByTheirMessageThenByTheirName)
{
    zqDBusError lUnset;

    for (const auto &lCase : kErrors)
    {
        SCOPED_TRACE(lCase.mName + (" " + std::string(lCase.mMessage)));
        mFake.Script("Disconnect", Answer::Error(lCase.mName, lCase.mMessage), "", 1);
        EXPECT_EQ(mConnMan.ServiceDisconnect(kA.c_str()), lCase.mError);
        EXPECT_TRUE(
            mLog.Contains("connman: Disconnect error [" + std::string(lCase.mName) + ": " + lCase.mMessage + "]", 4))
            << mLog.GetText();
    }
    EXPECT_EQ(zqConnMan::MapError("x", nullptr), -1);
    EXPECT_EQ(zqConnMan::MapError("x", lUnset.Get()), -1);
}

struct Outcome
{
    const char *mMethod;
    zqError (zqConnMan::*mRun)(const char *);
    std::string mPath;
    std::string mSuccess;
    std::string mFailure;
};

TEST_F(CallsTest, EachEndsInExactlyOneOutcome)
{
    const Outcome lCases[] = {
        { "Connect", &zqConnMan::ServiceConnect, kA, "ServiceDidConnect " + kA, "ServiceDidNotConnect " + kA },
        { "OnlineCheck", &zqConnMan::ServiceOnlineCheck, kA, "ServiceIsOnline " + kA, "ServiceIsNotOnline " + kA },
        { "Scan", &zqConnMan::TechnologyScan, "/t", "TechnologyDidScan /t", "TechnologyDidNotScan /t" },
    };

    for (const Outcome &lCase : lCases)
    {
        SCOPED_TRACE(lCase.mMethod);

        const std::string lMethod = lCase.mMethod;
        const auto        lSend   = [&](const Answer &anAnswer)
        {
            mDelegate.mEvents.clear();
            mFake.Script(lMethod, anAnswer, "", 1);
            EXPECT_EQ((mConnMan.*lCase.mRun)(lCase.mPath.c_str()), 0);
            mConnMan.SetScanning(false);
        };
        const auto lExpect = [&](const std::string &anEvent, const char *aLog)
        {
            EXPECT_TRUE(PumpUntil([&] { return mDelegate.Count(anEvent) == 1; })) << anEvent << "\n" << mLog.GetText();
            EXPECT_TRUE(mLog.Contains(": " + lMethod + aLog, 1)) << mLog.GetText();
        };

        lSend(Answer::Value(""));
        lExpect(lCase.mSuccess, " completed");
        lSend(Answer::Error("net.connman.Error.InProgress", "In progress"));
        lExpect(lCase.mFailure + " -23", " error received");

        mConnMan.SetTimeout(50);
        lSend(Answer::Held());
        lExpect(lCase.mFailure + " -16", " timed out");

        // An answer after the time-out is none.
        mConnMan.SetTimeout(20000);
        mFake.ReleaseHeld();
        Settle();
        EXPECT_EQ(mDelegate.Count(lCase.mSuccess), 0u);

        lSend(Answer::Crash());
        lExpect(lCase.mFailure + " -7001", " error received");
        EXPECT_TRUE(PumpUntil([this] { return !mConnMan.IsAvailable(); }));
        EXPECT_EQ(mDelegate.Count(lCase.mFailure), 1u);
        EXPECT_EQ((mConnMan.*lCase.mRun)(lCase.mPath.c_str()), zqError_WrongState);
        ASSERT_TRUE(Appear());

        // One that is outstanding when the client goes has none.
        mLog.Clear();
        lSend(Answer::Silence());
        mConnMan.Destroy();
        EXPECT_EQ(mDelegate.mEvents, Events());
        EXPECT_TRUE(mLog.Contains(": " + lMethod + " error received", 1));
        Start();
    }
}

TEST_F(CallsTest, ThePendingCallOfACallerHearsItsOutcome)
{
    struct Set final : zq::ConnMan::ManagerSetPropertyPendingCall
    {
        Set(zqConnMan &aConnMan, int &aCount) : ManagerSetPropertyPendingCall(&aConnMan, CFSTR("/")), mCount(aCount) {}
        void timedOut() override { ++mCount; }

        int &mCount;
    };
    int lCount = 0;

    mConnMan.SetTimeout(50);
    mFake.Script("SetProperty", Answer::Silence());
    ASSERT_EQ(mConnMan.ManagerSetProperty("OfflineMode", kCFBooleanTrue, new Set(mConnMan, lCount)), 0);
    EXPECT_TRUE(PumpUntil([&] { return lCount == 1; }));
}

TEST_F(CallsTest, OneScanIsSentWhileOneIsOutstanding)
{
    // One that cannot be sent is none.
    EXPECT_EQ(mConnMan.TechnologyScan("no path"), zqError_InvalidArgument);
    EXPECT_TRUE(mLog.Contains("connman: Reset mScanning for unsuccessful scan call"));

    mFake.Script("Scan", Answer::Held(), "", 1);
    EXPECT_EQ(mConnMan.TechnologyScan("/t"), 0);
    EXPECT_EQ(mConnMan.TechnologyScan("/t"), 0);
    EXPECT_TRUE(mLog.Contains("connman: Scanning already in progress for /t"));
    ASSERT_TRUE(mFake.WaitForCall("Scan"));
    mFake.ReleaseHeld();
    ASSERT_TRUE(PumpUntil([this] { return mDelegate.Count("TechnologyDidScan") == 1; }));
    EXPECT_EQ(mFake.CountCalls("Scan"), 1u);

    // The delegate ends the scanning; without one, the outcome does.
    mConnMan.SetScanning(false);
    mConnMan.SetDelegate(nullptr);
    for (const std::size_t lCount : { 2u, 3u })
    {
        EXPECT_EQ(mConnMan.TechnologyScan("/t"), 0);
        ASSERT_TRUE(PumpUntil([&] { return mLog.Count("Scan completed") == lCount; }));
        EXPECT_EQ(mFake.CountCalls("Scan"), lCount);
    }
}

TEST_F(CallsTest, RequestsOfManyThreadsEachHaveTheirOutcome)
{
    std::vector<std::thread> lThreads;
    std::atomic<int>         lScans{ 0 };

    mFake.Script("Scan", Answer::Held());
    mFake.Script("Connect", Answer::Value(""));
    mFake.Script("Disconnect", Answer::Value(""));

    for (int lThread = 0; lThread < 4; ++lThread)
        lThreads.emplace_back(
            [&]
            {
                for (int lCount = 0; lCount < 25; ++lCount)
                {
                    EXPECT_EQ(mConnMan.ServiceConnect(kA.c_str()), 0);
                    EXPECT_EQ(mConnMan.ServiceDisconnect(kA.c_str()), 0);
                    lScans += mConnMan.TechnologyScan("/t") == 0 ? 1 : 0;
                }
            });

    EXPECT_TRUE(PumpUntil([this] { return mDelegate.Count("ServiceDidConnect") == 100; }));
    for (std::thread &lThread : lThreads)
        lThread.join();
    EXPECT_EQ(lScans, 100);
    EXPECT_EQ(mFake.CountCalls("Scan"), 1u);
}

TEST_F(CallsTest, TheValuesOfPropertiesAreInNoLogLine)
{
    const auto lSecrets = Dict({ { "Passphrase", "topsecret" } });

    mFake.Script("SetProperty", Answer::Error("net.connman.Error.InvalidProperty", "Invalid property"));
    (void)mConnMan.ServiceSetProperty(kA.c_str(), "Passphrase", CFSTR("topsecret"));
    (void)mConnMan.ServiceSetProperty(kA.c_str(), "Credentials", lSecrets.Get());
    mFake.SetServiceProperty(kA, "Passphrase", "'topsecret'");
    mFake.Emit(kA, kService, "PropertyChanged", "('Passphrase', <('topsecret', 1)>)");
    Settle();
    EXPECT_FALSE(mLog.Contains("topsecret"));
}

} // namespace
