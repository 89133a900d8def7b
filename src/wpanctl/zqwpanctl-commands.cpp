/**
 *  @file
 *    The commands of an interface, synchronous and asynchronous.
 */

#include "zqwpanctl-calls.h"

#include <zqlog.h>

#define ZQ_LOG_COMPONENT "wpanctl"
#define ZQ_LOG_FILE "zqwpanctl"

using namespace zq::WPAN;

namespace
{

constexpr int kMinimumJoinSeconds  = -1;
constexpr int kMaximumJoinSeconds  = 65534;
constexpr int kExtendedPanIdLength = 8;

/** The bytes of an IPv6 prefix as they are sent: as many as its length takes, without the bits behind it. */
class Prefix
{
public:
    Prefix(const unsigned char *aBytes, unsigned char aLength) noexcept
    {
        if (aBytes == nullptr || aLength > 8 * sizeof(mBytes))
            return;

        mCount = (aLength + 7) / 8;
        for (int lIndex = 0; lIndex < mCount; ++lIndex)
            mBytes[lIndex] = aBytes[lIndex];
        if (aLength % 8 != 0)
            mBytes[mCount - 1] &= static_cast<unsigned char>(0xFF00U >> (aLength % 8));
    }

    bool     IsValid() const noexcept { return mCount >= 0; }
    Argument Get() const noexcept { return { mBytes, mCount }; }

private:
    unsigned char mBytes[16] = {};
    int           mCount     = -1;
};

} // namespace

// Commands without arguments

zqError zqWPANCtl::Interface::SimpleCommand(const char *aMethod, int aTimeout) noexcept
{
    return Perform(mPath, { aMethod, "", aTimeout, aTimeout }, nullptr, {});
}

zqError zqWPANCtl::Interface::SimpleCommand_Async(const char *aMethod, int aTimeout,
                                                  const Completion &aCompletion) noexcept
{
    return SendWith(NewHelper<SimpleCommandResponseHelper>(aCompletion, aTimeout),
                    [&](AsyncCommandResponseHelper *aHelper) {
                        return Perform(mPath, { aMethod, "", aTimeout, aTimeout }, aHelper, {});
                    });
}

zqError zqWPANCtl::Interface::BeginLowPower() noexcept
{
    return SimpleCommand(kBeginLowPower.mMethod, kBeginLowPower.mTimeout);
}

zqError zqWPANCtl::Interface::BeginLowPower_Async(const Completion &aCompletion) noexcept
{
    return SimpleCommand_Async(kBeginLowPower.mMethod, kBeginLowPower.mAsyncTimeout, aCompletion);
}

zqError zqWPANCtl::Interface::Leave() noexcept
{
    return SimpleCommand(kLeave.mMethod, kLeave.mTimeout);
}

zqError zqWPANCtl::Interface::Leave_Async(const Completion &aCompletion) noexcept
{
    return SimpleCommand_Async(kLeave.mMethod, kLeave.mAsyncTimeout, aCompletion);
}

zqError zqWPANCtl::Interface::Reset() noexcept
{
    return SimpleCommand(kReset.mMethod, kReset.mTimeout);
}

zqError zqWPANCtl::Interface::Reset_Async(const Completion &aCompletion) noexcept
{
    return SimpleCommand_Async(kReset.mMethod, kReset.mAsyncTimeout, aCompletion);
}

zqError zqWPANCtl::Interface::Ping(int aTimeout) noexcept
{
    return SimpleCommand(kPing, aTimeout);
}

zqError zqWPANCtl::Interface::Ping_Async(const Completion &aCompletion, int aTimeout) noexcept
{
    return SimpleCommand_Async(kPing, aTimeout, aCompletion);
}

zqError zqWPANCtl::Interface::HostDidWake(int aTimeout) noexcept
{
    return SimpleCommand(kHostDidWake, aTimeout);
}

zqError zqWPANCtl::Interface::HostDidWake_Async(const Completion &aCompletion, int aTimeout) noexcept
{
    return SimpleCommand_Async(kHostDidWake, aTimeout, aCompletion);
}

// Commands with arguments

