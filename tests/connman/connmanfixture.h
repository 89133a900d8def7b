/**
 *  @file
 *    A client on the private bus, the fake daemon that it talks to, and a
 *    delegate that writes down what it is told.
 */

#ifndef ZQ_TEST_CONNMANFIXTURE_H
#define ZQ_TEST_CONNMANFIXTURE_H

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <zqconnman.h>

#include "logcapture.h"
#include <bus.h>
#include <cfvalues.h>
#include <fakeconnman.h>
#include <privatebus.h>

namespace zq::Test
{

using namespace Mock;

using Events = std::vector<std::string>;

/** Describe a dictionary that the caller owns, and release it. */
std::string DescribeAndRelease(CFDictionaryRef aDictionary);

/** Every callback becomes one line: its name and its arguments. */
class RecordingDelegate final : public zq::ConnMan::Delegate::Base
{
public:
    /** Called on every callback, after it was written down. */
    std::function<void(const std::string &aEvent)> mOnEvent;

    /** What ServiceRequestInput returns; 0 without it. */
    std::function<zqError()> mOnInput;

    Events mEvents;

    std::size_t Count(const std::string &aPrefix) const;

    void Available(zqConnMan *) override { Add(__func__); }
    void Unavailable(zqConnMan *) override { Add(__func__); }
    void StateChanged(zqConnMan *, CFStringRef aState) override { Add(__func__, aState); }
    void PropertiesChanged(zqConnMan *, CFDictionaryRef aSet) override { Add(__func__, aSet); }
    void ServicesAdded(zqConnMan *, CFArrayRef aPaths) override { Add(__func__, aPaths); }
    void ServicesRemoved(zqConnMan *, CFArrayRef aPaths) override { Add(__func__, aPaths); }
    void ServicesUpdated(zqConnMan *, CFArrayRef aPaths) override { Add(__func__, aPaths); }
    void ServiceChanged(zqConnMan *, CFStringRef aPath, CFDictionaryRef aSet) override { Add(__func__, aPath, aSet); }
    void ServiceReportError(zqConnMan *, CFStringRef aPath, CFStringRef aText) override { Add(__func__, aPath, aText); }
    void ServiceDidConnect(zqConnMan *, CFStringRef aPath) override { Add(__func__, aPath); }
    void ServiceDidNotConnect(zqConnMan *, CFStringRef aPath, zqError aCode) override { Add(__func__, aPath, aCode); }
    void ServiceIsOnline(zqConnMan *, CFStringRef aPath) override { Add(__func__, aPath); }
    void ServiceIsNotOnline(zqConnMan *, CFStringRef aPath, zqError aCode) override { Add(__func__, aPath, aCode); }
    void TechnologiesAdded(zqConnMan *, CFArrayRef aPaths) override { Add(__func__, aPaths); }
    void TechnologiesRemoved(zqConnMan *, CFArrayRef aPaths) override { Add(__func__, aPaths); }
    void TechnologyChanged(zqConnMan *, CFStringRef aPath, CFDictionaryRef aSet) override
    {
        Add(__func__, aPath, aSet);
    }
    void TechnologyDidScan(zqConnMan *, CFStringRef aPath) override { Add(__func__, aPath); }
    void TechnologyDidNotScan(zqConnMan *, CFStringRef aPath, zqError aCode) override { Add(__func__, aPath, aCode); }
    zqError ServiceRequestInput(zqConnMan *, CFStringRef aPath, CFDictionaryRef aFields) override
    {
        Add(__func__, aPath, aFields);
        return mOnInput ? mOnInput() : 0;
    }

private:
    static std::string Part(CFTypeRef aValue) { return " " + Text(aValue); }
    static std::string Part(zqError aCode) { return " " + std::to_string(aCode); }

    template <typename... A>
    void Add(const char *aName, A... theParts)
    {
        Note((std::string(aName) + ... + Part(theParts)));
    }

    void Note(const std::string &aEvent);
};

class ConnManTest : public testing::Test
{
protected:
    static constexpr const char *kService    = FakeConnMan::kService;
    static constexpr const char *kTechnology = FakeConnMan::kTechnology;
    static constexpr const char *kManager    = FakeConnMan::kManager;

    ConnManTest();
    ~ConnManTest() override;

    /** Let the fake appear, unless it has, and make the client with the delegate; forget what came of it. */
    void Start(int aTimeout = 20000);

    template <typename Condition>
    bool PumpUntil(const Condition &aCondition)
    {
        return zq::Test::PumpUntil(mBus, aCondition);
    }

    /** Let the fake come or go, until the client knows. */
    bool Appear();
    bool Crash();

    /** Handle everything that the fake has sent so far. */
    void Settle()
    {
        mFake.Flush();
        ASSERT_TRUE(zq::Test::Settle(mBus)) << mLog.GetText();
    }

    /** A call that whoever owns the name has answered: what was sent before it has arrived on both sides. */
    void RoundTrip(const char *aBusName);

    /** Settle, and take what the delegate was told meanwhile. */
    Events Take();

    /** A small known service, added with its signal; short texts make short expectations. */
    void AddService(const std::string &aName, const Properties &aProperties = { { "State", "'idle'" } });

    static std::string Path(const std::string &aName) { return FakeConnMan::ServicePath(aName); }

    const std::string kA = Path("a");

    LogCapture        mLog;
    FakeConnMan       mFake;
    RecordingDelegate mDelegate;
    zqDBus           *mBus;
    zqConnMan         mConnMan;
};

} // namespace zq::Test

#endif // ZQ_TEST_CONNMANFIXTURE_H
