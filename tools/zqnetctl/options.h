/**
 *  @file
 *    The command line, taken apart.
 */

#ifndef ZQNETCTL_OPTIONS_H
#define ZQNETCTL_OPTIONS_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace zqnetctl
{

struct Options
{
    bool                                     mJson      = false;
    bool                                     mExact     = false;
    bool                                     mHelp      = false;
    int                                      mVerbosity = 0;
    std::optional<std::chrono::milliseconds> mSeconds;
    std::optional<unsigned long>             mCount;
    std::optional<bool>                      mPower;
    std::string                              mCommand; ///< with its subcommand: "state", "provision create"; or empty
    std::vector<std::string>                 mArguments;
};

/**
 *  Options stand before the command or after it; behind the command only words
 *  that begin with two dashes are options, so that a value may be "-1". "--"
 *  ends the options.
 *
 *  @param[out]  aProblem  What is wrong with the command line.
 *  @returns false when something is.
 */
bool ParseOptions(int aCount, const char *const *aWords, Options &anOptions, std::string &aProblem);

/** An unsigned decimal number and nothing else; false for anything else or one that does not fit. */
bool ParseUnsigned(const std::string &aText, unsigned long long &aNumber);

} // namespace zqnetctl

#endif // ZQNETCTL_OPTIONS_H