zqError zqWPANCtl::Interface::PermitJoin_Private(AsyncCommandResponseHelper *aHelper, int aSeconds,
                                                 unsigned short aPort) noexcept
{
    const dbus_bool_t   lCommissionersOnly = aPort != 0 ? TRUE : FALSE;
    const unsigned char lReserved          = 0;

    if (aSeconds < kMinimumJoinSeconds || aSeconds > kMaximumJoinSeconds)
        return zqError_InvalidArgument;

    return Perform(mPath, kPermitJoin, aHelper, { { &aSeconds }, { &lCommissionersOnly }, { &aPort }, { &lReserved } });
}

zqError zqWPANCtl::Interface::Form_Private(AsyncCommandResponseHelper *aHelper, const zqString &aName, short aChannel,
                                           unsigned int aChannelMask, const unsigned char *aExtendedPanId) noexcept
{
    const unsigned int lSupported = GetSupportedChannelsMask();
    const unsigned int lMask      = aChannelMask & lSupported;

    if (aExtendedPanId == nullptr)
        return zqError_InvalidArgument;
    if (lMask == 0)
    {
        ZQ_LOG(zqLogLevel_Notice,
               "wpanctl: Cannot form, given channel mask %0x08x does not intersect with the supported channels mask "
               "%0x08x\n",
               aChannelMask, lSupported);
        return zqError_InvalidArgument;
    }

    return Perform(mPath, kForm, aHelper,
                   { { aName.GetAsUTFArray() }, { &aChannel }, { &lMask }, { aExtendedPanId, kExtendedPanIdLength } });
}

zqError zqWPANCtl::Interface::BeginNetWake_Private(AsyncCommandResponseHelper *aHelper, int aData) noexcept
{
    const auto          lData  = static_cast<unsigned char>(aData);
    const dbus_uint32_t lFlags = 0;

    if (aData != lData)
        return zqError_InvalidArgument;

    return Perform(mPath, kBeginNetWake, aHelper, { { &lData }, { &lFlags } });
}

zqError zqWPANCtl::Interface::AddExternalRoute_Private(AsyncCommandResponseHelper *aHelper,
                                                       const unsigned char *aPrefix, unsigned char aPrefixLength,
                                                       unsigned short aDomain, short aPriority) noexcept
{
    const Prefix lPrefix(aPrefix, aPrefixLength);

    if (!lPrefix.IsValid())
        return zqError_InvalidArgument;

    return Perform(mPath, kAddRoute, aHelper, { lPrefix.Get(), { &aDomain }, { &aPriority } });
}

zqError zqWPANCtl::Interface::RemoveExternalRoute_Private(AsyncCommandResponseHelper *aHelper,
                                                          const unsigned char *aPrefix, unsigned char aPrefixLength,
                                                          unsigned short aDomain) noexcept
{
    const Prefix lPrefix(aPrefix, aPrefixLength);

    if (!lPrefix.IsValid())
        return zqError_InvalidArgument;

    return Perform(mPath, kRemoveRoute, aHelper, { lPrefix.Get(), { &aDomain } });
}

zqError zqWPANCtl::Interface::ConfigGateway_Private(AsyncCommandResponseHelper *aHelper, const unsigned char *aPrefix,
                                                    unsigned char aPrefixLength, bool aDefaultRoute,
                                                    unsigned int aPreferredLifetime,
                                                    unsigned int aValidLifetime) noexcept
{
    const Prefix      lPrefix(aPrefix, aPrefixLength);
    const dbus_bool_t lDefaultRoute = aDefaultRoute ? TRUE : FALSE;

    if (!lPrefix.IsValid())
        return zqError_InvalidArgument;

    return Perform(mPath, kConfigGateway, aHelper,
                   { { &lDefaultRoute }, lPrefix.Get(), { &aPreferredLifetime }, { &aValidLifetime } });
}

// Their two forms

zqError zqWPANCtl::Interface::PermitJoin(int aSeconds, unsigned short aPort) noexcept
{
    return PermitJoin_Private(nullptr, aSeconds, aPort);
}

zqError zqWPANCtl::Interface::PermitJoin_Async(const Completion &aCompletion, int aSeconds,
                                               unsigned short aPort) noexcept
{
    return SendWith(NewHelper<SimpleCommandResponseHelper>(aCompletion, kPermitJoin.mAsyncTimeout),
                    [&](AsyncCommandResponseHelper *aHelper) { return PermitJoin_Private(aHelper, aSeconds, aPort); });
}

