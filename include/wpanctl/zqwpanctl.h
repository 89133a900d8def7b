/**
 *  @file
 *    zqWPANCtl, the client of the WPAN daemon that runs the device's IEEE
 *    802.15.4 / Thread radio.
 *
 *  The daemon's signals are received by one message filter of the process and
 *  fanned out to every controller and to the interface that they are about. An
 *  interface carries the commands and the properties:
 *
 *  @code
 *  #include <zqwpanctl-signals.h> // beside this header, by who connects a slot or passes a completion
 *
 *  zqWPANCtl lController;
 *  zqWPANCtl::Interface *const lInterface = lController.GetInterface();
 *
 *  zqError lError = lInterface->PermitJoin(300, 0); // waits for the daemon's answer
 *
 *  lError = lInterface->GetProperty_Async(
 *      [](zqError anError, const zqString &aKey, CFUSharedRef<const void *> aValue) { ... },
 *      zqWPANCtl::kPropertyKeyAssociationState);      // answered on the run loop's thread
 *  @endcode
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

#include <cstdint>
#include <memory>

/** A boost::signals2::signal: zqwpanctl-signals.h has it, for who connects to one. */
template <typename Signature>
class zqWPANSignal;

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

    // The names of properties and their values. They live until the process ends
    // and are never released; they are null until this library's static
    // initialiser has run.

#define ZQ_WPAN(aName, aText) static const CFStringRef aName;
#include <zqwpanctl-vocabulary.def>

    /** The kind of radio that the daemon drives. */
    enum class NCPDriverType
    {
        Unknown,    ///< another kind, or it could not be read
        Spinel,     ///< "spinel"
        SilabsTMSP, ///< "silabs_tmsp"
        Silabs      ///< "silabs"
    };

    /** How much the radio's Thread stack logs: the levels of syslog. */
    enum class OpenThreadLogLevel : std::int16_t
    {
        Emergency     = 0,
        Alert         = 1,
        Critical      = 2,
        Error         = 3,
        Warning       = 4,
        Notice        = 5,
        Informational = 6,
        Debug         = 7
    };

    /** The mode bits of a Thread device. Any other combination of bits may be cast to it. */
    enum class ThreadDeviceMode : std::int16_t
    {
        SleepyEndDevice = 0x05,
        RouterReed      = 0x0F ///< a router, or an end device that can become one
    };

    struct Signals;

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
     *  One message filter and its match rule serve all controllers of the
     *  process, those included whose Init was not called. They are put on the
     *  connection of the process-wide D-Bus instance; when that has become
     *  another one since the last Init, they move there. The instance that has
     *  them is held with a reference. There is nothing to do while they are in
     *  place, and nothing can be done while there is no such instance: both are
     *  a success. A signal that comes while they move may be raised twice, and
     *  one that waits on the connection that they leave is not raised.
     *
     *  Installing asks the bus and blocks until it has answered: one round trip;
     *  with a bus process that has stalled, up to the bus library's own time-out
     *  of 25 seconds. May be called from any thread.
     *
     *  @param[in]  aTimeout  Not used.
     *
     *  @retval  0  Installed, or nothing to do.
     *  @retval -1  The filter or the match rule could not be installed: they are
     *              where they were, and a later Init tries again.
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

    /** What holds the six signals: they stay while one of them is raised, whatever becomes of the controller. */
    const std::shared_ptr<Signals> mSignals;

    // Each begins with the name of the interface that it is about. Connect and
    // disconnect on any thread; they are raised by this module alone.

    /** Why the interface wakes the host (the daemon's one byte, 0 to 255), and how many milliseconds of the wake
     * period are left. */
    zqWPANSignal<void(const zqString &, int, int)> &mNetWake;

    zqWPANSignal<void(const zqString &)> &mAllowSleep;   ///< The interface no longer minds that the host sleeps.
    zqWPANSignal<void(const zqString &)> &mPreventSleep; ///< The interface wants the host to stay awake.

    zqWPANSignal<void(const zqString &, CFStringRef)> &mAssociationState; ///< The daemon's name of the state, lent.
    zqWPANSignal<void(const zqString &, bool)>        &mJammingState;     ///< Whether its channel is jammed.

    /** The property's name and its new value, never null. */
    zqWPANSignal<void(const zqString &, const zqString &, CFUSharedRef<const void *>)> &mPropertyChanged;
};

#include <zqwpanctl-interface.h>

#endif // ZQWPANCTL_H
