/**
 *  @file
 *    The signals of zqWPANCtl and of its interfaces, and what completions are
 *    made of: for those who connect a slot or pass a completion. Boost's headers
 *    are long, and those who only send commands are spared them.
 *
 *  @code
 *  lController.mSignals->mPreventSleep.connect([](const zqString &anInterface) { ... });
 *  @endcode
 */

#ifndef ZQWPANCTL_SIGNALS_H
#define ZQWPANCTL_SIGNALS_H

#include <zqwpanctl.h>

#include <boost/function.hpp>
#include <boost/signals2/signal.hpp>

/** Each begins with the name of the interface that it is about. */
struct zqWPANCtl::Signals
{
    template <typename... Arguments>
    using Signal = boost::signals2::signal<void(const zqString &anInterface, Arguments...)>;

    /** Why the interface wakes the host (the daemon's one byte, 0 to 255), and how many milliseconds of the wake
     * period are left. */
    Signal<int, int> mNetWake;

    Signal<> mAllowSleep;   ///< The interface no longer minds that the host sleeps.
    Signal<> mPreventSleep; ///< The interface wants the host to stay awake.

    Signal<CFStringRef> mAssociationState; ///< The daemon's name of the state, lent.
    Signal<bool>        mJammingState;     ///< Whether its channel is jammed.

    /** The property's name and its new value, never null. */
    Signal<const zqString &, CFUSharedRef<const void *>> mPropertyChanged;
};

struct zqWPANCtl::Interface::Signals
{
    template <typename... Arguments>
    using Signal = boost::signals2::signal<void(Arguments...)>;

    Signal<int, int>                                     mNetWake;
    Signal<>                                             mAllowSleep;
    Signal<>                                             mPreventSleep;
    Signal<CFStringRef>                                  mAssociationState;
    Signal<bool>                                         mJammingState;
    Signal<const zqString &, CFUSharedRef<const void *>> mPropertyChanged;
};

#endif // ZQWPANCTL_SIGNALS_H
