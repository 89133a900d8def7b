#include "connmanfixture.h"

namespace zq::Test
{
namespace
{

constexpr auto kExact    = zqConnMan::kDecodingExact;
constexpr auto kTolerant = zqConnMan::kDecodingTolerant;

const char *const kRefused = "refused"; ///< the whole answer
const char *const kLeftOut = "left out";

/** A property's value on the wire, and what becomes of it in a set of properties. */
struct Value
{
    const char *mWire;
    const char *mExact;
    const char *mTolerant  = nullptr; ///< null: the same
    const char *mProperty  = "First";
    const char *mExactList = nullptr; ///< among all services, where exact decoding is another: null: the same
};

const Value kValues[] = {
    { "'text'", "text" },
    { "''", "" },
    { "'W\u00fcst\u2603'", "W\u00fcst\u2603" },
    { "false", "false" },
    { "byte 255", "255" },
    { "uint16 65535", "65535", nullptr, "First", kRefused },
    { "int16 -32768", kRefused, "-32768" },
    { "int32 -2147483648", kRefused, "-2147483648" },
    { "uint32 4294967295", kRefused, "4294967295" },
    { "int64 -9223372036854775808", kRefused, "-9223372036854775808" },
    { "uint64 9223372036854775807", kRefused, "9223372036854775807" },
    { "0.25", kRefused, "0.250000" },
    { "objectpath '/a/b'", kRefused, "/a/b", "First", "/a/b" },
    { "signature 'a{sv}'", kRefused, "a{sv}" },
    { "handle 0", kRefused, kLeftOut },
    // Containers
    { "['a', 'b']", "[a, b]" },
    { "@as []", "[]" },
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
    { "('a', 'b')", kRefused, "[a, b]" },
    { "[('a', @a{sv} {'n': <uint32 1>})]", kRefused, "[[a, {n: 1}]]" },
    { "[@a{sv} {'n': <int32 1>}, {}]", kRefused, "[{n: 1}, {}]" },
    { "[handle 0, handle 1]", kRefused, "[]" },
    { "{'fd': <handle 0>, 'n': <int32 1>}", kRefused, "{n: 1}" },
    { "{uint32 7: <'x'>, 8: <'y'>}", kRefused, "{7: x, 8: y}" },
    { "<<<'deep'>>>", "deep" },
    { "{'IPv4': <{'Address': <'1.2.3.4'>}>, 'Timestamp': <int64 5>, 'Resolved': <false>}", kRefused,
      "{IPv4: {Address: 1.2.3.4}, Timestamp: 5, Resolved: false}" },
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

    void ExpectBoth(const Value &aValue, const std::string &aSet, const std::string &aList)
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

    for (const Value &lCase : kValues)
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
        { "{'Powered': <true>, 'Name': <'WiFi'>}", "{Powered: true, Name: WiFi}", "{Powered: true, Name: WiFi}" },
        { "{'Freq': <int32 0>}", kRefused, "{Freq: 0}" },
        { "{'Field': <{'Alternates': <['WPS', 'x']>, 'Type': <'psk'>}>}", "{Field: {Alternates: [WPS, x], Type: psk}}",
          "{Field: {Alternates: [WPS, x], Type: psk}}" },
        { "{'Field': <{'Other': <['a', 'b', 'c']>, 'Type': <'psk'>}>, 'Last': <true>}",
          "{Field: {Type: psk}, Last: true}", "{Field: {Other: [a, b, c], Type: psk}, Last: true}" },
        { "{'Field': <{'Other': <[['a'], ['b']]>, 'Type': <'psk'>}>, 'Last': <true>}",
          "{Field: {Type: psk}, Last: true}", "{Field: {Other: [[a], [b]], Type: psk}, Last: true}" },
        { "{'Field': <{'Other': <[(true, 'a')]>}>, 'Last': <true>}", "{Field: {}, Last: true}",
          "{Field: {Other: [[true, a]]}, Last: true}" },
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

    for (const char *lReply : { "", "('text',)", "(@as [],)", "(@a{ss} {'State': 'idle'},)", "(@a{sv} {}, 'more')",
                                "(@a(oa{ss}) [],)", "(@a(sa{sv}) [],)", "(@a{oa{sv}} {},)" })
        for (const zqConnMan::Decoding lDecoding : { kExact, kTolerant })
            for (const Getter &lGetter : lGetters)
            {
                zqConnMan::SetDecoding(lDecoding);
                for (const char *lMethod : { "GetProperties", "GetServices", "GetTechnologies" })
                    mFake.Script(lMethod, Answer::Value(lReply));
                mLog.Clear();
                EXPECT_EQ(Ask(lGetter), kRefused) << lReply;
                EXPECT_TRUE(mLog.Contains("ASSERT: connman: dbus_message_has_signature", 4)) << lReply;
                EXPECT_TRUE(mLog.Contains("file: zqconnman, line: ", 4));
            }
}

TEST_F(DecodeTest, TheArrayFormsYieldThePathsInTheDaemonsOrder)
{
    const auto lPaths = CFUAdopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));

    mFake.AddServices({ { Path("z"), {} }, { Path("a"), {} }, { Path("m"), {} } });
    Start();

    // What is loaded is not asked for again.
    for (const std::size_t lCalls : { 0u, 1u })
    {
        EXPECT_EQ(mConnMan.ManagerGetServices(lPaths.Get()), 0);
        EXPECT_EQ(Describe(lPaths.Get()), "[" + Path("z") + ", " + Path("a") + ", " + Path("m") + "]");
        EXPECT_EQ(mFake.CountCalls("GetServices"), lCalls);
        CFArrayRemoveAllValues(lPaths.Get());
        mConnMan.FlushServices();
    }
    EXPECT_EQ(mConnMan.ManagerGetServices(static_cast<CFMutableArrayRef>(nullptr)), zqError_InvalidArgument);
}

} // namespace
} // namespace zq::Test
