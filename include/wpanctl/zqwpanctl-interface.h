/**
 *  @file
 *    zqWPANCtl::Interface: the commands to one radio interface, its properties
 *    and its saved settings. Included by zqwpanctl.h.
 */

#ifndef ZQWPANCTL_INTERFACE_H
#define ZQWPANCTL_INTERFACE_H

#include <zqwpanctl.h>

#include <boost/function/function_fwd.hpp>

#include <atomic>

struct PRLock;

/**
 *  One radio interface of the daemon: the commands to it, its properties, the
 *  signals that are about it, and the settings that are written back whenever
 *  the daemon announces it anew.
 *
 *  Use zqWPANCtl::GetInterface: an interface that was made otherwise is told
 *  nothing, and must outlive the asynchronous operations that were started on it.
 *
 *  Commands and property calls may be made from any thread, inside a slot or a
 *  completion too, and whether or not the daemon is there.
 *
 *  Synchronous forms block until the daemon has answered, on the calling
 *  thread's own connection to the bus, and dispatch nothing meanwhile. They
 *  result in:
 *
 *  @retval   0  The daemon has done it.
 *  @retval  -1  The bus cannot be reached; or the daemon is not there, answered
 *               with an error or with a status other than 0, or its reply cannot
 *               be read.
 *  @retval  -3  The bus has gone.
 *  @retval  -5  An argument is not valid, as told with each of them; a text is
 *               empty, as a zqString is that was made of a string with a NUL
 *               inside; or the interface's name cannot be part of an object path.
 *  @retval  -7  Memory is exhausted, or too much waits to be sent.
 *  @retval -16  No answer within the time-out, or the daemon left before it answered.
 *
 *  Asynchronous forms return once the call is queued on the process-wide
 *  connection, and are answered on the thread that dispatches it. A result of 0
 *  means that the completion will be called, exactly once: with 0, -1 or -16
 *  as above; with -1 also when the bus goes first, or the connection is closed.
 *  With any other result nothing was sent, and the completion is not called:
 *  -1 when there is no process-wide connection, -2 when the completion cannot be
 *  copied, -3, -5 and -7 as above. An empty completion is allowed.
 */
class ZQ_EXPORT zqWPANCtl::Interface
{
public:
    /** The controller's signals, without the name of the interface: see zqwpanctl-signals.h. */
    struct Signals;

    /** Told the outcome of an asynchronous command. */
    using Completion = boost::function<void(zqError anError)>;

    /** Told the outcome of reading a property: the value is null unless the error is 0. */
    using PropertyCompletion =
        boost::function<void(zqError anError, const zqString &aKey, CFUSharedRef<const void *> aValue)>;

    /** @throws std::bad_alloc as zqWPANCtl does. */
    Interface();
    ~Interface();
    Interface(const Interface &)            = delete;
    Interface &operator=(const Interface &) = delete;

    /**
     *  @param[in]  aPath        The object path of the interface.
     *  @param[in]  aController  The controller that first asked for it; not owned.
     *
     *  @retval  0  Done; the settings are empty.
     *  @retval -7  The lock or the dictionary of the settings could not be had.
     *              The interface raises its signals and carries commands, but can
     *              save no settings. Without the lock it cannot set the supported
     *              channels either.
     */
    zqError Init(const zqString &aPath, zqWPANCtl *aController) noexcept;

    // Commands

    /**
     *  Let devices join the network for a while. The daemon has 2 seconds.
     *
     *  @param[in]  aSeconds  How long, as the daemon takes it: -1 to 65534.
     *  @param[in]  aPort     The port of the commissioner; 0: none. With a port,
     *                        the daemon is told to let only the traffic of
     *                        commissioners on this port pass.
     *
     *  @retval -5  The seconds are below -1 or above 65534.
     */
    zqError PermitJoin(int aSeconds, unsigned short aPort) noexcept;
    zqError PermitJoin_Async(const Completion &aCompletion, int aSeconds, unsigned short aPort) noexcept;

    /**
     *  Form a new network. The daemon has 45 seconds.
     *
     *  @param[in]  aName           The network's name.
     *  @param[in]  aChannel        The channel, as the daemon takes it.
     *  @param[in]  aChannelMask    The channels to choose from, channel n in bit
     *                              n. The daemon is told those of them that the
     *                              interface supports.
     *  @param[in]  aExtendedPanId  8 bytes.
     *
     *  @retval -5  The identifier is null, or none of the channels is supported.
     */
    zqError Form(const zqString &aName, short aChannel, unsigned int aChannelMask,
                 const unsigned char *aExtendedPanId) noexcept;
    zqError Form_Async(const Completion &aCompletion, const zqString &aName, short aChannel, unsigned int aChannelMask,
                       const unsigned char *aExtendedPanId) noexcept;

