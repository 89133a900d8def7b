#include "connmanfixture.h"

#include <algorithm>

#include "cfvalues.h"

namespace zq::Test
{

std::string DescribeAndRelease(CFDictionaryRef aDictionary)
{
    const auto lHolder = CFUAdopt(aDictionary);

    return Describe(aDictionary);
}

CFUSharedRef<CFStringRef> MakeString(const std::string &aText)
{
    return Str(aText);
}

CFUSharedRef<CFMutableDictionaryRef> MakeDictionary(const std::vector<std::pair<std::string, std::string>> &anEntries)
{
    auto lDictionary = CFUAdopt(
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));

    for (const auto &lEntry : anEntries)
        CFDictionarySetValue(lDictionary.Get(), MakeString(lEntry.first).Get(), MakeString(lEntry.second).Get());
    return lDictionary;
}

std::size_t RecordingDelegate::Count(const std::string &aPrefix) const
{
    return static_cast<std::size_t>(std::count_if(mEvents.begin(), mEvents.end(),
                                                  [&](const std::string &aEvent)
                                                  { return aEvent.compare(0, aPrefix.size(), aPrefix) == 0; }));
}

void RecordingDelegate::Add(const char *aName, CFTypeRef aFirst, CFTypeRef aSecond)
{
    Note(aName + (aFirst != nullptr ? " " + Describe(aFirst) : "") +
         (aSecond != nullptr ? " " + Describe(aSecond) : ""));
}

void RecordingDelegate::Fail(const char *aName, CFTypeRef aPath, zqError anError)
{
    Note(aName + (" " + Describe(aPath)) + " " + std::to_string(anError));
}

void RecordingDelegate::Note(const std::string &aEvent)
{
    mEvents.push_back(aEvent);
    if (mOnEvent)
        mOnEvent(aEvent);
}

ConnManTest::ConnManTest()
{
    EXPECT_TRUE(SystemBus().Start());
    mBus = zqDBus::GetThreadDefaultInstance();
    EXPECT_NE(mBus, nullptr);

    // The connection outlives each test: what the last one's daemon sent is not this one's.
    RoundTrip("org.freedesktop.DBus");
    (void)mBus->HandleEvents(nullptr);

    zqConnMan::SetDecoding(zqConnMan::kDecodingExact);
}

ConnManTest::~ConnManTest()
{
    mDelegate.mOnEvent = nullptr;
    mDelegate.mOnInput = nullptr;
    mConnMan.Destroy();
}

void ConnManTest::RoundTrip(const char *aBusName)
{
    zqDBusError  lError;
    DBusMessage *lCall = zqDBus::NewMethodCall(aBusName, "/", "no.such.Interface", "NoMethod");

    EXPECT_EQ(mBus->PerformMethodCallWithMessage(lCall, nullptr, nullptr, 20000, lError.Get()), -1);
    EXPECT_STRNE(lError.GetName(), DBUS_ERROR_NO_REPLY);
    dbus_message_unref(lCall);
}

void ConnManTest::Start(int aTimeout)
{
    ASSERT_TRUE(mFake.IsPresent() || mFake.Appear());

    mConnMan.SetDelegate(&mDelegate);
    ASSERT_EQ(mConnMan.Init(aTimeout), 0) << mLog.GetText();
    ASSERT_TRUE(mConnMan.IsAvailable()) << mLog.GetText();
    Take();
    mLog.Clear();
    mFake.ClearCalls();
}

bool ConnManTest::PumpUntil(const std::function<bool()> &aCondition)
{
    return WaitUntil(
        [&]
        {
            unsigned int lCount       = 0;
            PRPollDesc  *lDescriptors = mBus->GetPollDescriptors(lCount, nullptr);

            if (!aCondition() && PR_Poll(lDescriptors, lCount, PR_MillisecondsToInterval(5)) >= 0)
                (void)mBus->HandleEvents(lDescriptors);
            return aCondition();
        });
}

bool ConnManTest::Appear()
{
    return mFake.Appear() && PumpUntil([this] { return mConnMan.IsAvailable(); });
}

bool ConnManTest::Crash()
{
    mFake.Crash();
    return PumpUntil([this] { return !mConnMan.IsAvailable(); });
}

void ConnManTest::Settle()
{
    const std::string lMarker = "PropertiesChanged {Marker: " + std::to_string(++mMarker) + "}";

    mFake.Emit("/", kManager, "PropertyChanged", "('Marker', <'" + std::to_string(mMarker) + "'>)");

    const auto lFind = [&] { return std::find(mDelegate.mEvents.begin(), mDelegate.mEvents.end(), lMarker); };

    ASSERT_TRUE(PumpUntil([&] { return lFind() != mDelegate.mEvents.end(); })) << mLog.GetText();
    mDelegate.mEvents.erase(lFind());
}

Events ConnManTest::Take()
{
    Settle();
    return std::exchange(mDelegate.mEvents, {});
}

void ConnManTest::AddService(const std::string &aName, const Properties &aProperties)
{
    mFake.AddService(Path(aName), aProperties);
}

} // namespace zq::Test
