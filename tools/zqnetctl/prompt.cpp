#include "prompt.h"

#include "output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include <termios.h>
#include <unistd.h>

namespace zqnetctl
{

namespace
{

/** Keeps the terminal silent while it lives; nothing where standard input is no terminal. */
class Silence
{
public:
    explicit Silence(bool aWanted) : mActive(aWanted && tcgetattr(STDIN_FILENO, &mBefore) == 0)
    {
        if (!mActive)
            return;

        termios lSilent = mBefore;
        lSilent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        lSilent.c_lflag |= ECHONL;
        (void)tcsetattr(STDIN_FILENO, TCSAFLUSH, &lSilent);
    }

    ~Silence()
    {
        if (mActive)
            (void)tcsetattr(STDIN_FILENO, TCSAFLUSH, &mBefore);
    }

    Silence(const Silence &)            = delete;
    Silence &operator=(const Silence &) = delete;

private:
    termios mBefore = {};
    bool    mActive;
};

} // namespace

Prompt::Result Prompt::Ask(const std::string &aQuestion, bool aSecret, const Deadline &aDeadline,
                           const Listener &aListener, std::string &anAnswer)
{
    const bool    lTerminal = isatty(STDIN_FILENO) != 0;
    const Silence lSilence(aSecret && lTerminal);

    ClearProgress();
    if (lTerminal)
        fprintf(stderr, "%s: ", Printable(aQuestion).c_str());

    const Result lResult = AwaitLine(aDeadline, aListener, anAnswer);

    if (lTerminal && lResult != kAnswered)
        fputc('\n', stderr);
    return lResult;
}

Prompt::Result Prompt::AwaitLine(const Deadline &aDeadline, const Listener &aListener, std::string &aLine)
{
    std::vector<Json> lEvents; // that came meanwhile: they wait for whoever asks
    Result            lResult = kAnswered;

    while (lResult == kAnswered && !TakeLine(aLine))
        lResult = mEnded ? kEnded : AwaitInput(aDeadline, aListener, lEvents);

    for (auto lEvent = lEvents.rbegin(); lEvent != lEvents.rend(); ++lEvent)
        mInbox.PutBack(std::move(*lEvent));
    return lResult;
}

/** @returns kAnswered when there may be a line now. */
Prompt::Result Prompt::AwaitInput(const Deadline &aDeadline, const Listener &aListener, std::vector<Json> &anEvents)
{
    Json lEvent;

    switch (mInbox.Wait(lEvent, aDeadline, Inbox::kWatchInput))
    {
    case Inbox::kEvent:
        anEvents.push_back(std::move(lEvent));
        return aListener(anEvents.back()) ? kAbandoned : kAnswered;
    case Inbox::kInput:
        mEnded = !Read();
        return kAnswered;
    default:
        return kInterrupted;
    }
}

bool Prompt::TakeLine(std::string &aLine)
{
    const auto lEnd = mPending.find('\n');

    // What the input ends with is a line, also without its end.
    if (lEnd == std::string::npos && (!mEnded || mPending.empty()))
        return false;

    aLine = mPending.substr(0, lEnd);
    mPending.erase(0, lEnd == std::string::npos ? lEnd : lEnd + 1);
    return true;
}

bool Prompt::Read()
{
    char          lBuffer[512];
    const ssize_t lLength = read(STDIN_FILENO, lBuffer, sizeof lBuffer);

    if (lLength < 0)
        return errno == EINTR || errno == EAGAIN;

    mPending.append(lBuffer, static_cast<std::size_t>(lLength));
    std::fill_n(lBuffer, sizeof lBuffer, '\0');
    return lLength > 0;
}

bool Prompt::AskForSecret(const std::string &aKey, std::string &aText)
{
    return !IsSecret(aKey) || aText != "-" ||
           Ask(
               aKey, true, Deadline(), [](const Json &) { return false; }, aText) == kAnswered;
}

} // namespace zqnetctl
