/**
 *  @file
 *    The commands that change stored networks.
 */

#include "commands.h"
#include "output.h"
#include "prompt.h"

#include <functional>

namespace zqnetctl
{

namespace
{

constexpr const char *kIdentifier    = "ProvisionIdentifier";
constexpr const char *kExtendedPANID = "ExtendedPANID";

/** Only groups of this prefix are read back from the file. */
constexpr const char *kPrefix = "service_";

/**
 *  The value of a property from its text: a string, or an unsigned number for
 *  an extended PAN ID. "-" for a secret asks for it.
 *
 *  @returns null when there is none.
 */
CFUSharedRef<CFTypeRef> ToValue(Prompt &aPrompt, const std::string &aKey, std::string aText)
{
    unsigned long long lNumber = 0;

    if (!aPrompt.AskForSecret(aKey, aText))
        return nullptr;

    if (aKey != kExtendedPANID)
        return CFUString(aText);
    if (!ParseUnsigned(aText, lNumber))
        return nullptr;
    return CFUAdopt<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &lNumber));
}

/** The end of every change: complain of its failure, or of the file's, which the manager's operations do not tell. */
ExitStatus Finish(Session &aSession, const std::string &aSubject, zqError anError)
{
    return Complain(aSession.GetOptions().mCommand + aSubject,
                    anError != zqError_None ? anError : aSession.GetManager().GetProvisionsError());
}

/** Add one "KEY=VALUE" to a record. @returns what is wrong with it, or nothing. */
std::string AddToRecord(Prompt &aPrompt, const std::string &aWord, CFMutableDictionaryRef aRecord)
{
    const auto lEqual = aWord.find('=');

    if (lEqual == std::string::npos)
        return "an argument is not KEY=VALUE";

    const std::string lName  = aWord.substr(0, lEqual);
    const auto        lKey   = CFUString(lName);
    const auto        lValue = ToValue(aPrompt, lName, aWord.substr(lEqual + 1));

    if (!lKey || !lValue)
        return lName + ": no value that can be used";

    CFDictionarySetValue(aRecord, lKey.Get(), lValue.Get());
    return std::string();
}

/** Do something with the listed record of the first argument. */
ExitStatus Change(Session &aSession, const std::function<zqError(const Provision &aProvision)> &aChange)
{
    zqSharedPtr<Provision> lProvision;
    const std::string     &lIdentifier = aSession.GetArguments()[0];
    const zqError lReturn = aSession.GetManager().ManagerLookupProvisionIdentifier(CFUString(lIdentifier), lProvision);

    return Finish(aSession, " " + lIdentifier, lReturn != zqError_None ? lReturn : aChange(*lProvision));
}

} // namespace

ExitStatus CreateProvision(Session &aSession)
{
    Prompt                 lPrompt(aSession.GetInbox());
    zqSharedPtr<Provision> lProvision;
    const auto             lRecord = CreateDictionary();

    if (!lRecord)
        return Finish(aSession, "", zqError_NoResources);

    for (const std::string &lWord : aSession.GetArguments())
        if (const std::string lProblem = AddToRecord(lPrompt, lWord, lRecord.Get()); !lProblem.empty())
            return aSession.RefuseUsage(lProblem);

    const auto        lFound      = CFDictionaryGetValue(lRecord.Get(), CFUString(kIdentifier).Get());
    const std::string lIdentifier = CFUText(lFound);

    if (lIdentifier.rfind(kPrefix, 0) != 0 || lIdentifier == kPrefix)
        return aSession.RefuseUsage("ProvisionIdentifier=service_NAME is needed");

    return Finish(aSession, " " + lIdentifier, aSession.GetManager().ProvisionCreate(lRecord, lProvision));
}

ExitStatus SetProvisionProperty(Session &aSession)
{
    Prompt             lPrompt(aSession.GetInbox());
    const std::string &lName  = aSession.GetArguments()[1];
    const auto         lKey   = CFUString(lName);
    const auto         lValue = ToValue(lPrompt, lName, aSession.GetArguments()[2]);

    if (!lKey || !lValue || lName == kIdentifier)
        return aSession.RefuseUsage(lName + ": no value that can be used");

    return Change(aSession, [&](const Provision &aProvision)
                  { return aSession.GetManager().ProvisionSetProperty(aProvision, lKey, lValue); });
}

ExitStatus ClearProvisionProperty(Session &aSession)
{
    return Change(
        aSession, [&](const Provision &aProvision)
        { return aSession.GetManager().ProvisionClearProperty(aProvision, CFUString(aSession.GetArguments()[1])); });
}

ExitStatus RemoveProvision(Session &aSession)
{
    return Change(aSession,
                  [&](const Provision &aProvision) { return aSession.GetManager().ProvisionRemove(aProvision); });
}

ExitStatus RemoveAllProvisions(Session &aSession)
{
    return Finish(aSession, "", aSession.GetManager().ProvisionRemoveAll());
}

} // namespace zqnetctl
