#include "connmanfixture.h"

#include <failingallocations.h>

#include <zqlog.h>

#include "sandbox.h"

namespace zq::Test
{
namespace
{

constexpr int kEnough = 20000; // allocations: far more than any operation here needs

/** A log that needs no memory. */
void Ignore(void *, const char *, int, const char *) {}

bool IsExhausted(zqError anError)
{
    return anError == zqError_OutOfMemory || anError == zqError_NoResources;
}

/** Let an operation have one allocation more each time, until it succeeds. @returns how many it needed. */
int Starve(const char *aName, const std::function<zqError()> &anOperation, const std::function<void()> &aCheck)
{
    zqError lReturn = zqError_NoResources;

    for (int lGranted = 0; lGranted < kEnough; ++lGranted)
    {
        {
            const FailingAllocations lFailing(lGranted);

            lReturn = anOperation();
        }
        if (lReturn == zqError_None)
        {
            aCheck();
            return lGranted;
        }
        EXPECT_TRUE(IsExhausted(lReturn)) << aName << " after " << lGranted << " allocations: " << lReturn;
    }
    ADD_FAILURE() << aName << " never succeeds: " << lReturn;
    return kEnough;
}

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
        zqLogSetHandler(Ignore, nullptr, 1);
    }
};

TEST_F(ExhaustionTest, ADecodedReplyIsWholeOrNone)
{
    for (const zqConnMan::Decoding lDecoding : { zqConnMan::kDecodingExact, zqConnMan::kDecodingTolerant })
    {
        CFDictionaryRef lResult = nullptr;

        zqConnMan::SetDecoding(lDecoding);
        EXPECT_GT(Starve(
                      "GetServices", [&] { return mConnMan.ManagerGetServices(lResult); },
                      [&]
                      {
                          EXPECT_EQ(DescribeAndRelease(lResult),
                                    "{/net/connman/service/a: {Name: a name of its own, Security: [psk, other kind]}, "
                                    "/net/connman/service/b: {IPv4: {Address: 192.0.2.77}}}");
                      }),
                  5);
    }
}

TEST_F(ExhaustionTest, ARequestThatCannotBeMadeIsNotSent)
{
    const std::string lPath  = Path("a");
    const auto        lValue = MakeDictionary({ { "Name", "value" } });

    mFake.Script("Connect", Answer::Value(""));
    mFake.ClearCalls();
    Starve(
        "ServiceConnect", [&] { return mConnMan.ServiceConnect(lPath.c_str()); }, [] {});
    Starve(
        "SetProperty", [&] { return mConnMan.ServiceSetProperty(lPath.c_str(), "P", lValue.Get()); }, [] {});
    Starve(
        "TechnologyScan",
        [&]
        {
            mConnMan.SetScanning(false);
            return mConnMan.TechnologyScan("/t");
        },
        [] {});
    mFake.WaitForCall("Scan");
    EXPECT_EQ(mFake.CountCalls("Connect"), 1u);
    EXPECT_EQ(mFake.CountCalls("SetProperty"), 1u);
    EXPECT_EQ(mFake.CountCalls("Scan"), 1u);
}

TEST_F(ExhaustionTest, InitIsUndoneWholly)
{
    for (int lGranted = 0; lGranted < kEnough && !mConnMan.IsAvailable(); ++lGranted)
    {
        mConnMan.Destroy();
        {
            const FailingAllocations lFailing(lGranted);

            (void)mConnMan.Init(20000);
        }
    }
    mConnMan.Destroy();
    mDelegate.mEvents.clear();
    mConnMan.SetDelegate(&mDelegate);
    ASSERT_EQ(mConnMan.Init(20000), 0);
    EXPECT_EQ(mDelegate.Count("Available"), 1u);
    EXPECT_EQ(mDelegate.Count("ServicesAdded [/net/connman/service/a, /net/connman/service/b]"), 1u);
}

TEST_F(ExhaustionTest, ProvisionsAreWrittenWhollyOrNotAtAll)
{
    ZQ_REQUIRE_SANDBOX();

    const auto lSet = MakeDictionary({});

    for (const char *lName : { "service_a", "service_b" })
        CFDictionarySetValue(lSet.Get(), MakeString(lName).Get(),
                             MakeDictionary({ { "Name", std::string(2000, 'x') } }).Get());

    Starve(
        "UpdateProvisions", [&] { return mConnMan.UpdateProvisions(lSet.Get()); }, [] {});
    EXPECT_EQ(ReadFile("/var/lib/connman/quil.config").size(), 64u + 2 * (12 + 2006 + 1));
}

} // namespace
} // namespace zq::Test
