/**
 *  @file
 *    One request to the daemon, from sending it to its outcome.
 */

#ifndef ZQNETCTL_ACTION_H
#define ZQNETCTL_ACTION_H

#include "session.h"

#include <functional>
#include <optional>
#include <string>

namespace zqnetctl
{

struct Action
{
    /** Sends the request; what it returns is the outcome, unless mOutcome is there. Called on a thread of its own. */
    std::function<zqError()> mRequest;

    /** The result that an event tells; nothing for an event that is no outcome of the request. May be empty. */
    std::function<std::optional<zqError>(const Json &anEvent)> mOutcome;

    std::string mDoing; ///< "connecting home", for the time that it takes
    std::string mDone;  ///< "home: connected"

    /** Prints what a request without an outcome of its own has found, instead of mDone. False when it cannot be
     * printed. May be empty. */
    std::function<bool()> mReport = {};
};

/**
 *  Carry an action out: show on a terminal that it is going on, answer the
 *  daemon's requests for credentials, print the outcome, complain of a failure
 *  under "COMMAND ARGUMENT".
 */
ExitStatus Perform(Session &aSession, Action anAction);

} // namespace zqnetctl

#endif // ZQNETCTL_ACTION_H
