/**
 *  @file
 *    The exact walkers: they take the elements that the daemon of the device
 *    sends, and refuse all others.
 */

#include "zqconnman-walkers.h"

using namespace zq::NetworkManager;

namespace
{

/** The key of the entry that is being filled; null outside of a dictionary and between entries. */
CFTypeRef GetWaitingKey(const zqDBusCFContext &aContext)
{
    return aContext.mStack.empty() ? nullptr : aContext.mStack.back().mKey;
}

} // namespace

zqError PropertiesWalkerNoPaths(void *theContext, int anEvent, const char *, const void *aValue)
{
    ZQ_REQUIRE(theContext != NULL, zqError_InvalidArgument);

    zqDBusCFContext &lContext = *static_cast<zqDBusCFContext *>(theContext);

    switch (anEvent)
    {
    case zqDBusWalkArrayStart:
        return zqDBusCFStart(lContext, lContext.mDepth == 0);
    case zqDBusWalkArrayEnd:
        return zqDBusCFEnd(lContext);
    default:
        return zqDBusCFWalkScalar(lContext, anEvent, aValue);
    }
}

zqError PropertiesWalker(void *theContext, int anEvent, const char *aName, const void *aValue)
{
    ZQ_REQUIRE(theContext != NULL, zqError_InvalidArgument);

    if (anEvent == DBUS_TYPE_OBJECT_PATH)
        return zqDBusCFAddString(*static_cast<zqDBusCFContext *>(theContext), zqDBusCFText(aValue));

    return PropertiesWalkerNoPaths(theContext, anEvent, aName, aValue);
}

namespace
{

/** A set of objects, array of (path, properties), as a dictionary from path to properties. */
template <zqDBusWalker WalkProperties>
zqError WalkObjects(void *theContext, int anEvent, const char *aName, const void *aValue)
{
    ZQ_REQUIRE(theContext != NULL, zqError_InvalidArgument);

    zqDBusCFContext &lContext = *static_cast<zqDBusCFContext *>(theContext);

    switch (anEvent)
    {
    case zqDBusWalkStructureStart:
        lContext.mDepth += 1;
        return zqError_None;
    case zqDBusWalkStructureEnd:
        lContext.mDepth -= 1;
        return zqError_None;
    case zqDBusWalkArrayStart:
        // The cache takes the properties as they are, and changes them.
        if (lContext.mDepth == 0 || lContext.mDepth == 2)
            return zqDBusCFStart(lContext, true, true);
        break;
    case DBUS_TYPE_OBJECT_PATH:
        return zqDBusCFAddString(lContext, zqDBusCFText(aValue));
    default:
        break;
    }
    return WalkProperties(theContext, anEvent, aName, aValue);
}

} // namespace

zqError ObjectsWalker(void *theContext, int anEvent, const char *aName, const void *aValue)
{
    return WalkObjects<PropertiesWalkerNoPaths>(theContext, anEvent, aName, aValue);
}

zqError ObjectWalker(void *theContext, int anEvent, const char *aName, const void *aValue)
{
    return ObjectsWalker(theContext, anEvent, aName, aValue);
}

namespace
{

/** Inside an array that is not kept: nothing of it may become a key or a value of what is kept. */
zqError WalkSkipped(zqDBusCFContext &aContext, int anEvent)
{
    switch (anEvent)
    {
    case zqDBusWalkArrayStart:
    case zqDBusWalkStructureStart:
        aContext.mSkipped += 1;
        aContext.mDepth += 1;
        return zqError_None;
    case zqDBusWalkArrayEnd:
    case zqDBusWalkStructureEnd:
        aContext.mSkipped -= 1;
        aContext.mDepth -= 1;
        return zqError_None;
    case DBUS_TYPE_STRING:
    case DBUS_TYPE_OBJECT_PATH:
    case DBUS_TYPE_BOOLEAN:
    case DBUS_TYPE_VARIANT:
    case DBUS_TYPE_DICT_ENTRY:
        return zqError_None;
    default:
        return zqError_InvalidArgument;
    }
}

} // namespace

