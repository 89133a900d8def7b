#include "connmanfixture.h"

#include <failingallocations.h>

#include <zqlog.h>

#include "sandbox.h"

using namespace zq::Test;

namespace
{

const std::vector<zqError> kExhausted = { zqError_OutOfMemory, zqError_NoResources };

class ExhaustionTest : public ConnManTest
{
protected:
    ExhaustionTest()
    {
        mFake.AddServices(
            { { Path("a"), { { "Name", "'a name of its own'" }, { "Security", "['psk', 'other kind']" } } },
              { Path("b"), { { "IPv4", "{'Address': <'192.0.2.77'>}" } } } });
        mFake.AddTechnology("/t", { { "Name", "'another name'" } });
        Start();
        zqLogSetHandler([](void *, const char *, int, const char *) {}, nullptr, 1); // a log that needs no memory
    }
};

TEST_F(ExhaustionTest, ADecodedReplyIsWholeOrNone)
{
    for (const zqConnMan::Decoding lDecoding : { zqConnMan::kDecodingExact, zqConnMan::kDecodingTolerant })
    {
        CFDictionaryRef lResult = nullptr;

        zqConnMan::SetDecoding(lDecoding);
        EXPECT_GT(Starve(kExhausted, [&] { return mConnMan.ManagerGetServices(lResult); }), 5);
        EXPECT_EQ(DescribeAndRelease(lResult),
                  "{/net/connman/service/a: {Name: a name of its own, Security: [psk, other kind]}, "
                  "/net/connman/service/b: {IPv4: {Address: 192.0.2.77}}}");
    }
}

TEST_F(ExhaustionTest, ACacheIsWholeOrNone)
{
    const auto lPaths = MakeArray();

    mFake.Silently(true);
    for (int lIndex = 0; lIndex < 20; ++lIndex)
        AddService("more" + std::to_string(lIndex));
    mConnMan.SetDelegate(nullptr);
    Starve(kExhausted,
           [&]
           {
               mConnMan.FlushServices();
               return mConnMan.UpdateServices();
           });
    EXPECT_EQ(mConnMan.ManagerGetServices(lPaths.Get()), 0);
    EXPECT_EQ(CFArrayGetCount(lPaths.Get()), 22);
}

TEST_F(ExhaustionTest, ARequestThatCannotBeMadeIsNotSent)
{
    const auto lValue = Dict({ { "Name", "value" } });

    mFake.Script("Connect", Answer::Value(""));
    Starve(kExhausted, [&] { return mConnMan.ServiceConnect(kA.c_str()); });
    Starve(kExhausted, [&] { return mConnMan.ServiceSetProperty(kA.c_str(), "P", lValue.Get()); });
    Starve(kExhausted,
           [&]
           {
               mConnMan.SetScanning(false);
               return mConnMan.TechnologyScan("/t");
           });
    mFake.WaitForCall("Scan");
    for (const char *lMethod : { "Connect", "SetProperty", "Scan" })
        EXPECT_EQ(mFake.CountCalls(lMethod), 1u) << lMethod;
}

TEST_F(ExhaustionTest, InitIsUndoneWhollyAndWhatItsLoadLackedIsMadeUpFor)
{
    mConnMan.Destroy();
    Starve({ 1 },
           [&]
           {
               mConnMan.Destroy();
               (void)mConnMan.Init(20000);
               return mConnMan.IsAvailable() ? 0 : 1;
           });
    mDelegate.mEvents.clear();
    mConnMan.SetDelegate(&mDelegate);
    EXPECT_EQ(mDelegate.mEvents, Events{ "Available" });
    mFake.SetManagerProperty("State", "'ready'");
    EXPECT_TRUE(PumpUntil([this] { return mDelegate.Count("Available") == 2; }));
    EXPECT_EQ(mDelegate.Count("ServicesAdded [" + kA + ", " + Path("b") + "]"), 1u);
    EXPECT_EQ(mDelegate.Count("TechnologiesAdded [/t]"), 1u);
}

TEST_F(ExhaustionTest, ASignalThatFindsNoMemoryIsMadeUpFor)
{
    const struct
    {
        std::function<void()> mChange;
        const char           *mTold;
    } lCases[] = {
        { [this] { mFake.SetManagerProperty("State", "'ready'"); }, "StateChanged ready" },
        { [this] { mFake.RemoveServices({ kA }); }, "ServicesRemoved [/net/connman/service/a]" },
        { [this] { AddService("c"); }, "ServicesAdded [/net/connman/service/c]" },
        { [this] { mFake.SetServiceProperty(Path("b"), "State", "'online'"); },
          "ServicesUpdated [/net/connman/service/b, /net/connman/service/c]" },
        { [this] {
             mFake.AddTechnology("/u", { { "Name", "'one more'" } });
         },
          "TechnologiesAdded [/u]" },
        { [this] { mFake.RemoveTechnology("/t"); }, "TechnologiesRemoved [/t]" },
    };

    for (const auto &lCase : lCases)
    {
        lCase.mChange();
        RoundTrip("net.connman");
        {
            const FailingAllocations lFailing;

            (void)mBus->HandleEvents(nullptr);
        }
        EXPECT_EQ(mDelegate.mEvents, Events());
        EXPECT_TRUE(PumpUntil([this] { return mDelegate.Count("Available") == 1; }));
        EXPECT_EQ(mDelegate.Count(lCase.mTold), 1u) << lCase.mTold << testing::PrintToString(mDelegate.mEvents);
        mDelegate.mEvents.clear();
    }
}

TEST_F(ExhaustionTest, ProvisionsAreWrittenWhollyOrNotAtAll)
{
    ZQ_REQUIRE_SANDBOX();

    const auto lSet = Dict({});

    for (const char *lName : { "service_a", "service_b" })
        CFDictionarySetValue(lSet.Get(), Str(lName).Get(), Dict({ { "Name", std::string(2000, 'x') } }).Get());

    Starve(kExhausted, [&] { return mConnMan.UpdateProvisions(lSet.Get()); });
    EXPECT_EQ(ReadFile("/var/lib/connman/quil.config").size(), 64u + 2 * (12 + 2006 + 1));

    const auto lGood = Dict({ { "Passphrase", "a passphrase of the usual length" } });
    const auto lName = Str("service_a");
    Starve(kExhausted, [&] { return zqConnMan::CheckProvision(lName.Get(), lGood.Get()); });

    const auto lBad = Dict({ { "Passphrase", " begins with what is not read back" } });
    for (int lGranted = 0; lGranted < 60; ++lGranted)
    {
        const FailingAllocations lFailing(lGranted);

        EXPECT_NE(zqConnMan::CheckProvision(CFSTR("service_a"), lBad.Get()), 0) << lGranted;
    }

    // Nor is anything lost of what was read, and is written again.
    const std::string kText   = "[service_a]\nSecurity=\\spsk\nProvisionIdentifier=b\nNone=\xff\nA name=\\ttab\n\n";
    const std::string kHeader = ReadFile("/var/lib/connman/quil.config").substr(0, 64);
    const auto        lMerge  = [&](CFDictionaryRef aStored, bool, CFUSharedRef<CFDictionaryRef> &aProvisions)
    {
        aProvisions = CFUAdopt(CFDictionaryCreateMutableCopy(nullptr, 0, aStored));
        return aProvisions != nullptr ? 0 : zqError_NoResources;
    };

    ASSERT_TRUE(WriteFile("/var/lib/connman/quil.config", kText, 0600));
    EXPECT_GT(Starve(kExhausted, [&] { return mConnMan.MergeProvisions(std::cref(lMerge)); }), 5);
    EXPECT_EQ(ReadFile("/var/lib/connman/quil.config"), kHeader + kText);
}

} // namespace
