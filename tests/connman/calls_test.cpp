#include "connmanfixture.h"

#include <thread>

namespace zq::Test
{
namespace
{

const std::string kPath = "/net/connman/service/a";

class CallsTest : public ConnManTest
{
protected:
    void Begin(int aTimeout = 20000)
    {
        AddService("a", { { "State", "'ready'" }, { "Type", "'wifi'" }, { "Favorite", "true" } });
        mFake.AddTechnology("/t", FakeConnMan::Technology("wifi", { { "Powered", "false" } }));
        Start(aTimeout);
        Take();
        mLog.Clear();
        mFake.ClearCalls();
    }
};

CFUSharedRef<CFTypeRef> Number(CFNumberType aType, SInt64 aValue)
{
    return CFUAdopt<CFTypeRef>(CFNumberCreate(nullptr, aType, &aValue));
}

CFUSharedRef<CFTypeRef> Real(CFNumberType aType, double aValue)
{
    const float lFloat = static_cast<float>(aValue);

    if (aType == kCFNumberFloat32Type || aType == kCFNumberFloatType)
        return CFUAdopt<CFTypeRef>(CFNumberCreate(nullptr, aType, &lFloat));
    return CFUAdopt<CFTypeRef>(CFNumberCreate(nullptr, aType, &aValue));
}

CFUSharedRef<CFTypeRef> StringArray(const Events &aTexts)
{
    auto lArray = CFUAdopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));

    for (const std::string &lText : aTexts)
        CFArrayAppendValue(lArray.Get(), MakeString(lText).Get());
    return lArray;
}

// What arrives

struct Operation
{
    const char                         *mName;
    std::function<zqError(zqConnMan &)> mRun;
    const char                         *mPath;
    const char                         *mInterface;
    const char                         *mMethod;
    const char                         *mArguments;
    const char                         *mLog;
};

class OperationTest : public CallsTest, public testing::WithParamInterface<Operation>
{
};

