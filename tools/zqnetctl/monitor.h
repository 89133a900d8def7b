/**
 *  @file
 *    Events as they come.
 */

#ifndef ZQNETCTL_MONITOR_H
#define ZQNETCTL_MONITOR_H

#include "session.h"

namespace zqnetctl
{

/** Print the wanted events of the inbox, until as many have come, or so long, as the options say, or Ctrl-C. */
ExitStatus PrintEvents(Session &aSession, bool (*anIsWanted)(const Json &anEvent));

} // namespace zqnetctl

#endif // ZQNETCTL_MONITOR_H
