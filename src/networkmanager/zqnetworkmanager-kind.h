/**
 *  @file
 *    What services, technologies and provisions have in common: values that are
 *    taken out of the dictionary, all at once, whenever it has changed.
 *
 *  The source of a kind has its name and the list of what it caches. In the order
 *  of checking, each row has the getter, what that yields, the property, its type
 *  (a value of another one counts as absent: what is cached may be used without a
 *  check) and the assertion of a required one:
 *
 *    #define ZQ_KIND Technology
 *    #define ZQ_CACHED(ROW) ROW(GetName, CFStringRef, kTechnologyPropertyName, CFStringGetTypeID, nullptr) ...
 *
 *  Of them ZQ_DEFINE_CACHED makes the places of the values (kGetName) and their
 *  table, and ZQ_DEFINE_KIND the getters and what all kinds define alike; its
 *  argument is the source of Init's assertions, or null: there are none.
 */

#ifndef ZQNETWORKMANAGER_KIND_H
#define ZQNETWORKMANAGER_KIND_H

#include "zqnetworkmanager-lock.h"

#include <CFUtilities.h>
#include <zqlog.h>
#include <zqnetworkmanager-object.h>

#include <type_traits>
#include <utility>

namespace zq::NetworkManager
{

class Service;

namespace Private
{

/** A property that a kind of object caches. */
struct CachedProperty
{
    const CFStringRef *mKey;
    CFTypeID (*mType)();
    const char *mRequired;
};

/** What is the same for every kind, of which it is a friend. */
struct Kind
{
    /**
     *  The object's part, then the cached values. After a failure the object is as before.
     *
     *  @param[in]  aFile  The source of the assertions; null: there are none.
     */
    template <typename T>
    static zqError Init(T &aKind, const CFUSharedRef<CFStringRef> &aPath,
                        const CFUSharedRef<CFDictionaryRef> &aProperties, const char *aFile)
    {
        if (aFile != nullptr && !Check(!aKind.mInitialized, "!mInitialized", aFile, __LINE__))
            return zqError_WrongState;

        zqError lReturn = aKind.Object::Init(aPath, aProperties);

        if (lReturn == zqError_None)
        {
            const LockOf<Object> lLock(aKind);

            lReturn            = aKind.InitLocked();
            aKind.mInitialized = lReturn == zqError_None;
            if (!aKind.mInitialized)
                aKind.UndoInitLocked();
        }
        if (aFile != nullptr)
            (void)Check(lReturn == zqError_None, "retval == 0", aFile, __LINE__);

        return lReturn;
    }

    /** Merge the properties, then take the cached values anew. @retval 0, -3 when it is not initialised, or what either
     * step fails with. */
    template <typename T>
    static zqError Refresh(T &aKind, const CFUSharedRef<CFDictionaryRef> &aProperties, const char *aFile)
    {
        if (!Check(aKind.mInitialized, "mInitialized", aFile, __LINE__))
            return zqError_WrongState;

        const LockOf<Object> lLock(aKind);
        const bool           lWasStale = std::exchange(aKind.mIsStale, true);
        zqError              lReturn   = aKind.RefreshLocked(aProperties);

        if (lReturn == zqError_None)
            lReturn = lWasStale ? aKind.InitLocked() : Recache(aKind, aProperties.Get());
        aKind.mIsStale = lReturn != zqError_None;
        (void)Check(lReturn == zqError_None, "retval == 0", aFile, __LINE__);

        return lReturn;
    }

    /**
     *  Look up the rows aFirst to aLast - 1 of a table, in their order, and stop
     *  at the first required one that is absent, with an assertion. The caller
     *  holds the object's lock; the values are lent.
     *
     *  @retval 0, -4
     */
    template <size_t N>
    static zqError CollectLocked(const Object &anObject, const CachedProperty (&aTable)[N], int aFirst, int aLast,
                                 CFTypeRef (&aValues)[N], const char *aFile)
    {
        for (int i = aFirst; i < aLast; i++)
        {
            const CFTypeRef lValue = anObject.GetPropertyLockedUntyped(*aTable[i].mKey);

            aValues[i] = CFUIsTypeID(lValue, aTable[i].mType()) ? lValue : nullptr;
            if (aTable[i].mRequired != nullptr && !Check(aValues[i] != nullptr, aTable[i].mRequired, aFile, __LINE__))
                return zqError_Missing;
        }
        return zqError_None;
    }

