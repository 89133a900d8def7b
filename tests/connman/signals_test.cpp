#include "connmanfixture.h"

using namespace zq::Test;

namespace
{

class SignalsTest : public ConnManTest
{
protected:
    SignalsTest()
    {
        mFake.AddServices({ { Path("a"), { { "State", "'idle'" } } }, { Path("b"), { { "State", "'idle'" } } } });
        mFake.AddTechnology("/t", { { "Powered", "false" } });
        Start();
    }

    /** What a delegate that comes now would be told of the services. */
    Events Replay()
    {
        RecordingDelegate lOther;

        mConnMan.SetDelegate(&lOther);
        mConnMan.SetDelegate(&mDelegate);
        mDelegate.mEvents.clear();
        return lOther.mEvents;
    }
};

TEST_F(SignalsTest, ServicesChangedTellsAddedRemovedAndUpdatedInThisOrder)
{
    static const std::pair<const char *, Events> sCases[] = {
        { "(@a(oa{sv}) [], [objectpath '/net/connman/service/b', '/unknown'])",
          { "ServicesRemoved [/net/connman/service/b, /unknown]" } },
        { "(@a(oa{sv}) [('/n', {'State': <'idle'>}), ('/net/connman/service/a', {'State': <'ready'>})], "
          "[objectpath '/net/connman/service/b'])",
          { "ServicesAdded [/n]", "ServicesRemoved [/net/connman/service/b]",
            "ServicesUpdated [/net/connman/service/a]" } },
        { "(@a(oa{sv}) [('/n', {})], [objectpath '/n'])", { "ServicesAdded [/n]", "ServicesRemoved [/n]" } },
        { "(@a(oa{sv}) [('/n', {'A': <'1'>}), ('/n', {'A': <'2'>})], @ao [])", { "ServicesAdded [/n]" } },
    };

    for (const auto &lCase : sCases)
    {
        mConnMan.Flush();
        ASSERT_EQ(mConnMan.Update(), 0);
        Take();
        mLog.Clear();
        mFake.Emit("/", kManager, "ServicesChanged", lCase.first);
        EXPECT_EQ(Take(), lCase.second) << lCase.first;
        EXPECT_TRUE(mLog.Contains("services to 2 existing services", 2));
    }
}

TEST_F(SignalsTest, EveryChangeComesExactlyOnceAndNoneOfWhatIsUnknown)
{
    mFake.SetServiceProperty(Path("a"), "Ethernet", "{'MTU': <uint16 1500>}");
    mFake.SetManagerProperty("State", "'online'");
    mFake.Emit("/other", kManager, "PropertyChanged", "('State', <'idle'>)");
    mFake.Emit("/unknown", kService, "PropertyChanged", "('State', <'idle'>)");
    mFake.Emit("/unknown", kTechnology, "PropertyChanged", "('Powered', <true>)");
    mFake.AddTechnology("/u", { { "Powered", "false" }, { "Name", "'U'" } });
    mFake.SetTechnologyProperty("/u", "Powered", "true");
    mFake.RemoveTechnology("/u");

    EXPECT_EQ(Take(), (Events{ "ServiceChanged /net/connman/service/a {Ethernet: {MTU: 1500}}",
                               "PropertiesChanged {State: online}", "StateChanged online", "TechnologiesAdded [/u]",
                               "TechnologyChanged /u {Powered: true}", "TechnologiesRemoved [/u]" }));
    EXPECT_EQ(mLog.Count("connman: ServicePropertyChanged", 1), 2u);
    EXPECT_TRUE(mLog.Contains("connman: adding 1 technologies to 1 existing technologies", 2));
    EXPECT_TRUE(mLog.Contains("connman: failed to find service /unknown for properties change"));
    EXPECT_TRUE(mLog.Contains("connman: failed to find technology /unknown for properties change"));
}

TEST_F(SignalsTest, SignalsOfAnotherSignatureAreRefusedAndChangeNothing)
{
    static const struct
    {
        const char *mPath;
        const char *mInterface;
        const char *mMember;
        const char *mBody;
    } sSignals[] = {
        { "/", kManager, "PropertyChanged", "('State', <'idle'>, 'more')" },
        { "/net/connman/service/a", kService, "PropertyChanged", "(@a{sv} {'State': <'ready'>},)" },
        { "/t", kTechnology, "PropertyChanged", "('Powered',)" },
        { "/", kManager, "TechnologyAdded", "('/u', @a{sv} {})" },
        { "/", kManager, "TechnologyRemoved", "('/t',)" },
        { "/", kManager, "ServicesChanged", "(@a(oa{sv}) [],)" },
        { "/", kManager, "ServicesChanged", "(@a(oa{ss}) [('/n', {})], @ao [])" },
    };

    for (const zqConnMan::Decoding lDecoding : { zqConnMan::kDecodingExact, zqConnMan::kDecodingTolerant })
        for (const auto &lSignal : sSignals)
        {
            zqConnMan::SetDecoding(lDecoding);
            mLog.Clear();
            mFake.Emit(lSignal.mPath, lSignal.mInterface, lSignal.mMember, lSignal.mBody);
            EXPECT_EQ(Take(), Events()) << lSignal.mMember << lSignal.mBody;
            EXPECT_TRUE(mLog.Contains("ASSERT: connman: ", 4)) << lSignal.mMember << lSignal.mBody;
        }
    EXPECT_EQ(Replay()[1], "ServicesAdded [/net/connman/service/a, /net/connman/service/b]");
}

TEST_F(SignalsTest, AnElementThatExactDecodingRefusesCostsItsSignalOnly)
{
    static const char *const sBody = "(@a(oa{sv}) [('/n', {}), ('/net/connman/service/a', "
                                     "{'State': <'ready'>, 'Extra': <uint16 7>})], "
                                     "[objectpath '/net/connman/service/b'])";

    mFake.Emit("/", kManager, "ServicesChanged", sBody);
    mFake.Emit("/t", kTechnology, "PropertyChanged", "('TetheringFreq', <2412>)");
    EXPECT_EQ(Take(), Events());
    EXPECT_EQ(mLog.Count("connman: cannot decode", 4), 2u);

    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant);
    mFake.Emit("/", kManager, "ServicesChanged", sBody);
    mFake.Emit("/t", kTechnology, "PropertyChanged", "('TetheringFreq', <2412>)");
    EXPECT_EQ(Take(),
              (Events{ "ServicesAdded [/n]", "ServicesRemoved [/net/connman/service/b]",
                       "ServicesUpdated [/net/connman/service/a]", "TechnologyChanged /t {TetheringFreq: 2412}" }));
}

TEST_F(SignalsTest, WithoutCachesSignalsAreNothing)
{
    mConnMan.Flush();
    mFake.SetServiceProperty(Path("a"), "State", "'ready'");
    mFake.SetTechnologyProperty("/t", "Powered", "true");
    AddService("n");
    mFake.RemoveTechnology("/t");
    ASSERT_EQ(mConnMan.UpdateProperties(), 0);
    mDelegate.mEvents.clear();
    EXPECT_EQ(Take(), Events());
}

} // namespace
