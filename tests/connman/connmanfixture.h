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

#include "fakeconnman.h"
#include "logcapture.h"
#include "privatebus.h"
#include "waituntil.h"

namespace zq::Test
{

using Events = std::vector<std::string>;

/** A value as text: "text", 1, true, [a, b], {name: value}, with entries in the dictionary's order. */
std::string Describe(CFTypeRef aValue);

/** Describe a dictionary that the caller owns, and release it; "null" for null. */
std::string DescribeAndRelease(CFDictionaryRef aDictionary);

CFUSharedRef<CFStringRef> MakeString(const std::string &aText);

/** A dictionary of strings. */
CFUSharedRef<CFMutableDictionaryRef> MakeDictionary(const std::vector<std::pair<std::string, std::string>> &anEntries);

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

    void Available(zqConnMan *) override { Record("Available"); }
    void Unavailable(zqConnMan *) override { Record("Unavailable"); }
    void StateChanged(zqConnMan *, CFStringRef aState) override { Record("StateChanged", aState); }
    void PropertiesChanged(zqConnMan *, CFDictionaryRef aValue) override { Record("PropertiesChanged", aValue); }
    void ServicesAdded(zqConnMan *, CFArrayRef aPaths) override { Record("ServicesAdded", aPaths); }
    void ServicesRemoved(zqConnMan *, CFArrayRef aPaths) override { Record("ServicesRemoved", aPaths); }
    void ServicesUpdated(zqConnMan *, CFArrayRef aPaths) override { Record("ServicesUpdated", aPaths); }
    void ServiceChanged(zqConnMan *, CFStringRef aPath, CFDictionaryRef aValue) override
    {
        Record("ServiceChanged", aPath, aValue);
    }
    zqError ServiceRequestInput(zqConnMan *, CFStringRef aPath, CFDictionaryRef aFields) override
    {
        Record("ServiceRequestInput", aPath, aFields);
        return mOnInput ? mOnInput() : 0;
    }
    void ServiceReportError(zqConnMan *, CFStringRef aPath, CFStringRef anError) override
    {
        Record("ServiceReportError", aPath, anError);
    }
    void ServiceDidConnect(zqConnMan *, CFStringRef aPath) override { Record("ServiceDidConnect", aPath); }
    void ServiceDidNotConnect(zqConnMan *, CFStringRef aPath, zqError anError) override
    {
        Record("ServiceDidNotConnect", aPath, anError);
    }
    void ServiceIsOnline(zqConnMan *, CFStringRef aPath) override { Record("ServiceIsOnline", aPath); }
    void ServiceIsNotOnline(zqConnMan *, CFStringRef aPath, zqError anError) override
    {
        Record("ServiceIsNotOnline", aPath, anError);
    }
    void TechnologiesAdded(zqConnMan *, CFArrayRef aPaths) override { Record("TechnologiesAdded", aPaths); }
    void TechnologiesRemoved(zqConnMan *, CFArrayRef aPaths) override { Record("TechnologiesRemoved", aPaths); }
    void TechnologyChanged(zqConnMan *, CFStringRef aPath, CFDictionaryRef aValue) override
    {
        Record("TechnologyChanged", aPath, aValue);
    }
    void TechnologyDidScan(zqConnMan *, CFStringRef aPath) override { Record("TechnologyDidScan", aPath); }
    void TechnologyDidNotScan(zqConnMan *, CFStringRef aPath, zqError anError) override
    {
        Record("TechnologyDidNotScan", aPath, anError);
    }

private:
    void Record(const std::string &aName, CFTypeRef aFirst = nullptr, CFTypeRef aSecond = nullptr);
    void Record(const std::string &aName, CFTypeRef aFirst, zqError anError);
    void Add(const std::string &aEvent);
};

class ConnManTest : public testing::Test
{
protected:
    static constexpr const char *kService    = FakeConnMan::kService;
    static constexpr const char *kTechnology = FakeConnMan::kTechnology;
    static constexpr const char *kManager    = FakeConnMan::kManager;

    ConnManTest();
    ~ConnManTest() override;

    /** Let the fake appear, unless it has, and make the client with the delegate. */
    void Start(int aTimeout = 20000);

    /** Handle the bus until the condition holds; false when it did not within the limit. */
    bool PumpUntil(const std::function<bool()> &aCondition);

    /** Handle everything that the fake has sent so far. */
    void Settle();

    /** Settle, and take what the delegate was told meanwhile. */
    Events Take();

    /** A small known service, added with its signal; short texts make short expectations. */
    void AddService(const std::string &aName, const Properties &aProperties = { { "State", "'idle'" } });

    static std::string Path(const std::string &aName) { return FakeConnMan::ServicePath(aName); }

    LogCapture        mLog;
    FakeConnMan       mFake;
    RecordingDelegate mDelegate;
    zqDBus           *mBus;
    zqConnMan         mConnMan;
    int               mMarker = 0;
};

} // namespace zq::Test

#endif // ZQ_TEST_CONNMANFIXTURE_H
