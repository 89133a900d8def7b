/**
 *  @file
 *    What the cases of this folder share: a peer, receivers of outcomes, and a
 *    loop that waits for descriptors and for nothing else.
 */

#ifndef ZQ_TEST_TESTBUS_H
#define ZQ_TEST_TESTBUS_H

#include <bus.h>
#include <fakepeer.h>
#include <privatebus.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace zq::Test
{

using namespace Mock;

constexpr char kPeerName[]      = "com.example.Peer";
constexpr char kPeerInterface[] = "com.example.Interface";
constexpr char kPeerPath[]      = "/com/example";

/** Answers every call that is not scripted with an empty return. */
class Peer : public FakePeer
{
public:
    Peer() : FakePeer(kPeerName) { EXPECT_TRUE(Appear()); }
    ~Peer() override { Detach(); }

    void Signal(const std::string &aMember, const std::string &aBody = "")
    {
        Emit(kPeerPath, kPeerInterface, aMember, aBody);
    }

protected:
    Answer AnswerLocked(const Call &aCall, GVariant *aBody) override;
};

/** Answer a call that went to somebody else, as one who owns no name. */
void ForgeReply(const FakePeer::Call &aCall);

/** Where the outcomes of calls are written down: "completed", "timed out", "error NAME", each after its label. */
class Outcomes
{
public:
    /** A receiver; it counts as alive until it is deleted. */
    zqDBusPendingCall *New(const std::string &aLabel, std::function<void()> anAction = {});

    std::vector<std::string> mTexts;
    std::atomic<int>         mCount{ 0 };
    std::atomic<int>         mAlive{ 0 };
};

/** A message's first argument, when it is a string; otherwise "". */
std::string GetText(DBusMessage *aMessage);

/** PerformMethodCall on the peer with the arguments that follow. */
zqError Call(zqDBus *aBus, const char *aMethod, zqDBusPendingCall *aPending, DBusMessage **aReply, int aTimeout,
             DBusError *anError, int aFirstType, ...);

zqError CallPlainly(zqDBus *aBus, const char *aMethod, int aTimeout = -1, DBusError *anError = nullptr);
zqError CallAsync(zqDBus *aBus, const char *aMethod, zqDBusPendingCall *aPending, int aTimeout = -1);

/** One turn of the loop, at most as long as a test may take. False when no descriptor became ready. */
bool PollOnce(zqDBus *aBus);

/** Run the loop on this thread until the condition holds. */
bool Drive(zqDBus *aBus, const std::function<bool()> &aCondition);

/** Runs the loop, with an infinite poll, on a thread of its own. */
class LoopThread
{
public:
    explicit LoopThread(zqDBus *aBus);
    ~LoopThread();

private:
    void Run();

    zqDBus           *mBus;
    PRFileDesc       *mStop;
    std::atomic<bool> mEnds{ false };
    std::thread       mThread;
};

constexpr zqDBusSignalDispatch kEndOfSignals = { nullptr, nullptr, nullptr, nullptr, nullptr, nullptr };
constexpr zqDBusMethodDispatch kNoMethods[]  = { { nullptr, nullptr, nullptr } };

/** A private bus, and an instance on it that is made and goes with the case. */
class BusTest : public testing::Test
{
protected:
    BusTest();

    /** Before what outstanding calls would tell their end. */
    void TearDown() override { mHolder.Set(nullptr); }

    zqRefCountSharedPtr mHolder;
    zqDBus             *mBus;
};

} // namespace zq::Test

#endif // ZQ_TEST_TESTBUS_H
