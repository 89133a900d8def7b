#include "model.h"

#include <gtest/gtest.h>

using namespace zq::Test;

TEST(AnObject, KeepsItsFirstPathAndPropertiesWhenInitialisedTwice)
{
    LogCapture lLog;
    const auto lObject = Make<Object>("/a", Dict({ { kServicePropertyName, Str("one") } }));

    ASSERT_TRUE(lObject != nullptr);
    EXPECT_EQ(lObject->Init(Str("/b"), Dict()), -3);

    EXPECT_EQ(Text(lObject->GetPath().Get()), "/a");
    EXPECT_EQ(Text(lObject->GetProperty(CFURetain(kServicePropertyName)).Get()), "one");
    EXPECT_TRUE(Asserted(lLog, "!mInitialized", "zqnetworkmanager-object"));
}

TEST(AnObject, RefusesNullArgumentsAndCanBeInitialisedAfterwards)
{
    LogCapture          lLog;
    zqSharedPtr<Object> lObject(new Object);

    EXPECT_EQ(lObject->Init(nullptr, Dict()), -5);
    EXPECT_TRUE(Asserted(lLog, "aPath != __null", "zqnetworkmanager-object"));
    EXPECT_EQ(lObject->Init(Str("/a"), nullptr), -5);
    EXPECT_TRUE(Asserted(lLog, "aProperties != __null", "zqnetworkmanager-object"));
    EXPECT_EQ(lObject->Init(Str("/a"), Dict()), 0);
}

TEST(AnObject, ThatIsNotInitialisedAnswersEverything)
{
    LogCapture          lLog;
    zqSharedPtr<Object> lObject(new Object);

    EXPECT_TRUE(lObject->GetPath() == nullptr);
    EXPECT_TRUE(lObject->GetProperties() == nullptr);
    EXPECT_TRUE(lObject->CopyProperties() == nullptr);
    EXPECT_TRUE(lObject->GetProperty(Str("Name")) == nullptr);
    EXPECT_EQ(lObject->ClearProperty(Str("Name")), -3);
    EXPECT_EQ(lObject->RefreshLocked(Dict()), -3);
    EXPECT_EQ(lObject->RefreshLocked(nullptr), -5);
}

TEST(AnObject, CopiesWhatItIsGiven)
{
    const auto lGiven  = Dict({ { kServicePropertyName, Str("one") } });
    const auto lObject = Make<Object>("/a", lGiven);

    CFDictionarySetValue(lGiven.Get(), kServicePropertyName, Str("two").Get());

    EXPECT_EQ(Text(lObject->GetProperty(CFURetain(kServicePropertyName)).Get()), "one");
}

TEST(AnObject, MergesARefreshAndRemovesOnlyWhatIsCleared)
{
    const auto lObject =
        Make<Object>("/a", Dict({ { kServicePropertyName, Str("one") }, { kServicePropertyState, Str("idle") } }));
    const auto lLive     = lObject->GetProperties();
    const auto lSnapshot = lObject->CopyProperties();

    lObject->Lock();
    EXPECT_EQ(lObject->RefreshLocked(Dict({ { kServicePropertyState, Str("ready") } })), 0);
    lObject->Unlock();

    EXPECT_EQ(Text(lObject->GetProperty(CFURetain(kServicePropertyName)).Get()), "one");
    EXPECT_EQ(Text(CFDictionaryGetValue(lLive.Get(), kServicePropertyState)), "ready");
    EXPECT_EQ(Text(CFDictionaryGetValue(lSnapshot.Get(), kServicePropertyState)), "idle");

    EXPECT_EQ(lObject->ClearProperty(CFURetain(kServicePropertyName)), 0);
    EXPECT_EQ(lObject->ClearProperty(CFURetain(kServicePropertyName)), 0);
    EXPECT_TRUE(lObject->GetProperty(CFURetain(kServicePropertyName)) == nullptr);
}

TEST(AnObject, LogsANullKeyAndYieldsNothing)
{
    LogCapture lLog;

    EXPECT_TRUE(Make<Object>("/a", Dict())->GetProperty(nullptr) == nullptr);
    EXPECT_TRUE(Asserted(lLog, "aKey != __null", "zqnetworkmanager-object"));
}

TEST(AnObject, EqualsAnotherOneOfItsPath)
{
    const zqSharedPtr<Object> lNone(new Object);
    const zqSharedPtr<Object> lNeither(new Object);
    const auto                lA     = Make<Object>("/a", Dict());
    const auto                lAgain = Make<Object>("/a", Dict({ { kServicePropertyName, Str("one") } }));
    const auto                lUpper = Make<Object>("/A", Dict());

    EXPECT_TRUE(*lA == *lAgain);
    EXPECT_FALSE(*lA == *lUpper);
    EXPECT_TRUE(*lNone == *lNeither);
    EXPECT_FALSE(*lNone == *lA);
    EXPECT_FALSE(*lA == *lNone);
}

TEST(AnObject, CopiedFromAServiceRunsTheServicesOwnInit)
{
    const auto           lFirst = Make<Service>("/a", ServiceProperties("home", "online"));
    zqSharedPtr<Service> lSecond(new Service);

    ASSERT_EQ(lSecond->Init(*lFirst), 0);
    EXPECT_TRUE(lSecond->IsOnline());
    EXPECT_TRUE(*lFirst == *lSecond);
}

TEST(AnObject, GoesWithItsLastHolder)
{
    struct Counted : Object
    {
        explicit Counted(int &aCount) : mCount(aCount) { mCount++; }
        ~Counted() override { mCount--; }
        int &mCount;
    };

    int                      lCount = 0;
    zqSharedPtr<Object>      lHolder(new Counted(lCount));
    zqRefObjectArray<Object> lArray;

    EXPECT_EQ(lArray.Append(lHolder), 0);
    lHolder = nullptr;
    EXPECT_EQ(lCount, 1);
    lHolder = lArray.RemoveAt(0);
    EXPECT_EQ(lCount, 1);
    lHolder = nullptr;
    EXPECT_EQ(lCount, 0);
}