    /**
     *  Wake the devices of the network. The daemon has 8 seconds.
     *
     *  @param[in]  aData  Why: one byte, 0 to 255. Beside it the daemon is told
     *                     no flags (0).
     *
     *  @retval -5  The data is no byte.
     */
    zqError BeginNetWake(int aData) noexcept;
    zqError BeginNetWake_Async(const Completion &aCompletion, int aData) noexcept;

    /**
     *  Publish a route that leads out of the network, or withdraw it. The daemon has 5 seconds.
     *
     *  @param[in]  aPrefix        An IPv6 prefix: as many bytes as the length
     *                             takes. Those are what is sent; bits after the
     *                             length are sent as 0.
     *  @param[in]  aPrefixLength  In bits, 0 to 128.
     *  @param[in]  aDomain        The domain of the route.
     *  @param[in]  aPriority      Its preference.
     *
     *  @retval -5  The prefix is null, or longer than 128 bits.
     */
    zqError AddExternalRoute(const unsigned char *aPrefix, unsigned char aPrefixLength, unsigned short aDomain,
                             short aPriority) noexcept;
    zqError AddExternalRoute_Async(const Completion &aCompletion, const unsigned char *aPrefix,
                                   unsigned char aPrefixLength, unsigned short aDomain, short aPriority) noexcept;
    zqError RemoveExternalRoute(const unsigned char *aPrefix, unsigned char aPrefixLength,
                                unsigned short aDomain) noexcept;
    zqError RemoveExternalRoute_Async(const Completion &aCompletion, const unsigned char *aPrefix,
                                      unsigned char aPrefixLength, unsigned short aDomain) noexcept;

    /**
     *  Make the interface the gateway of a prefix. The daemon has 5 seconds.
     *
     *  @param[in]  aPrefix             As for AddExternalRoute, with aPrefixLength.
     *  @param[in]  aDefaultRoute       Whether it is the default route too.
     *  @param[in]  aPreferredLifetime  Of the prefix, in seconds.
     *  @param[in]  aValidLifetime      The same.
     *
     *  @retval -5  The prefix is null, or longer than 128 bits.
     */
    zqError ConfigGateway(const unsigned char *aPrefix, unsigned char aPrefixLength, bool aDefaultRoute,
                          unsigned int aPreferredLifetime, unsigned int aValidLifetime) noexcept;
    zqError ConfigGateway_Async(const Completion &aCompletion, const unsigned char *aPrefix,
                                unsigned char aPrefixLength, bool aDefaultRoute, unsigned int aPreferredLifetime,
                                unsigned int aValidLifetime) noexcept;

    /** Let the radio save power. The daemon has 1 second; asynchronously, 5. */
    zqError BeginLowPower() noexcept;
    zqError BeginLowPower_Async(const Completion &aCompletion) noexcept;

    /** Leave the network. The daemon has 5 seconds. */
    zqError Leave() noexcept;
    zqError Leave_Async(const Completion &aCompletion) noexcept;

    /** Reset the radio. The daemon has 7 seconds. */
    zqError Reset() noexcept;
    zqError Reset_Async(const Completion &aCompletion) noexcept;

    /**
     *  Ask whether the radio answers; tell the daemon that the host is awake.
     *
     *  @param[in]  aTimeout  How long the daemon has, in milliseconds. 0: no
     *                        answer is wanted, and that none came is a success.
     *                        -1: 25 seconds.
     *
     *  @retval -5  The time-out is below -1.
     */
    zqError Ping(int aTimeout) noexcept;
    zqError Ping_Async(const Completion &aCompletion, int aTimeout) noexcept;
    zqError HostDidWake(int aTimeout) noexcept;
    zqError HostDidWake_Async(const Completion &aCompletion, int aTimeout) noexcept;

    // Properties

    /**
     *  Write a property. The daemon has 8 seconds.
     *
     *  Of the properties that are saved and restored (see RestoreSettings), a
     *  value that the daemon has accepted is saved: of several, the one that was
     *  sent last, whichever answer is handled first.
     *
     *  @param[in]  aKey    One of the zqWPANCtl::kPropertyKey constants, or
     *                      whatever else the daemon has.
     *  @param[in]  aValue  A string, boolean, number, data (an array of bytes),
     *                      array or dictionary with keys that are strings: see
     *                      zqDBus::AppendVariant. Kept; not to be changed later.
     *
     *  @retval -5  The value is null, or of a kind that cannot be sent.
     */
    zqError SetProperty(const zqString &aKey, CFUSharedRef<const void *> aValue) noexcept;
    zqError SetProperty_Async(const Completion &aCompletion, const zqString &aKey,
                              CFUSharedRef<const void *> aValue) noexcept;

