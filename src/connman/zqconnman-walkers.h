/**
 *  @file
 *    The exact walkers, which are handed one element of a message after the
 *    other, and the stack of containers that they fill.
 */

#ifndef ZQCONNMAN_WALKERS_H
#define ZQCONNMAN_WALKERS_H

#include "zqconnman-private.h"

#include <utility>
#include <vector>

/** One partially built container. Its references are released by Release, not by a destructor. */
struct zqDBusCFState
{
    enum : UInt32
    {
        kScalar     = 0,
        kArray      = 1,
        kDictionary = 2
    };
    enum : UInt32
    {
        kKeyWaits = 1 ///< flag: a key waits for its value
    };

    UInt32    mKind;
    UInt32    mFlags;
    CFTypeRef mContainer; // null: empty so far
    CFTypeRef mKey;
    CFTypeRef mValue;

    CFMutableArrayRef GetArray() const
    {
        return static_cast<CFMutableArrayRef>(const_cast<void *>(mContainer)); // see MakeContainer
    }

    CFMutableDictionaryRef GetDictionary() const
    {
        return static_cast<CFMutableDictionaryRef>(const_cast<void *>(mContainer)); // see MakeContainer
    }

    void DropKey()
    {
        CFURelease(std::exchange(mKey, nullptr));
        mFlags &= ~static_cast<UInt32>(kKeyWaits);
    }

    void Release()
    {
        CFURelease(std::exchange(mContainer, nullptr));
        CFURelease(std::exchange(mKey, nullptr));
        CFURelease(std::exchange(mValue, nullptr));
    }
};

/** What a walker is handed: the containers that are open, and at the end the outermost one. */
class zqDBusCFContext
{
public:
    /** How many containers of what a daemon sends are open at a time. */
    static constexpr std::size_t kUsualDepth = 4;

    zqDBusCFContext() { mStack.reserve(kUsualDepth); }
    virtual ~zqDBusCFContext()
    {
        for (zqDBusCFState &lState : mStack)
            lState.Release();
        CFURelease(mResult);
    }
    zqDBusCFContext(const zqDBusCFContext &)            = delete;
    zqDBusCFContext &operator=(const zqDBusCFContext &) = delete;

    /** The result, with its reference for the caller. */
    CFTypeRef TakeResult() { return std::exchange(mResult, nullptr); }

    SInt32                     mDepth = 0;
    std::vector<zqDBusCFState> mStack; // innermost last
    zqError                    mStatus  = zqError_None;
    CFTypeRef                  mResult  = nullptr;
    SInt32                     mSkipped = 0; // how many of the open containers are not kept
};

/** The two arguments of a ServicesChanged signal. */
class ServicesChangedContext : public zqDBusCFContext
{
public:
    SInt32 mPhase = 1; // 1: changed services; 2: removed paths; 0: done

    CFUSharedRef<CFDictionaryRef> mChanged;
    CFUSharedRef<CFArrayRef>      mRemoved;
};

// The stack. Each yields 0; -5 for a value that has no place in the innermost container; -7, also in the context's
// status, when memory is exhausted.

zqError zqDBusCFAddString(zqDBusCFContext &aContext, const char *aString);
zqError zqDBusCFAddKey(zqDBusCFContext &aContext, const char *aString);
zqError zqDBusCFAddBoolean(zqDBusCFContext &aContext, bool aFlag);
zqError zqDBusCFAddNumber(zqDBusCFContext &aContext, CFNumberType aType, const void *aValue);
zqError zqDBusCFFail(zqDBusCFContext &aContext);
/** @param[in]  aIsChanged  Whoever gets it changes it: so it is nobody else's. */
zqError zqDBusCFStart(zqDBusCFContext &aContext, bool aIsDictionary, bool aIsChanged = false);
zqError zqDBusCFEnd(zqDBusCFContext &aContext);
zqError zqDBusCFPushArray(zqDBusCFContext &aContext);
void    zqDBusCFPopState(zqDBusCFContext &aContext);

/** A number of a D-Bus type that is @a T, as the next wider type of CFNumber that holds all its values. */
template <typename T, typename Wide>
zqError zqDBusCFAddNumberAs(zqDBusCFContext &aContext, CFNumberType aType, const void *aValue)
{
    const Wide lValue = static_cast<Wide>(*static_cast<const T *>(aValue));

    return zqDBusCFAddNumber(aContext, aType, &lValue);
}

inline const char *zqDBusCFText(const void *aValue)
{
    return *static_cast<const char *const *>(aValue);
}

/** The elements that every exact walker takes: strings, keys, booleans; a variant is what it holds. -5 for any other.
 */
zqError zqDBusCFWalkScalar(zqDBusCFContext &aContext, int anEvent, const void *aValue);

// The exact walkers. -5 for an element that is not told, and an assertion for a null context.

/** Properties, or one: strings, paths, booleans; a container inside is an array. */
zqError PropertiesWalker(void *theContext, int anEvent, const char *aName, const void *aValue);

/** The same without paths. */
zqError PropertiesWalkerNoPaths(void *theContext, int anEvent, const char *aName, const void *aValue);

/** a(oa{sv}): objects by their paths, each with properties as PropertiesWalkerNoPaths takes them. */
zqError ObjectsWalker(void *theContext, int anEvent, const char *aName, const void *aValue);

/** oa{sv}: one of those. */
zqError ObjectWalker(void *theContext, int anEvent, const char *aName, const void *aValue);

/** Properties that are dictionaries of dictionaries; of the arrays inside only "Alternates" is kept. */
zqError TechnologyPropertiesWalker(void *theContext, int anEvent, const char *aName, const void *aValue);

/** Properties, or one: strings, booleans, numbers of 8 and 16 bits; what seven of the names hold are dictionaries. */
zqError ServicePropertiesWalker(void *theContext, int anEvent, const char *aName, const void *aValue);

/** a(oa{sv}): as ServicePropertiesWalker takes them, but without the numbers of 16 bits. */
zqError ServiceObjectsWalker(void *theContext, int anEvent, const char *aName, const void *aValue);

/** a(oa{sv})ao: those that changed, and the paths of those that are gone. Its context is a ServicesChangedContext. */
zqError ServicesChangedWalker(void *theContext, int anEvent, const char *aName, const void *aValue);

#endif // ZQCONNMAN_WALKERS_H
