/**
 *  @file
 *    The commands that ask something of a service or a technology.
 */

#include "action.h"
#include "commands.h"
#include "lookup.h"
#include "output.h"

#include <fcntl.h>
#include <unistd.h>

namespace zqnetctl
{

namespace
{

using Outcome = std::optional<zqError>;

/** An outcome that two events tell: one of success, one of failure with a code. */
struct OutcomeEvents
{
    const char *mSuccess;
    const char *mFailure;
    const char *mKey; ///< "service" or "technology"
};

constexpr OutcomeEvents kConnectEvents = { "ServiceDidConnect", "ServiceDidNotConnect", "service" };
constexpr OutcomeEvents kOnlineEvents  = { "ServiceIsOnline", "ServiceIsNotOnline", "service" };
constexpr OutcomeEvents kScanEvents    = { "TechnologyDidScan", "TechnologyDidNotScan", "technology" };

/** @param[in]  aPath  Null for whichever object the event is about. */
Outcome Match(const Json &anEvent, const OutcomeEvents &anEvents, const Json &aPath)
{
    if (!aPath.is_null() && anEvent.value(anEvents.mKey, Json()) != aPath)
        return std::nullopt;
    if (anEvent["event"] == anEvents.mSuccess)
        return zqError_None;
    if (anEvent["event"] == anEvents.mFailure)
        return anEvent["error"].get<zqError>();
    return std::nullopt;
}

/** A service that went away while it was connecting has no outcome of its own: the model tells an error without one. */
Outcome MatchConnect(const Json &anEvent, const Json &aPath)
{
    if (anEvent["event"] == "ServiceError" && anEvent["service"].is_null() && anEvent["error"] == "not-found")
        return zqError_NotFound;
    return Match(anEvent, kConnectEvents, aPath);
}

Outcome MatchPowered(const Json &anEvent, const Json &aPath, bool anEnabled)
{
    if (anEvent["event"] == "TechnologyChanged" && anEvent["technology"] == aPath &&
        anEvent["properties"].value("Powered", Json()) == anEnabled)
        return zqError_None;
    return std::nullopt;
}

ExitStatus Refuse(const Session &aSession, zqError anError)
{
    return Complain(aSession.GetOptions().mCommand + " " + aSession.GetArguments()[0], anError);
}

/** An action on the service of the first argument; what is done and done with it is "DOING home" and "home: DONE". */
ExitStatus PerformOnService(Session &aSession, const char *aDoing, const char *aDone,
                            const std::function<zqError(const Service &aService)> &aRequest, bool aConnects = false)
{
    zqSharedPtr<Service> lService;
    const std::string   &lName   = aSession.GetArguments()[0];
    const zqError        lReturn = FindService(aSession.GetManager(), lName, lService);
    Action               lAction;

    if (lReturn != zqError_None)
        return Refuse(aSession, lReturn);

    lAction.mRequest = [&] { return aRequest(*lService); };
    lAction.mDoing   = std::string(aDoing) + " " + lName;
    lAction.mDone    = Printable(lName) + ": " + aDone;
    if (aConnects)
        lAction.mOutcome = [lPath = ToPath(lService.Get())](const Json &anEvent)
        { return MatchConnect(anEvent, lPath); };

    return Perform(aSession, std::move(lAction));
}

/** A request that runs the device's script, whose own words must not get among the JSON lines. */
zqError RunScript(const Session &aSession, const std::function<zqError()> &aRequest)
{
    const int lOutput = aSession.GetOptions().mJson ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1) : -1;

    if (lOutput >= 0)
        (void)dup2(STDERR_FILENO, STDOUT_FILENO);

    const zqError lReturn = aRequest();

