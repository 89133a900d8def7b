/**
 *  @file
 *    Exit statuses and the words for result codes.
 */

#ifndef ZQNETCTL_ERRORS_H
#define ZQNETCTL_ERRORS_H

#include <zqerror.h>

#include <string>

namespace zqnetctl
{

enum ExitStatus : int
{
    kExitSuccess = 0,
    kExitFailed  = 1, ///< the request failed
    kExitUsage   = 2, ///< the command line is wrong
    kExitAbsent  = 3  ///< ConnMan is not on the bus
};

/** A result code in words: "no route to host (-113)". */
std::string DescribeError(zqError anError);

/** The exit status that stands for a result code. */
ExitStatus GetExitStatus(zqError anError);

/**
 *  The exit status after writing to standard output: that its reader has gone
 *  is no failure. Call it at once, since errno tells why.
 */
ExitStatus GetOutputStatus(bool aPrinted);

/** Write "zqnetctl: WHAT: PROBLEM" to standard error. */
void Complain(const std::string &aWhat, const std::string &aProblem);

/** The same for a result code, unless it is 0. @returns its exit status. */
ExitStatus Complain(const std::string &aWhat, zqError anError);

} // namespace zqnetctl

#endif // ZQNETCTL_ERRORS_H
