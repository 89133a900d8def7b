#include "model.h"

#include <gtest/gtest.h>

using namespace zq::Test;

TEST(AnObject, IsInitialisedOnceAndAnswersEverythingBefore)
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

    EXPECT_EQ(lObject->Init(nullptr, Dict()), -5);
    EXPECT_EQ(lObject->Init(Str("/a"), nullptr), -5);
    EXPECT_EQ(lObject->Init(Str("/a"), Dict({ { kServicePropertyName, "one" } })), 0);
    EXPECT_EQ(lObject->Init(Str("/b"), Dict()), -3);
    EXPECT_EQ(Text(lObject->GetPath().Get()), "/a");
    EXPECT_EQ(Text(lObject->GetProperty(CFURetain(kServicePropertyName)).Get()), "one");
    EXPECT_TRUE(lObject->GetProperty(nullptr) == nullptr);
    for (const char *lText : { "aPath != __null", "aProperties != __null", "!mInitialized", "aKey != __null" })
        EXPECT_TRUE(Asserted(lLog, lText, "zqnetworkmanager-object")) << lText;
}

TEST(AnObject, MergesARefreshIntoItsOwnCopyAndRemovesOnlyWhatIsCleared)
{
    const auto lGiven    = Dict({ { kServicePropertyName, "one" }, { kServicePropertyState, "idle" } });
    const auto lObject   = Make<Object>("/a", lGiven);
    const auto lLive     = lObject->GetProperties();
    const auto lSnapshot = lObject->CopyProperties();

    CFDictionarySetValue(lGiven.Get(), kServicePropertyName, Str("two").Get());
    lObject->Lock();
    EXPECT_EQ(lObject->RefreshLocked(Dict({ { kServicePropertyState, "ready" } })), 0);
    lObject->Unlock();
    EXPECT_EQ(Text(lObject->GetProperty(CFURetain(kServicePropertyName)).Get()), "one");
    EXPECT_EQ(Text(CFDictionaryGetValue(lLive.Get(), kServicePropertyState)), "ready");
    EXPECT_EQ(Text(CFDictionaryGetValue(lSnapshot.Get(), kServicePropertyState)), "idle");

    EXPECT_EQ(lObject->ClearProperty(CFURetain(kServicePropertyName)), 0);
    EXPECT_EQ(lObject->ClearProperty(CFURetain(kServicePropertyName)), 0);
    EXPECT_EQ(CFDictionaryGetCount(lObject->CopyProperties().Get()), 1);
}

TEST(AnObject, EqualsAnotherOneOfItsPath)
{
    const zqSharedPtr<Object> lNone(new Object);
    const auto                lA = Make<Object>("/a", Dict());

    EXPECT_TRUE(*lA == *Make<Object>("/a", Dict({ { kServicePropertyName, "one" } })));
    EXPECT_FALSE(*lA == *Make<Object>("/A", Dict()));
    EXPECT_TRUE(*lNone == *zqSharedPtr<Object>(new Object));
    EXPECT_FALSE(*lNone == *lA);
    EXPECT_FALSE(*lA == *lNone);
}
