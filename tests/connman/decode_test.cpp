#include "connmanfixture.h"

using namespace zq::Test;

namespace
{

constexpr auto kExact    = zqConnMan::kDecodingExact;
constexpr auto kTolerant = zqConnMan::kDecodingTolerant;

const char *const kRefused = "refused"; ///< the whole answer
const char *const kLeftOut = "left out";

/** A property's value on the wire, and what becomes of it in a set of properties. */
struct Sample
{
    const char *mWire;
    const char *mExact;
    const char *mTolerant  = nullptr; ///< null: the same
    const char *mProperty  = "First";
    const char *mExactList = nullptr; ///< among all services, where exact decoding is another: null: the same
};

const Sample kSamples[] = {
    { "'W\u00fcst\u2603'", "W\u00fcst\u2603" },
    { "false", "false" },
    { "byte 255", "255" },
    { "uint16 65535", "65535", nullptr, "First", kRefused },
    { "int16 -32768", kRefused, "-32768" },
    { "uint32 4294967295", kRefused, "4294967295" },
    { "int64 -9223372036854775808", kRefused, "-9223372036854775808" },
    { "0.25", kRefused, "0.250000" },
    { "objectpath '/a/b'", kRefused, "/a/b", "First", "/a/b" },
    { "handle 0", kRefused, kLeftOut },
    // Containers
    { "['a', 'b']", "[a, b]" },
    { "[byte 1, 2]", "[1, 2]" },
    { "{'Method': <'dhcp'>, 'PrefixLength': <byte 24>}", "{Method: dhcp, PrefixLength: 24}", nullptr,
      "IPv4.Configuration" },
    { "@a{sv} {}", "{}", nullptr, "Proxy" },
    { "{'Servers': <['p', 'q']>, 'URL': <'u'>}", "{Servers: [p, q], URL: u}", nullptr, "Proxy" },
    // Only the seven dictionaries that a service has are told from lists by their names.
    { "{'Host': <'h'>}", "[Host, h]", "{Host: h}" },
    { "{'Host': <'h'>}", "[Host, h]", "{Host: h}", "ipv4" },
    { "['k', 'v', 'k2']", "{k: v}", "[k, v, k2]", "IPv6" },
    { "[true]", kRefused, "[true]", "IPv6" },
    { "{'Method': <'auto'>, 'MTU': <uint16 1500>}", "{Method: auto, MTU: 1500}", nullptr, "Ethernet", kRefused },
    { "[('a', @a{sv} {'n': <uint32 1>})]", kRefused, "[[a, {n: 1}]]" },
};

class DecodeTest : public ConnManTest
{
protected:
    using Getter = std::function<zqError(CFDictionaryRef &)>;

    /** What a question yields: its text, or kRefused. */
    static std::string Ask(const Getter &aGetter)
    {
        CFDictionaryRef lResult = nullptr;
        const zqError   lReturn = aGetter(lResult);

        if (lReturn == 0)
            return DescribeAndRelease(lResult);

        EXPECT_EQ(lReturn, zqError_InvalidArgument);
        EXPECT_EQ(lResult, nullptr);
        return kRefused;
    }