zqError zqWPANCtl::Interface::Form(const zqString &aName, short aChannel, unsigned int aChannelMask,
                                   const unsigned char *aExtendedPanId) noexcept
{
    return Form_Private(nullptr, aName, aChannel, aChannelMask, aExtendedPanId);
}

zqError zqWPANCtl::Interface::Form_Async(const Completion &aCompletion, const zqString &aName, short aChannel,
                                         unsigned int aChannelMask, const unsigned char *aExtendedPanId) noexcept
{
    return SendWith(NewHelper<SimpleCommandResponseHelper>(aCompletion, kForm.mAsyncTimeout),
                    [&](AsyncCommandResponseHelper *aHelper)
                    { return Form_Private(aHelper, aName, aChannel, aChannelMask, aExtendedPanId); });
}

zqError zqWPANCtl::Interface::BeginNetWake(int aData) noexcept
{
    return BeginNetWake_Private(nullptr, aData);
}

zqError zqWPANCtl::Interface::BeginNetWake_Async(const Completion &aCompletion, int aData) noexcept
{
    return SendWith(NewHelper<SimpleCommandResponseHelper>(aCompletion, kBeginNetWake.mAsyncTimeout),
                    [&](AsyncCommandResponseHelper *aHelper) { return BeginNetWake_Private(aHelper, aData); });
}

zqError zqWPANCtl::Interface::AddExternalRoute(const unsigned char *aPrefix, unsigned char aPrefixLength,
                                               unsigned short aDomain, short aPriority) noexcept
{
    return AddExternalRoute_Private(nullptr, aPrefix, aPrefixLength, aDomain, aPriority);
}

zqError zqWPANCtl::Interface::AddExternalRoute_Async(const Completion &aCompletion, const unsigned char *aPrefix,
                                                     unsigned char aPrefixLength, unsigned short aDomain,
                                                     short aPriority) noexcept
{
    return SendWith(NewHelper<SimpleCommandResponseHelper>(aCompletion, kAddRoute.mAsyncTimeout),
                    [&](AsyncCommandResponseHelper *aHelper)
                    { return AddExternalRoute_Private(aHelper, aPrefix, aPrefixLength, aDomain, aPriority); });
}

zqError zqWPANCtl::Interface::RemoveExternalRoute(const unsigned char *aPrefix, unsigned char aPrefixLength,
                                                  unsigned short aDomain) noexcept
{
    return RemoveExternalRoute_Private(nullptr, aPrefix, aPrefixLength, aDomain);
}

zqError zqWPANCtl::Interface::RemoveExternalRoute_Async(const Completion &aCompletion, const unsigned char *aPrefix,
                                                        unsigned char aPrefixLength, unsigned short aDomain) noexcept
{
    return SendWith(NewHelper<SimpleCommandResponseHelper>(aCompletion, kRemoveRoute.mAsyncTimeout),
                    [&](AsyncCommandResponseHelper *aHelper)
                    { return RemoveExternalRoute_Private(aHelper, aPrefix, aPrefixLength, aDomain); });
}

zqError zqWPANCtl::Interface::ConfigGateway(const unsigned char *aPrefix, unsigned char aPrefixLength,
                                            bool aDefaultRoute, unsigned int aPreferredLifetime,
                                            unsigned int aValidLifetime) noexcept
{
    return ConfigGateway_Private(nullptr, aPrefix, aPrefixLength, aDefaultRoute, aPreferredLifetime, aValidLifetime);
}

zqError zqWPANCtl::Interface::ConfigGateway_Async(const Completion &aCompletion, const unsigned char *aPrefix,
                                                  unsigned char aPrefixLength, bool aDefaultRoute,
                                                  unsigned int aPreferredLifetime, unsigned int aValidLifetime) noexcept
{
    return SendWith(NewHelper<SimpleCommandResponseHelper>(aCompletion, kConfigGateway.mAsyncTimeout),
                    [&](AsyncCommandResponseHelper *aHelper) {
                        return ConfigGateway_Private(aHelper, aPrefix, aPrefixLength, aDefaultRoute, aPreferredLifetime,
                                                     aValidLifetime);
                    });
}
