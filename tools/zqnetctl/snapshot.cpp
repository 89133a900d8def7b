/**
 *  @file
 *    The commands that show what there is.
 */

#include "commands.h"
#include "describe.h"
#include "output.h"

namespace zqnetctl
{

namespace
{

std::vector<std::string> ToTechnologyRow(const std::string &aPath, const Json &aProperties)
{
    return { Describe(aProperties, "Type"),      Describe(aProperties, "Name"),      Describe(aProperties, "Powered"),
             Describe(aProperties, "Connected"), Describe(aProperties, "Tethering"), Printable(aPath) };
}

std::vector<std::string> ToServiceRow(const std::string &aPath, const Json &aProperties)
{
    return { GetStateMark(aProperties),         DescribeName(aPath, aProperties),
             Describe(aProperties, "Type"),     Describe(aProperties, "State"),
             Describe(aProperties, "Strength"), Describe(aProperties, "Security"),
             DescribeAddress(aProperties),      Printable(aPath) };
}

std::vector<std::string> ToProvisionRow(const std::string &aPath, const Json &aProperties)
{
    return { Printable(aPath),
             Describe(aProperties, "Type"),
             Describe(aProperties, "Name"),
             Describe(aProperties, "SSID"),
             Describe(aProperties, "Security"),
             Describe(aProperties, "Passphrase") };
}

/** The end of every snapshot: what was printed may not be all, or may not have arrived. */
ExitStatus Finish(const Session &aSession, bool aPrinted)
{
    const ExitStatus lStatus = GetOutputStatus(aPrinted);

    if (aSession.IsComplete())
        return lStatus;

    Complain(aSession.GetOptions().mCommand, "not all could be loaded");
    return kExitFailed;
}

using RowMaker = std::vector<std::string> (*)(const std::string &aPath, const Json &aProperties);

/** @returns false when standard output is gone. */
bool PrintObjects(const Json &anObjects, bool aJson, std::vector<std::string> aHeading, RowMaker aMaker)
{
    Table lTable(std::move(aHeading));

    for (const Json &lObject : anObjects)
    {
        if (!aJson)
            lTable.Add(aMaker(lObject["path"].get<std::string>(), lObject["properties"]));
        else if (!PrintLine(lObject))
            return false;
    }
    return aJson || lTable.Print();
}

template <typename T>
using Getter = zqError (Manager::*)(zqRefObjectArray<T> &anObjects) const;

/** One snapshot of a list of the manager's, as JSON lines or as a table. */
template <typename T>
ExitStatus Show(Session &aSession, Getter<T> aGet, std::vector<std::string> aHeading, RowMaker aMaker)
{
    const Options      &lOptions = aSession.GetOptions();
    zqRefObjectArray<T> lObjects;
    const zqError       lReturn = (aSession.GetManager().*aGet)(lObjects);

    if (lReturn != zqError_None)
        return Complain(lOptions.mCommand, lReturn);

    return Finish(aSession, PrintObjects(ToJson(lObjects), lOptions.mJson, std::move(aHeading), aMaker));
}

} // namespace

ExitStatus ShowState(Session &aSession)
{
    Json       lProperties = Json::object();
    const auto lReporter   = NewEventReporter(
        [&](const Json &anEvent)
        {
            if (anEvent["event"] == "PropertiesChanged")
                lProperties = anEvent["properties"];
        });

    // The manager's dictionary is its loop's: this is how another thread has its contents.
    if (const zqError lReturn = aSession.GetManager().Notify(lReporter.get()); lReturn != zqError_None)
        return Complain(aSession.GetOptions().mCommand, lReturn);
    if (aSession.GetOptions().mJson)
        return Finish(aSession, PrintLine(lProperties));

    Table lTable({ "PROPERTY", "VALUE" });

    for (const auto &lEntry : lProperties.items())
        lTable.Add({ Printable(lEntry.key()), Describe(lEntry.value()) });
    return Finish(aSession, lTable.Print());
}

ExitStatus ShowTechnologies(Session &aSession)
{
    return Show<Technology>(aSession, &Manager::GetTechnologies,
                            { "TYPE", "NAME", "POWERED", "CONNECTED", "TETHERING", "PATH" }, ToTechnologyRow);
}

ExitStatus ShowServices(Session &aSession)
{
    return Show<Service>(aSession, &Manager::GetServices,
                         { " ", "NAME", "TYPE", "STATE", "STRENGTH", "SECURITY", "ADDRESS", "PATH" }, ToServiceRow);
}

ExitStatus ShowProvisions(Session &aSession)
{
    // A file that may not be read is no error of the log's: who needs none of it is not troubled.
    if (const zqError lReturn = aSession.GetManager().GetProvisionsError(); lReturn != zqError_None)
        return Complain(aSession.GetOptions().mCommand, lReturn);

    return Show<Provision>(aSession, &Manager::GetProvisions,
                           { "IDENTIFIER", "TYPE", "NAME", "SSID", "SECURITY", "PASSPHRASE" }, ToProvisionRow);
}

} // namespace zqnetctl
