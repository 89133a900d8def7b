/**
 *  @file
 *    The commands of an interface: what the daemon gets, and what becomes of its answers.
 */

#include "wpanctlfixture.h"

#include <chrono>
#include <functional>

namespace
{

using namespace zq::Test;

using Interface  = zqWPANCtl::Interface;
using Completion = Interface::Completion;

/** A command in both its forms. */
struct Forms
{
    std::function<zqError(Interface &)>                     mSync;
    std::function<zqError(Interface &, const Completion &)> mAsync;
};

template <typename... P, typename... A>
Forms Both(zqError (Interface::*aSync)(P...), zqError (Interface::*anAsync)(const Completion &, P...), A... aArguments)
{
    return { [=](Interface &anInterface) { return (anInterface.*aSync)(aArguments...); },
             [=](Interface &anInterface, const Completion &aCompletion)
             { return (anInterface.*anAsync)(aCompletion, aArguments...); } };
}

#define FORMS(aCommand) &Interface::aCommand, &Interface::aCommand##_Async

constexpr unsigned char kBytes[16] = { 0xfd, 0x00, 0xff, 0xff, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16 };

/** What the completion of an asynchronous form is told; -999 when it was not sent, with the result in @a aSent. */
zqError Outcome(const Forms &aForms, Interface &anInterface, zqError &aSent)
{
    zqError lError = -999;

    aSent = aForms.mAsync(anInterface, [&](zqError anError) { lError = anError; });
    EXPECT_TRUE(aSent != 0 || WPANCtl::PumpUntil([&] { return lError != -999; }));
    return lError;
}

TEST_F(WPANCtl, EveryCommandReachesTheDaemonWithItsArguments)
{
    const double kHalf    = 0.5;
    const auto   kDouble  = CFUAdopt(CFNumberCreate(nullptr, kCFNumberDoubleType, &kHalf));
    const auto   kData    = CFUAdopt(CFDataCreate(nullptr, kBytes, 3));
    const auto   kNoData  = CFUAdopt(CFDataCreate(nullptr, nullptr, 0));
    const auto   kNull    = Str({ "a\0b", 3 });
    const auto   kArray   = Strings({ "x" });
    const auto   kMixed   = MakeArray();
    const auto   kMap     = Dict({ { "k", kMixed } });
    const auto   kEndless = MakeArray();

    CFArrayAppendValue(kMixed.Get(), kArray.Get());
    CFArrayAppendValue(kMixed.Get(), kCFBooleanTrue);
    CFArrayAppendValue(kEndless.Get(), kEndless.Get());

    const auto Set = [](const Value &aValue) { return Both(FORMS(SetProperty), zqString("K"), aValue); };
    const struct
    {
        Forms       mForms;
        const char *mMethod; // null: refused with -5, and nothing is sent
        const char *mArguments;
    } kRows[] = {
        { Both(FORMS(PermitJoin), 300, 8080), "PermitJoin", "(300, true, uint16 8080, byte 0x00)" },
        { Both(FORMS(PermitJoin), -1, 0), "PermitJoin", "(-1, false, uint16 0, byte 0x00)" },
        { Both(FORMS(PermitJoin), 65534, 65535), "PermitJoin", "(65534, true, uint16 65535, byte 0x00)" },
        { Both(FORMS(PermitJoin), 65535, 0), nullptr, "" },
        { Both(FORMS(PermitJoin), -2, 0), nullptr, "" },
        { Both(FORMS(Form), zqString("n\xc3\xa9t"), short(-1), 0xFFFFFFFFU, kBytes), "Form",
          "('n\xc3\xa9t', int16 -1, uint32 134215680, "
          "[byte 0xfd, 0x00, 0xff, 0xff, 0x05, 0x06, 0x07, 0x08])" },
        { Both(FORMS(Form), zqString("net"), short(11), 0x7FFU, kBytes), nullptr, "" },
        { Both(FORMS(Form), zqString("net"), short(11), 0x800U, nullptr), nullptr, "" },
        { Both(FORMS(Form), zqString(kNull), short(11), 0x800U, kBytes), nullptr, "" },
        { Both(FORMS(BeginNetWake), 255), "BeginNetWake", "(byte 0xff, uint32 0)" },
        { Both(FORMS(BeginNetWake), 256), nullptr, "" },
        { Both(FORMS(BeginNetWake), -1), nullptr, "" },
        { Both(FORMS(AddExternalRoute), kBytes, 20, 7, short(-1)), "AddRoute",
          "([byte 0xfd, 0x00, 0xf0], uint16 7, int16 -1)" },
        { Both(FORMS(AddExternalRoute), kBytes, 0, 0, short(0)), "AddRoute", "(@ay [], uint16 0, int16 0)" },
        { Both(FORMS(AddExternalRoute), kBytes, 129, 0, short(0)), nullptr, "" },
        { Both(FORMS(AddExternalRoute), nullptr, 0, 0, short(0)), nullptr, "" },
        { Both(FORMS(RemoveExternalRoute), kBytes, 128, 65535), "RemoveRoute",
          "([byte 0xfd, 0x00, 0xff, 0xff, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0a, 0x0b, 0x0c, 0x0d, 0x0e, 0x0f, 0x10], "
          "uint16 65535)" },
        { Both(FORMS(RemoveExternalRoute), nullptr, 8, 1), nullptr, "" },
        { Both(FORMS(ConfigGateway), kBytes, 17, true, 1, 0xFFFFFFFF), "ConfigGateway",
          "(true, [byte 0xfd, 0x00, 0x80], uint32 1, uint32 4294967295)" },
        { Both(FORMS(ConfigGateway), nullptr, 8, true, 1, 1), nullptr, "" },
        { Both(FORMS(BeginLowPower)), "BeginLowPower", "()" },
        { Both(FORMS(Leave)), "Leave", "()" },
        { Both(FORMS(Reset)), "Reset", "()" },
        { Both(FORMS(Ping), 5000), "Ping", "()" },
        { Both(FORMS(Ping), -2), nullptr, "" },
        { Both(FORMS(HostDidWake), -1), "HostDidWake", "()" },
        { Set(Str("x")), "SetProp", "('K', <'x'>)" },
        { Set(Bool(true)), "SetProp", "('K', <true>)" },
        { Set(NumberOf(kCFNumberSInt8Type, -3)), "SetProp", "('K', <int16 -3>)" },
        { Set(NumberOf(kCFNumberShortType, 3)), "SetProp", "('K', <int16 3>)" },
        { Set(NumberOf(kCFNumberSInt32Type, -3)), "SetProp", "('K', <-3>)" },
        { Set(NumberOf(kCFNumberLongLongType, -3)), "SetProp", "('K', <int64 -3>)" },
        { Set(kDouble), "SetProp", "('K', <0.5>)" },
        { Set(kData), "SetProp", "('K', <[byte 0xfd, 0x00, 0xff]>)" },
        { Set(kNoData), "SetProp", "('K', <@ay []>)" },
        { Set(kArray), "SetProp", "('K', <['x']>)" },
        { Set(kMap), "SetProp", "('K', <{'k': <[<['x']>, <true>]>}>)" },
        { Set(kEndless), nullptr, "" },
        { Set(kNull), nullptr, "" },
        { Set(nullptr), nullptr, "" },
        { Both(FORMS(SetProperty), zqString(kNull), Value(kArray)), nullptr, "" },
    };

    mMeshd.Script("SetProp", Answer::Value("(0,)"));
    for (const auto &lRow : kRows)
    {
        SCOPED_TRACE(std::to_string(&lRow - kRows) + " " + lRow.mArguments);
        zqError       lSent     = 0;
        const zqError lExpected = lRow.mMethod != nullptr ? 0 : -5;

        mMeshd.ClearCalls();
        EXPECT_EQ(lRow.mForms.mSync(*mInterface), lExpected);
        EXPECT_EQ(Outcome(lRow.mForms, *mInterface, lSent), lRow.mMethod != nullptr ? 0 : -999);
        EXPECT_EQ(lSent, lExpected);

        const auto lCalls = mMeshd.GetCalls();
        ASSERT_EQ(lCalls.size(), lRow.mMethod != nullptr ? 2U : 0U);
        for (const FakePeer::Call &lCall : lCalls)
        {
            EXPECT_EQ(lCall.mPath + " " + lCall.mInterface, FakeMeshd::Path() + " " + FakeMeshd::kInterface);
            EXPECT_EQ(lCall.mMethod + lCall.mArguments, std::string(lRow.mMethod) + lRow.mArguments);
        }
    }
    EXPECT_EQ(mLog.Count("wpanctl: Cannot form, given channel mask 7ff08x does not intersect with the supported "
                         "channels mask 7fff80008x\n",
                         3),
              2U);
    CFArrayRemoveAllValues(kEndless.Get());
}

TEST_F(WPANCtl, WhatBecomesOfAnAnswer)
{
    const char *const kNoReply = DBUS_ERROR_NO_REPLY;
    const struct
    {
        Answer  mAnswer;
        int     mTimeout;
        zqError mResult;
        zqError mOutcome; // of the asynchronous form
    } kRows[] = {
        { Answer::Value("(0,)"), 5000, 0, 0 },
        { Answer::Value("(0, 'more')"), 5000, 0, 0 },
        { Answer::Value("(1,)"), 5000, -1, -1 },
        { Answer::Value("(-2,)"), 5000, -1, -1 },
        { Answer::Value(""), 5000, -1, -1 },
        { Answer::Value("(uint32 0,)"), 5000, -1, -1 },
        { Answer::Value("('0',)"), 5000, -1, -1 },
        { Answer::Error("com.corvanix.Error.Any", "Any"), 5000, -1, -1 },
        { Answer::Error(kNoReply, "None"), 5000, -16, -16 },
        { Answer::Silence(), 500, -16, -16 },
        { Answer::Silence(), 0, 0, 0 },
        { Answer::Crash(), 5000, -16, -16 }, // once: to the one that is under way
    };

    for (const auto &lRow : kRows)
    {
        SCOPED_TRACE(std::to_string(&lRow - kRows));
        const Forms lForms = Both(FORMS(Ping), lRow.mTimeout);
        zqError     lSent  = 0;

        mMeshd.Script("Ping", lRow.mAnswer);
        EXPECT_EQ(lForms.mSync(*mInterface), lRow.mResult);
        ASSERT_TRUE(mMeshd.IsPresent() || mMeshd.Appear());
        EXPECT_EQ(Outcome(lForms, *mInterface, lSent), lRow.mOutcome);
        EXPECT_EQ(lSent, 0);
        ASSERT_TRUE(mMeshd.IsPresent() || mMeshd.Appear());
    }

    zqError lSent = 0;
    mMeshd.Crash();
    EXPECT_EQ(mInterface->Ping(5000), -1); // nobody has the name
    EXPECT_EQ(Outcome(Both(FORMS(Ping), 5000), *mInterface, lSent), -1);
}

TEST_F(WPANCtl, WaitingForLowPowerIsShort)
{
    const auto lStart   = std::chrono::steady_clock::now();
    zqError    lOutcome = -999;

    mMeshd.Script("BeginLowPower", Answer::Silence());
    EXPECT_EQ(mInterface->BeginLowPower_Async([&](zqError anError) { lOutcome = anError; }), 0);
    EXPECT_EQ(mInterface->BeginLowPower(), -16);
    EXPECT_LT(std::chrono::steady_clock::now() - lStart, std::chrono::seconds(5)); // it is 1
    EXPECT_TRUE(PumpUntil([&] { return lOutcome != -999; }));
    EXPECT_EQ(lOutcome, -16);
    EXPECT_GE(std::chrono::steady_clock::now() - lStart, std::chrono::seconds(4)); // it is 5
}

} // namespace