    /** Replace the cached values, absent ones included. The caller holds the object's lock. */
    template <size_t N>
    static void ReplaceLocked(CFUSharedRef<CFTypeRef> (&aCached)[N], const CFTypeRef (&aValues)[N])
    {
        for (size_t i = 0; i < N; i++)
            if (aCached[i].Get() != aValues[i])
                aCached[i] = CFURetain(aValues[i]);
    }

    template <typename T>
    static CFUSharedRef<T> Get(const Object &anObject, const CFUSharedRef<CFTypeRef> &aCached)
    {
        const LockOf<Object> lLock(anObject);

        return CFURetain(static_cast<T>(aCached.Get()));
    }

private:
    /** What only a service is refreshed often enough for: no more than the changes name is looked up. */
    template <typename T>
    static zqError Recache(T &aKind, CFDictionaryRef aChanges)
    {
        if constexpr (std::is_same_v<T, Service>)
            return aKind.RecacheLocked(aChanges);
        else
            return aKind.InitLocked();
    }

    static bool Check(bool aCondition, const char *aText, const char *aFile, int aLine)
    {
        if (!aCondition)
            zqLogAssertion("", aText, "", aFile, aLine);
        return aCondition;
    }
};

} // namespace Private

} // namespace zq::NetworkManager

// clang-format off
#define ZQ_CACHED_PLACE(aGetter, ...) k##aGetter,
#define ZQ_CACHED_ROW(aGetter, aType, aKey, aTypeID, aRequired) { &aKey, aTypeID, aRequired },
#define ZQ_CACHED_GETTER(aGetter, aType, ...)                                                                          \
    CFUSharedRef<aType> ZQ_KIND::aGetter() const { return Private::Kind::Get<aType>(*this, mCached[k##aGetter]); }

#define ZQ_DEFINE_CACHED                                                                                               \
    enum { ZQ_CACHED(ZQ_CACHED_PLACE) kNumCached };                                                                    \
    constexpr Private::CachedProperty kTable[] = { ZQ_CACHED(ZQ_CACHED_ROW) };

#define ZQ_DEFINE_KIND(aFile)                                                                                          \
    ZQ_KIND::ZQ_KIND() noexcept : mInitialized(false) {}                                                               \
    ZQ_KIND::~ZQ_KIND() = default;                                                                                     \
    void ZQ_KIND::Destroy() { delete this; }                                                                           \
    zqError ZQ_KIND::Init(const CFUSharedRef<CFStringRef> &aPath, const CFUSharedRef<CFDictionaryRef> &aProperties)    \
    {                                                                                                                  \
        return Private::Kind::Init(*this, aPath, aProperties, aFile);                                                  \
    }                                                                                                                  \
    zqError ZQ_KIND::Init(const ZQ_KIND &anOther) { return Object::Init(anOther); }                                    \
    zqError ZQ_KIND::Refresh(const CFUSharedRef<CFDictionaryRef> &aProperties)                                         \
    {                                                                                                                  \
        return Private::Kind::Refresh(*this, aProperties, ZQ_LOG_FILE);                                                \
    }                                                                                                                  \
    ZQ_CACHED(ZQ_CACHED_GETTER)                                                                                        \
    bool operator==(const ZQ_KIND &aFirst, const ZQ_KIND &aSecond)                                                     \
    {                                                                                                                  \
        return static_cast<const Object &>(aFirst) == static_cast<const Object &>(aSecond);                            \
    }
// clang-format on

#endif // ZQNETWORKMANAGER_KIND_H
