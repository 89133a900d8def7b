#include "agent.h"

#include "commands.h"
#include "describe.h"
#include "output.h"

namespace zqnetctl
{

namespace
{

/** The daemon's own patience with its agent, unless it is configured otherwise. */
constexpr std::chrono::seconds kPatience{ 120 };

/** True when an event means that nobody waits for the answer to a request any more. */
bool Overtakes(const Json &anEvent, const Json &aRequest)
{
    const std::string lName  = anEvent["event"].get<std::string>();
    const bool        lSame  = anEvent.value("service", Json()) == aRequest["service"];
    const Json        lState = anEvent.value("properties", Json::object()).value("State", Json());

    if (lName == "ServiceInput")
        return true;
    if (lName == "ServiceDidConnect" || lName == "ServiceDidNotConnect" || lName == "ServiceError")
        return lSame;
    return lName == "ServiceChanged" && lSame && (lState == "idle" || lState == "failure");
}

/** Of a field's description: whether it is "mandatory", "optional", "alternate" or "informational". */
bool Is(const Json &aField, const char *aRequirement)
{
    return aField.is_object() && aField.value("Requirement", Json()) == aRequirement;
}

bool IsSecretField(const std::string &aName, const Json &aField)
{
    const std::string lType = Describe(aField, "Type", "");

    return IsSecret(aName) || lType == "psk" || lType == "wep" || lType == "passphrase" || lType == "response";
}

} // namespace

bool Agent::Handle(const Json &aRequest)
{
    Manager          &lManager = mSession.GetManager();
    const std::string lPath    = Describe(aRequest, "service", "");
    const auto        lService = lManager.FindService(CFUString(lPath).Get());
    Json              lAnswers = Json::object();

    if (lService == nullptr)
        return true;

    const std::string lName   = DescribeName(lPath, { { "Name", CFUText(lService->GetName()) } });
    const auto        lResult = AskAll(lName, aRequest, lAnswers);

    if (lResult == Prompt::kInterrupted || lResult == Prompt::kAbandoned)
    {
        Complain(lName, "the request for credentials is over");
        return lResult == Prompt::kAbandoned;
    }

    const auto lValues = ToCF(lAnswers);

    if (lResult == Prompt::kAnswered && lValues)
        (void)Complain(
            lName, lManager.ServiceCompleteInput(*lService, CFURetain(static_cast<CFDictionaryRef>(lValues.Get()))));
    else
        (void)Complain(lName, lManager.ServiceCancelInput(*lService));
    return true;
}

Prompt::Result Agent::AskAll(const std::string &aName, const Json &aRequest, Json &anAnswers)
{
    for (const auto &lField : aRequest["fields"].items())
    {
        const bool lMandatory = Is(lField.value(), "mandatory");

        if (!lMandatory && !Is(lField.value(), "optional"))
            continue;

        auto lResult = AskField(aName, lField.key(), aRequest, anAnswers);

        // A daemon takes a field or its alternate, never both.
        for (const Json &lAlternate : lField.value().value("Alternates", Json::array()))
            if (lResult == Prompt::kAnswered && !anAnswers.contains(lField.key()) && lAlternate.is_string())
                lResult = AskField(aName, lAlternate.get<std::string>(), aRequest, anAnswers);

        if (lResult != Prompt::kAnswered)
            return lResult;
    }

    // No answer would only be asked for again.
    return anAnswers.empty() ? Prompt::kEnded : Prompt::kAnswered;
}

Prompt::Result Agent::AskField(const std::string &aName, const std::string &aField, const Json &aRequest,
                               Json &anAnswers)
{
    const Json  lField = aRequest["fields"].value(aField, Json::object());
    std::string lAnswer;

    const auto lResult = mPrompt.Ask(
        aField + " for " + aName, IsSecretField(aField, lField), GetDeadline(kPatience),
        [&aRequest](const Json &anEvent) { return Overtakes(anEvent, aRequest); }, lAnswer);

    if (lResult == Prompt::kAnswered && !lAnswer.empty())
        anAnswers[aField] = lAnswer;
    return lResult;
}

ExitStatus RunAgent(Session &aSession)
{
    const Options &lOptions  = aSession.GetOptions();
    const Deadline lDeadline = GetDeadline(lOptions.mSeconds);
    Agent          lAgent(aSession);
    Narrator       lNarrator;
    Json           lEvent;

    while (aSession.GetInbox().Wait(lEvent, lDeadline, Inbox::kWatchOutput) == Inbox::kEvent)
    {
        const std::string lLine    = lNarrator.Tell(lEvent);
        const bool        lRequest = lEvent["event"] == "ServiceInput";

        if (!lRequest && lEvent["event"] != "ServiceError")
            continue;
        if (!(lOptions.mJson ? PrintLine(lEvent) : PrintLine(lLine)))
            return GetOutputStatus(false);
        if (lRequest && !lAgent.Handle(lEvent))
            break;
    }
    return kExitSuccess;
}

} // namespace zqnetctl
