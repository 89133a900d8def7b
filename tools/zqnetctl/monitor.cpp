#include "monitor.h"

#include "commands.h"
#include "describe.h"
#include "output.h"

#include <ctime>

namespace zqnetctl
{

namespace
{

/** The local time of day, to the millisecond. */
std::string GetTime()
{
    timespec lNow   = {};
    tm       lLocal = {};
    char     lText[sizeof "hh:mm:ss"];

    (void)clock_gettime(CLOCK_REALTIME, &lNow);
    (void)localtime_r(&lNow.tv_sec, &lLocal);
    (void)strftime(lText, sizeof lText, "%H:%M:%S", &lLocal);

    const std::string lMilliseconds = std::to_string(1000 + lNow.tv_nsec / 1000000);
    return lText + ("." + lMilliseconds.substr(1));
}

} // namespace

ExitStatus PrintEvents(Session &aSession, bool (*anIsWanted)(const Json &anEvent))
{
    const Options &lOptions  = aSession.GetOptions();
    const Deadline lDeadline = GetDeadline(lOptions.mSeconds);
    Narrator       lNarrator;
    Json           lEvent;

    for (unsigned long lPrinted = 0; !lOptions.mCount || lPrinted < *lOptions.mCount;)
    {
        if (aSession.GetInbox().Wait(lEvent, lDeadline, Inbox::kWatchOutput) != Inbox::kEvent)
            break;
        if (!anIsWanted(lEvent))
            continue;
        if (!(lOptions.mJson ? PrintLine(lEvent) : PrintLine(GetTime() + "  " + lNarrator.Tell(lEvent))))
            return GetOutputStatus(false);
        lPrinted++;
    }
    return kExitSuccess;
}

ExitStatus RunMonitor(Session &aSession)
{
    return PrintEvents(aSession, [](const Json &) { return true; });
}

} // namespace zqnetctl
