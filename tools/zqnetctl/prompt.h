/**
 *  @file
 *    Questions at the terminal.
 */

#ifndef ZQNETCTL_PROMPT_H
#define ZQNETCTL_PROMPT_H

#include "inbox.h"

#include <functional>
#include <string>
#include <vector>

namespace zqnetctl
{

/**
 *  Reads answers from standard input, a line each, and asks on standard error
 *  when that input is a terminal. An answer with a secret is not echoed.
 */
class Prompt
{
public:
    enum Result
    {
        kAnswered,
        kEnded,       ///< there is no more input
        kAbandoned,   ///< the listener said so
        kInterrupted, ///< or the deadline is over
    };

    /** Told each event that comes meanwhile; true abandons the question. They are all put back when it is over. */
    using Listener = std::function<bool(const Json &anEvent)>;

    explicit Prompt(Inbox &anInbox) : mInbox(anInbox) {}

    Result Ask(const std::string &aQuestion, bool aSecret, const Deadline &aDeadline, const Listener &aListener,
               std::string &anAnswer);

    /** Ask for the value of a secret whose text is "-", so that it need not stand in the list of processes. @returns
     * false when there is no answer. */
    bool AskForSecret(const std::string &aKey, std::string &aText);

private:
    Result AwaitLine(const Deadline &aDeadline, const Listener &aListener, std::string &aLine);
    Result AwaitInput(const Deadline &aDeadline, const Listener &aListener, std::vector<Json> &anEvents);
    bool   TakeLine(std::string &aLine);
    bool   Read();

    Inbox      &mInbox;
    std::string mPending; // read, but not yet taken
    bool        mEnded = false;
};

} // namespace zqnetctl

#endif // ZQNETCTL_PROMPT_H
