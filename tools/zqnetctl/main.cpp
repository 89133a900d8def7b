#include "commands.h"
#include "log.h"
#include "output.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>

namespace zqnetctl
{

namespace
{

enum Trait : unsigned
{
    kNoTraits       = 0,
    kTakesSeconds   = 1,
    kTakesCount     = 2,
    kWaitsForDaemon = 4, ///< runs without the daemon, until it comes
    kTakesPower     = 8,
    kNeedsNoBus     = 16
};

struct Command
{
    const char *mName; ///< of a subcommand: with the command before it
    const char *mArguments;
    const char *mPurpose;
    std::size_t mFewest;
    std::size_t mMost;
    unsigned    mTraits;
    ExitStatus (*mRun)(Session &aSession);
};

constexpr std::size_t kAnyNumber = static_cast<std::size_t>(-1);

constexpr unsigned kListens = kTakesSeconds | kWaitsForDaemon;

// clang-format off
const Command kCommands[] = {
    { "state", "", "the manager's properties", 0, 0, kNoTraits, ShowState },
    { "technologies", "", "what kinds of network there are", 0, 0, kNoTraits, ShowTechnologies },
    { "services", "", "the networks; * online, + ready, ~ connecting, ! failed", 0, 0, kNoTraits, ShowServices },
    { "provisions", "", "the stored networks", 0, 0, kNoTraits, ShowProvisions },
    { "monitor", "[--seconds N] [--count N]", "every event as it comes", 0, 0, kListens | kTakesCount, RunMonitor },
    { "enable", "TYPE", "switch a technology on", 1, 1, kNoTraits, EnableTechnology },
    { "disable", "TYPE", "switch it off", 1, 1, kNoTraits, DisableTechnology },
    { "scan", "TYPE", "look for networks", 1, 1, kNoTraits, ScanTechnology },
    { "online-check", "TYPE", "see whether the connected service is online", 1, 1, kNoTraits, CheckOnline },
    { "connect", "SERVICE", "connect; credentials are asked for", 1, 1, kNoTraits, ConnectService },
    { "disconnect", "SERVICE", "disconnect", 1, 1, kNoTraits, DisconnectService },
    { "remove", "SERVICE", "forget its credentials", 1, 1, kNoTraits, RemoveService },
    { "set", "SERVICE KEY VALUE", "set a property", 3, 3, kNoTraits, SetServiceProperty },
    { "clear", "SERVICE KEY", "clear a property", 2, 2, kNoTraits, ClearServiceProperty },
    { "connectivity", "TYPE... [--power on|off] [--seconds N]", "tell whether any is connected, and keep them powered or not", 1,
      kAnyNumber, kTakesSeconds | kTakesPower, RunConnectivity },
    { "route create", "SERVICE", "give a service its own routing table", 1, 1, kNoTraits, CreateRoutes },
    { "route remove", "SERVICE", "remove it", 1, 1, kNoTraits, RemoveRoutes },
    { "host", "[INTERFACE]", "this device's name and addresses", 0, 1, kNeedsNoBus, ShowHost },
    { "agent", "[--seconds N]", "answer requests for credentials", 0, 0, kListens, RunAgent },
    { "provision create", "KEY=VALUE...", "store a network", 1, kAnyNumber, kNoTraits, CreateProvision },
    { "provision set", "ID KEY VALUE", "set a stored property", 3, 3, kNoTraits, SetProvisionProperty },
    { "provision clear", "ID KEY", "clear a stored property", 2, 2, kNoTraits, ClearProvisionProperty },
    { "provision remove", "ID", "remove a stored network", 1, 1, kNoTraits, RemoveProvision },
    { "provision remove-all", "", "remove them all", 0, 0, kNoTraits, RemoveAllProvisions },
    { "provision list", "", "the same as provisions", 0, 0, kNoTraits, ShowProvisions },
    { "wpan status", "", "the Thread radio's state", 0, 0, kWaitsForDaemon, ShowWPANStatus },
    { "wpan get", "KEY...", "properties of the radio", 1, kAnyNumber, kWaitsForDaemon, GetWPANProperty },
    { "wpan set", "KEY VALUE", "set a property; hex:DIGITS for bytes", 2, 2, kWaitsForDaemon, SetWPANProperty },
    { "wpan form", "NAME [channel=N] [mask=N] [xpanid=DIGITS]", "form a network", 1, 4, kWaitsForDaemon, FormWPAN },
    { "wpan leave", "", "leave the network", 0, 0, kWaitsForDaemon, LeaveWPAN },
    { "wpan reset", "", "reset the radio", 0, 0, kWaitsForDaemon, ResetWPAN },
    { "wpan permit-join", "SECONDS [PORT]", "let devices join for a while", 1, 2, kWaitsForDaemon, PermitWPANJoin },
    { "wpan ping", "", "see whether the radio answers", 0, 0, kWaitsForDaemon, PingWPAN },
    { "wpan netwake", "[DATA]", "wake the network's devices", 0, 1, kWaitsForDaemon, WakeWPAN },
    { "wpan route add", "PREFIX [DOMAIN [PRIORITY]]", "publish a route such as fd00::/64", 1, 3, kWaitsForDaemon, AddWPANRoute },
    { "wpan route remove", "PREFIX [DOMAIN]", "withdraw it", 1, 2, kWaitsForDaemon, RemoveWPANRoute },
    { "wpan monitor", "[--seconds N] [--count N]", "the radio's signals as they come", 0, 0, kListens | kTakesCount, RunWPANMonitor },
};
// clang-format on

constexpr const char *kUsageLine = "usage: zqnetctl [--json] [--exact] [-v...] COMMAND [ARGUMENT...]";

constexpr const char *kOptionsText =
    "\n"
    "Options:\n"
    "  --json    one JSON object a line, and nothing else, on standard output\n"
    "  --exact   refuse what the device's own daemon never sends, instead of taking it\n"
    "  -v        also log presence and failures on standard error;\n"
    "            -vv information, -vvv detail (without: errors alone)\n"
    "  --help    this text\n";

constexpr const char *kNotesText = "\n"
                                   "SERVICE is an object path, its last segment, or a unique name. VALUE is true,\n"
                                   "false, an integer, or a JSON object, array or string; anything else is a string.\n"
                                   "In a stored network, VALUE is a string; - for a secret asks for it without echo.\n"
                                   "Secrets are shown as ********.\n"
                                   "\n"
                                   "monitor and agent wait for the daemon when it is not there, and end after the\n"
                                   "seconds or events given, or with Ctrl-C. The others need it, but for host, and\n"
                                   "for wpan, which talks with the radio's daemon, about the interface wpan0.\n"
                                   "\n"
                                   "Exit status: 0 success, 1 the request failed, 2 bad usage, 3 ConnMan is not on\n"
                                   "the bus.\n";

void PrintUsage(FILE *aFile)
{
    fprintf(aFile, "%s\n\nCommands:\n", kUsageLine);

    for (const Command &lCommand : kCommands)
    {
        const std::string lLeft = std::string(lCommand.mName) + " " + lCommand.mArguments;

        // A long one has its purpose on a line of its own.
        if (lLeft.size() > 34)
            fprintf(aFile, "  %s\n  %-34s %s\n", lLeft.c_str(), "", lCommand.mPurpose);
        else
            fprintf(aFile, "  %-34s %s\n", lLeft.c_str(), lCommand.mPurpose);
    }

    fputs(kOptionsText, aFile);
    fputs(kNotesText, aFile);
}

/** Make "provision" and its first argument one command, where a row of the table begins with that word; and so on. */
void JoinSubcommand(Options &anOptions)
{
    for (;;)
    {
        const std::string lPrefix = anOptions.mCommand + " ";
        const bool        lIsPart = std::any_of(std::begin(kCommands), std::end(kCommands),
                                                [&](const Command &aCommand)
                                                { return strncmp(aCommand.mName, lPrefix.c_str(), lPrefix.size()) == 0; });

        if (!lIsPart || anOptions.mArguments.empty())
            return;

        anOptions.mCommand = lPrefix + anOptions.mArguments.front();
        anOptions.mArguments.erase(anOptions.mArguments.begin());
    }
}

/** @returns null, with what is wrong, for a command line that no row of the table takes. */
const Command *FindCommand(const Options &anOptions, std::string &aProblem)
{
    const auto *lCommand = std::find_if(std::begin(kCommands), std::end(kCommands),
                                        [&](const Command &aCommand) { return anOptions.mCommand == aCommand.mName; });
    const auto  lCount   = anOptions.mArguments.size();

    if (anOptions.mCommand.empty())
        aProblem = "a command is needed";
    else if (lCommand == std::end(kCommands))
        aProblem = "unknown command " + anOptions.mCommand;
    else if (lCount < lCommand->mFewest || lCount > lCommand->mMost)
        aProblem = std::string(lCommand->mName) + " takes " +
                   (*lCommand->mArguments != '\0' ? lCommand->mArguments : "no arguments");
    else if (anOptions.mSeconds && (lCommand->mTraits & kTakesSeconds) == 0)
        aProblem = "--seconds is not for " + anOptions.mCommand;
    else if (anOptions.mCount && (lCommand->mTraits & kTakesCount) == 0)
        aProblem = "--count is not for " + anOptions.mCommand;
    else if (anOptions.mPower && (lCommand->mTraits & kTakesPower) == 0)
        aProblem = "--power is not for " + anOptions.mCommand;

    return aProblem.empty() ? lCommand : nullptr;
}

ExitStatus Main(int aCount, const char *const *aWords)
{
    Options     lOptions;
    std::string lProblem;
    const bool  lParsed = ParseOptions(aCount, aWords, lOptions, lProblem);

    if (lOptions.mHelp)
    {
        PrintUsage(stdout);
        return kExitSuccess;
    }

    JoinSubcommand(lOptions);
    const Command *lCommand = lParsed ? FindCommand(lOptions, lProblem) : nullptr;

    if (lCommand == nullptr)
    {
        fprintf(stderr, "zqnetctl: %s\n%s\n", Printable(lProblem).c_str(), kUsageLine);
        fputs("zqnetctl --help lists the commands\n", stderr);
        return kExitUsage;
    }

    // A reader that goes away is seen when writing, and ends the command.
    (void)signal(SIGPIPE, SIG_IGN);
    StartLog(lOptions.mVerbosity);

    Session    lSession(lOptions);
    ExitStatus lStatus = kExitSuccess;

    if ((lCommand->mTraits & kNeedsNoBus) == 0)
        lStatus = lSession.Open((lCommand->mTraits & kWaitsForDaemon) == 0);

    return lStatus != kExitSuccess ? lStatus : lCommand->mRun(lSession);
}

} // namespace

} // namespace zqnetctl

int main(int aCount, char **aWords)
{
    try
    {
        return zqnetctl::Main(aCount, aWords);
    }
    catch (const std::exception &anError)
    {
        fprintf(stderr, "zqnetctl: %s\n", anError.what());
        return zqnetctl::kExitFailed;
    }
}
