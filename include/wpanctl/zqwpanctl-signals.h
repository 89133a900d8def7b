/**
 *  @file
 *    The signals of zqWPANCtl and of its interfaces, and what completions are
 *    made of: for those who connect a slot or pass a completion. Boost's headers
 *    are long, and those who only send commands are spared them.
 *
 *  @code
 *  lController.mPreventSleep.connect([](const zqString &anInterface) { ... });
 *  @endcode
 */

#ifndef ZQWPANCTL_SIGNALS_H
#define ZQWPANCTL_SIGNALS_H

#include <zqwpanctl.h>

#include <boost/function.hpp>
#include <boost/signals2/signal.hpp>

template <typename Signature>
class zqWPANSignal final : public boost::signals2::signal<Signature>
{
};

struct zqWPANCtl::Signals
{
    zqWPANSignal<void(const zqString &, int, int)>                                     mNetWake;
    zqWPANSignal<void(const zqString &)>                                               mAllowSleep;
    zqWPANSignal<void(const zqString &)>                                               mPreventSleep;
    zqWPANSignal<void(const zqString &, CFStringRef)>                                  mAssociationState;
    zqWPANSignal<void(const zqString &, bool)>                                         mJammingState;
    zqWPANSignal<void(const zqString &, const zqString &, CFUSharedRef<const void *>)> mPropertyChanged;
};

struct zqWPANCtl::Interface::Signals
{
    zqWPANSignal<void(int, int)>                                     mNetWake;
    zqWPANSignal<void()>                                             mAllowSleep;
    zqWPANSignal<void()>                                             mPreventSleep;
    zqWPANSignal<void(CFStringRef)>                                  mAssociationState;
    zqWPANSignal<void(bool)>                                         mJammingState;
    zqWPANSignal<void(const zqString &, CFUSharedRef<const void *>)> mPropertyChanged;
};

#endif // ZQWPANCTL_SIGNALS_H
