/**
 *  @file
 *    The world that tools/mock/connman-netns makes, and an application in it.
 */

#ifndef ZQ_TEST_WORLD_H
#define ZQ_TEST_WORLD_H

#include <gtest/gtest.h>

#include <runningmanager.h>

namespace zq::Test
{

using namespace Mock;

/** Move the world: "cable down", "daemon kill". */
bool World(const std::string &aCommand);

/** An application that follows the daemon from when the cable is in and leased. */
class WorldTest : public testing::Test
{
protected:
    void SetUp() override;

    /** The one service that is connected and has an address; empty when there is not exactly one. */
    std::string GetReadyService() const;
    bool        WaitForReadyService() const;

    RunningManager mManager{ zqConnMan::kDecodingTolerant, true };
    Recorder      &mEvents = mManager.mRecorder;
    std::string    mName; // of the service at first
};

} // namespace zq::Test

#endif // ZQ_TEST_WORLD_H
