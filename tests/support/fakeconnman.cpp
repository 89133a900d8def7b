#include "fakeconnman.h"

#include <algorithm>

namespace zq::Test
{

namespace
{

using Objects = FakeConnMan::Objects;

Answer Error(const std::string &aName, const std::string &aMessage)
{
    return Answer::Error("net.connman.Error." + aName, aMessage);
}

Answer Empty()
{
    return Answer::Value("");
}

Answer UnknownMethod(const FakePeer::Call &aCall, const char *aName)
{
    return Answer::Error(std::string("org.freedesktop.DBus.Error.") + aName,
                         "Method \"" + aCall.mMethod + "\" with signature \"\" on interface \"" + aCall.mInterface +
                             "\" doesn't exist\n");
}

Properties Merge(Properties aDefaults, const Properties &aProperties)
{
    for (const auto &lEntry : aProperties)
        aDefaults[lEntry.first] = lEntry.second;

    return aDefaults;
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

std::string FirstString(GVariant *aBody)
{
    std::string lReturn;

    if (aBody != nullptr && g_variant_n_children(aBody) > 0)
    {
        GVariant *const lChild = g_variant_get_child_value(aBody, 0);

        if (g_variant_is_of_type(lChild, G_VARIANT_TYPE_STRING) ||
            g_variant_is_of_type(lChild, G_VARIANT_TYPE_OBJECT_PATH))
            lReturn = g_variant_get_string(lChild, nullptr);
        g_variant_unref(lChild);
    }

    return lReturn;
}

// False unless the body is (sv), as SetProperty takes it.
bool NameAndValue(GVariant *aBody, std::string &aName, std::string &aValue)
{
    if (aBody == nullptr || !g_variant_is_of_type(aBody, G_VARIANT_TYPE("(sv)")))
        return false;

    GVariant *lValue = nullptr;
    g_variant_get_child(aBody, 1, "v", &lValue);

    aName  = FirstString(aBody);
    aValue = PrintValue(lValue);
    g_variant_unref(lValue);

    return true;
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

void FakeConnMan::SetTechnologyProperty(const std::string &aPath, const std::string &aName, const std::string &aValue)
{
    SetObject(aPath, kTechnology, aName, aValue);
}

void FakeConnMan::SetServiceProperty(const std::string &aPath, const std::string &aName, const std::string &aValue)
{
    SetObject(aPath, kService, aName, aValue);
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

void FakeConnMan::DidLeaveLocked()
{
    mAgents.clear();
}

// MARK: Answering calls

struct FakeConnMan::Method
{
    const char *mInterface;
    const char *mName;
    Answer (FakeConnMan::*mHandler)(const Call &aCall, GVariant *aBody);
};

Answer FakeConnMan::AnswerLocked(const Call &aCall, GVariant *aBody)
{
    static const Method sMethods[] = {
        { kManager, "GetProperties", &FakeConnMan::GetManagerProperties },
        { kManager, "GetServices", &FakeConnMan::GetServices },
        { kManager, "GetTechnologies", &FakeConnMan::GetTechnologies },
        { kManager, "SetProperty", &FakeConnMan::SetManagerProperty },
        { kManager, "RegisterAgent", &FakeConnMan::RegisterAgent },
        { kManager, "UnregisterAgent", &FakeConnMan::UnregisterAgent },
        { kTechnology, "GetProperties", &FakeConnMan::GetObjectProperties },
        { kTechnology, "SetProperty", &FakeConnMan::SetObjectProperty },
        { kTechnology, "Scan", &FakeConnMan::Accept },
        { kService, "GetProperties", &FakeConnMan::GetObjectProperties },
        { kService, "SetProperty", &FakeConnMan::SetObjectProperty },
        { kService, "ClearProperty", &FakeConnMan::ClearProperty },
        { kService, "Connect", &FakeConnMan::Connect },
        { kService, "Disconnect", &FakeConnMan::Disconnect },
        { kService, "Remove", &FakeConnMan::Remove },
        { kService, "MoveBefore", &FakeConnMan::Accept },
        { kService, "MoveAfter", &FakeConnMan::Accept },
        { kService, "OnlineCheck", &FakeConnMan::Accept },
    };

    if (aCall.mInterface != kManager && FindLocked(aCall.mPath, aCall.mInterface) == nullptr)
        return UnknownMethod(aCall, "UnknownObject");

    for (const Method &lMethod : sMethods)
        if (aCall.mInterface == lMethod.mInterface && aCall.mMethod == lMethod.mName)
            return (this->*lMethod.mHandler)(aCall, aBody);

    return UnknownMethod(aCall, "UnknownMethod");
}

Properties *FakeConnMan::FindLocked(const std::string &aPath, const std::string &anInterface)
{
    Objects   &lObjects = (anInterface == kService) ? mServices : mTechnologies;
    const auto lFound   = Find(lObjects, aPath);

    return (lFound != lObjects.end()) ? &lFound->second : nullptr;
}

Answer FakeConnMan::GetManagerProperties(const Call &, GVariant *)
{
    return Answer::Value("(" + Dictionary(mProperties) + ",)");
}

Answer FakeConnMan::GetServices(const Call &, GVariant *)
{
    return Answer::Value("(" + ObjectsText(mServices) + ",)");
}

Answer FakeConnMan::GetTechnologies(const Call &, GVariant *)
{
    return Answer::Value("(" + ObjectsText(mTechnologies) + ",)");
}

Answer FakeConnMan::SetManagerProperty(const Call &, GVariant *aBody)
{
    std::string lName, lValue;

    if (!NameAndValue(aBody, lName, lValue))
        return Error("InvalidArguments", "Invalid arguments");

    if (lName != "OfflineMode" && lName != "SessionMode")
        return Error("InvalidProperty", "Invalid property");

    SetLocked(mProperties, "/", kManager, lName, lValue);

    return Empty();
}

Answer FakeConnMan::RegisterAgent(const Call &aCall, GVariant *aBody)
{
    if (Find(mAgents, aCall.mSender) != mAgents.end())
        return Error("AlreadyExists", "Already exists");

    mAgents.emplace_back(aCall.mSender, FirstString(aBody));

    return Empty();
}

Answer FakeConnMan::UnregisterAgent(const Call &aCall, GVariant *)
{
    const auto lFound = Find(mAgents, aCall.mSender);

    if (lFound == mAgents.end())
        return Error("NotRegistered", "Not registered");

    mAgents.erase(lFound);

    return Empty();
}

Answer FakeConnMan::GetObjectProperties(const Call &aCall, GVariant *)
{
    return Answer::Value("(" + Dictionary(*FindLocked(aCall.mPath, aCall.mInterface)) + ",)");
}

Answer FakeConnMan::SetObjectProperty(const Call &aCall, GVariant *aBody)
{
    Properties &lProperties = *FindLocked(aCall.mPath, aCall.mInterface);
    std::string lName, lValue;

    if (!NameAndValue(aBody, lName, lValue))
        return Error("InvalidArguments", "Invalid arguments");

    if (lName == "Powered" && lProperties["Powered"] == lValue)
        return Error((lValue == "true") ? "AlreadyEnabled" : "AlreadyDisabled",
                     (lValue == "true") ? "Already enabled" : "Already disabled");

    if (lName == "AutoConnect" && lProperties["Favorite"] != "true")
        return Error("InvalidService", "Invalid service");

    SetLocked(lProperties, aCall.mPath, aCall.mInterface, lName, lValue);

    return Empty();
}

Answer FakeConnMan::ClearProperty(const Call &aCall, GVariant *aBody)
{
    Properties &lProperties = *FindLocked(aCall.mPath, aCall.mInterface);

    if (FirstString(aBody) != "Error")
        return Error("InvalidProperty", "Invalid property");

    SetLocked(lProperties, aCall.mPath, aCall.mInterface, "Error", "''");
    lProperties.erase("Error");

    return Empty();
}

Answer FakeConnMan::Connect(const Call &aCall, GVariant *)
{
    Properties &lProperties = *FindLocked(aCall.mPath, aCall.mInterface);

    if (lProperties["State"] == "'ready'" || lProperties["State"] == "'online'")
        return Error("AlreadyConnected", "Already connected");

    for (const char *lState : { "'association'", "'configuration'", "'ready'" })
        SetLocked(lProperties, aCall.mPath, kService, "State", lState);
    SetLocked(lProperties, aCall.mPath, kService, "Favorite", "true");

    return Empty();
}

Answer FakeConnMan::Disconnect(const Call &aCall, GVariant *)
{
    Properties &lProperties = *FindLocked(aCall.mPath, aCall.mInterface);

    if (lProperties["State"] == "'idle'")
        return Error("NotConnected", "Not connected");

    for (const char *lState : { "'disconnect'", "'idle'" })
        SetLocked(lProperties, aCall.mPath, kService, "State", lState);

    return Empty();
}

Answer FakeConnMan::Remove(const Call &aCall, GVariant *)
{
    Properties &lProperties = *FindLocked(aCall.mPath, aCall.mInterface);

    if (lProperties["Type"] == "'ethernet'" || lProperties["Immutable"] == "true")
        return Error("NotSupported", "Not supported");

    if (lProperties["State"] != "'idle'")
        SetLocked(lProperties, aCall.mPath, kService, "State", "'idle'");

    for (const char *lName : { "Favorite", "AutoConnect" })
        SetLocked(lProperties, aCall.mPath, kService, lName, "false");

    return Empty();
}

Answer FakeConnMan::Accept(const Call &, GVariant *)
{
    return Empty();
}

} // namespace zq::Test
