/**
 *  @file
 *    The library's log on standard error.
 */

#ifndef ZQNETCTL_LOG_H
#define ZQNETCTL_LOG_H

namespace zqnetctl
{

/** Show errors, and with every further step of verbosity one level more. */
void StartLog(int aVerbosity);

/** How many errors have been logged so far. */
unsigned GetNumErrors();

} // namespace zqnetctl

#endif // ZQNETCTL_LOG_H
