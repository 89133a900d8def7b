#include "fakeconnman.h"

#include <algorithm>
#include <set>

namespace zq::Mock
{

namespace
{

using Objects = FakeConnMan::Objects;

Answer Error(const std::string &aName, const std::string &aMessage)
{
    return Answer::Error("net.connman.Error." + aName, aMessage);
}

Answer UnknownMethod(const FakePeer::Call &aCall, const char *aName)
{
    return Answer::Error(std::string("org.freedesktop.DBus.Error.") + aName,
                         "Method \"" + aCall.mMethod + "\" with signature \"\" on interface \"" + aCall.mInterface +
                             "\" doesn't exist\n");
}

Properties Merge(Properties aDefaults, Properties aProperties)
{
    aProperties.merge(aDefaults);
    return aProperties;
}

std::string Path(const std::string &aPath)
{
    return "objectpath '" + aPath + "'";
}

std::string ObjectsText(const Objects &anObjects, std::size_t aFirstFull = 0)
{
    std::string lText = "@a(oa{sv}) [";

    for (std::size_t lIndex = 0; lIndex < anObjects.size(); lIndex++)
        lText += ((lIndex > 0) ? ", (" : "(") + Path(anObjects[lIndex].first) + ", " +
                 FakeConnMan::Dictionary((lIndex >= aFirstFull) ? anObjects[lIndex].second : Properties()) + ")";

    return lText + "]";
}

std::string PathsText(const std::vector<std::string> &aPaths)
{
    std::string lText = "@ao [";

    for (const std::string &lPath : aPaths)
        lText += ((lText.back() == '[') ? "'" : ", '") + lPath + "'";

    return lText + "]";
}

/** The entry of a list of pairs whose first half is the name. */
template <typename List>
auto Find(List &aList, const std::string &aName)
{
    return std::find_if(aList.begin(), aList.end(), [&](const auto &anEntry) { return anEntry.first == aName; });
}

} // namespace

FakeConnMan::FakeConnMan() : FakePeer("net.connman"), mSilent(false)
{
    mProperties = { { "State", "'offline'" }, { "OfflineMode", "false" }, { "SessionMode", "false" } };
}

FakeConnMan::~FakeConnMan()
{
    Detach();
}

// MARK: What the daemon gives

Properties FakeConnMan::Technology(const std::string &aType, const Properties &aProperties)
{
    static const std::map<std::string, std::string> sNames = {
        { "ethernet", "Wired" }, { "wifi", "WiFi" }, { "bluetooth", "Bluetooth" }, { "cellular", "Cellular" }
    };
    const auto lName = sNames.find(aType);

    return Merge({ { "Name", "'" + ((lName != sNames.end()) ? lName->second : aType) + "'" },
                   { "Type", "'" + aType + "'" },
                   { "Powered", "true" },
                   { "Connected", "false" },
                   { "Tethering", "false" } },
                 aProperties);
}

static Properties ServiceDefaults()
{
    return { { "State", "'idle'" },       { "Immutable", "false" },
             { "IPv4", "@a{sv} {}" },     { "IPv4.Configuration", "{'Method': <'dhcp'>}" },
             { "IPv6", "@a{sv} {}" },     { "IPv6.Configuration", "{'Method': <'auto'>, 'Privacy': <'disabled'>}" },
             { "Nameservers", "@as []" }, { "Nameservers.Configuration", "@as []" },
             { "Timeservers", "@as []" }, { "Timeservers.Configuration", "@as []" },
             { "Domains", "@as []" },     { "Domains.Configuration", "@as []" },
             { "Proxy", "@a{sv} {}" },    { "Proxy.Configuration", "@a{sv} {}" },
             { "mDNS", "false" },         { "mDNS.Configuration", "false" },
             { "Provider", "@a{sv} {}" } };
}

Properties FakeConnMan::WiFiService(const std::string &aName, const Properties &aProperties)
{
    return Merge(
        Merge(ServiceDefaults(),
              { { "Type", "'wifi'" },
                { "Name", "'" + aName + "'" },
                { "Security", "['psk']" },
                { "Strength", "byte 60" },
                { "Favorite", "false" },
                { "AutoConnect", "false" },
                { "Ethernet", "{'Method': <'auto'>, 'Interface': <'wlan0'>, 'Address': <'02:00:00:00:00:01'>}" } }),
        aProperties);
}

Properties FakeConnMan::EthernetService(const Properties &aProperties)
{
    return Merge(
        Merge(ServiceDefaults(),
              { { "Type", "'ethernet'" },
                { "Name", "'Wired'" },
                { "Security", "@as []" },
                { "Favorite", "true" },
                { "AutoConnect", "true" },
                { "Ethernet", "{'Method': <'auto'>, 'Interface': <'eth1'>, 'Address': <'02:00:00:00:00:02'>}" } }),
        aProperties);
}

Properties FakeConnMan::EthernetServiceWithMTU(const Properties &aProperties)
{
    return EthernetService(Merge({ { "Ethernet", "{'Method': <'auto'>, 'Interface': <'eth1'>, "
                                                 "'Address': <'02:00:00:00:00:02'>, 'MTU': <uint16 1500>}" } },
                                 aProperties));
}

std::string FakeConnMan::Dictionary(const Properties &aProperties)
{
    std::string lText = "@a{sv} {";

    for (const auto &lEntry : aProperties)
        lText += ((lText.back() == '{') ? "'" : ", '") + lEntry.first + "': <" + lEntry.second + ">";

    return lText + "}";
}

// MARK: Changing its state

void FakeConnMan::SignalLocked(const std::string &aMember, const std::string &aBody)
{
    if (!mSilent)
        EmitLocked("/", kManager, aMember, aBody);
}

void FakeConnMan::SetManagerProperty(const std::string &aName, const std::string &aValue)
{
    FakeGuard lGuard;

    SetLocked(mProperties, "/", kManager, aName, aValue);
}

void FakeConnMan::AddTechnology(const std::string &aPath, const Properties &aProperties)
{
    FakeGuard lGuard;

    mTechnologies.emplace_back(aPath, aProperties);
    SignalLocked("TechnologyAdded", "(" + Path(aPath) + ", " + Dictionary(aProperties) + ")");
}

void FakeConnMan::RemoveTechnology(const std::string &aPath)
{
    FakeGuard  lGuard;
    const auto lFound = Find(mTechnologies, aPath);

    if (lFound != mTechnologies.end())
        mTechnologies.erase(lFound);

    SignalLocked("TechnologyRemoved", "(" + Path(aPath) + ",)");
}

void FakeConnMan::SetObject(const std::string &aPath, const std::string &anInterface, const std::string &aName,
                            const std::string &aValue)
{
    FakeGuard         lGuard;
    Properties *const lProperties = FindLocked(aPath, anInterface);

    if (lProperties != nullptr)
        SetLocked(*lProperties, aPath, anInterface, aName, aValue);
}

void FakeConnMan::SetLocked(Properties &aProperties, const std::string &aPath, const std::string &anInterface,
                            const std::string &aName, const std::string &aValue)
{
    aProperties[aName] = aValue;

    if (!mSilent)
        EmitLocked(aPath, anInterface, "PropertyChanged", "('" + aName + "', <" + aValue + ">)");
}

void FakeConnMan::SignalServicesLocked(std::size_t aFirstNew, const std::vector<std::string> &aRemoved)
{
    // The text of ten thousand services takes its time: not when nobody would hear it.
    if (!mSilent && IsPresentLocked())
        SignalLocked("ServicesChanged", "(" + ObjectsText(mServices, aFirstNew) + ", " + PathsText(aRemoved) + ")");
}

void FakeConnMan::AddServices(const Objects &aServices)
{
    FakeGuard         lGuard;
    const std::size_t lFirstNew = mServices.size();

    mServices.insert(mServices.end(), aServices.begin(), aServices.end());
    SignalServicesLocked(lFirstNew, {});
}

void FakeConnMan::RemoveServices(const std::vector<std::string> &aPaths)
{
    FakeGuard lGuard;

    for (const std::string &lPath : aPaths)
    {
        const auto lFound = Find(mServices, lPath);

        if (lFound != mServices.end())
            mServices.erase(lFound);
    }

    SignalServicesLocked(mServices.size(), aPaths);
}

void FakeConnMan::Reset()
{
    FakeGuard lGuard;

    mServices.clear();
    mTechnologies.clear();
}

void FakeConnMan::Silently(bool aSilent)
{
    FakeGuard lGuard;

    mSilent = aSilent;
}

void FakeConnMan::Shutdown()
{
    {
        FakeGuard                lGuard;
        std::vector<std::string> lPaths;

        for (const Object &lTechnology : mTechnologies)
            SignalLocked("TechnologyRemoved", "(" + Path(lTechnology.first) + ",)");

        for (const Object &lService : mServices)
            lPaths.push_back(lService.first);

        mTechnologies.clear();
        mServices.clear();
        SignalServicesLocked(0, lPaths);
    }

    CallAgent("Release", "");
    Flush();
    Crash();
}

// MARK: Agents

std::string FakeConnMan::GetAgentPath() const
{
    FakeGuard lGuard;

    return mAgents.empty() ? "" : mAgents.front().second;
}

std::string FakeConnMan::GetAgentOwner() const
{
    FakeGuard lGuard;

    return mAgents.empty() ? "" : mAgents.front().first;
}

std::uint32_t FakeConnMan::CallAgent(const std::string &aMethod, const std::string &aBody)
{
    const std::string lOwner = GetAgentOwner();

    return lOwner.empty() ? 0 : CallOther(lOwner, GetAgentPath(), kAgent, aMethod, aBody);
}

// MARK: Answering calls

Properties *FakeConnMan::FindLocked(const std::string &aPath, const std::string &anInterface)
{
    Objects   &lObjects = (anInterface == kService) ? mServices : mTechnologies;
    const auto lFound   = Find(lObjects, aPath);

    return (lFound != lObjects.end()) ? &lFound->second : nullptr;
}

Answer FakeConnMan::AnswerLocked(const Call &aCall, GVariant *aBody)
{
    static const std::set<std::string> sAccepted = { "Scan", "MoveBefore", "MoveAfter", "OnlineCheck" };

    if (aCall.mInterface == kManager)
        return AnswerManagerLocked(aCall, aBody);

    Properties *const lProperties = FindLocked(aCall.mPath, aCall.mInterface);

    if (lProperties == nullptr)
        return UnknownMethod(aCall, "UnknownObject");
    if (aCall.mMethod.find("Propert") != std::string::npos)
        return AnswerPropertyLocked(aCall, aBody, *lProperties);
    if ((aCall.mMethod == "Scan") == (aCall.mInterface == kTechnology) && sAccepted.count(aCall.mMethod) != 0)
        return Answer::Value("");
    return aCall.mInterface == kService ? AnswerServiceLocked(aCall, *lProperties)
                                        : UnknownMethod(aCall, "UnknownMethod");
}

Answer FakeConnMan::AnswerManagerLocked(const Call &aCall, GVariant *aBody)
{
    const std::string lName  = GetArgument(aBody, 0);
    const auto        lAgent = Find(mAgents, aCall.mSender);

    if (aCall.mMethod == "GetProperties")
        return Answer::Value("(" + Dictionary(mProperties) + ",)");
    if (aCall.mMethod == "GetServices" || aCall.mMethod == "GetTechnologies")
        return Answer::Value("(" + ObjectsText(aCall.mMethod == "GetServices" ? mServices : mTechnologies) + ",)");

    if (aCall.mMethod == "SetProperty")
    {
        if (lName != "OfflineMode" && lName != "SessionMode")
            return Error("InvalidProperty", "Invalid property");
        SetLocked(mProperties, "/", kManager, lName, GetArgument(aBody, 1));
    }
    else if (aCall.mMethod == "RegisterAgent")
    {
        if (lAgent != mAgents.end())
            return Error("AlreadyExists", "Already exists");
        mAgents.emplace_back(aCall.mSender, lName);
    }
    else if (aCall.mMethod == "UnregisterAgent")
    {
        if (lAgent == mAgents.end())
            return Error("NotRegistered", "Not registered");
        mAgents.erase(lAgent);
    }
    else
        return UnknownMethod(aCall, "UnknownMethod");
    return Answer::Value("");
}

Answer FakeConnMan::AnswerPropertyLocked(const Call &aCall, GVariant *aBody, Properties &aProperties)
{
    const std::string lName = GetArgument(aBody, 0), lValue = GetArgument(aBody, 1);

    if (aCall.mMethod == "GetProperties")
        return Answer::Value("(" + Dictionary(aProperties) + ",)");

    if (aCall.mMethod == "ClearProperty" && aCall.mInterface == kService)
    {
        if (lName != "Error")
            return Error("InvalidProperty", "Invalid property");
        SetLocked(aProperties, aCall.mPath, aCall.mInterface, "Error", "''");
        aProperties.erase("Error");
        return Answer::Value("");
    }

    if (aCall.mMethod != "SetProperty")
        return UnknownMethod(aCall, "UnknownMethod");
    if (lValue.empty())
        return Error("InvalidArguments", "Invalid arguments");
    if (lName == "Powered" && aProperties["Powered"] == lValue)
        return lValue == "true" ? Error("AlreadyEnabled", "Already enabled")
                                : Error("AlreadyDisabled", "Already disabled");
    if (lName == "AutoConnect" && aProperties["Favorite"] != "true")
        return Error("InvalidService", "Invalid service");

    SetLocked(aProperties, aCall.mPath, aCall.mInterface, lName, lValue);
    return Answer::Value("");
}

Answer FakeConnMan::AnswerServiceLocked(const Call &aCall, Properties &aProperties)
{
    const std::string lState = aProperties["State"];
    const auto        lSet   = [&](const char *aName, const std::vector<const char *> &theValues)
    {
        for (const char *lValue : theValues)
            SetLocked(aProperties, aCall.mPath, kService, aName, lValue);
    };

    if (aCall.mMethod == "Connect")
    {
        if (lState == "'ready'" || lState == "'online'")
            return Error("AlreadyConnected", "Already connected");
        lSet("State", { "'association'", "'configuration'", "'ready'" });
        lSet("Favorite", { "true" });
    }
    else if (aCall.mMethod == "Disconnect")
    {
        if (lState == "'idle'")
            return Error("NotConnected", "Not connected");
        lSet("State", { "'disconnect'", "'idle'" });
    }
    else if (aCall.mMethod == "Remove")
    {
        if (aProperties["Type"] == "'ethernet'" || aProperties["Immutable"] == "true")
            return Error("NotSupported", "Not supported");
        if (lState != "'idle'")
            lSet("State", { "'idle'" });
        lSet("Favorite", { "false" });
        lSet("AutoConnect", { "false" });
    }
    else
        return UnknownMethod(aCall, "UnknownMethod");
    return Answer::Value("");
}

} // namespace zq::Mock
