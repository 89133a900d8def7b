/**
 *  @file
 *    The properties of an interface, and what rests on them.
 */

#include "zqwpanctl-calls.h"
#include "zqwpanctl-private.h"

#include <zqlog.h>

#include <new>

#define ZQ_LOG_COMPONENT "wpanctl"
#define ZQ_LOG_FILE "zqwpanctl"

using namespace zq::WPAN;

// Property calls

zqError zqWPANCtl::Interface::SetProperty_Private(AsyncCommandResponseHelper *aHelper, const zqString &aKey,
                                                  CFTypeRef aValue) noexcept
{
    return Perform(mPath, kSetProperty, aHelper, { { aKey.GetAsUTFArray() }, { aValue } });
}

zqError zqWPANCtl::Interface::GetProperty_Private(AsyncCommandResponseHelper *aHelper, const zqString &aKey,
                                                  CFUSharedRef<const void *> *aValue) noexcept
{
    return Perform(mPath, kGetProperty, aHelper, { { aKey.GetAsUTFArray() } }, aValue);
}

zqError zqWPANCtl::Interface::SetProperty(const zqString &aKey, CFUSharedRef<const void *> aValue) noexcept
{
    const std::uint64_t lTurn   = TakeTurn();
    const zqError       lReturn = SetProperty_Private(nullptr, aKey, aValue.Get());

    if (lReturn == zqError_None)
        Accept(aKey, aValue.Get(), lTurn);
    return lReturn;
}

zqError zqWPANCtl::Interface::SetProperty_Async(const Completion &aCompletion, const zqString &aKey,
                                                CFUSharedRef<const void *> aValue) noexcept
try
{
    const std::uint64_t lTurn       = TakeTurn();
    const Completion    lCompletion = [this, aCompletion, aKey, aValue, lTurn](zqError anError)
    {
        if (anError == zqError_None)
            Accept(aKey, aValue.Get(), lTurn);
        if (aCompletion)
            aCompletion(anError);
    };

    return SendWith(NewHelper<SimpleCommandResponseHelper>(lCompletion, kSetProperty.mAsyncTimeout),
                    [&](AsyncCommandResponseHelper *aHelper)
                    { return SetProperty_Private(aHelper, aKey, aValue.Get()); });
}
catch (...)
{
    return zqError_OutOfMemory;
}

zqError zqWPANCtl::Interface::GetProperty(const zqString &aKey, CFUSharedRef<const void *> &aValue) noexcept
{
    aValue.Reset();
    return GetProperty_Private(nullptr, aKey, &aValue);
}

zqError zqWPANCtl::Interface::GetProperty_Async(const PropertyCompletion &aCompletion, const zqString &aKey) noexcept
{
    return SendWith(NewHelper<GetPropertyCommandResponseHelper>(aCompletion, aKey),
                    [&](AsyncCommandResponseHelper *aHelper) { return GetProperty_Private(aHelper, aKey, nullptr); });
}

// Numbers and booleans

namespace
{

// By level, in the order of syslog.
const char *const kLevelNames[] = { "Emergency", "Alert",  "Critical",      "Error",
                                    "Warning",   "Notice", "Informational", "Debug" };
constexpr int     kLevelCount   = sizeof(kLevelNames) / sizeof(kLevelNames[0]);

static_assert(kLevelCount == static_cast<int>(zqWPANCtl::OpenThreadLogLevel::Debug) + 1, "a name for each level");

const char *ModeName(zqWPANCtl::ThreadDeviceMode aMode) noexcept
{
    switch (aMode)
    {
    case zqWPANCtl::ThreadDeviceMode::RouterReed:
        return "RouterReed";
    case zqWPANCtl::ThreadDeviceMode::SleepyEndDevice:
        return "SleepyEndDevice";
    default:
        return "Unknown";
    }
}

} // namespace

zqError zqWPANCtl::Interface::SetNumber(const zqString &aKey, std::int16_t aNumber) noexcept
{
    const auto lNumber = CFUAdopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt16Type, &aNumber));

    return lNumber ? SetProperty(aKey, lNumber) : zqError_OutOfMemory;
}

zqError zqWPANCtl::Interface::SetBoolean(const zqString &aKey, bool aFlag) noexcept
{
    return SetProperty(aKey, CFUAdopt(CFUBooleanCreate(aFlag)));
}

// The kind of radio

zqWPANCtl::NCPDriverType zqWPANCtl::Interface::GetNCPDriverType() noexcept
{
    static const struct
    {
        const char   *mName;
        NCPDriverType mType;
    } kTypes[] = { { "spinel", NCPDriverType::Spinel },
                   { "silabs_tmsp", NCPDriverType::SilabsTMSP },
                   { "silabs", NCPDriverType::Silabs } };
    CFUSharedRef<CFTypeRef> lValue;

    if (GetProperty(kPropertyDriverName, lValue) != zqError_None || !CFUIsTypeID(lValue.Get(), CFStringGetTypeID()))
        return NCPDriverType::Unknown;

    const zqString lName(static_cast<CFStringRef>(lValue.Get()));

    for (const auto &lRow : kTypes)
        if (lName == lRow.mName)
            return lRow.mType;
    return NCPDriverType::Unknown;
}

// Channels

std::uint32_t zqWPANCtl::Interface::GetSupportedChannelsMask() const noexcept
{
    return mSupportedChannelsMask;
}