    /**
     *  Read a property. The daemon has 5 seconds.
     *
     *  @param[out]  aValue  The value, as zqDBus::CopyValue decodes it; null
     *                       unless the result is 0.
     */
    zqError GetProperty(const zqString &aKey, CFUSharedRef<const void *> &aValue) noexcept;
    zqError GetProperty_Async(const PropertyCompletion &aCompletion, const zqString &aKey) noexcept;

    // Saved settings

    /**
     *  Save a value of a setting without writing it to the daemon; it counts as
     *  the one that was sent last. The string "Empty" marks a setting that is not
     *  to be restored.
     *
     *  @retval  0
     *  @retval -3  The interface can save no settings.
     *  @retval -5  The value is null.
     *  @retval -7  Memory is exhausted.
     */
    zqError UpdateSettings(const zqString &aKey, CFUSharedRef<const void *> aValue) noexcept;

    /**
     *  Write the saved settings back to the daemon, which has lost them in a
     *  restart: those of jamming detection, the device mode, the log level, those
     *  of the channel manager and kPropertyQuilPawDestAddress, always in the same
     *  order. Results are ignored.
     *
     *  Runs on the dispatching thread, when the daemon has announced the
     *  interface and every slot has returned. It waits for the daemon, as the
     *  synchronous SetProperty does, once for each saved setting.
     *
     *  A setting that is set meanwhile is not undone. The set and the restoration
     *  may reach the daemon in either order, so whichever of them ends last writes
     *  the saved value once more: a set does that before it returns, or before
     *  its completion is called. Of sets that overlap one another, on several
     *  threads, the one that was sent last is saved, but the daemon may have taken
     *  another one last.
     */
    void RestoreSettings() noexcept;

    // What rests on properties. The setters' results are SetProperty's, and -2
    // when a value could not be made; the getters' are GetProperty's, and -1 for
    // a value of another kind.

    /** The kind of radio; Unknown also when it cannot be read. */
    NCPDriverType GetNCPDriverType() noexcept;

    /** The channels that the radio supports, channel n in bit n: all of the 2.4 GHz band (11 to 26) until it is set. */
    std::uint32_t GetSupportedChannelsMask() const noexcept;

    /**
     *  Set the supported channels, in the daemon, asynchronously. The mask that
     *  GetSupportedChannelsMask returns and Form respects follows when the daemon
     *  has accepted it.
     *
     *  @retval   0  Sent; or it is the mask already, and nothing was sent: the one
     *               that was asked for last, unless that has failed, and then the
     *               one that GetSupportedChannelsMask returns.
     *  @retval  -1  There is no process-wide connection.
     *  @retval  -2  Memory is exhausted.
     *  @retval  -3  The bus has gone; or the interface has no lock, as told at Init.
     *  @retval  -7  Memory is exhausted, or too much waits to be sent.
     */
    zqError SetSupportedChannelsMask(unsigned int aMask) noexcept;

    /**
     *  Watch for a jammed channel. The state arrives with the jamming signal.
     *  Four writes; the first that fails ends it, and those before it stay.
     *
     *  @param[in]  anRssiThreshold  In dBm: what is above it counts as busy.
     *  @param[in]  aWindow          How long is looked back, as the daemon takes it.
     *  @param[in]  aBusyPeriod      How much of the window must be busy; the same.
     */
    zqError StartJammingDetection(signed char anRssiThreshold, unsigned char aWindow,
                                  unsigned char aBusyPeriod) noexcept;
    zqError StopJammingDetection() noexcept;

    /** @param[out]  aJammed  Written when the result is 0. */
    zqError GetJammingState(bool &aJammed) noexcept;

    /** @retval -5  The level is none of the enumeration. */
    zqError SetOpenThreadLogLevel(OpenThreadLogLevel aLevel) noexcept;

    /** @param[out]  aLevel  Written when the result is 0. @retval -1  Also for a level that there is not. */
    zqError GetOpenThreadLogLevel(OpenThreadLogLevel &aLevel) noexcept;

    zqError SetThreadDeviceMode(ThreadDeviceMode aMode) noexcept;

