/**
 *  @file
 *    The stack of partially built containers.
 */

#include "zqconnman-walkers.h"

#include <new>

zqError zqDBusCFFail(zqDBusCFContext &aContext)
{
    aContext.mStatus = zqError_NoResources;
    return aContext.mStatus;
}

namespace
{

// When memory is exhausted a container stays as it is, and does not say so.

bool Append(CFMutableArrayRef anArray, CFTypeRef aValue)
{
    const CFIndex lCount = CFArrayGetCount(anArray);

    CFArrayAppendValue(anArray, aValue);

    return CFArrayGetCount(anArray) > lCount;
}

bool SetValue(CFMutableDictionaryRef aDictionary, CFTypeRef aKey, CFTypeRef aValue)
{
    const CFIndex lCount = CFDictionaryGetCount(aDictionary);

    CFDictionarySetValue(aDictionary, aKey, aValue);

    return CFDictionaryGetCount(aDictionary) > lCount || CFDictionaryGetValue(aDictionary, aKey) == aValue;
}

bool MakeContainer(zqDBusCFState &aState)
{
    if (aState.mKind == zqDBusCFState::kArray)
        aState.mContainer = zq::ConnMan::MakeArray().Leak();
    else
        aState.mContainer = zq::ConnMan::MakeDictionary().Leak();

    return ZQ_CHECK(aState.mContainer != NULL);
}

zqError AddReference(zqDBusCFContext &aContext, CFTypeRef aReference)
{
    if (aContext.mStack.empty())
        return zqError_None;

    zqDBusCFState &state = aContext.mStack.back();

    switch (state.mKind)
    {
    case zqDBusCFState::kArray:
        ZQ_REQUIRE(aReference != NULL, zqError_InvalidArgument);

        if ((state.mContainer == nullptr && !MakeContainer(state)) || !Append(state.GetArray(), aReference))
            return zqDBusCFFail(aContext);
        return zqError_None;

    case zqDBusCFState::kDictionary:
        ZQ_REQUIRE(aReference != NULL, zqError_InvalidArgument);

        if ((state.mFlags & zqDBusCFState::kKeyWaits) != 0)
        {
            ZQ_REQUIRE(state.mKey != NULL, zqError_InvalidArgument);
            if ((state.mContainer == nullptr && !MakeContainer(state)) ||
                !SetValue(state.GetDictionary(), state.mKey, aReference))
                return zqDBusCFFail(aContext);
            state.DropKey();
        }
        else
        {
            // Whoever reads a decoded dictionary relies on its keys being texts.
            ZQ_REQUIRE(CFUIsTypeID(aReference, CFStringGetTypeID()), zqError_InvalidArgument);
            state.mKey = CFRetain(aReference);
            state.mFlags |= zqDBusCFState::kKeyWaits;
        }
        return zqError_None;

    default:
        if (aReference != nullptr)
            (void)CFRetain(aReference);
        CFURelease(state.mValue);
        state.mValue = aReference;
        return zqError_None;
    }
}

} // namespace

zqError zqDBusCFAddString(zqDBusCFContext &aContext, const char *aString)
{
    CFStringRef stringRef = aString != nullptr ? zq::ConnMan::FindCommonString(aString) : nullptr;

    if (stringRef != nullptr)
        return AddReference(aContext, stringRef);

    const CFUSharedRef<CFStringRef> lString = zq::ConnMan::MakeString(aString);

    stringRef = lString.Get();
    if (!ZQ_CHECK(stringRef != NULL))
        return zqDBusCFFail(aContext);

    return AddReference(aContext, stringRef);
}

/** A key where a value is due would shift every later entry of the dictionary. */
zqError zqDBusCFAddKey(zqDBusCFContext &aContext, const char *aString)
{
    if (!aContext.mStack.empty())
        ZQ_REQUIRE((aContext.mStack.back().mFlags & zqDBusCFState::kKeyWaits) == 0, zqError_InvalidArgument);

    return zqDBusCFAddString(aContext, aString);
}

zqError zqDBusCFAddBoolean(zqDBusCFContext &aContext, bool aFlag)
{
    const CFUSharedRef<CFBooleanRef> lBoolean   = CFUAdopt(CFUBooleanCreate(aFlag));
    CFBooleanRef                     booleanRef = lBoolean.Get();

    if (!ZQ_CHECK(booleanRef != NULL))
        return zqDBusCFFail(aContext);

    return AddReference(aContext, booleanRef);
}