/** False when this is the mask already: the one that was asked for last, or when that failed, the supported one. */
bool zqWPANCtl::Interface::AskForMask(std::uint32_t aMask, std::uint64_t aTurn) noexcept
{
    const ScopedLock lLock(mSettingsLock);

    // While an earlier one is under way after the last has failed, nobody knows which mask it will be.
    const bool          lIsKnown = mAsked.mTurn != 0 || mAsked.mOutstanding == 0;
    const std::uint32_t lLast    = mAsked.mTurn != 0 ? mAsked.mMask : mSupportedChannelsMask.load();

    if (lIsKnown && aMask == lLast)
        return false;

    if (aTurn > mAsked.mTurn)
    {
        mAsked.mMask = aMask;
        mAsked.mTurn = aTurn;
    }
    ++mAsked.mOutstanding;
    return true;
}

void zqWPANCtl::Interface::AnswerMask(std::uint32_t aMask, std::uint64_t aTurn, zqError anError) noexcept
{
    const ScopedLock lLock(mSettingsLock);

    --mAsked.mOutstanding;
    if (anError != zqError_None && mAsked.mTurn == aTurn)
        mAsked.mTurn = 0;
    if (anError == zqError_None && aTurn > mAsked.mAccepted)
    {
        mAsked.mAccepted       = aTurn;
        mSupportedChannelsMask = aMask;
    }
}

zqError zqWPANCtl::Interface::SetSupportedChannelsMask(unsigned int aMask) noexcept
try
{
    if (mSettingsLock == nullptr)
        return zqError_WrongState;

    const auto lValue = CFUAdopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &aMask));
    if (!lValue)
        return zqError_OutOfMemory;

    const std::uint64_t lTurn   = TakeTurn();
    const Completion    lAnswer = [this, aMask, lTurn](zqError anError) { AnswerMask(aMask, lTurn, anError); };

    if (!AskForMask(aMask, lTurn))
        return zqError_None;

    const zqError lReturn = SetProperty_Async(lAnswer, kPropertyKeyChannelManagerSupportedChannelMask, lValue);
    if (lReturn == zqError_None)
        ZQ_LOG(zqLogLevel_Information, "wpanctl: Supported channel mask is set to 0x%08x", aMask);
    else
        AnswerMask(aMask, lTurn, lReturn);
    return lReturn;
}
catch (const std::bad_alloc &)
{
    return zqError_OutOfMemory;
}

// Jamming

zqError zqWPANCtl::Interface::StartJammingDetection(signed char anRssiThreshold, unsigned char aWindow,
                                                    unsigned char aBusyPeriod) noexcept
{
    const struct
    {
        const char  *mKey;
        std::int16_t mValue;
    } kParameters[] = { { kPropertyJamRssiThreshold, anRssiThreshold },
                        { kPropertyJamWindow, aWindow },
                        { kPropertyJamBusyPeriod, aBusyPeriod } };

    for (const auto &lParameter : kParameters)
    {
        const zqError lReturn = SetNumber(lParameter.mKey, lParameter.mValue);

        if (lReturn != zqError_None)
            return lReturn;
    }
    return SetBoolean(kPropertyJamEnable, true);
}

zqError zqWPANCtl::Interface::StopJammingDetection() noexcept
{
    return SetBoolean(kPropertyJamEnable, false);
}

zqError zqWPANCtl::Interface::GetJammingState(bool &aJammed) noexcept
{
    CFUSharedRef<CFTypeRef> lValue;
    const zqError           lReturn = GetProperty(kPropertyJamStatus, lValue);

    if (lReturn != zqError_None)
        return lReturn;
    if (!CFUIsTypeID(lValue.Get(), CFBooleanGetTypeID()))
        return zqError_Failed;

    aJammed = CFUIsTrue(lValue);
    return zqError_None;
}

// The Thread stack

zqError zqWPANCtl::Interface::SetOpenThreadLogLevel(OpenThreadLogLevel aLevel) noexcept
{
    const auto lLevel = static_cast<std::int16_t>(aLevel);

    if (lLevel < 0 || lLevel >= kLevelCount)
        return zqError_InvalidArgument;

    const zqError lReturn = SetNumber(kPropertyKeyOpenThreadLogLevel, lLevel);
    if (lReturn == zqError_None)
        ZQ_LOG(zqLogLevel_Information, "wpanctl: Set OpenThread LogLevel to \"%s\" (%d)", kLevelNames[lLevel], lLevel);
    return lReturn;
}

zqError zqWPANCtl::Interface::GetOpenThreadLogLevel(OpenThreadLogLevel &aLevel) noexcept
{
    CFUSharedRef<CFTypeRef> lValue;
    long long               lLevel  = 0;
    const zqError           lReturn = GetProperty(kPropertyKeyOpenThreadLogLevel, lValue);

    if (lReturn != zqError_None)
        return lReturn;
    if (!CFUIsTypeID(lValue.Get(), CFNumberGetTypeID()))
        return zqError_Failed;

    const bool lFits = CFNumberGetValue(static_cast<CFNumberRef>(lValue.Get()), kCFNumberLongLongType, &lLevel);
    if (!lFits || lLevel < 0 || lLevel >= kLevelCount)
    {
        ZQ_LOG(zqLogLevel_Notice, "wpanctl: OpenThread:LogLevel returned invalid value %lld", lLevel);
        return zqError_Failed;
    }

    aLevel = static_cast<OpenThreadLogLevel>(lLevel);
    return zqError_None;
}

zqError zqWPANCtl::Interface::SetThreadDeviceMode(ThreadDeviceMode aMode) noexcept
{
    const auto    lMode   = static_cast<std::int16_t>(aMode);
    const zqError lReturn = SetNumber(kPropertyKeyDeviceMode, lMode);

    if (lReturn == zqError_None)
        ZQ_LOG(zqLogLevel_Information, "wpanctl: Set Thread Device Mode to \"%s\" (0x%02X)", ModeName(aMode),
               static_cast<unsigned int>(lMode));
    return lReturn;
}
