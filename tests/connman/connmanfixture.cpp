#include "connmanfixture.h"

#include <algorithm>

namespace zq::Test
{

std::string DescribeAndRelease(CFDictionaryRef aDictionary)
{
    const auto lHolder = CFUAdopt(aDictionary);

    return Text(aDictionary);
}

std::size_t RecordingDelegate::Count(const std::string &aPrefix) const
{
    return static_cast<std::size_t>(std::count_if(mEvents.begin(), mEvents.end(),
                                                  [&](const std::string &aEvent)
                                                  { return aEvent.compare(0, aPrefix.size(), aPrefix) == 0; }));
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

bool ConnManTest::Appear()
{
    return mFake.Appear() && PumpUntil([this] { return mConnMan.IsAvailable(); });
}

bool ConnManTest::Crash()
{
    mFake.Crash();
    return PumpUntil([this] { return !mConnMan.IsAvailable(); });
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