zqError TechnologyPropertiesWalker(void *theContext, int anEvent, const char *, const void *aValue)
{
    ZQ_REQUIRE(theContext != NULL, zqError_InvalidArgument);

    zqDBusCFContext &lContext = *static_cast<zqDBusCFContext *>(theContext);

    if (lContext.mSkipped > 0)
        return WalkSkipped(lContext, anEvent);

    switch (anEvent)
    {
    case zqDBusWalkStructureStart:
        lContext.mDepth += 1;
        return zqError_None;
    case zqDBusWalkStructureEnd:
        lContext.mDepth -= 1;
        return zqError_None;
    case zqDBusWalkArrayStart:
        if (lContext.mDepth <= 1)
            return zqDBusCFStart(lContext, true);
        if (GetWaitingKey(lContext) == zq::ConnMan::FindCommonString("Alternates"))
            return zqDBusCFStart(lContext, false);
        lContext.mStack.back().DropKey();
        return WalkSkipped(lContext, anEvent);
    case zqDBusWalkArrayEnd:
        return zqDBusCFEnd(lContext);
    case DBUS_TYPE_OBJECT_PATH:
        return zqDBusCFAddString(lContext, zqDBusCFText(aValue));
    default:
        return zqDBusCFWalkScalar(lContext, anEvent, aValue);
    }
}

namespace
{

/** The properties of a service that are dictionaries. There is one string for each text of the vocabulary. */
bool IsDictionaryProperty(CFTypeRef aKey)
{
    return aKey != nullptr &&
           (aKey == kServicePropertyIPv4 || aKey == kServicePropertyIPv4Configuration || aKey == kServicePropertyIPv6 ||
            aKey == kServicePropertyIPv6Configuration || aKey == kServicePropertyEthernet ||
            aKey == kServicePropertyProxy || aKey == kServicePropertyProxyConfiguration);
}

} // namespace

zqError ServicePropertiesWalker(void *theContext, int anEvent, const char *, const void *aValue)
{
    ZQ_REQUIRE(theContext != NULL, zqError_InvalidArgument);

    zqDBusCFContext &lContext = *static_cast<zqDBusCFContext *>(theContext);

    switch (anEvent)
    {
    case zqDBusWalkArrayStart:
        return zqDBusCFStart(lContext, lContext.mDepth == 0 || IsDictionaryProperty(GetWaitingKey(lContext)));
    case zqDBusWalkArrayEnd:
        return zqDBusCFEnd(lContext);
    case DBUS_TYPE_BYTE:
        return zqDBusCFAddNumberAs<UInt8, SInt16>(lContext, kCFNumberSInt16Type, aValue);
    case DBUS_TYPE_UINT16:
        return zqDBusCFAddNumberAs<UInt16, SInt32>(lContext, kCFNumberSInt32Type, aValue);
    default:
        return zqDBusCFWalkScalar(lContext, anEvent, aValue);
    }
}

namespace
{

/** As ServicePropertiesWalker, but that a set of objects has no 16-bit numbers. */
zqError ServiceObjectPropertiesWalker(void *theContext, int anEvent, const char *aName, const void *aValue)
{
    if (anEvent == DBUS_TYPE_UINT16)
        return zqError_InvalidArgument;

    return ServicePropertiesWalker(theContext, anEvent, aName, aValue);
}

} // namespace

zqError ServiceObjectsWalker(void *theContext, int anEvent, const char *aName, const void *aValue)
{
    return WalkObjects<ServiceObjectPropertiesWalker>(theContext, anEvent, aName, aValue);
}

namespace
{

zqError WalkRemovedPaths(ServicesChangedContext &aContext, int anEvent, const void *aValue)
{
    switch (anEvent)
    {
    case zqDBusWalkArrayStart:
        if (aContext.mDepth == 0)
            return zqDBusCFStart(aContext, false);
        aContext.mDepth += 1;
        return zqError_None;
    case zqDBusWalkArrayEnd:
        return zqDBusCFEnd(aContext);
    case DBUS_TYPE_OBJECT_PATH:
        return zqDBusCFAddString(aContext, zqDBusCFText(aValue));
    default:
        return zqError_InvalidArgument;
    }
}

} // namespace

zqError ServicesChangedWalker(void *theContext, int anEvent, const char *aName, const void *aValue)
{
    ZQ_REQUIRE(theContext != NULL, zqError_InvalidArgument);

    ServicesChangedContext &lContext = *static_cast<ServicesChangedContext *>(theContext);
    zqError                 lReturn  = zqError_None;

    if (lContext.mPhase == 1)
        lReturn = ServiceObjectsWalker(static_cast<zqDBusCFContext *>(&lContext), anEvent, aName, aValue);
    else if (lContext.mPhase == 2)
        lReturn = WalkRemovedPaths(lContext, anEvent, aValue);

    if (lReturn == zqError_None && anEvent == zqDBusWalkArrayEnd && lContext.mDepth == 0 && lContext.mPhase != 0)
    {
        if (lContext.mPhase == 1)
            lContext.mChanged = CFUAdopt(static_cast<CFDictionaryRef>(lContext.TakeResult()));
        else
            lContext.mRemoved = CFUAdopt(static_cast<CFArrayRef>(lContext.TakeResult()));

        lContext.mPhase = lContext.mPhase == 1 ? 2 : 0;
    }
    return lReturn;
}
