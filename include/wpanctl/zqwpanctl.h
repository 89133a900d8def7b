/**
 *  @file
 *    zqWPANCtl, the client of the WPAN daemon that runs the device's IEEE
 *    802.15.4 / Thread radio.
 *
 *  The daemon's signals are received by one message filter of the process and
 *  fanned out to every controller and to the interface that they are about.
 *
 *  Threads: slots run on the thread that dispatches the process-wide D-Bus
 *  connection (the run loop's). No lock of this module is held meanwhile: a slot
 *  may create and destroy controllers, its own included, and ask for
 *  interfaces. An exception that leaves a slot is caught and logged: the slots
 *  after it on the same signal are passed over, every other signal is raised,
 *  and the message counts as not handled.
 */

#ifndef ZQWPANCTL_H
#define ZQWPANCTL_H

#include <CFUtilities.h>
#include <zqerror.h>
#include <zqexport.h>
#include <zqstring.h>

#include <boost/signals2/signal.hpp>

#include <cstdint>

struct PRLock;

/**
 *  A controller: six signals to which its owner connects.
 *
 *  Any number of controllers may live at once; each is told every signal of the
 *  daemon, whichever radio interface it is about. A controller that is destroyed
 *  on another thread than the dispatching one may have a slot running there until
 *  that slot returns; none begins afterwards.
 */
class ZQ_EXPORT zqWPANCtl
{
public:
    class Interface;

    /** The interface, why it wakes the host (the daemon's one byte, 0 to 255), and how many milliseconds of the wake
     * period are left. */
    using NetWakeSignal = boost::signals2::signal<void(const zqString &anInterface, int aData, int aRemaining)>;

    /** The interface. */
    using SleepSignal = boost::signals2::signal<void(const zqString &anInterface)>;

    /** The interface and the daemon's name of the state, lent. */
    using AssociationStateSignal = boost::signals2::signal<void(const zqString &anInterface, CFStringRef aState)>;

    /** The interface, and whether its channel is jammed. */
    using JammingStateSignal = boost::signals2::signal<void(const zqString &anInterface, bool aJammed)>;

    /** The interface, the property's name and its new value, never null. */
    using PropertyChangedSignal = boost::signals2::signal<void(const zqString &anInterface, const zqString &aKey,
                                                               CFUSharedRef<const void *> aValue)>;

    /** @throws std::bad_alloc when memory is exhausted: the signals have no other way to say it. */
    zqWPANCtl();

    /** Disconnects every slot. May run inside one of them. The interfaces stay. */
    ~zqWPANCtl();

    zqWPANCtl(const zqWPANCtl &)            = delete;
    zqWPANCtl &operator=(const zqWPANCtl &) = delete;

    /** As Init(-1). */
    zqError Init() noexcept;

    /**
     *  See to it that the daemon's signals are received.
     *
     *  The first controller of the process installs the message filter and its
     *  match rule on the connection of the process-wide D-Bus instance, for all
     *  controllers, those included whose Init was not called. There is nothing
     *  to do while they are in place, and nothing can be done while there is no
     *  such instance: both are a success.
     *
     *  Installing asks the bus and blocks until it has answered: one round trip;
     *  with a bus process that has stalled, up to the bus library's own time-out
     *  of 25 seconds. Call it before the run loop runs, or on its thread.
     *
     *  @param[in]  aTimeout  Not used.
     *
     *  @retval  0  Installed, or nothing to do.
     *  @retval -1  The filter or the match rule could not be installed; a later
     *              Init tries again.
     */
    zqError Init(const int &aTimeout) noexcept;

    /**
     *  The interface of a name, such as "wpan0", made when it is first asked for.
     *
     *  It is shared by every controller of the process and lives as long as the
     *  process. May be called from any thread. Whether the daemon has such an
     *  interface is not looked at.
     *
     *  @returns the interface, lent; null only when memory is exhausted.
     */
    Interface *GetInterface(const zqString &aName) noexcept;

    /** The interface "wpan0". */
    Interface *GetInterface() noexcept;

    // Connect and disconnect on any thread. They are raised by this module alone.

    NetWakeSignal          mNetWake;
    SleepSignal            mAllowSleep;   ///< The interface no longer minds that the host sleeps.
    SleepSignal            mPreventSleep; ///< The interface wants the host to stay awake.
    AssociationStateSignal mAssociationState;
    JammingStateSignal     mJammingState;
    PropertyChangedSignal  mPropertyChanged;
};

/**
 *  One radio interface of the daemon, with the signals that are about it and
 *  the settings that are written back whenever the daemon announces it anew.
 *
 *  Use zqWPANCtl::GetInterface: an interface that was made otherwise is told
 *  nothing.
 */
class ZQ_EXPORT zqWPANCtl::Interface
{
public:
    // The controller's signals, without the name of the interface.

    using NetWakeSignal          = boost::signals2::signal<void(int aData, int aRemaining)>;
    using SleepSignal            = boost::signals2::signal<void()>;
    using AssociationStateSignal = boost::signals2::signal<void(CFStringRef aState)>;
    using JammingStateSignal     = boost::signals2::signal<void(bool aJammed)>;
    using PropertyChangedSignal =
        boost::signals2::signal<void(const zqString &aKey, CFUSharedRef<const void *> aValue)>;

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
     *              The interface raises its signals, but can save no settings.
     */
    zqError Init(const zqString &aPath, zqWPANCtl *aController) noexcept;

    /**
     *  Write the saved settings back to the daemon, which has lost them in a
     *  restart. Runs on the dispatching thread, when the daemon has announced the
     *  interface and every slot has returned.
     */
    void RestoreSettings() noexcept;

    NetWakeSignal          mNetWake;
    SleepSignal            mAllowSleep;
    SleepSignal            mPreventSleep;
    AssociationStateSignal mAssociationState;
    JammingStateSignal     mJammingState;
    PropertyChangedSignal  mPropertyChanged;

private:
    zqString                             mPath;
    [[maybe_unused]] zqWPANCtl          *mController = nullptr;
    CFUSharedRef<CFMutableDictionaryRef> mSettings; // guarded by mSettingsLock
    PRLock                              *mSettingsLock = nullptr;

    // Until it is narrowed, every channel of the 2.4 GHz band: 11 to 26.
    [[maybe_unused]] std::uint32_t mSupportedChannelsMask = 0x07FFF800;
};

#endif // ZQWPANCTL_H
