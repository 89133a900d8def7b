#include <failingallocations.h>

#include <zqevent.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace zq::Test;

namespace
{

struct Handler : public zqIEventHandler
{
    void HandleEvent(zqEvent *) override {}
};

/** Counts whom it served. */
zqError Serve(zqIEventHandler *, zqEventQueue *, void *aContext)
{
    return ++*static_cast<int *>(aContext), 0;
}

TEST(EventPublisher, NothingIsSubscribedBeforeInitAfterDestroyOrWhenRefused)
{
    zqEventQueue     lQueue;
    zqEventPublisher lPublisher;
    Handler          lHandler;
    int              lNumServed = 0;

    for (int lRound = 0; lRound < 2; ++lRound)
    {
        EXPECT_EQ(lPublisher.Subscribe(&lQueue, &lHandler, ""), -3);
        EXPECT_EQ(lPublisher.Unsubscribe(&lQueue, &lHandler), -3);
        EXPECT_EQ(lPublisher.Publish(&Serve, &lNumServed), -3);

        EXPECT_GT(Starve({ -7 }, [&] { return lPublisher.Init(nullptr); }), 0);
        EXPECT_EQ(lPublisher.Init(""), -3);
        EXPECT_EQ(lPublisher.Subscribe(nullptr, &lHandler, ""), -5);
        EXPECT_EQ(lPublisher.Subscribe(&lQueue, nullptr, ""), -5);
        EXPECT_EQ(lPublisher.Publish(nullptr, nullptr), -5);
        {
            const FailingAllocations lNoMemory;
            EXPECT_EQ(lPublisher.Subscribe(&lQueue, &lHandler, ""), -2);
        }
        EXPECT_EQ(lPublisher.Publish(&Serve, &lNumServed), 0);
        EXPECT_EQ(lPublisher.Unsubscribe(&lQueue, &lHandler), -17);
        EXPECT_EQ(lPublisher.Subscribe(&lQueue, &lHandler, nullptr), 0);

        lPublisher.Destroy();
        lPublisher.Destroy();
    }
    EXPECT_EQ(lNumServed, 0);
}

TEST(EventPublisher, NothingComesAfterUnsubscribe)
{
    zqEventQueue      lQueue;
    zqEventPublisher  lPublisher;
    Handler           lHandler;
    int               lNumServed = 0;
    std::atomic<bool> lEnd{ false };

    ASSERT_EQ(lPublisher.Init("publisher"), 0);
    std::thread lPublishing(
        [&]()
        {
            while (!lEnd)
                (void)lPublisher.Publish(Serve, &lNumServed);
        });

    for (int lRound = 0; lRound < 2000; ++lRound)
    {
        ASSERT_EQ(lPublisher.Subscribe(&lQueue, &lHandler, "subscriber"), 0);
        ASSERT_EQ(lPublisher.Unsubscribe(&lQueue, &lHandler), 0);
        // Not guarded by anything of the test: ThreadSanitizer tells when the publisher is not done.
        lNumServed = 0;
    }
    lEnd = true;
    lPublishing.join();
    EXPECT_EQ(lNumServed, 0);
}

} // namespace