TEST_P(OperationTest, ArrivesAsOneCall)
{
    const Operation &lCase = GetParam();

    Begin(12345);
    EXPECT_EQ(lCase.mRun(mConnMan), 0);
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

const char *const kS = "net.connman.Service";
const char *const kT = "net.connman.Technology";
const char *const kM = "net.connman.Manager";

INSTANTIATE_TEST_SUITE_P(
    Operations, OperationTest,
    testing::Values(
        Operation{ "Connect", [](zqConnMan &aClient) { return aClient.ServiceConnect("/net/connman/service/a"); },
                   "/net/connman/service/a", kS, "Connect", "()",
                   "connman: Connecting service /net/connman/service/a with time out 12345" },
        Operation{ "OnlineCheck",
                   [](zqConnMan &aClient) { return aClient.ServiceOnlineCheck("/net/connman/service/a"); },
                   "/net/connman/service/a", kS, "OnlineCheck", "('www.example.com',)",
                   "connman: Checking service /net/connman/service/a online with time out 12345" },
        Operation{ "Disconnect", [](zqConnMan &aClient) { return aClient.ServiceDisconnect("/net/connman/service/a"); },
                   "/net/connman/service/a", kS, "Disconnect", "()",
                   "connman: disconnecting service /net/connman/service/a with time out 12345" },
        Operation{ "Remove", [](zqConnMan &aClient) { return aClient.ServiceRemove("/net/connman/service/a"); },
                   "/net/connman/service/a", kS, "Remove", "()",
                   "connman: removing service /net/connman/service/a with time out 12345" },
        Operation{ "MoveBefore",
                   [](zqConnMan &aClient) { return aClient.ServiceMove("/net/connman/service/a", "/b", true); },
                   "/net/connman/service/a", kS, "MoveBefore", "(objectpath '/b',)",
                   "connman: service /net/connman/service/a MoveBefore /b with time out 12345" },
        Operation{ "MoveAfter",
                   [](zqConnMan &aClient) { return aClient.ServiceMove("/net/connman/service/a", "/b", false); },
                   "/net/connman/service/a", kS, "MoveAfter", "(objectpath '/b',)",
                   "connman: service /net/connman/service/a MoveAfter /b with time out 12345" },
        Operation{ "ClearProperty",
                   [](zqConnMan &aClient) { return aClient.ServiceClearProperty("/net/connman/service/a", "Error"); },
                   "/net/connman/service/a", kS, "ClearProperty", "('Error',)",
                   "connman: service ClearProperty Error for /net/connman/service/a with time out 12345" },
        Operation{ "ManagerSetProperty",
                   [](zqConnMan &aClient) { return aClient.ManagerSetProperty("OfflineMode", kCFBooleanTrue); }, "/",
                   kM, "SetProperty", "('OfflineMode', <true>)", "for / at net.connman.Manager with time out 12345" },
        Operation{ "ServiceSetProperty",
                   [](zqConnMan &aClient)
                   { return aClient.ServiceSetProperty("/net/connman/service/a", "AutoConnect", kCFBooleanFalse); },
                   "/net/connman/service/a", kS, "SetProperty", "('AutoConnect', <false>)",
                   "connman: SetProperty AutoConnect with 0x" },
        Operation{ "TechnologySync",
                   [](zqConnMan &aClient)
                   { return aClient.TechnologySetProperty("/t", "Powered", kCFBooleanTrue, kConnmanMethodSync); },
                   "/t", kT, "SetProperty", "('Powered', <true>)",
                   "for /t at net.connman.Technology with time out 12345" },
        Operation{ "TechnologyAsync",
                   [](zqConnMan &aClient)
                   { return aClient.TechnologySetProperty("/t", "Powered", kCFBooleanTrue, kConnmanMethodAsync); },
                   "/t", kT, "SetProperty", "('Powered', <true>)",
                   "for /t at net.connman.Technology with time out 12345" },
        Operation{ "Scan", [](zqConnMan &aClient) { return aClient.TechnologyScan("/t"); }, "/t", kT, "Scan", "()",
                   "connman: requesting scan for /t" }),
    [](const auto &anInfo) { return std::string(anInfo.param.mName); });

struct Outbound
{
    CFUSharedRef<CFTypeRef> mValue;
    const char             *mExact; ///< null: refused
    const char             *mTolerant;
};

TEST_F(CallsTest, ValuesArriveWithTheTypesOfTheTable)
{
    const auto lInner = MakeDictionary({ { "Method", "manual" } });
    const auto lOuter = MakeDictionary({});
    const auto lLists = CFUAdopt(
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    const auto  lEmbedding = MakeDictionary({});
    const UInt8 lByte      = 1;

    CFDictionarySetValue(lOuter.Get(), CFSTR("In"), lInner.Get());
    CFDictionarySetValue(lOuter.Get(), CFSTR("PrefixLength"), Number(kCFNumberSInt8Type, 24).Get());
    CFDictionarySetValue(lLists.Get(), CFSTR("Servers"), StringArray({ "a", "b" }).Get());
    CFDictionarySetValue(lEmbedding.Get(), CFSTR("Self"), lEmbedding.Get());

    const Outbound lCases[] = {
        { MakeString("W\u00fcst"), "'W\u00fcst'", "'W\u00fcst'" },
        { MakeString(""), "''", "''" },
        { CFURetain<CFTypeRef>(kCFBooleanTrue), "true", "true" },
        { Number(kCFNumberSInt8Type, 200), "byte 0xc8", "byte 0xc8" },
        { Number(kCFNumberCharType, 7), "byte 0x07", "byte 0x07" },
        { Number(kCFNumberSInt16Type, -2), "int16 -2", "int16 -2" },
        { Number(kCFNumberShortType, 3), "int16 3", "int16 3" },
        { Number(kCFNumberSInt32Type, -4), "-4", "-4" },
        { Number(kCFNumberIntType, 5), "5", "5" },
        { Number(kCFNumberLongType, 6), "6", "6" },
        { Number(kCFNumberSInt64Type, 5000000000), "int64 5000000000", "int64 5000000000" },
        { Number(kCFNumberLongLongType, -8), "int64 -8", "int64 -8" },
        { Real(kCFNumberFloat32Type, 0.5), "0.5", "0.5" },
        { Real(kCFNumberFloat64Type, 0.25), "0.25", "0.25" },
        { Real(kCFNumberFloatType, 0.5), "0.5", "0.5" },
        { Real(kCFNumberDoubleType, 0.25), "0.25", "0.25" },
        { Number(kCFNumberCFIndexType, 1), nullptr, nullptr },
        { lOuter, "{'In': <{'Method': <'manual'>}>, 'PrefixLength': <byte 0x18>}",
          "{'In': <{'Method': <'manual'>}>, 'PrefixLength': <byte 0x18>}" },
        { MakeDictionary({}), "@a{sv} {}", "@a{sv} {}" },
        { StringArray({ "192.0.2.1", "192.0.2.2" }), nullptr, "['192.0.2.1', '192.0.2.2']" },
        { StringArray({}), nullptr, "@as []" },
        { lLists, nullptr, "{'Servers': <['a', 'b']>}" },
        { CFUAdopt<CFTypeRef>(CFDataCreate(nullptr, &lByte, 1)), nullptr, nullptr },
        { lEmbedding, nullptr, nullptr },
    };

    Begin();
    for (const zqConnMan::Decoding lDecoding : { zqConnMan::kDecodingExact, zqConnMan::kDecodingTolerant })
        for (const Outbound &lCase : lCases)
        {
            const char *const lExpected = lDecoding == zqConnMan::kDecodingExact ? lCase.mExact : lCase.mTolerant;

            zqConnMan::SetDecoding(lDecoding);
            mFake.ClearCalls();

            const zqError lReturn = mConnMan.ServiceSetProperty(kPath.c_str(), "P", lCase.mValue.Get());
            const auto    lCalls  = mFake.GetCalls("SetProperty");

            EXPECT_EQ(lReturn, lExpected != nullptr ? 0 : zqError_InvalidArgument);
            ASSERT_EQ(lCalls.size(), lExpected != nullptr ? 1u : 0u);
            if (lExpected != nullptr)
            {
                EXPECT_EQ(lCalls[0].mArguments, "('P', <" + std::string(lExpected) + ">)");
            }
        }
    EXPECT_TRUE(mLog.Contains("connman: unsupported cf number type 14", 4));
    EXPECT_TRUE(mLog.Contains("connman: unsupported property value type " + std::to_string(CFDataGetTypeID()), 4));

    CFDictionaryRemoveAllValues(lEmbedding.Get());
}

TEST_F(CallsTest, NullAndUnusableArgumentsAreRefusedWithTheirAssertion)
{
    const CFTypeRef    lTrue   = kCFBooleanTrue;
    const char *const  lPath   = kPath.c_str();
    CFDictionaryRef    lOut    = nullptr;
    DBusMessage       *lNone   = nullptr;
    zqDBusPendingCall *lNobody = nullptr;

    const struct
    {
        std::function<zqError()> mRun;
        const char              *mAssertion;
    } lCases[] = {
        { [&] { return mConnMan.ServiceConnect(nullptr); }, "aPath != __null" },
        { [&] { return mConnMan.ServiceOnlineCheck(nullptr); }, "aPath != __null" },
        { [&] { return mConnMan.ServiceDisconnect(nullptr); }, "aPath != __null" },
        { [&] { return mConnMan.ServiceRemove(nullptr); }, "aPath != __null" },
        { [&] { return mConnMan.ServiceMove(nullptr, lPath, true); }, "aPath != __null" },
        { [&] { return mConnMan.ServiceMove(lPath, nullptr, true); }, "aTarget != __null" },
        { [&] { return mConnMan.ServiceClearProperty(lPath, nullptr); }, "aName != __null" },
        { [&] { return mConnMan.ServiceSetProperty(lPath, nullptr, lTrue); }, "aName != __null" },
        { [&] { return mConnMan.ServiceSetProperty(lPath, "P", nullptr); }, "aValue != __null" },
        { [&] { return mConnMan.ManagerSetProperty("P", nullptr); }, "aValue != __null" },
        { [&] { return mConnMan.TechnologySetProperty(nullptr, "P", lTrue, kConnmanMethodAsync); }, "aPath != __null" },
        { [&] { return mConnMan.TechnologyScan(nullptr); }, "aPath != __null" },
        { [&] { return mConnMan.ServiceGetProperties(nullptr, lOut); }, "aPath != __null" },
        { [&] { return mConnMan.PerformMethodCallWithMessage(nullptr, &lNone, 1, nullptr); }, "aMessage != __null" },
        { [&] { return mConnMan.PerformMethodCall("/", "i.i", "M", lNobody, 1, DBUS_TYPE_INVALID); },
          "aPending != __null" },
        // What libdbus would end the process for.
        { [&] { return mConnMan.ServiceDisconnect("no path"); }, "" },
        { [&] { return mConnMan.ServiceMove(lPath, "\xff", true); }, "" },
        { [&] { return mConnMan.ServiceClearProperty(lPath, "\xff"); }, "" },
        { [&] { return mConnMan.ServiceSetProperty(lPath, "\xff", lTrue); }, "dbus_validate_utf8" },
    };

    Begin();
    for (const auto &lCase : lCases)
    {
        mLog.Clear();
        EXPECT_EQ(lCase.mRun(), zqError_InvalidArgument) << lCase.mAssertion;
        if (*lCase.mAssertion != '\0')
        {
            EXPECT_TRUE(mLog.Contains("ASSERT: connman: " + std::string(lCase.mAssertion), 4)) << lCase.mAssertion;
        }
    }
    EXPECT_EQ(mConnMan.NewMethodCall(nullptr, "i.i", "M"), nullptr);
    EXPECT_TRUE(mLog.Contains("anObject != __null"));
    EXPECT_EQ(mFake.GetCalls().size(), 0u);
}

// Errors

struct ErrorCase
{
    const char *mName;
    const char *mMessage;
    zqError     mError;
};

const ErrorCase kErrors[] = {
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
    Begin();
    for (const ErrorCase &lCase : kErrors)
    {
        mLog.Clear();
        mFake.Script("Disconnect", Answer::Error(lCase.mName, lCase.mMessage), "", 1);
        EXPECT_EQ(mConnMan.ServiceDisconnect(kPath.c_str()), lCase.mError) << lCase.mName << lCase.mMessage;
        EXPECT_TRUE(
            mLog.Contains("connman: Disconnect error [" + std::string(lCase.mName) + ": " + lCase.mMessage + "]", 4))
            << mLog.GetText();

        mDelegate.mEvents.clear();
        mFake.Script("Connect", Answer::Error(lCase.mName, lCase.mMessage), "", 1);
        ASSERT_EQ(mConnMan.ServiceConnect(kPath.c_str()), 0);
        ASSERT_TRUE(PumpUntil([this] { return !mDelegate.mEvents.empty(); }));
        EXPECT_EQ(mDelegate.mEvents, Events{ "ServiceDidNotConnect " + kPath + " " + std::to_string(lCase.mError) });
    }
    EXPECT_EQ(zqConnMan::MapError("x", nullptr), -1);
    zqDBusError lUnset;
    EXPECT_EQ(zqConnMan::MapError("x", lUnset.Get()), -1);
}

// Outcomes

struct OutcomeCase
{
    const char *mMethod;
    zqError (zqConnMan::*mRun)(const char *);
    const char *mPath;
    const char *mSuccess;
    const char *mFailure;
};

class OutcomeTest : public CallsTest, public testing::WithParamInterface<OutcomeCase>
{
protected:
    void Send()
    {
        mDelegate.mEvents.clear();
        ASSERT_EQ((mConnMan.*GetParam().mRun)(GetParam().mPath), 0);
        mConnMan.SetScanning(false);
    }

    void ExpectOutcome(const std::string &anEvent)
    {
        EXPECT_TRUE(PumpUntil([&] { return mDelegate.Count(anEvent) == 1; })) << anEvent << "\n" << mLog.GetText();
    }
};

TEST_P(OutcomeTest, ReachesTheDelegateOnce)
{
    const OutcomeCase &lCase    = GetParam();
    const std::string  lSuccess = lCase.mSuccess + std::string(" ") + lCase.mPath;
    const std::string  lFailure = lCase.mFailure + std::string(" ") + lCase.mPath;

    Begin();
    mFake.Script(lCase.mMethod, Answer::Value(""), "", 1);
    Send();
    ExpectOutcome(lSuccess);
    EXPECT_TRUE(mLog.Contains(": " + std::string(lCase.mMethod) + " completed", 1));

    mFake.Script(lCase.mMethod, Answer::Error("net.connman.Error.InProgress", "In progress"), "", 1);
    Send();
    ExpectOutcome(lFailure + " -23");
    EXPECT_TRUE(mLog.Contains(": " + std::string(lCase.mMethod) + " error received", 1));

    mFake.Script(lCase.mMethod, Answer::Held(), "", 1);
    mConnMan.SetTimeout(50);
    Send();
    ExpectOutcome(lFailure + " -16");
    EXPECT_TRUE(mLog.Contains(": " + std::string(lCase.mMethod) + " timed out", 1));

    // An answer after the time-out is none.
    mConnMan.SetTimeout(20000);
    mFake.ReleaseHeld();
    Settle();
    EXPECT_EQ(mDelegate.Count(lCase.mSuccess), 0u);

    mFake.Script(lCase.mMethod, Answer::Crash(), "", 1);
    Send();
    ExpectOutcome(lFailure + " -7001");
    EXPECT_TRUE(PumpUntil([this] { return !mConnMan.IsAvailable(); }));
    EXPECT_EQ(mDelegate.Count(lCase.mFailure), 1u);

    EXPECT_EQ((mConnMan.*lCase.mRun)(lCase.mPath), zqError_WrongState);
}

TEST_P(OutcomeTest, OfACallThatIsOutstandingAtTheEndIsSwallowed)
{
    Begin();
    mFake.Script(GetParam().mMethod, Answer::Silence());
    Send();
    mConnMan.Destroy();
    EXPECT_EQ(mDelegate.mEvents, Events());
    EXPECT_TRUE(mLog.Contains(": " + std::string(GetParam().mMethod) + " error received", 1));
}

INSTANTIATE_TEST_SUITE_P(Calls, OutcomeTest,
                         testing::Values(OutcomeCase{ "Connect", &zqConnMan::ServiceConnect, "/net/connman/service/a",
                                                      "ServiceDidConnect", "ServiceDidNotConnect" },
                                         OutcomeCase{ "OnlineCheck", &zqConnMan::ServiceOnlineCheck,
                                                      "/net/connman/service/a", "ServiceIsOnline",
                                                      "ServiceIsNotOnline" },
                                         OutcomeCase{ "Scan", &zqConnMan::TechnologyScan, "/t", "TechnologyDidScan",
                                                      "TechnologyDidNotScan" }),
                         [](const auto &anInfo) { return std::string(anInfo.param.mMethod); });

TEST_F(CallsTest, ABlockingCallThatIsNotAnsweredEndsWithItsTimeOut)
{
    Begin(100);
    mFake.Script("Disconnect", Answer::Silence(), "", 1);
    EXPECT_EQ(mConnMan.ServiceDisconnect(kPath.c_str()), zqError_NoReply);
    mFake.Script("SetProperty", Answer::Crash(), "", 1);
    mConnMan.SetTimeout(20000);
    EXPECT_EQ(mConnMan.ServiceSetProperty(kPath.c_str(), "P", kCFBooleanTrue), zqError_NoReply);
    EXPECT_EQ(mConnMan.ServiceDisconnect(kPath.c_str()), zqError_ServiceUnknown);
}

// Scanning

TEST_F(CallsTest, OneScanIsSentWhileOneIsOutstanding)
{
    Begin();
    mFake.Script("Scan", Answer::Held());
    EXPECT_EQ(mConnMan.TechnologyScan("/t"), 0);
    EXPECT_EQ(mConnMan.TechnologyScan("/t"), 0);
    EXPECT_TRUE(mLog.Contains("connman: Scanning already in progress for /t"));
    ASSERT_TRUE(mFake.WaitForCall("Scan"));
    mFake.ReleaseHeld();
    ASSERT_TRUE(PumpUntil([this] { return mDelegate.Count("TechnologyDidScan") == 1; }));
    EXPECT_EQ(mFake.CountCalls("Scan"), 1u);

    mConnMan.SetScanning(false);
    EXPECT_EQ(mConnMan.TechnologyScan("/t"), 0);
    ASSERT_TRUE(mFake.WaitForCall("Scan", 2));
}

TEST_F(CallsTest, AScanThatCannotBeSentLeavesTheFlagClear)
{
    Begin();
    EXPECT_EQ(mConnMan.TechnologyScan("no path"), zqError_InvalidArgument);
    EXPECT_TRUE(mLog.Contains("connman: Reset mScanning for unsuccessful scan call"));
    EXPECT_EQ(mConnMan.TechnologyScan("/t"), 0);
    ASSERT_TRUE(mFake.WaitForCall("Scan"));
}

TEST_F(CallsTest, AScanThatEndsWithNobodyToTellLeavesTheFlagClear)
{
    Begin();
    EXPECT_EQ(mConnMan.TechnologyScan("/t"), 0);
    mConnMan.SetDelegate(nullptr);
    ASSERT_TRUE(PumpUntil([this] { return mLog.Contains("Scan completed"); }));
    EXPECT_EQ(mConnMan.TechnologyScan("/t"), 0);
    EXPECT_TRUE(mFake.WaitForCall("Scan", 2));
    ASSERT_TRUE(PumpUntil([this] { return mLog.Count("Scan completed") == 2; }));
}

TEST_F(CallsTest, RequestsOfManyThreadsEachHaveTheirOutcome)
{
    std::vector<std::thread> lThreads;
    std::atomic<int>         lScans{ 0 };

    Begin();
    mFake.Script("Scan", Answer::Held());
    mFake.Script("Connect", Answer::Value(""));
    mFake.Script("Disconnect", Answer::Value(""));

    for (int lThread = 0; lThread < 4; ++lThread)
        lThreads.emplace_back(
            [&]
            {
                for (int lCount = 0; lCount < 25; ++lCount)
                {
                    EXPECT_EQ(mConnMan.ServiceConnect(kPath.c_str()), 0);
                    EXPECT_EQ(mConnMan.ServiceDisconnect(kPath.c_str()), 0);
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
    const auto lSecrets = MakeDictionary({ { "Passphrase", "topsecret" } });

    Begin();
    mFake.Script("SetProperty", Answer::Error("net.connman.Error.InvalidProperty", "Invalid property"));
    (void)mConnMan.ServiceSetProperty(kPath.c_str(), "Passphrase", CFSTR("topsecret"));
    (void)mConnMan.ServiceSetProperty(kPath.c_str(), "Credentials", lSecrets.Get());
    mFake.SetServiceProperty(kPath, "Passphrase", "'topsecret'");
    mFake.Emit(kPath, kService, "PropertyChanged", "('Passphrase', <('topsecret', 1)>)");
    Settle();
    EXPECT_FALSE(mLog.Contains("topsecret"));
}

} // namespace
} // namespace zq::Test