    if (lOutput >= 0)
    {
        (void)dup2(lOutput, STDOUT_FILENO);
        (void)close(lOutput);
    }
    return lReturn;
}

ExitStatus SetEnabled(Session &aSession, bool anEnabled)
{
    Manager                &lManager = aSession.GetManager();
    const std::string      &lType    = aSession.GetArguments()[0];
    zqSharedPtr<Technology> lTechnology;
    const zqError           lReturn = lManager.ManagerLookupTechnology(CFUString(lType), lTechnology);
    Action                  lAction;

    if (lTechnology == nullptr)
        return Refuse(aSession, lReturn != zqError_None ? lReturn : zqError_NotFound);

    lAction.mRequest = [&] { return lManager.TechnologySetEnabled(*lTechnology, anEnabled); };
    lAction.mDoing   = std::string(anEnabled ? "enabling " : "disabling ") + lType;
    lAction.mDone    = Printable(lType) + ": " + (anEnabled ? "enabled" : "disabled");

    // The manager does not wait for a modem: its answer is the change of the property.
    if (CFUText(lTechnology->GetName()) == CFUText(zq::NetworkManager::kTechnologyNameCellular))
    {
        if (FromCF(lTechnology->IsPowered().Get()) == anEnabled)
            return Refuse(aSession, zqError_Already);
        lAction.mOutcome = [lPath = ToPath(lTechnology.Get()), anEnabled](const Json &anEvent)
        { return MatchPowered(anEvent, lPath, anEnabled); };
    }
    return Perform(aSession, std::move(lAction));
}

} // namespace

ExitStatus EnableTechnology(Session &aSession)
{
    return SetEnabled(aSession, true);
}

ExitStatus DisableTechnology(Session &aSession)
{
    return SetEnabled(aSession, false);
}

ExitStatus ScanTechnology(Session &aSession)
{
    Manager                &lManager = aSession.GetManager();
    const std::string      &lType    = aSession.GetArguments()[0];
    zqSharedPtr<Technology> lTechnology;
    const zqError           lReturn = lManager.ManagerLookupTechnology(CFUString(lType), lTechnology);

    if (lTechnology == nullptr)
        return Refuse(aSession, lReturn != zqError_None ? lReturn : zqError_NotFound);

    return Perform(aSession, { [&] { return lManager.TechnologyScan(*lTechnology); },
                               [lPath = ToPath(lTechnology.Get())](const Json &anEvent)
                               { return Match(anEvent, kScanEvents, lPath); },
                               "scanning " + lType, Printable(lType) + ": scanned" });
}

ExitStatus CheckOnline(Session &aSession)
{
    Manager           &lManager = aSession.GetManager();
    const std::string &lType    = aSession.GetArguments()[0];

    // The manager picks the service, so the outcome is whichever service's comes.
    return Perform(aSession, { [&] { return lManager.TechnologyOnlineCheck(CFUString(lType)); },
                               [](const Json &anEvent) { return Match(anEvent, kOnlineEvents, nullptr); },
                               "checking " + lType, Printable(lType) + ": online" });
}

ExitStatus ConnectService(Session &aSession)
{
    return PerformOnService(
        aSession, "connecting", "connected",
        [&](const Service &aService) { return aSession.GetManager().ServiceConnect(aService); }, true);
}

ExitStatus DisconnectService(Session &aSession)
{
    return PerformOnService(aSession, "disconnecting", "disconnected",
                            [&](const Service &aService) { return aSession.GetManager().ServiceDisconnect(aService); });
}

ExitStatus RemoveService(Session &aSession)
{
    return PerformOnService(aSession, "removing", "removed",
                            [&](const Service &aService) { return aSession.GetManager().ServiceRemove(aService); });
}

ExitStatus CreateRoutes(Session &aSession)
{
    return PerformOnService(aSession, "routing", "routes created",
                            [&](const Service &aService)
                            { return RunScript(aSession, [&] { return aService.CreatePolicyRouteTable(); }); });
}

ExitStatus RemoveRoutes(Session &aSession)
{
    return PerformOnService(aSession, "unrouting", "routes removed",
                            [&](const Service &aService)
                            { return RunScript(aSession, [&] { return aService.RemovePolicyRouteTable(); }); });
}

ExitStatus SetServiceProperty(Session &aSession)
{
    const auto lKey   = CFUString(aSession.GetArguments()[1]);
    const auto lValue = ToCF(ParseValue(aSession.GetArguments()[2]));

    if (!lKey || !lValue)
        return Refuse(aSession, zqError_InvalidArgument);

    return PerformOnService(aSession, "setting", "set",
                            [&](const Service &aService)
                            { return aSession.GetManager().ServiceSetProperty(aService, lKey, lValue); });
}

ExitStatus ClearServiceProperty(Session &aSession)
{
    const auto lKey = CFUString(aSession.GetArguments()[1]);

    if (!lKey)
        return Refuse(aSession, zqError_InvalidArgument);

    return PerformOnService(aSession, "clearing", "cleared",
                            [&](const Service &aService)
                            { return aSession.GetManager().ServiceClearProperty(aService, lKey); });
}

} // namespace zqnetctl
