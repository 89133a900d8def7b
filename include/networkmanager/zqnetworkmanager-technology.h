/**
 *  @file
 *    One technology of the connection manager: Wi-Fi, Ethernet, LoWPAN and so on.
 */

#ifndef ZQNETWORKMANAGER_TECHNOLOGY_H
#define ZQNETWORKMANAGER_TECHNOLOGY_H

#include <zqnetworkmanager-object.h>

namespace zq::NetworkManager
{

/**
 *  A technology: whether it is powered, connected and tethering.
 *
 *  Name, Connected, Powered, Tethering and Type are required and cached all at
 *  once at Init and at every refresh: a technology is never half-updated. A
 *  value of another kind than the property has counts as absent.
 *
 *  Every getter hands out a reference of its own, null before Init, and may be
 *  called from any thread.
 */
class ZQ_EXPORT Technology : public Object
{
public:
    Technology() noexcept;
    ~Technology() override;

    void Destroy() override;

    /**
     *  @retval   0
     *  @retval  -3  A second Init; the technology is as it was.
     *  @retval  -4  A property is missing; the technology stays uninitialised.
     *  @retval  -5  The path or the dictionary is null.
     *  @retval  -7  A lock or a dictionary could not be made.
     */
    zqError Init(const CFUSharedRef<CFStringRef> &aPath, const CFUSharedRef<CFDictionaryRef> &aProperties) override;

    /** Init with the path and the properties of another technology. @retval as Init. */
    zqError Init(const Technology &aTechnology);

    /**
     *  Merge new properties and take the cached values anew.
     *
     *  @retval   0
     *  @retval  -3  Not initialised.
     *  @retval  -4  A property is missing or of another kind; the five cached
     *               values stay, the merged dictionary keeps the new data.
     *  @retval  -5  The dictionary is null.
     */
    virtual zqError Refresh(const CFUSharedRef<CFDictionaryRef> &aProperties);

    CFUSharedRef<CFStringRef>  GetName() const; ///< a kTechnologyName*, for people; the LoWPAN one has none of these
    CFUSharedRef<CFBooleanRef> IsConnected() const;
    CFUSharedRef<CFBooleanRef> IsPowered() const;
    CFUSharedRef<CFBooleanRef> IsTethering() const;
    CFUSharedRef<CFStringRef>  GetType() const; ///< a kTechnologyType*

    /** kCFBooleanTrue when the type equals @a aType, letter case included; false when either is null. */
    CFUSharedRef<CFBooleanRef> IsType(const CFUSharedRef<CFStringRef> &aType) const;
    CFUSharedRef<CFBooleanRef> IsType(CFStringRef aType) const { return IsType(CFURetain(aType)); }

private:
    friend struct Private::Kind;

    zqError InitLocked();

    bool                    mInitialized;
    CFUSharedRef<CFTypeRef> mCached[5]; // in the order of the rows in the source
};

/** True when the paths are equal. */
ZQ_EXPORT bool operator==(const Technology &aFirst, const Technology &aSecond);

} // namespace zq::NetworkManager

#endif // ZQNETWORKMANAGER_TECHNOLOGY_H