    const std::shared_ptr<Signals> mSignals; ///< what holds the six signals

    // As the controller's, without the name.
    zqWPANSignal<void(int, int)>                                     &mNetWake;
    zqWPANSignal<void()>                                             &mAllowSleep;
    zqWPANSignal<void()>                                             &mPreventSleep;
    zqWPANSignal<void(CFStringRef)>                                  &mAssociationState;
    zqWPANSignal<void(bool)>                                         &mJammingState;
    zqWPANSignal<void(const zqString &, CFUSharedRef<const void *>)> &mPropertyChanged;

private:
    // Receivers of the outcome of one asynchronous call.
    class AsyncCommandResponseHelper;
    class SimpleCommandResponseHelper;
    class GetPropertyCommandResponseHelper;

    // Each command with arguments: synchronous without a helper. With one it is
    // sent, and the helper is the bus's when the result is 0.

    zqError PermitJoin_Private(AsyncCommandResponseHelper *aHelper, int aSeconds, unsigned short aPort) noexcept;
    zqError Form_Private(AsyncCommandResponseHelper *aHelper, const zqString &aName, short aChannel,
                         unsigned int aChannelMask, const unsigned char *aExtendedPanId) noexcept;
    zqError BeginNetWake_Private(AsyncCommandResponseHelper *aHelper, int aData) noexcept;
    zqError AddExternalRoute_Private(AsyncCommandResponseHelper *aHelper, const unsigned char *aPrefix,
                                     unsigned char aPrefixLength, unsigned short aDomain, short aPriority) noexcept;
    zqError RemoveExternalRoute_Private(AsyncCommandResponseHelper *aHelper, const unsigned char *aPrefix,
                                        unsigned char aPrefixLength, unsigned short aDomain) noexcept;
    zqError ConfigGateway_Private(AsyncCommandResponseHelper *aHelper, const unsigned char *aPrefix,
                                  unsigned char aPrefixLength, bool aDefaultRoute, unsigned int aPreferredLifetime,
                                  unsigned int aValidLifetime) noexcept;
    zqError SetProperty_Private(AsyncCommandResponseHelper *aHelper, const zqString &aKey, CFTypeRef aValue) noexcept;
    zqError GetProperty_Private(AsyncCommandResponseHelper *aHelper, const zqString &aKey,
                                CFUSharedRef<const void *> *aValue) noexcept;

    zqError SimpleCommand(const char *aMethod, int aTimeout) noexcept;
    zqError SimpleCommand_Async(const char *aMethod, int aTimeout, const Completion &aCompletion) noexcept;

    // Every set and every restoration takes a turn when it begins.

    std::uint64_t TakeTurn() noexcept;
    zqError       StoreLocked(const zqString &aKey, CFTypeRef aValue, std::uint64_t aTurn) noexcept;
    void          Accept(const zqString &aKey, CFTypeRef aValue, std::uint64_t aTurn) noexcept;
    void          Restore(std::size_t aSetting) noexcept;

    bool AskForMask(std::uint32_t aMask, std::uint64_t aTurn) noexcept;
    void AnswerMask(std::uint32_t aMask, std::uint64_t aTurn, zqError anError) noexcept;

    zqError SetNumber(const zqString &aKey, std::int16_t aNumber) noexcept;
    zqError SetBoolean(const zqString &aKey, bool aFlag) noexcept;

    static constexpr std::size_t kNumSavedSettings = 13;

    /** Of one saved setting; 0: never. */
    struct Turns
    {
        std::uint64_t mSet      = 0; ///< of the value that is saved
        std::uint64_t mRestored = 0; ///< when it was written back, or was found to have no value
    };

    /** The sets of the supported channels. */
    struct Asked
    {
        std::uint32_t mMask        = 0;
        std::uint64_t mTurn        = 0; ///< of the last one; 0: it failed, or there was none
        std::uint64_t mAccepted    = 0; ///< of the one whose mask is the supported one
        int           mOutstanding = 0;
    };

    zqString                    mPath;
    [[maybe_unused]] zqWPANCtl *mController   = nullptr;
    PRLock                     *mSettingsLock = nullptr;
    std::atomic<std::uint32_t>  mSupportedChannelsMask{ 0x07FFF800 }; // changed under mSettingsLock

    // Guarded by mSettingsLock
    CFUSharedRef<CFMutableDictionaryRef> mSettings;
    Turns                                mTurns[kNumSavedSettings];
    std::uint64_t                        mLastTurn = 0;
    Asked                                mAsked;
};

#endif // ZQWPANCTL_INTERFACE_H
