#include "connmanfixture.h"

namespace zq::Test
{
namespace
{

constexpr auto kExact    = zqConnMan::kDecodingExact;
constexpr auto kTolerant = zqConnMan::kDecodingTolerant;

constexpr const char *kRefused = "refused";

/** A property's value on the wire, and what becomes of { "First": value, "Second": true }. */
struct Value
{
    const char *mName;
    const char *mWire;
    std::string mExactSet;  ///< by GetProperties of a service
    std::string mExactList; ///< by GetServices
    std::string mTolerant;  ///< by either
    const char *mProperty = "First";
};

std::string Set(const std::string &aValue, const std::string &aProperty = "First")
{
    return "{" + aProperty + ": " + aValue + ", Second: true}";
}

class ValueTest : public ConnManTest, public testing::WithParamInterface<Value>
{
protected:
    std::string GetSet()
    {
        CFDictionaryRef lProperties = nullptr;
        const zqError   lReturn     = mConnMan.ServiceGetProperties(Path("a").c_str(), lProperties);

        return lReturn == 0 ? DescribeAndRelease(lProperties) : Refusal(lReturn, lProperties);
    }

    std::string GetList()
    {
        CFDictionaryRef   lServices = nullptr;
        const zqError     lReturn   = mConnMan.ManagerGetServices(lServices);
        const std::string lText     = lReturn == 0 ? DescribeAndRelease(lServices) : "";

        if (lReturn != 0)
            return Refusal(lReturn, lServices);

        // What is odd about one property costs neither its service nor the next one.
        const std::string lHead = "{/net/connman/service/a: ";
        const std::string lTail = ", /net/connman/service/b: {State: idle}}";

        EXPECT_EQ(lText.substr(0, lHead.size()), lHead);
        EXPECT_EQ(lText.substr(lText.size() - lTail.size()), lTail);
        return lText.substr(lHead.size(), lText.size() - lHead.size() - lTail.size());
    }

