#include "action.h"

#include "agent.h"
#include "output.h"

#include <algorithm>

#include <unistd.h>

namespace zqnetctl
{

namespace
{

/** Longer than the manager waits for the daemon: an outcome comes before, or never. */
constexpr std::chrono::seconds kLimit{ 60 };

/** How often a terminal is told that it is still going on. */
constexpr std::chrono::milliseconds kTick{ 500 };

/** What the request's own thread posts when the request has returned. */
constexpr const char *kReturned = "returned";

class Performance
{
public:
    Performance(Session &aSession, Action anAction) : mSession(aSession), mAction(std::move(anAction)), mAgent(aSession)
    {
    }

    ~Performance()
    {
        if (mWorker.joinable())
            mWorker.join();
    }

    Performance(const Performance &)            = delete;
    Performance &operator=(const Performance &) = delete;

    ExitStatus Run();

private:
    bool       Await();
    bool       Handle(const Json &anEvent);
    bool       IsOver() const;
    ExitStatus Interrupt(const std::string &aSubject) const;
    zqError    GetError() const { return *mReturned != zqError_None || !mOutcome ? *mReturned : *mOutcome; }

    Session                &mSession;
    Action                  mAction;
    Agent                   mAgent;
    std::thread             mWorker;
    std::optional<zqError>  mReturned; // what the request returned, once it has
    std::optional<zqError>  mOutcome;
    Json                    mOutcomeEvent;
    const Clock::time_point mStart = Clock::now();
};

/** "connect home" */
std::string GetSubject(const Options &anOptions)
{
    return anOptions.mCommand + (anOptions.mArguments.empty() ? "" : " " + anOptions.mArguments.front());
}

ExitStatus Performance::Run()
{
    const Options    &lOptions = mSession.GetOptions();
    const std::string lSubject = GetSubject(lOptions);

    mWorker = std::thread(
        [this]
        {
            const zqError lResult = mAction.mRequest();
            mSession.GetInbox().Post({ { "event", kReturned }, { "result", lResult } });
        });

    if (!Await())
        return Interrupt(lSubject);

    ClearProgress();
    if (mAction.mReport && GetError() == zqError_None)
        return mAction.mReport() ? kExitSuccess : GetOutputStatus(false);
    if (lOptions.mJson && mOutcomeEvent.is_object())
        (void)PrintLine(mOutcomeEvent);
    else if (!lOptions.mJson && GetError() == zqError_None)
        (void)PrintLine(mAction.mDone);
    return Complain(lSubject, GetError());
}

/** @returns false when interrupted. */
bool Performance::Await()
{
    const bool     lShows    = !mSession.GetOptions().mJson && isatty(STDOUT_FILENO) != 0;
    const Deadline lDeadline = mStart + kLimit;
    Json           lEvent;

    while (!IsOver())
    {
        switch (mSession.GetInbox().Wait(lEvent, lShows ? std::min(*lDeadline, Clock::now() + kTick) : *lDeadline))
        {
        case Inbox::kEvent:
            if (!Handle(lEvent))
                return false;
            break;
        case Inbox::kInterrupted:
            return false;
        default:
            if (Clock::now() >= *lDeadline)
                mReturned = mOutcome = zqError_TimedOut;
            break;
        }

        if (lShows)
            ShowProgress(mAction.mDoing,
                         std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - mStart).count());
    }
    return true;
}

/** @returns false when interrupted. */
bool Performance::Handle(const Json &anEvent)
{
    if (anEvent["event"] == kReturned)
    {
        mReturned = anEvent["result"].get<zqError>();
        return true;
    }

    if (anEvent["event"] == "ServiceInput")
        return mAgent.Handle(anEvent);

    if (!mAction.mOutcome || mOutcome)
        return true;

    mOutcome = mAction.mOutcome(anEvent);
    if (mOutcome)
        mOutcomeEvent = anEvent;
    return true;
}

bool Performance::IsOver() const
{
    return mReturned && (*mReturned != zqError_None || !mAction.mOutcome || mOutcome);
}

ExitStatus Performance::Interrupt(const std::string &aSubject) const
{
    Complain(aSubject, "interrupted");

    // A request that waits for the daemon cannot be called back: leave it to
    // the kernel to close the connection.
    if (!mReturned)
        _exit(kExitFailed);
    return kExitFailed;
}

} // namespace

ExitStatus Perform(Session &aSession, Action anAction)
{
    return Performance(aSession, std::move(anAction)).Run();
}

} // namespace zqnetctl