    void ExpectBoth(const Sample &aValue, const std::string &aSet, const std::string &aList)
    {
        // What is odd about one property costs neither the next one nor the next service.
        const auto lSet = [&](const std::string &aText)
        { return "{" + (aText == kLeftOut ? "" : aValue.mProperty + (": " + aText) + ", ") + "Second: true}"; };

        EXPECT_EQ(Ask([&](CFDictionaryRef &aResult) { return mConnMan.ServiceGetProperties(kA.c_str(), aResult); }),
                  aSet == kRefused ? aSet : lSet(aSet));
        EXPECT_EQ(Ask([&](CFDictionaryRef &aResult) { return mConnMan.ManagerGetServices(aResult); }),
                  aList == kRefused ? aList : "{" + kA + ": " + lSet(aList) + ", " + Path("b") + ": {State: idle}}");
    }
};

TEST_F(DecodeTest, ValuesAreDecodedExactlyAndTolerantly)
{
    AddService("a");
    Start();

    for (const Sample &lCase : kSamples)
    {
        SCOPED_TRACE(lCase.mProperty + (" " + std::string(lCase.mWire)));

        const std::string lSet = "{'" + std::string(lCase.mProperty) + "': <" + lCase.mWire + ">, 'Second': <true>}";

        mFake.ClearScripts();
        mFake.Script("GetProperties", Answer::Value("(@a{sv} " + lSet + ",)"));
        mFake.Script("GetServices", Answer::Value("(@a(oa{sv}) [('" + kA + "', " + lSet + "), ('" + Path("b") +
                                                  "', {'State': <'idle'>})],)"));

        zqConnMan::SetDecoding(kExact);
        ExpectBoth(lCase, lCase.mExact, lCase.mExactList != nullptr ? lCase.mExactList : lCase.mExact);

        const char *const lTolerant = lCase.mTolerant != nullptr ? lCase.mTolerant : lCase.mExact;

        zqConnMan::SetDecoding(kTolerant);
        ExpectBoth(lCase, lTolerant, lTolerant);
    }
}

TEST_F(DecodeTest, OfATechnologysListsInsideOnlyAlternatesAreKept)
{
    static const struct
    {
        const char *mWire;
        const char *mExact;
        const char *mTolerant;
    } sCases[] = {
        { "{'Freq': <int32 0>}", kRefused, "{Freq: 0}" },
        { "{'Field': <{'Alternates': <['WPS', 'x']>, 'Type': <'psk'>}>}", "{Field: {Alternates: [WPS, x], Type: psk}}",
          "{Field: {Alternates: [WPS, x], Type: psk}}" },
        { "{'Field': <{'Other': <[['a'], ['b']]>, 'Type': <'psk'>}>, 'Last': <true>}",
          "{Field: {Type: psk}, Last: true}", "{Field: {Other: [[a], [b]], Type: psk}, Last: true}" },
    };

    mFake.AddTechnology("/t", {});
    Start();

    for (const auto &lCase : sCases)
        for (const zqConnMan::Decoding lDecoding : { kExact, kTolerant })
        {
            zqConnMan::SetDecoding(lDecoding);
            mFake.Script("GetProperties", Answer::Value("(@a{sv} " + std::string(lCase.mWire) + ",)"), "/t", 1);
            EXPECT_EQ(Ask([&](CFDictionaryRef &aResult) { return mConnMan.TechnologyGetProperties("/t", aResult); }),
                      lDecoding == kExact ? lCase.mExact : lCase.mTolerant)
                << lCase.mWire;
        }
}

TEST_F(DecodeTest, RepliesOfAnotherSignatureAreRefusedWithAnAssertion)
{
    const Getter lGetters[] = { [&](CFDictionaryRef &aResult) { return mConnMan.ManagerGetProperties(aResult); },
                                [&](CFDictionaryRef &aResult) { return mConnMan.ManagerGetServices(aResult); },
                                [&](CFDictionaryRef &aResult) { return mConnMan.ManagerGetTechnologies(aResult); } };

    Start();
    for (const char *lReply : { "", "(@a{ss} {'State': 'idle'},)", "(@a{sv} {}, 'more')", "(@a(sa{sv}) [],)" })
    {
        for (const char *lMethod : { "GetProperties", "GetServices", "GetTechnologies" })
            mFake.Script(lMethod, Answer::Value(lReply));
        for (const zqConnMan::Decoding lDecoding : { kExact, kTolerant })
        {
            zqConnMan::SetDecoding(lDecoding);
            for (const Getter &lGetter : lGetters)
            {
                mLog.Clear();
                EXPECT_EQ(Ask(lGetter), kRefused) << lReply;
                EXPECT_TRUE(mLog.Contains("ASSERT: connman: dbus_message_has_signature", 4)) << lReply;
                EXPECT_TRUE(mLog.Contains("file: zqconnman, line: ", 4));
            }
        }
    }
}

} // namespace
