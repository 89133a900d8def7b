#include "monitor.h"

#include "commands.h"
#include "describe.h"
#include "output.h"

namespace zqnetctl
{

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
        if (!(lOptions.mJson ? PrintLine(lEvent) : PrintLine(GetTimeOfDay() + "  " + lNarrator.Tell(lEvent))))
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
