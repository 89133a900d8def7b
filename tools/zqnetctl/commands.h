/**
 *  @file
 *    The commands. Each finds its arguments in the session's options, as many as
 *    the table in main.cpp says, and yields the exit status.
 */

#ifndef ZQNETCTL_COMMANDS_H
#define ZQNETCTL_COMMANDS_H

#include "session.h"

namespace zqnetctl
{

ExitStatus ShowState(Session &aSession);
ExitStatus ShowTechnologies(Session &aSession);
ExitStatus ShowServices(Session &aSession);
ExitStatus ShowProvisions(Session &aSession);
ExitStatus RunMonitor(Session &aSession);
ExitStatus EnableTechnology(Session &aSession);
ExitStatus DisableTechnology(Session &aSession);
ExitStatus ScanTechnology(Session &aSession);
ExitStatus CheckOnline(Session &aSession);
ExitStatus ConnectService(Session &aSession);
ExitStatus DisconnectService(Session &aSession);
ExitStatus RemoveService(Session &aSession);
ExitStatus SetServiceProperty(Session &aSession);
ExitStatus ClearServiceProperty(Session &aSession);
ExitStatus RunConnectivity(Session &aSession);
ExitStatus CreateRoutes(Session &aSession);
ExitStatus RemoveRoutes(Session &aSession);
ExitStatus ShowHost(Session &aSession);
ExitStatus RunAgent(Session &aSession);
ExitStatus CreateProvision(Session &aSession);
ExitStatus SetProvisionProperty(Session &aSession);
ExitStatus ClearProvisionProperty(Session &aSession);
ExitStatus RemoveProvision(Session &aSession);
ExitStatus RemoveAllProvisions(Session &aSession);
ExitStatus ShowWPANStatus(Session &aSession);
ExitStatus GetWPANProperty(Session &aSession);
ExitStatus SetWPANProperty(Session &aSession);
ExitStatus FormWPAN(Session &aSession);
ExitStatus LeaveWPAN(Session &aSession);
ExitStatus ResetWPAN(Session &aSession);
ExitStatus PermitWPANJoin(Session &aSession);
ExitStatus PingWPAN(Session &aSession);
ExitStatus WakeWPAN(Session &aSession);
ExitStatus AddWPANRoute(Session &aSession);
ExitStatus RemoveWPANRoute(Session &aSession);
ExitStatus RunWPANMonitor(Session &aSession);

} // namespace zqnetctl

#endif // ZQNETCTL_COMMANDS_H
