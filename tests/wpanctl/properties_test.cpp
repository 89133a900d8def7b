/**
 *  @file
 *    Properties, what rests on them, and the settings that outlive a daemon.
 */

#include "wpanctlfixture.h"

#include <thread>

namespace
{

using namespace zq::Test;

/** The daemon's record of an interface's SetProp calls since the last time. */
Lines Writes(FakeMeshd &aMeshd, const char *aName = "wpan0")
{
    Lines lReturn;

    for (const FakePeer::Call &lCall : aMeshd.GetCalls("SetProp"))
        if (lCall.mPath == FakeMeshd::Path(aName))
            lReturn.push_back(lCall.mArguments);
    aMeshd.ClearCalls();
    return lReturn;
}

TEST_F(WPANCtl, APropertyOfAnyTypeIsRead)
{
    const struct
    {
        const char *mAnswer; // of GetProp
        zqError     mResult;
        const char *mText; // of the value
    } kRows[] = {
        { "(0, <'x'>)", 0, "x" },
        { "(0, 'x')", 0, "x" }, // not in a variant
        { "(0, <true>)", 0, "true" },
        { "(0, <byte 0xff>)", 0, "255" },
        { "(0, <uint32 4294967295>)", 0, "4294967295" },
        { "(0, <[byte 1, 2]>)", 0, "<1, 2>" },
        { "(0, <['a', 'b']>)", 0, "[a, b]" },
        { "(0, <[{'LastRssi': <int16 -40>}]>)", 0, "[{LastRssi: -40}]" },
        { "(0,)", -1, nullptr },
        { "(1, <'x'>)", -1, nullptr },
        { "('x',)", -1, nullptr },
    };

    for (const auto &lRow : kRows)
    {
        SCOPED_TRACE(lRow.mAnswer);
        auto    lValue = Value(Str("stale"));
        zqError lError = -999;

        mMeshd.ClearCalls();
        mMeshd.Script("GetProp", Answer::Value(lRow.mAnswer));
        EXPECT_EQ(mInterface->GetProperty("NCP:State", lValue), lRow.mResult);
        EXPECT_EQ(lValue != nullptr, lRow.mText != nullptr);
        EXPECT_TRUE(lRow.mText == nullptr || Text(lValue.Get()) == lRow.mText) << Text(lValue.Get());

        const auto lComplete = [&](zqError anError, const zqString &aKey, const Value &aValue)
        {
            lError = anError;
            EXPECT_STREQ(aKey.GetAsUTFArray(), "NCP:State");
            EXPECT_TRUE(CFEqual(aValue.Get(), lValue.Get()));
        };
        ASSERT_EQ(mInterface->GetProperty_Async(lComplete, zqWPANCtl::kPropertyKeyAssociationState), 0);
        EXPECT_TRUE(PumpUntil([&] { return lError != -999; }));
        EXPECT_EQ(lError, lRow.mResult);
        for (const FakePeer::Call &lCall : mMeshd.GetCalls())
            EXPECT_EQ(lCall.mMethod + lCall.mArguments, "GetProp('NCP:State',)");
    }
}

TEST_F(WPANCtl, TypedOperationsWriteAndReadTheirProperties)
{
    using Level = zqWPANCtl::OpenThreadLogLevel;
    using Mode  = zqWPANCtl::ThreadDeviceMode;
    using Type  = zqWPANCtl::NCPDriverType;

    EXPECT_EQ(mInterface->StartJammingDetection(-70, 200, 3), 0);
    EXPECT_EQ(mInterface->StopJammingDetection(), 0);
    EXPECT_EQ(Writes(mMeshd), (Lines{ "('JamDetection:RssiThreshold', <int16 -70>)",
                                      "('JamDetection:Window', <int16 200>)", "('JamDetection:BusyPeriod', <int16 3>)",
                                      "('JamDetection:Enable', <true>)", "('JamDetection:Enable', <false>)" }));
    mMeshd.Script("SetProp", Answer::Value("(1,)"));
    EXPECT_EQ(mInterface->StartJammingDetection(-70, 10, 3), -1);
    EXPECT_EQ(mInterface->SetThreadDeviceMode(Mode::RouterReed), -1);
    EXPECT_EQ(Writes(mMeshd).size(), 2U); // nothing follows a write that failed
    mMeshd.ClearScripts();

    EXPECT_EQ(mInterface->SetThreadDeviceMode(Mode::RouterReed), 0);
    EXPECT_EQ(mInterface->SetThreadDeviceMode(Mode::SleepyEndDevice), 0);
    EXPECT_EQ(mInterface->SetThreadDeviceMode(Mode(7)), 0);
    EXPECT_EQ(mInterface->SetOpenThreadLogLevel(Level(0)), 0);
    EXPECT_EQ(mInterface->SetOpenThreadLogLevel(Level::Informational), 0);
    for (const int lLevel : { -1, 8 })
        EXPECT_EQ(mInterface->SetOpenThreadLogLevel(Level(lLevel)), -5);
    EXPECT_EQ(Writes(mMeshd), (Lines{ "('Thread:DeviceMode', <int16 15>)", "('Thread:DeviceMode', <int16 5>)",
                                      "('Thread:DeviceMode', <int16 7>)", "('OpenThread:LogLevel', <int16 0>)",
                                      "('OpenThread:LogLevel', <int16 6>)" }));
    for (const char *lLine : { "Device Mode to \"RouterReed\" (0x0F)", "Device Mode to \"SleepyEndDevice\" (0x05)",
                               "Device Mode to \"Unknown\" (0x07)" })
        EXPECT_EQ(mLog.Count(std::string("wpanctl: Set Thread ") + lLine, 2), 1U) << mLog.GetText();
    EXPECT_TRUE(mLog.Contains(2, "wpanctl: Set OpenThread LogLevel to \"Informational\" (6)"));

    bool  lJammed = true;
    Level lLevel  = Level::Debug;
    EXPECT_EQ(mInterface->GetJammingState(lJammed), 0);
    EXPECT_FALSE(lJammed);
    EXPECT_EQ(mInterface->GetOpenThreadLogLevel(lLevel), 0);
    EXPECT_EQ(lLevel, Level::Informational);
    for (const char *lAnswer : { "(0, <byte 8>)", "(0, <-1>)", "(0, <65536>)", "(0, <'x'>)", "(1,)" })
    {
        mMeshd.Script("GetProp", Answer::Value(lAnswer));
        EXPECT_EQ(mInterface->GetOpenThreadLogLevel(lLevel), -1);
        EXPECT_EQ(mInterface->GetJammingState(lJammed), -1);
        EXPECT_EQ(mInterface->GetNCPDriverType(), Type::Unknown);
    }
    EXPECT_EQ(lLevel, Level::Informational);
    EXPECT_EQ(mLog.Count("wpanctl: OpenThread:LogLevel returned invalid value ", 3), 3U);
    for (const char *lNumber : { "8", "-1", "65536" })
        EXPECT_TRUE(mLog.Contains(3, std::string("wpanctl: OpenThread:LogLevel returned invalid value ") + lNumber));

    mMeshd.ClearScripts();
    for (const auto &lRow : { std::pair("spinel", Type::Spinel), std::pair("silabs_tmsp", Type::SilabsTMSP),
                              std::pair("silabs", Type::Silabs), std::pair("spinel2", Type::Unknown) })
    {
        mMeshd.SetProperty("Config:NCP:DriverName", std::string("'") + lRow.first + "'");
        EXPECT_EQ(mInterface->GetNCPDriverType(), lRow.second);
    }
}

TEST_F(WPANCtl, TheChannelMaskFollowsTheDaemon)
{
    const auto kAll  = mInterface->GetSupportedChannelsMask();
    const auto kLine = "wpanctl: Supported channel mask is set to 0x";

    const auto lSettle = [&]
    {
        zqError lDone = -999; // replies come in order
        ASSERT_EQ(mInterface->Leave_Async([&](zqError anError) { lDone = anError; }), 0);
        ASSERT_TRUE(PumpUntil([&] { return lDone == 0; }));
    };

    EXPECT_EQ(mInterface->SetSupportedChannelsMask(kAll), 0);
    EXPECT_EQ(mMeshd.GetCalls().size() + mLog.Count(kLine, 2), 0U);
    for (const std::uint32_t lMask : { 0x1800U, kAll })
    {
        mMeshd.Script("SetProp", Answer::Value("(1,)"), "", 1);
        for (const int lCalls : { 1, 2 })
        {
            EXPECT_EQ(mInterface->SetSupportedChannelsMask(lMask), 0);
            lSettle();
            EXPECT_EQ(mInterface->GetSupportedChannelsMask() == lMask, lCalls == 2); // the daemon refused it first
        }
    }
    EXPECT_EQ(mLog.Count(std::string(kLine) + "00001800", 2), 2U);
    EXPECT_EQ(Writes(mMeshd).front(), "('ChannelManager:SupportedChannelMask', <6144>)");

    // What counts before an answer is the mask that was asked for last.
    for (const std::uint32_t lMask : { 0x1800U, 0x1800U, kAll, kAll, 0x1800U, kAll })
        EXPECT_EQ(mInterface->SetSupportedChannelsMask(lMask), 0);
    lSettle();
    EXPECT_EQ(Writes(mMeshd).size(), 4U);
    EXPECT_EQ(mInterface->GetSupportedChannelsMask(), kAll);
    EXPECT_EQ(mMeshd.GetProperty("ChannelManager:SupportedChannelMask"), "uint32 134215680");
}

TEST_F(WPANCtl, ADaemonThatHasRestartedGetsItsSettingsBack)
{
    const std::vector<std::pair<const char *, const char *>> kSettings = {
        { "JamDetection:Enable", "true" },
        { "JamDetection:RssiThreshold", "int16 -70" },
        { "JamDetection:Window", "int16 20" },
        { "JamDetection:BusyPeriod", "int16 3" },
        { "Thread:DeviceMode", "int16 5" },
        { "OpenThread:LogLevel", "int16 7" },
        { "ChannelManager:NewChannel", "int16 15" },
        { "ChannelManager:Delay", "int16 60" },
        { "ChannelManager:AutoSelect:Enabled", "true" },
        { "ChannelManager:AutoSelect:Interval", "7200" },
        { "ChannelManager:SupportedChannelMask", "6144" },
        { "ChannelManager:FavoredChannelMask", "2048" },
        { "quil:PAW:DestAddress", "'fd00::1'" },
    };
    zqWPANCtl::Interface &lInterface = *sInitialised->GetInterface("wpan4"); // no other test has set anything on it
    Lines                 lExpected;
    const auto            lEarlier     = Str("earlier");
    int                   lOutstanding = 0;

    mMeshd.AddInterface("wpan4");
    mMeshd.AddInterface("nobody-asked");
    // In another order than they are restored in, through both forms.
    mMeshd.Script("SetProp", Answer::Value("(0,)"));
    for (auto lSetting = kSettings.rbegin(); lSetting != kSettings.rend(); ++lSetting)
    {
        mMeshd.Script("GetProp", Answer::Value(std::string("(0, <") + lSetting->second + ">)"));
        Value lValue;
        ASSERT_EQ(lInterface.GetProperty("any", lValue), 0); // the value's text as a value
        const auto lComplete = [&](zqError anError) { lOutstanding -= anError == 0 ? 1 : 1000; };
        const bool lIsSync   = lExpected.size() % 2 != 0;
        ++lOutstanding;
        EXPECT_EQ(lInterface.SetProperty_Async(lComplete, lSetting->first, lIsSync ? lEarlier : lValue), 0);
        EXPECT_TRUE(!lIsSync || lInterface.SetProperty(lSetting->first, lValue) == 0); // its answer is handled first
        lExpected.insert(lExpected.begin(), std::string("('") + lSetting->first + "', <" + lSetting->second + ">)");
    }
    ASSERT_TRUE(PumpUntil([&] { return lOutstanding == 0; }));

    mMeshd.ClearScripts();

    // What the daemon refuses, and what is none of the settings, is not saved.
    EXPECT_EQ(lInterface.SetProperty("Thread:DeviceMode", Str("x")), -1);
    EXPECT_EQ(lInterface.SetProperty("Daemon:Enabled", Bool(true)), 0);
    EXPECT_EQ(lInterface.UpdateSettings("Thread:DeviceMode", nullptr), -5);
    Settle();

    for (const bool lIsEmptied : { false, true })
    {
        if (lIsEmptied)
        {
            EXPECT_EQ(lInterface.UpdateSettings("JamDetection:Enable", Str("Empty")), 0);
            lExpected.erase(lExpected.begin());
        }
        mLog.Clear();
        mMeshd.ClearCalls();
        ASSERT_TRUE(mMeshd.Restart());
        ASSERT_TRUE(PumpUntil(
            [&] { return mLog.Contains("wpanctl: meshd signaling interface wpan4 added, restoring saved settings"); }));
        Settle();
        EXPECT_EQ(Writes(mMeshd, "wpan4"), lExpected);
        EXPECT_EQ(mLog.Count("wpanctl: Restoring wpan property \"quil:PAW:DestAddress\"", 2), 1U);
        EXPECT_EQ(mLog.Count("wpanctl: meshd signaling interface nobody-asked added, restoring saved settings", 2), 1U);
        EXPECT_GE(mLog.Count("wpanctl: Restored all saved settings on meshd", 2), 1U);
        EXPECT_EQ(mMeshd.GetProperty("quil:PAW:DestAddress", "wpan4"), "'fd00::1'");
    }
}

// The loop's thread writes the saved value back while the application sets another one.
TEST_F(WPANCtl, ASetThatMeetsARestorationIsNotUndone)
{
    const char *const     kKey       = "ChannelManager:Delay";
    zqWPANCtl::Interface &lInterface = *sInitialised->GetInterface("wpan5");
    const std::string     lPath      = FakeMeshd::Path("wpan5");

    mMeshd.AddInterface("wpan5");
    Settle();
    ASSERT_EQ(lInterface.SetProperty(kKey, Number(1)), 0);
    for (const bool lIsSentFirst : { true, false })
    {
        const std::string lExpected = lIsSentFirst ? "uint16 2" : "uint16 3";
        int               lAnswered = 0;

        SCOPED_TRACE(lExpected);
        mMeshd.ClearCalls();
        mMeshd.Script("SetProp", Answer::Held(), lPath, lIsSentFirst ? 2 : 1); // the restoration's comes last
        EXPECT_TRUE(!lIsSentFirst || lInterface.SetProperty_Async([&](zqError) { ++lAnswered; }, kKey, Number(2)) == 0);

        std::thread lApplication(
            [&]
            {
                EXPECT_TRUE(WaitUntil([&] { return mMeshd.CountCalls("SetProp") == (lIsSentFirst ? 2U : 1U); }));
                EXPECT_TRUE(lIsSentFirst || lInterface.SetProperty(kKey, Number(3)) == 0);
                mMeshd.ReleaseHeld();
            });
        mMeshd.AddInterface("wpan5");
        Settle();
        lApplication.join();
        EXPECT_TRUE(PumpUntil([&] { return !lIsSentFirst || lAnswered == 1; }));
        EXPECT_EQ(mMeshd.GetProperty(kKey, "wpan5"), lExpected);

        mMeshd.AddInterface("wpan5"); // as it says itself after a restart
        Settle();
        EXPECT_EQ(mMeshd.GetProperty(kKey, "wpan5"), lExpected);
    }
}

} // namespace
