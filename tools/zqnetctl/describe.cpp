#include "describe.h"

#include "errors.h"
#include "output.h"

namespace zqnetctl
{

namespace
{

struct Mark
{
    const char *mState;
    const char *mMark;
};

constexpr Mark kMarks[] = {
    { "online", "*" }, { "ready", "+" }, { "association", "~" }, { "configuration", "~" }, { "failure", "!" },
};

std::string FindAddress(const Json &aProperties, const char *aFamily)
{
    const auto lFamily = aProperties.find(aFamily);

    return lFamily != aProperties.end() && lFamily->is_object() ? Describe(*lFamily, "Address", "") : "";
}

/** Of a field of a credential request: "Passphrase (psk, mandatory)". */
std::string TellField(const std::string &aName, const Json &aField)
{
    return Printable(aName) +
           (aField.is_object() ? " (" + Describe(aField, "Type") + ", " + Describe(aField, "Requirement") + ")" : "");
}

/** The path of the object that an event is about; empty for the manager. */
std::string GetSubject(const Json &anEvent)
{
    for (const char *lKey : { "service", "technology" })
        if (const auto lPath = anEvent.find(lKey); lPath != anEvent.end() && lPath->is_string())
            return lPath->get<std::string>();
    return std::string();
}

} // namespace

std::string GetStateMark(const Json &aProperties)
{
    const std::string lState = Describe(aProperties, "State", "");

    for (const Mark &lMark : kMarks)
        if (lState == lMark.mState)
            return lMark.mMark;
    return " ";
}

std::string DescribeName(const std::string &aPath, const Json &aProperties)
{
    const std::string lName = Describe(aProperties, "Name", "");

    return lName.empty() ? "(" + Printable(GetLastSegment(aPath)) + ")" : lName;
}

std::string DescribeAddress(const Json &aProperties)
{
    for (const char *lFamily : { "IPv4", "IPv6" })
        if (auto lAddress = FindAddress(aProperties, lFamily); !lAddress.empty())
            return lAddress;
    return "-";
}

std::string GetLastSegment(const std::string &aPath)
{
    return aPath.substr(aPath.rfind('/') + 1);
}

std::string Narrator::Tell(const Json &anEvent)
{
    std::string lLine = anEvent["event"].get<std::string>();

    for (const auto &lEntry : anEvent.items())
    {
        const std::string &lKey   = lEntry.key();
        const Json        &lValue = lEntry.value();

        if (lKey == "service" || lKey == "technology")
            lLine += " " + TellName(lValue);
        else if (lKey == "services" || lKey == "technologies")
            lLine += TellObjects(lValue, lLine.find("Removed") != std::string::npos);
        else if (lKey == "properties")
            lLine += TellChange(GetSubject(anEvent), lValue);
        else if (lKey == "error" && lValue.is_number())
            lLine += ": " + DescribeError(lValue.get<zqError>());
        else if (lKey == "fields")
            for (const auto &lField : lValue.items())
                lLine += " " + TellField(lField.key(), lField.value());
        else if (lKey == "remaining")
            lLine += ", " + Describe(lValue) + " ms left";
        else if (lKey != "event")
            lLine += ": " + Describe(lValue);
    }
    return lLine;
}

std::string Narrator::TellObjects(const Json &anObjects, bool aGone)
{
    std::string lText;

    for (const Json &lObject : anObjects)
    {
        const auto  lPath       = lObject["path"].get<std::string>();
        const Json &lProperties = lObject["properties"];

        lText += (lText.empty() ? " " : ", ") + DescribeName(lPath, lProperties) + " (" + Describe(lProperties, "Type");
        lText += lProperties.contains("State") ? ", " + Describe(lProperties, "State") : "";
        lText += lProperties.value("Powered", Json(false)) == true ? ", powered)" : ")";

        if (aGone)
            mKnown.erase(lPath);
        else
            mKnown[lPath] = lProperties;
    }
    return lText;
}

std::string Narrator::TellChange(const std::string &aPath, const Json &aProperties)
{
    Json       &lKnown = mKnown[aPath];
    std::string lText;

    for (const auto &lEntry : aProperties.items())
    {
        const auto lOld = lKnown.find(lEntry.key());

        if (lOld != lKnown.end() && *lOld == lEntry.value())
            continue;

        lText += " " + Printable(lEntry.key()) + "=" + Describe(lEntry.value());
        lKnown[lEntry.key()] = lEntry.value();
    }
    return lText.empty() ? " nothing new" : lText;
}

std::string Narrator::TellName(const Json &aPath) const
{
    if (!aPath.is_string())
        return "(none)";

    const auto lPath  = aPath.get<std::string>();
    const auto lKnown = mKnown.find(lPath);

    return DescribeName(lPath, lKnown != mKnown.end() ? lKnown->second : Json::object());
}

} // namespace zqnetctl