zqError zqDBusCFAddNumber(zqDBusCFContext &aContext, CFNumberType aType, const void *aValue)
{
    const CFUSharedRef<CFNumberRef> lNumber   = CFUAdopt(CFNumberCreate(kCFAllocatorDefault, aType, aValue));
    CFNumberRef                     numberRef = lNumber.Get();

    if (!ZQ_CHECK(numberRef != NULL))
        return zqDBusCFFail(aContext);

    return AddReference(aContext, numberRef);
}

namespace
{

/** The outermost container, and one that is changed later, is made at once; any other with its first value. */
zqError PushContainer(zqDBusCFContext &aContext, UInt32 aKind, bool aIsChanged)
{
    try
    {
        aContext.mStack.push_back({ aKind, 0, nullptr, nullptr, nullptr });
    }
    catch (const std::bad_alloc &)
    {
        return zqDBusCFFail(aContext);
    }

    const bool lIsMade = aIsChanged || aContext.mStack.size() == 1;

    return lIsMade && !MakeContainer(aContext.mStack.back()) ? zqDBusCFFail(aContext) : zqError(zqError_None);
}

} // namespace

zqError zqDBusCFPushArray(zqDBusCFContext &aContext)
{
    return PushContainer(aContext, zqDBusCFState::kArray, false);
}

void zqDBusCFPopState(zqDBusCFContext &aContext)
{
    if (aContext.mStack.empty())
        return;

    zqDBusCFState &lState = aContext.mStack.back();

    if (aContext.mDepth == 0 && lState.mContainer != nullptr)
    {
        CFURelease(aContext.mResult);
        aContext.mResult = CFRetain(lState.mContainer);
    }
    lState.Release();
    aContext.mStack.pop_back();
}

zqError zqDBusCFStart(zqDBusCFContext &aContext, bool aIsDictionary, bool aIsChanged)
{
    const zqError lReturn =
        PushContainer(aContext, aIsDictionary ? zqDBusCFState::kDictionary : zqDBusCFState::kArray, aIsChanged);

    if (lReturn == zqError_None)
        aContext.mDepth += 1;
    return lReturn;
}

namespace
{

/** Most properties of most services are empty lists: there is one for all. Null when there was no memory for it. */
CFTypeRef FindEmpty(UInt32 aKind)
{
    static const CFTypeRef sArray      = CFArrayCreate(kCFAllocatorDefault, nullptr, 0, &kCFTypeArrayCallBacks);
    static const CFTypeRef sDictionary = CFDictionaryCreate(
        kCFAllocatorDefault, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);

    return aKind == zqDBusCFState::kArray ? sArray : sDictionary;
}

} // namespace

zqError zqDBusCFEnd(zqDBusCFContext &aContext)
{
    CFUSharedRef<CFTypeRef> lNested;

    aContext.mDepth -= 1;

    if (aContext.mStack.size() > 1)
    {
        zqDBusCFState &lState = aContext.mStack.back();

        if (lState.mContainer == nullptr)
            lState.mContainer = CFURetain(FindEmpty(lState.mKind)).Leak();
        if (lState.mContainer == nullptr && !MakeContainer(lState))
            return zqDBusCFFail(aContext);
        lNested = CFUAdopt(std::exchange(lState.mContainer, nullptr));
    }
    zqDBusCFPopState(aContext);

    return lNested != nullptr ? AddReference(aContext, lNested.Get()) : zqError(zqError_None);
}

zqError zqDBusCFWalkScalar(zqDBusCFContext &aContext, int anEvent, const void *aValue)
{
    switch (anEvent)
    {
    case DBUS_TYPE_STRING:
        return zqDBusCFAddString(aContext, zqDBusCFText(aValue));
    case DBUS_TYPE_DICT_ENTRY:
        return zqDBusCFAddKey(aContext, zqDBusCFText(aValue));
    case DBUS_TYPE_BOOLEAN:
        return zqDBusCFAddBoolean(aContext, *static_cast<const dbus_bool_t *>(aValue) != 0);
    case DBUS_TYPE_VARIANT:
        return zqError_None;
    default:
        return zqError_InvalidArgument;
    }
}
