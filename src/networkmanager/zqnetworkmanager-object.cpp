#include <zqnetworkmanager-object.h>

#include "zqnetworkmanager-lock.h"
#include "zqnetworkmanager-values.h"

#include <zqlog.h>
#include <zqshared-containers.h>

#include <utility>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-object"

namespace zq::NetworkManager
{

using Private::ScopedLock;

Object::Object() noexcept : lOpaqueLock{ nullptr }, mInitialized(false), mPath(nullptr), mProperties(nullptr) {}

Object::~Object()
{
    CFURelease(mProperties);
    CFURelease(mPath);

    if (lOpaqueLock.uNetscape != nullptr)
        PR_DestroyLock(lOpaqueLock.uNetscape);
}

void Object::Destroy()
{
    delete this;
}

zqError Object::Init(const CFUSharedRef<CFStringRef> &aPath, const CFUSharedRef<CFDictionaryRef> &aProperties)
{
    ZQ_REQUIRE(!mInitialized, zqError_WrongState);
    ZQ_REQUIRE(aPath != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aProperties != NULL, zqError_InvalidArgument);

    // An Init that failed further down has left its lock.
    if (lOpaqueLock.uNetscape == nullptr)
        lOpaqueLock.uNetscape = PR_NewLock();

    ZQ_REQUIRE(lOpaqueLock.uNetscape != NULL, zqError_NoResources);

    ScopedLock lLock(lOpaqueLock.uNetscape);

    auto path = CFUAdopt(CFStringCreateCopy(kCFAllocatorDefault, aPath.Get()));
    ZQ_REQUIRE(path != NULL, zqError_NoResources);

    auto properties = CFUAdopt(CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, aProperties.Get()));
    ZQ_REQUIRE(properties != NULL, zqError_NoResources);

    mPath        = path.Leak();
    mProperties  = properties.Leak();
    mInitialized = true;

    return zqError_None;
}

zqError Object::Init(const Object &anObject)
{
    const auto path       = anObject.GetPath();
    const auto properties = anObject.CopyProperties();

    // One that has a path has properties: there was no memory for the copy.
    if (path != nullptr)
        ZQ_REQUIRE(properties != NULL, zqError_NoResources);

    return Init(path, properties);
}

void Object::UndoInitLocked()
{
    mInitialized = false;
    CFURelease(std::exchange(mProperties, nullptr));
    CFURelease(std::exchange(mPath, nullptr));
}

CFUSharedRef<CFStringRef> Object::GetPath() const
{
    ScopedLock lLock(lOpaqueLock.uNetscape);

    return CFURetain(mPath);
}

CFUSharedRef<CFDictionaryRef> Object::GetProperties() const
{
    ScopedLock lLock(lOpaqueLock.uNetscape);

    return CFURetain<CFDictionaryRef>(mProperties);
}

CFUSharedRef<CFDictionaryRef> Object::CopyProperties() const
{
    ScopedLock lLock(lOpaqueLock.uNetscape);

    if (mProperties == nullptr)
        return nullptr;

    return CFUAdopt(CFDictionaryCreateCopy(kCFAllocatorDefault, mProperties));
}

CFUSharedRef<CFTypeRef> Object::GetProperty(const CFUSharedRef<CFStringRef> &aKey) const
{
    ZQ_REQUIRE(aKey != NULL, nullptr);

    ScopedLock lLock(lOpaqueLock.uNetscape);

    return CFURetain(GetPropertyLockedUntyped(aKey.Get()));
}

CFTypeRef Object::GetPropertyLockedUntyped(CFStringRef aKey) const
{
    return mProperties != nullptr ? CFDictionaryGetValue(mProperties, aKey) : nullptr;
}

zqError Object::RefreshLocked(const CFUSharedRef<CFDictionaryRef> &aProperties)
{
    ZQ_REQUIRE(aProperties != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(mInitialized, zqError_WrongState);

    return Shared::Merge(mProperties, aProperties.Get()) ? zqError_None : zqError_OutOfMemory;
}

zqError Object::ClearProperty(const CFUSharedRef<CFStringRef> &aKey)
{
    ZQ_REQUIRE(mInitialized, zqError_WrongState);
    ZQ_REQUIRE(aKey != NULL, zqError_InvalidArgument);

    ScopedLock lLock(lOpaqueLock.uNetscape);

    CFDictionaryRemoveValue(mProperties, aKey.Get());
    mIsStale = true;

    return zqError_None;
}

void Object::ClearOthers(CFDictionaryRef aProperties)
{
    const auto lKeys = CFUAdopt(CFUDictionaryCopyKeys(CopyProperties().Get()));

    for (CFIndex lIndex = 0; lKeys != nullptr && lIndex < CFArrayGetCount(lKeys.Get()); ++lIndex)
    {
        const auto lKey = CFURetain(static_cast<CFStringRef>(CFArrayGetValueAtIndex(lKeys.Get(), lIndex)));

        if (!CFDictionaryContainsKey(aProperties, lKey.Get()))
            (void)ClearProperty(lKey);
    }
}

void Object::Lock() const
{
    Private::Take(lOpaqueLock.uNetscape);
}

void Object::Unlock() const
{
    Private::Give(lOpaqueLock.uNetscape);
}

bool operator==(const Object &aFirst, const Object &aSecond)
{
    const auto lFirst  = aFirst.GetPath();
    const auto lSecond = aSecond.GetPath();

    if (lFirst == nullptr || lSecond == nullptr)
        return lFirst.Get() == lSecond.Get();

    return Private::IsEqual(lFirst.Get(), lSecond.Get());
}

} // namespace zq::NetworkManager
