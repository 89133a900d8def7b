/**
 *  @file
 *    The properties of many objects, asked for several at a time.
 */

#include "zqconnman-private.h"

#include <zqconnman-propertiesreader.h>

#include <new>

namespace
{

/** The most calls that are on their way: what the bus lets a connection have is twice that. */
constexpr CFIndex kMostSent = 64;

constexpr const char *kMethod = "GetProperties";

/** What is different about the objects. */
struct Row
{
    const char         *mInterface;
    const zqDBusCFForm &mForm;
};

const Row &GetRow(zqConnMan::PropertiesReader::Kind aKind)
{
    static const Row sRows[] = { { zq::ConnMan::kServiceInterface, kFormServiceProperties },
                                 { zq::ConnMan::kTechnologyInterface, kFormTechnologyProperties } };

    return sRows[aKind];
}

} // namespace

struct zqConnMan::PropertiesReader::Sent
{
    zqDBusSentCall mCall;
    zqError        mResult = zqError_None; // of sending it
};

zqConnMan::PropertiesReader::PropertiesReader(zqConnMan &aConnMan, Kind aKind, CFArrayRef aPaths) noexcept
    : mConnMan(aConnMan), mKind(aKind), mPaths(CFURetain(aPaths)), mSent(new (std::nothrow) Sent[kMostSent])
{
}

zqConnMan::PropertiesReader::~PropertiesReader() = default;

CFStringRef zqConnMan::PropertiesReader::GetPath(CFIndex anIndex) const
{
    return static_cast<CFStringRef>(CFArrayGetValueAtIndex(mPaths.Get(), anIndex));
}

zqError zqConnMan::PropertiesReader::Next(CFDictionaryRef &aProperties)
{
    aProperties = nullptr;

    if (mNumTaken >= CFArrayGetCount(mPaths.Get()))
        return zqError_NotFound;

    ZQ_REQUIRE(mSent != NULL, zqError_NoResources);
    if (mNumSent - mNumTaken <= kMostSent / 2)
        SendAhead();

    const Row                  &lRow  = GetRow(mKind);
    const CFStringRef           lPath = GetPath(mNumTaken);
    const zq::ConnMan::UTF8Text lText(lPath);

    ZQ_LOG(zqLogLevel_Detail, "connman: %s for object %s at %s with time out %d", kMethod, lText.Get(), lRow.mInterface,
           mConnMan.GetTimeout());

    Sent                   &lSent = mSent[mNumTaken++ % kMostSent];
    zq::ConnMan::MessageRef lReply;
    zqDBusError             lError;
    zqError                 lReturn = lSent.mResult;

    if (lReturn == zqError_None)
        lReturn = mConnMan.mDBus->AwaitReply(lSent.mCall, lReply.Out(), mConnMan.mTimeout, lError.Get());

    lReturn = zqDBusCFTakeProperties(kMethod, lReturn, lReply.Get(), lError, lRow.mForm, aProperties);

    if (aProperties != nullptr)
        ShareCached(lPath, aProperties);
    return lReturn;
}

/** Of values that are equal there is one, which nobody changes: who gets the properties will hold them for long. */
void zqConnMan::PropertiesReader::ShareCached(CFStringRef aPath, CFDictionaryRef aProperties) const
{
    const CFDictionaryRef lCache = mKind == kServices ? mConnMan.mServices : mConnMan.mTechnologies;

    if (lCache == nullptr)
        return;

    const auto lCached     = static_cast<CFDictionaryRef>(CFDictionaryGetValue(lCache, aPath));
    const auto lProperties = const_cast<CFMutableDictionaryRef>(aProperties); // it was decoded for the caller

    zq::ConnMan::ForEachEntry(lCached,
                              [=](const void *aKey, const void *aValue)
                              {
                                  const void *const lValue = CFDictionaryGetValue(lProperties, aKey);

                                  if (lValue != aValue && !CFUIsTypeID(aValue, CFNumberGetTypeID()) &&
                                      CFEqual(lValue, aValue))
                                      CFDictionarySetValue(lProperties, aKey, aValue);
                              });
}

void zqConnMan::PropertiesReader::SendAhead()
{
    for (; mNumSent < CFArrayGetCount(mPaths.Get()) && mNumSent < mNumTaken + kMostSent; ++mNumSent)
    {
        Sent &lSent = mSent[mNumSent % kMostSent];

        lSent.mResult = Send(GetPath(mNumSent), lSent);
    }
}

zqError zqConnMan::PropertiesReader::Send(CFStringRef aPath, Sent &aSent)
{
    const zqError lReturn = mConnMan.CanCall();

    if (lReturn != zqError_None)
        return lReturn;

    const zq::ConnMan::UTF8Text lPath(aPath);

    return mConnMan.mDBus->SendMethodCall(zq::ConnMan::kBusName, lPath.Get(), GetRow(mKind).mInterface, kMethod,
                                          aSent.mCall);
}
