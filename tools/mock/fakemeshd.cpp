#include "fakemeshd.h"

namespace zq::Mock
{

namespace
{

const std::map<std::string, std::string> &Defaults()
{
    static const std::map<std::string, std::string> sDefaults = {
        { "ChannelManager:AutoSelect:Enabled", "false" },
        { "ChannelManager:AutoSelect:Interval", "uint32 3600" },
        { "ChannelManager:Delay", "uint16 120" },
        { "ChannelManager:FavoredChannelMask", "uint32 0" },
        { "ChannelManager:NewChannel", "byte 0x00" },
        { "ChannelManager:SupportedChannelMask", "uint32 134215680" },
        { "Config:NCP:DriverName", "'spinel'" },
        { "Daemon:Enabled", "true" },
        { "Daemon:ReadyForHostSleep", "true" },
        { "JamDetection:BusyPeriod", "byte 0x01" },
        { "JamDetection:Enable", "false" },
        { "JamDetection:RssiThreshold", "int16 0" },
        { "JamDetection:Status", "false" },
        { "JamDetection:Window", "byte 0x01" },
        { "NCP:Channel", "byte 0x0b" },
        { "NCP:State", "'offline'" },
        { "NCP:TXPower", "int16 0" },
        { "Network:Name", "''" },
        { "OpenThread:LogLevel", "byte 0x04" },
        { "Thread:DeviceMode", "byte 0x0f" },
        { "Thread:NeighborTable:AsValMap", "[{'RLOC16': <uint16 1>, 'LastRssi': <int16 -40>, 'IsChild': <false>}]" },
        { "com.corvanix.internal:Network:AllowingJoin", "false" },
        { "quil:PAW:DestAddress", "''" },
    };
    return sDefaults;
}

const std::map<std::string, std::string> &Signatures()
{
    static const std::map<std::string, std::string> sSignatures = {
        { "PermitJoin", "(ibqy)" },
        { "Form", "(snuay)" },
        { "BeginNetWake", "(yu)" },
        { "AddRoute", "(ayqn)" },
        { "RemoveRoute", "(ayq)" },
        { "BeginLowPower", "" },
        { "Leave", "" },
        { "Reset", "" },
        { "ConfigGateway", "(bayuu)" },
        { "Ping", "" },
        { "HostDidWake", "" },
        { "GetProp", "(s)" },
        { "SetProp", "(sv)" },
    };
    return sSignatures;
}

using Variant = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;

/** A value in the type of another one; empty when it has no form in it. */
std::string Convert(const std::string &aValue, const std::string &aModel)
{
    const Variant lModel(ParseValue(aModel), g_variant_unref);
    const Variant lValue(ParseValue(aValue), g_variant_unref);
    const auto    lText = std::unique_ptr<char, decltype(&g_free)>(g_variant_print(lValue.get(), FALSE), g_free);
    GVariant     *lMade = g_variant_parse(g_variant_get_type(lModel.get()), lText.get(), nullptr, nullptr, nullptr);
    const Variant lOwned(lMade, g_variant_unref);

    return lMade != nullptr ? PrintValue(lMade) : "";
}

} // namespace

FakeMeshd::FakeMeshd() : FakePeer(kInterface), mInterfaces{ { "wpan0", Defaults() } } {}

FakeMeshd::~FakeMeshd()
{
    Detach();
}

void FakeMeshd::AddInterface(const std::string &aName)
{
    FakeGuard lGuard;

    mInterfaces[aName] = Defaults();
    EmitLocked("/com/corvanix/MeshLink", kInterface, "InterfaceAdded", "('" + aName + "',)");
}

bool FakeMeshd::Restart()
{
    if (!Appear())
        return false;

    std::map<std::string, Properties> lInterfaces;
    {
        FakeGuard lGuard;
        lInterfaces = mInterfaces;
    }
    for (const auto &lInterface : lInterfaces)
        AddInterface(lInterface.first);

    return true;
}

void FakeMeshd::SetProperty(const std::string &aKey, const std::string &aValue, const std::string &aName)
{
    FakeGuard lGuard;

    SetLocked(aName, aKey, aValue);
}

std::string FakeMeshd::GetProperty(const std::string &aKey, const std::string &aName) const
{
    FakeGuard  lGuard;
    const auto lInterface = mInterfaces.find(aName);
    if (lInterface == mInterfaces.end())
        return "";

    const auto lFound = lInterface->second.find(aKey);

    return lFound != lInterface->second.end() ? lFound->second : "";
}

void FakeMeshd::SetState(const std::string &aState, const std::string &aName)
{
    FakeGuard lGuard;

    SetStateLocked(aName, aState);
}

void FakeMeshd::SetLocked(const std::string &aName, const std::string &aKey, const std::string &aValue)
{
    mInterfaces[aName][aKey] = aValue;
    EmitLocked(Path(aName), kInterface, "PropertyChanged", "('" + aKey + "', <" + aValue + ">)");
}

void FakeMeshd::SetStateLocked(const std::string &aName, const std::string &aState)
{
    SetLocked(aName, "NCP:State", "'" + aState + "'");
    EmitLocked(Path(aName), kInterface, "AssociationStateChanged", "('" + aState + "',)");
}

Answer FakeMeshd::GetProp(const Properties &aProperties, const std::string &aKey) const
{
    const auto lFound = aProperties.find(aKey);

    return Answer::Value(lFound != aProperties.end() ? "(0, <" + lFound->second + ">)" : "(1,)");
}

Answer FakeMeshd::SetProp(Properties &aProperties, const Call &aCall, GVariant *aBody)
{
    const std::string lKey   = GetArgument(aBody, 0);
    const auto        lFound = aProperties.find(lKey);

    if (lFound == aProperties.end())
        return Answer::Value("(1,)");

    const std::string lValue = Convert(GetArgument(aBody, 1), lFound->second);

    if (lValue.empty())
        return Answer::Value("(2,)");

    if (lValue != lFound->second)
        SetLocked(aCall.mPath.substr(Path("").size()), lKey, lValue);

    return Answer::Value("(0,)");
}

Answer FakeMeshd::AnswerLocked(const Call &aCall, GVariant *aBody)
{
    const std::string lPrefix    = Path("");
    const bool        lIsChild   = aCall.mPath.compare(0, lPrefix.size(), lPrefix) == 0;
    const std::string lName      = lIsChild ? aCall.mPath.substr(lPrefix.size()) : "";
    const auto        lInterface = mInterfaces.find(lName);
    const auto        lSignature = Signatures().find(aCall.mMethod);

    if (lInterface == mInterfaces.end())
        return Answer::Error("org.freedesktop.DBus.Error.UnknownObject", "No such interface");
    if (lSignature == Signatures().end() || aCall.mInterface != kInterface)
        return Answer::Error("org.freedesktop.DBus.Error.UnknownMethod", "No such method");
    if (lSignature->second != (aBody != nullptr ? g_variant_get_type_string(aBody) : ""))
        return Answer::Error("org.freedesktop.DBus.Error.InvalidArgs", "Expected " + lSignature->second);

    if (aCall.mMethod == "GetProp")
        return GetProp(lInterface->second, GetArgument(aBody, 0));
    if (aCall.mMethod == "SetProp")
        return SetProp(lInterface->second, aCall, aBody);

    if (aCall.mMethod == "Form")
    {
        SetLocked(lName, "Network:Name", "'" + GetArgument(aBody, 0) + "'");
        SetLocked(lName, "NCP:Channel", GetArgument(aBody, 1));
    }
    if (aCall.mMethod == "Form" || aCall.mMethod == "Leave")
        SetStateLocked(lName, aCall.mMethod == "Form" ? "associated" : "offline");
    if (aCall.mMethod == "PermitJoin")
        SetLocked(lName, "com.corvanix.internal:Network:AllowingJoin", GetArgument(aBody, 0) != "0" ? "true" : "false");

    return Answer::Value("(0,)");
}

} // namespace zq::Mock
