#include "fakeiwd.h"

#include <cstdio>
#include <utility>

namespace zq::Mock
{

namespace
{

const std::string kName    = "net.connman.iwd";
const std::string kStation = "/net/connman/iwd/0/1";

constexpr char kObjects[] =
    "objectpath '/net/connman/iwd': {'net.connman.iwd.AgentManager': @a{sv} {}}, "
    "objectpath '/net/connman/iwd/0': {'net.connman.iwd.Adapter': "
    "{'Name': <'phy0'>, 'Powered': <true>, 'SupportedModes': <['station']>}}, "
    "objectpath '/net/connman/iwd/0/1': {'net.connman.iwd.Device': "
    "{'Name': <'wlan0'>, 'Adapter': <objectpath '/net/connman/iwd/0'>, 'Address': <'02:00:00:00:00:01'>, "
    "'Powered': <true>, 'Mode': <'station'>}, "
    "'net.connman.iwd.Station': {'State': <'disconnected'>, 'Scanning': <false>}}";

const char *Type(const std::string &aKey)
{
    return aKey.empty() ? "open" : "psk";
}

/** ConnMan takes it apart: the name in hexadecimal digits, then the type. */
std::string NetworkPath(const std::string &aName, const std::string &aKey)
{
    std::string lPath = kStation + "/";
    char        lDigits[3];

    for (const char lCharacter : aName)
    {
        std::snprintf(lDigits, sizeof lDigits, "%02x", static_cast<unsigned int>(lCharacter & 0xff));
        lPath += lDigits;
    }
    return lPath + "_" + Type(aKey);
}

} // namespace

FakeIwd::FakeIwd() : FakePeer(kName) {}

FakeIwd::~FakeIwd()
{
    Detach();
}

void FakeIwd::AddNetwork(const std::string &aName, const std::string &aKey)
{
    FakeGuard lGuard;
    Network  &lNetwork = mNetworks[NetworkPath(aName, aKey)];

    lNetwork.mName = aName;
    lNetwork.mKey  = aKey;
}

std::string FakeIwd::Describe(const Network &aNetwork)
{
    return "{'net.connman.iwd.Network': {'Name': <'" + aNetwork.mName + "'>, 'Type': <'" + Type(aNetwork.mKey) +
           "'>, 'Device': <objectpath '" + kStation + "'>, 'Connected': <" + (aNetwork.mConnected ? "true" : "false") +
           ">}}";
}

std::string FakeIwd::ListObjects() const
{
    std::string lObjects = kObjects;

    for (const auto &lNetwork : mNetworks)
        if (lNetwork.second.mFound)
            lObjects += ", objectpath '" + lNetwork.first + "': " + Describe(lNetwork.second);
    return "({" + lObjects + "},)";
}

/** With their strengths, in hundredths of a dBm. */
std::string FakeIwd::ListNetworks() const
{
    std::string lList;

    for (const auto &lNetwork : mNetworks)
        lList += std::string(lList.empty() ? "" : ", ") + "(objectpath '" + lNetwork.first + "', int16 -6000)";
    return "(@a(on) [" + lList + "],)";
}

void FakeIwd::ChangeLocked(const std::string &aPath, const std::string &anInterface, const std::string &aProperties)
{
    EmitLocked(aPath, "org.freedesktop.DBus.Properties", "PropertiesChanged",
               "('" + kName + "." + anInterface + "', {" + aProperties + "}, @as [])");
}

Answer FakeIwd::AnswerLocked(const Call &aCall, GVariant *aBody)
{
    if (aCall.mMethod == "GetManagedObjects")
        return Answer::Value(ListObjects());
    if (aCall.mMethod == "Scan")
        return Scan();
    if (aCall.mMethod == "GetOrderedNetworks")
        return Answer::Value(ListNetworks());
    if (aCall.mMethod == "Connect")
        return Connect(aCall.mPath);
    if (aCall.mMethod == "Disconnect")
        return Disconnect();
    if (aCall.mMethod == "RegisterAgent")
    {
        mAgentOwner = aCall.mSender;
        mAgentPath  = GetArgument(aBody, 0);
    }
    return Answer::Value("");
}

Answer FakeIwd::Scan()
{
    ChangeLocked(kStation, "Station", "'Scanning': <true>");
    for (auto &lNetwork : mNetworks)
        if (!std::exchange(lNetwork.second.mFound, true))
            EmitLocked("/", "org.freedesktop.DBus.ObjectManager", "InterfacesAdded",
                       "(objectpath '" + lNetwork.first + "', " + Describe(lNetwork.second) + ")");
    ChangeLocked(kStation, "Station", "'Scanning': <false>");
    return Answer::Value("");
}

Answer FakeIwd::Connect(const std::string &aPath)
{
    Network &lNetwork = mNetworks[aPath];

    // Asked for when it is called, answered when the key has come.
    if (!lNetwork.mKey.empty() && lNetwork.mTicket == 0)
    {
        lNetwork.mTicket = CallOtherLocked(mConnection, mAgentOwner, mAgentPath, kName + ".Agent", "RequestPassphrase",
                                           "(objectpath '" + aPath + "',)");
        return Answer::Held();
    }

    lNetwork.mTicket = 0;
    if (lNetwork.mReceivedKey != lNetwork.mKey)
        return Answer::Error(kName + ".Failed", "Operation failed");

    lNetwork.mConnected = true;
    ChangeLocked(aPath, "Network", "'Connected': <true>");
    ChangeLocked(kStation, "Station", "'State': <'connected'>");
    return Answer::Value("");
}

void FakeIwd::DidReplyLocked(std::uint32_t aTicket, const Reply &aReply)
{
    for (auto &lNetwork : mNetworks)
        if (lNetwork.second.mTicket == aTicket)
        {
            // "('the key',)", or the message of an error
            lNetwork.second.mReceivedKey =
                aReply.mErrorName.empty() ? aReply.mBody.substr(2, aReply.mBody.size() - 5) : "";
            ReleaseHeldLocked();
            return;
        }
}

Answer FakeIwd::Disconnect()
{
    for (auto &lNetwork : mNetworks)
        if (std::exchange(lNetwork.second.mConnected, false))
            ChangeLocked(lNetwork.first, "Network", "'Connected': <false>");
    ChangeLocked(kStation, "Station", "'State': <'disconnected'>");
    return Answer::Value("");
}

} // namespace zq::Mock