    static std::string Refusal(zqError anError, CFDictionaryRef aResult)
    {
        EXPECT_EQ(anError, zqError_InvalidArgument);
        EXPECT_EQ(aResult, nullptr);
        return kRefused;
    }
};

TEST_P(ValueTest, IsDecodedExactlyAndTolerantly)
{
    const Value &lCase = GetParam();

    Start();
    mFake.AddServices({ { Path("a"), {} }, { Path("b"), { { "State", "'idle'" } } } });

    const std::string lSet = "{'" + std::string(lCase.mProperty) + "': <" + lCase.mWire + ">, 'Second': <true>}";

    mFake.Script("GetProperties", Answer::Value("(@a{sv} " + lSet + ",)"), Path("a"));
    mFake.Script("GetServices", Answer::Value("(@a(oa{sv}) [('" + Path("a") + "', " + lSet + "), ('" + Path("b") +
                                              "', {'State': <'idle'>})],)"));

    EXPECT_EQ(GetSet(), lCase.mExactSet);
    EXPECT_EQ(GetList(), lCase.mExactList);

    zqConnMan::SetDecoding(kTolerant);
    EXPECT_EQ(GetSet(), lCase.mTolerant);
    EXPECT_EQ(GetList(), lCase.mTolerant);
}

const char *const kIPv4 = "IPv4.Configuration";

INSTANTIATE_TEST_SUITE_P(
    Types, ValueTest,
    testing::Values(Value{ "String", "'text'", Set("text"), Set("text"), Set("text") },
                    Value{ "EmptyString", "''", Set(""), Set(""), Set("") },
                    Value{ "NotASCII", "'W\u00fcst\u2603'", Set("W\u00fcst\u2603"), Set("W\u00fcst\u2603"),
                           Set("W\u00fcst\u2603") },
                    Value{ "Boolean", "false", Set("false"), Set("false"), Set("false") },
                    Value{ "Byte", "byte 255", Set("255"), Set("255"), Set("255") },
                    Value{ "UInt16", "uint16 65535", Set("65535"), kRefused, Set("65535") },
                    Value{ "Int16", "int16 -32768", kRefused, kRefused, Set("-32768") },
                    Value{ "Int32", "int32 -2147483648", kRefused, kRefused, Set("-2147483648") },
                    Value{ "UInt32", "uint32 4294967295", kRefused, kRefused, Set("4294967295") },
                    Value{ "Int64", "int64 -9223372036854775808", kRefused, kRefused, Set("-9223372036854775808") },
                    Value{ "UInt64", "uint64 9223372036854775807", kRefused, kRefused, Set("9223372036854775807") },
                    Value{ "Double", "0.25", kRefused, kRefused, Set("0.250000") },
                    Value{ "Path", "objectpath '/a/b'", kRefused, Set("/a/b"), Set("/a/b") },
                    Value{ "Signature", "signature 'a{sv}'", kRefused, kRefused, Set("a{sv}") },
                    Value{ "Handle", "handle 0", kRefused, kRefused, "{Second: true}" }),
    [](const auto &anInfo) { return std::string(anInfo.param.mName); });

INSTANTIATE_TEST_SUITE_P(
    Containers, ValueTest,
    testing::Values(
        Value{ "Strings", "['a', 'b']", Set("[a, b]"), Set("[a, b]"), Set("[a, b]") },
        Value{ "NoStrings", "@as []", Set("[]"), Set("[]"), Set("[]") },
        Value{ "Bytes", "[byte 1, 2]", Set("[1, 2]"), Set("[1, 2]"), Set("[1, 2]") },
        Value{ "KnownDictionary", "{'Method': <'dhcp'>, 'PrefixLength': <byte 24>}",
               Set("{Method: dhcp, PrefixLength: 24}", kIPv4), Set("{Method: dhcp, PrefixLength: 24}", kIPv4),
               Set("{Method: dhcp, PrefixLength: 24}", kIPv4), kIPv4 },
        Value{ "EmptyDictionary", "@a{sv} {}", Set("{}", "Proxy"), Set("{}", "Proxy"), Set("{}", "Proxy"), "Proxy" },
        Value{ "ListInADictionary", "{'Servers': <['p', 'q']>, 'URL': <'u'>}",
               Set("{Servers: [p, q], URL: u}", "Proxy"), Set("{Servers: [p, q], URL: u}", "Proxy"),
               Set("{Servers: [p, q], URL: u}", "Proxy"), "Proxy" },
        // Only the seven dictionaries that a service has are told from lists by their names.
        Value{ "OtherDictionary", "{'Host': <'h'>}", Set("[Host, h]"), Set("[Host, h]"), Set("{Host: h}") },
        Value{ "NamesDifferInCase", "{'Host': <'h'>}", Set("[Host, h]", "ipv4"), Set("[Host, h]", "ipv4"),
               Set("{Host: h}", "ipv4"), "ipv4" },
        Value{ "StringsForADictionary", "['k', 'v', 'k2']", Set("{k: v}", "IPv6"), Set("{k: v}", "IPv6"),
               Set("[k, v, k2]", "IPv6"), "IPv6" },
        Value{ "BooleansForADictionary", "[true]", kRefused, kRefused, Set("[true]", "IPv6"), "IPv6" },
        Value{ "MTU", "{'Method': <'auto'>, 'MTU': <uint16 1500>}", Set("{Method: auto, MTU: 1500}", "Ethernet"),
               kRefused, Set("{Method: auto, MTU: 1500}", "Ethernet"), "Ethernet" },
        Value{ "Structure", "('a', 'b')", kRefused, kRefused, Set("[a, b]") },
        Value{ "StructuresInALists", "[('a', @a{sv} {'n': <uint32 1>})]", kRefused, kRefused, Set("[[a, {n: 1}]]") },
        Value{ "ListOfDictionaries", "[@a{sv} {'n': <int32 1>}, {}]", kRefused, kRefused, Set("[{n: 1}, {}]") },
        Value{ "HandlesInAList", "[handle 0, handle 1]", kRefused, kRefused, Set("[]") },
        Value{ "HandleInADictionary", "{'fd': <handle 0>, 'n': <int32 1>}", kRefused, kRefused, Set("{n: 1}") },
        Value{ "NumbersForKeys", "{uint32 7: <'x'>, 8: <'y'>}", kRefused, kRefused, Set("{7: x, 8: y}") },
        Value{ "VariantsInVariants", "<<<'deep'>>>", Set("deep"), Set("deep"), Set("deep") },
        Value{ "AddressConflict", "{'IPv4': <{'Address': <'1.2.3.4'>}>, 'Timestamp': <int64 5>, 'Resolved': <false>}",
               kRefused, kRefused, Set("{IPv4: {Address: 1.2.3.4}, Timestamp: 5, Resolved: false}") }),
    [](const auto &anInfo) { return std::string(anInfo.param.mName); });

class TechnologyValueTest : public ConnManTest
{
protected:
    std::string Get()
    {
        CFDictionaryRef lProperties = nullptr;
        const zqError   lReturn     = mConnMan.TechnologyGetProperties("/t", lProperties);

        return lReturn == 0 ? DescribeAndRelease(lProperties) : std::to_string(lReturn);
    }
};

TEST_F(TechnologyValueTest, OnlyAlternatesAreKeptOfTheListsInside)
{
    static const struct
    {
        const char *mWire;
        const char *mExact;
        const char *mTolerant;
    } sCases[] = {
        { "{'Powered': <true>, 'Name': <'WiFi'>}", "{Powered: true, Name: WiFi}", "{Powered: true, Name: WiFi}" },
        { "{'Freq': <int32 0>}", "-5", "{Freq: 0}" },
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
    {
        mFake.Script("GetProperties", Answer::Value("(@a{sv} " + std::string(lCase.mWire) + ",)"), "/t", 2);
        zqConnMan::SetDecoding(kExact);
        EXPECT_EQ(Get(), lCase.mExact) << lCase.mWire;
        zqConnMan::SetDecoding(kTolerant);
        EXPECT_EQ(Get(), lCase.mTolerant) << lCase.mWire;
    }
}

TEST_F(ConnManTest, RepliesOfAnotherSignatureAreRefusedWithAnAssertion)
{
    static const char *const sReplies[] = { "",
                                            "('text',)",
                                            "(@as [],)",
                                            "(@a{ss} {'State': 'idle'},)",
                                            "(@a{sv} {}, 'more')",
                                            "(@a(oa{ss}) [],)",
                                            "(@a(sa{sv}) [],)",
                                            "(@a{oa{sv}} {},)" };
    using Getter                        = zqError (zqConnMan::*)(CFDictionaryRef &);

    Start();

    for (const zqConnMan::Decoding lDecoding : { kExact, kTolerant })
        for (const char *lReply : sReplies)
            for (const Getter lGetter :
                 { Getter(&zqConnMan::ManagerGetProperties), Getter(&zqConnMan::ManagerGetServices),
                   Getter(&zqConnMan::ManagerGetTechnologies) })
            {
                CFDictionaryRef lResult = nullptr;

                zqConnMan::SetDecoding(lDecoding);
                mFake.Script("GetProperties", Answer::Value(lReply), "", 1);
                mFake.Script("GetServices", Answer::Value(lReply), "", 1);
                mFake.Script("GetTechnologies", Answer::Value(lReply), "", 1);
                mLog.Clear();
                EXPECT_EQ((mConnMan.*lGetter)(lResult), zqError_InvalidArgument) << lReply;
                EXPECT_EQ(lResult, nullptr);
                EXPECT_TRUE(mLog.Contains("ASSERT: connman: dbus_message_has_signature", 4));
                EXPECT_TRUE(mLog.Contains("file: zqconnman, line: ", 4));
                mFake.ClearScripts();
            }
}

TEST_F(ConnManTest, TheArrayFormsYieldThePathsInTheDaemonsOrder)
{
    mFake.AddServices({ { Path("z"), {} }, { Path("a"), {} }, { Path("m"), {} } });
    Start();
    mFake.ClearCalls();

    const auto lPaths = CFUAdopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));

    EXPECT_EQ(mConnMan.ManagerGetServices(lPaths.Get()), 0);
    EXPECT_EQ(Describe(lPaths.Get()), "[/net/connman/service/z, /net/connman/service/a, /net/connman/service/m]");
    EXPECT_EQ(mFake.CountCalls("GetServices"), 0u);

    // Nothing loaded: the daemon is asked.
    mConnMan.FlushServices();
    CFArrayRemoveAllValues(lPaths.Get());
    EXPECT_EQ(mConnMan.ManagerGetServices(lPaths.Get()), 0);
    EXPECT_EQ(CFArrayGetCount(lPaths.Get()), 3);
    EXPECT_EQ(mFake.CountCalls("GetServices"), 1u);
    EXPECT_EQ(mConnMan.ManagerGetServices(static_cast<CFMutableArrayRef>(nullptr)), zqError_InvalidArgument);
}

} // namespace
} // namespace zq::Test
