#include <failingallocations.h>

#include <zqevent.h>

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <string>
#include <thread>

using namespace zq::Test;

namespace
{

/** A subscriber that is known by its name. */
struct Handler : public zqIEventHandler
{
    explicit Handler(char aName) : mName(aName) {}

    void HandleEvent(zqEvent *) override {}

    const char mName;
};

/** What one publication did, and which subscribers it fails for. */
struct Publication
{
    std::string mFailing;
    std::string mServed;
};

zqError Serve(zqIEventHandler *aHandler, zqEventQueue *aQueue, void *aContext)
{
    const char lName        = static_cast<Handler *>(aHandler)->mName;
    auto      *lPublication = static_cast<Publication *>(aContext);
    const auto lAt          = lPublication->mFailing.find(lName);

    EXPECT_NE(aQueue, nullptr);
    lPublication->mServed += lName;
    return lAt == std::string::npos ? 0 : -10 - static_cast<zqError>(lAt);
}

class EventPublisher : public testing::Test
{
protected:
    EventPublisher() { EXPECT_EQ(mPublisher.Init("publisher"), 0); }

    zqError Subscribe(Handler &aHandler) { return mPublisher.Subscribe(&mQueue, &aHandler, "subscriber"); }

    zqEventQueue     mQueue;
    zqEventQueue     mOtherQueue;
    zqEventPublisher mPublisher;
    Handler          mA{ 'a' };
    Handler          mB{ 'b' };
    Handler          mC{ 'c' };
    int              mNumServed = 0;
};

TEST_F(EventPublisher, NothingIsSubscribedBeforeInitAfterDestroyOrWhenRefused)
{
    zqEventPublisher lPublisher;
    Publication      lPublication;

    for (int lRound = 0; lRound < 2; ++lRound)
    {
        EXPECT_EQ(lPublisher.Subscribe(&mQueue, &mA, ""), -3);
        EXPECT_EQ(lPublisher.Unsubscribe(&mQueue, &mA), -3);
        EXPECT_EQ(lPublisher.Publish(&Serve, &lPublication), -3);

        EXPECT_GT(Starve({ -7 }, [&] { return lPublisher.Init(nullptr); }), 0);
        EXPECT_EQ(lPublisher.Init(""), -3);
        EXPECT_EQ(lPublisher.Subscribe(nullptr, &mA, ""), -5);
        EXPECT_EQ(lPublisher.Subscribe(&mQueue, nullptr, ""), -5);
        EXPECT_EQ(lPublisher.Publish(nullptr, nullptr), -5);
        {
            const FailingAllocations lNoMemory;
            EXPECT_EQ(lPublisher.Subscribe(&mQueue, &mA, ""), -2);
        }
        EXPECT_EQ(lPublisher.Publish(&Serve, &lPublication), 0);
        EXPECT_EQ(lPublisher.Unsubscribe(&mQueue, &mA), -17);
        EXPECT_EQ(lPublisher.Subscribe(&mQueue, &mA, nullptr), 0);

        lPublisher.Destroy();
        lPublisher.Destroy();
    }
    EXPECT_EQ(lPublication.mServed, "");
}

TEST_F(EventPublisher, ServesEachPairOnceInTheOrderOfSubscription)
{
    for (Handler *lHandler : { &mB, &mA, &mC })
        EXPECT_EQ(Subscribe(*lHandler), 0);
    EXPECT_EQ(mPublisher.Subscribe(&mQueue, &mB, "another name"), -18);
    EXPECT_EQ(mPublisher.Subscribe(&mOtherQueue, &mB, "subscriber"), 0);
    EXPECT_EQ(mPublisher.Unsubscribe(&mQueue, &mB), 0);
    EXPECT_EQ(mPublisher.Unsubscribe(&mQueue, &mB), -17);

    // The first failure is the one reported, and the others are served.
    for (const auto &[lFailing, lReturn] :
         std::map<const char *, zqError>{ { "", 0 }, { "a", -10 }, { "b", -10 }, { "ca", -11 } })
    {
        Publication lPublication = { lFailing, "" };

        EXPECT_EQ(mPublisher.Publish(&Serve, &lPublication), lReturn) << lFailing;
        EXPECT_EQ(lPublication.mServed, "acb");
    }
}

TEST_F(EventPublisher, NothingComesAfterUnsubscribe)
{
    std::atomic<bool> lEnd{ false };
    std::thread       lPublishing(
        [&]()
        {
            const auto lCount = [](zqIEventHandler *, zqEventQueue *, void *aContext) -> zqError
            { return ++*static_cast<int *>(aContext), 0; };

            while (!lEnd)
                (void)mPublisher.Publish(lCount, &mNumServed);
        });

    for (int lRound = 0; lRound < 2000; ++lRound)
    {
        ASSERT_EQ(Subscribe(mA), 0);
        ASSERT_EQ(mPublisher.Unsubscribe(&mQueue, &mA), 0);
        // Not guarded by anything of the test: ThreadSanitizer tells when the publisher is not done.
        mNumServed = 0;
    }
    lEnd = true;
    lPublishing.join();
    EXPECT_EQ(mNumServed, 0);
}

} // namespace
