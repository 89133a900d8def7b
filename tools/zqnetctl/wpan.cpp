/**
 *  @file
 *    The commands of the Thread radio.
 */

#include "action.h"
#include "commands.h"
#include "lookup.h"
#include "monitor.h"
#include "output.h"
#include "prompt.h"

#include <zqwpanctl-signals.h>

#include <array>
#include <cerrno>
#include <cstdlib>

#include <arpa/inet.h>
#include <sys/random.h>

namespace zqnetctl
{

namespace
{

using Interface = zqWPANCtl::Interface;

constexpr const char *kName        = "wpan0";
constexpr const char *kPath        = "/com/corvanix/MeshLink/wpan0";
constexpr const char *kDaemon      = "com.corvanix.MeshLink";
constexpr const char *kHexadecimal = "hex:";

constexpr int kPingTimeout = 2000;

/** A decimal number, or one that begins with 0x, within bounds; false for anything else. */
template <typename T>
bool ParseNumber(const std::string &aText, long long aLeast, long long aMost, T &aNumber)
{
    char *lEnd = nullptr;

    errno = 0;

    const bool      lIsHexadecimal = aText.rfind("0x", 0) == 0;
    const long long lNumber        = strtoll(aText.c_str(), &lEnd, lIsHexadecimal ? 16 : 10);

    if (aText.empty() || *lEnd != '\0' || errno != 0 || lNumber < aLeast || lNumber > aMost)
        return false;

    aNumber = static_cast<T>(lNumber);
    return true;
}

/** Pairs of hexadecimal digits; false for anything else. */
bool ParseBytes(const std::string &aText, std::vector<std::uint8_t> &aBytes)
{
    if (aText.size() % 2 != 0 || aText.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return false;

    aBytes.clear();
    for (std::size_t lIndex = 0; lIndex < aText.size(); lIndex += 2)
        aBytes.push_back(static_cast<std::uint8_t>(std::stoul(aText.substr(lIndex, 2), nullptr, 16)));
    return true;
}

/** "fd00::/64" */
struct Prefix
{
    std::array<unsigned char, sizeof(in6_addr)> mBytes{};
    unsigned char                               mLength = 0;

    bool Parse(const std::string &aText)
    {
        const auto lSlash = aText.find('/');

        return lSlash != std::string::npos &&
               inet_pton(AF_INET6, aText.substr(0, lSlash).c_str(), mBytes.data()) == 1 &&
               ParseNumber(aText.substr(lSlash + 1), 0, 128, mLength);
    }
};

/** Bytes become data; everything else is what it is for a service. Null for what has no value. */
CFUSharedRef<CFTypeRef> ToValue(const std::string &aText)
{
    std::vector<std::uint8_t> lBytes;

    if (aText.rfind(kHexadecimal, 0) != 0)
        return ToCF(ParseValue(aText));
    if (!ParseBytes(aText.substr(std::string(kHexadecimal).size()), lBytes))
        return nullptr;
    return CFUAdopt<CFTypeRef>(CFDataCreate(kCFAllocatorDefault, lBytes.data(), static_cast<CFIndex>(lBytes.size())));
}

/** Without the daemon a command would only fail, and not say why. */
bool FindDaemon(const Session &aSession)
{
    const bool lIsThere = IsOnBus(kDaemon);

    if (!lIsThere)
        Complain(aSession.GetOptions().mCommand, "meshd is not on the bus");
    return lIsThere;
}

/** A command of the radio, from sending it to the daemon's answer. */
ExitStatus PerformCommand(Session &aSession, const char *aDoing, const std::string &aDone,
                          const std::function<zqError(Interface &anInterface)> &aRequest)
{
    zqWPANCtl        lController;
    Interface *const lInterface = lController.GetInterface();

    if (lInterface == nullptr)
        return Complain(aSession.GetOptions().mCommand, zqError_OutOfMemory);
    if (!FindDaemon(aSession))
        return kExitFailed;

    Action lAction;

    lAction.mRequest = [&] { return aRequest(*lInterface); };
    lAction.mDoing   = std::string(aDoing) + " " + kName;
    lAction.mDone    = std::string(kName) + ": " + aDone;
    return Perform(aSession, std::move(lAction));
}

/** Properties as far as the daemon has them; the code of the first, unless one was read. */
zqError ReadProperties(Interface &anInterface, const std::vector<std::string> &aKeys, Json &aProperties)
{
    zqError lResult = zqError_None;

    for (const std::string &lKey : aKeys)
    {
        CFUSharedRef<const void *> lValue;
        const zqError              lReturn = anInterface.GetProperty(zqString(lKey.c_str()), lValue);

        if (lReturn == zqError_None)
            aProperties[lKey] = FromCF(lValue.Get(), lKey);
        else if (lReturn != zqError_Failed || lResult == zqError_None)
            lResult = lReturn;

        if (lReturn == zqError_TimedOut || lReturn == zqError_WrongState)
            break;
    }
    return aProperties.empty() ? lResult : zqError_None;
}

bool PrintProperties(const Session &aSession, const Json &aProperties)
{
    if (aSession.GetOptions().mJson)
        return PrintLine(Json{ { "path", kPath }, { "properties", aProperties } });

    Table lTable({ "PROPERTY", "VALUE" });

    for (const auto &lEntry : aProperties.items())
        lTable.Add({ Printable(lEntry.key()), Describe(lEntry.value()) });
    return lTable.Print();
}

ExitStatus ShowProperties(Session &aSession, const std::vector<std::string> &aKeys)
{
    zqWPANCtl        lController;
    Interface *const lInterface  = lController.GetInterface();
    Json             lProperties = Json::object();
    Action           lAction;

    if (lInterface == nullptr)
        return Complain(aSession.GetOptions().mCommand, zqError_OutOfMemory);
    if (!FindDaemon(aSession))
        return kExitFailed;

    lAction.mRequest = [&] { return ReadProperties(*lInterface, aKeys, lProperties); };
    lAction.mReport  = [&] { return PrintProperties(aSession, lProperties); };
    lAction.mDoing   = std::string("reading ") + kName;
    return Perform(aSession, std::move(lAction));
}

/** What a network is formed with, from words such as "channel=15". */
struct Formation
{
    short                     mChannel = 0;
    unsigned int              mMask    = 0;
    std::vector<std::uint8_t> mExtendedPanId{ std::vector<std::uint8_t>(8) };

    /** @returns what is wrong with the word, or nothing. */
    std::string Parse(const std::string &aWord)
    {
        const auto        lEqual = aWord.find('=');
        const std::string lKey   = aWord.substr(0, lEqual);
        const std::string lValue = lEqual != std::string::npos ? aWord.substr(lEqual + 1) : std::string();

        if (lKey == "channel"  ? ParseNumber(lValue, 0, 26, mChannel)
            : lKey == "mask"   ? ParseNumber(lValue, 1, 0xFFFFFFFF, mMask)
            : lKey == "xpanid" ? ParseBytes(lValue, mExtendedPanId) && mExtendedPanId.size() == 8
                               : false)
            return std::string();
        return aWord + " is not channel=NUMBER, mask=NUMBER or xpanid=DIGITS (16 of them)";
    }
};

} // namespace

ExitStatus ShowWPANStatus(Session &aSession)
{
    const CFStringRef kKeys[] = {
        zqWPANCtl::kPropertyKeyAssociationState, zqWPANCtl::kPropertyKeyEnabled,
        zqWPANCtl::kPropertyKeyIsAssociated,     zqWPANCtl::kPropertyKeyNetworkName,
        zqWPANCtl::kPropertyKeyNodeType,         zqWPANCtl::kPropertyKeyNCPChannel,
        zqWPANCtl::kPropertyKeyNetworkPANID,     zqWPANCtl::kPropertyKeyNetworkXPANID,
        zqWPANCtl::kPropertyKeyAllowingJoin,     zqWPANCtl::kPropertyKeyIsOKToSleep,
    };
    std::vector<std::string> lKeys;

    for (CFStringRef lKey : kKeys)
        lKeys.push_back(CFUText(lKey));
    return ShowProperties(aSession, lKeys);
}

ExitStatus GetWPANProperty(Session &aSession)
{
    return ShowProperties(aSession, aSession.GetArguments());
}

ExitStatus SetWPANProperty(Session &aSession)
{
    Prompt      lPrompt(aSession.GetInbox());
    const auto &lKey  = aSession.GetArguments()[0];
    std::string lText = aSession.GetArguments()[1];

    if (!lPrompt.AskForSecret(lKey, lText))
        return aSession.RefuseUsage(lKey + ": no value that can be used");

    const auto lValue = ToValue(lText);
    if (!lValue)
        return aSession.RefuseUsage(lKey + ": no value that can be used");

    return PerformCommand(aSession, "setting", "set",
                          [&](Interface &anInterface)
                          { return anInterface.SetProperty(zqString(lKey.c_str()), lValue); });
}

ExitStatus FormWPAN(Session &aSession)
{
    const auto &lArguments = aSession.GetArguments();
    Formation   lFormation;

    // Two networks are told apart by this identifier.
    if (getrandom(lFormation.mExtendedPanId.data(), lFormation.mExtendedPanId.size(), 0) !=
        static_cast<ssize_t>(lFormation.mExtendedPanId.size()))
        return Complain(aSession.GetOptions().mCommand, zqError_NoResources);

    for (std::size_t lIndex = 1; lIndex < lArguments.size(); lIndex++)
        if (const std::string lProblem = lFormation.Parse(lArguments[lIndex]); !lProblem.empty())
            return aSession.RefuseUsage(lProblem);

    return PerformCommand(aSession, "forming", lArguments[0] + " formed",
                          [&](Interface &anInterface)
                          {
                              return anInterface.Form(zqString(lArguments[0].c_str()), lFormation.mChannel,
                                                      lFormation.mMask != 0 ? lFormation.mMask
                                                                            : anInterface.GetSupportedChannelsMask(),
                                                      lFormation.mExtendedPanId.data());
                          });
}

ExitStatus LeaveWPAN(Session &aSession)
{
    return PerformCommand(aSession, "leaving", "left", [](Interface &anInterface) { return anInterface.Leave(); });
}

ExitStatus ResetWPAN(Session &aSession)
{
    return PerformCommand(aSession, "resetting", "reset", [](Interface &anInterface) { return anInterface.Reset(); });
}

ExitStatus PermitWPANJoin(Session &aSession)
{
    const auto    &lArguments = aSession.GetArguments();
    int            lSeconds   = 0;
    unsigned short lPort      = 0;

    if (!ParseNumber(lArguments[0], -1, 65534, lSeconds))
        return aSession.RefuseUsage("SECONDS is -1 to 65534");
    if (lArguments.size() > 1 && !ParseNumber(lArguments[1], 0, 65535, lPort))
        return aSession.RefuseUsage("PORT is 0 to 65535");

    return PerformCommand(aSession, "opening", "open for joining",
                          [&](Interface &anInterface) { return anInterface.PermitJoin(lSeconds, lPort); });
}

ExitStatus PingWPAN(Session &aSession)
{
    return PerformCommand(aSession, "pinging", "alive",
                          [](Interface &anInterface) { return anInterface.Ping(kPingTimeout); });
}

ExitStatus WakeWPAN(Session &aSession)
{
    const auto &lArguments = aSession.GetArguments();
    int         lData      = 0;

    if (!lArguments.empty() && !ParseNumber(lArguments[0], 0, 255, lData))
        return aSession.RefuseUsage("DATA is 0 to 255");

    return PerformCommand(aSession, "waking", "network woken",
                          [&](Interface &anInterface) { return anInterface.BeginNetWake(lData); });
}

ExitStatus AddWPANRoute(Session &aSession)
{
    const auto    &lArguments = aSession.GetArguments();
    Prefix         lPrefix;
    unsigned short lDomain   = 0;
    short          lPriority = 0;

    if (!lPrefix.Parse(lArguments[0]) || (lArguments.size() > 1 && !ParseNumber(lArguments[1], 0, 65535, lDomain)) ||
        (lArguments.size() > 2 && !ParseNumber(lArguments[2], -32768, 32767, lPriority)))
        return aSession.RefuseUsage("takes an IPv6 prefix such as fd00::/64, a domain and a priority");

    return PerformCommand(
        aSession, "adding a route to", "route added",
        [&](Interface &anInterface)
        { return anInterface.AddExternalRoute(lPrefix.mBytes.data(), lPrefix.mLength, lDomain, lPriority); });
}

ExitStatus RemoveWPANRoute(Session &aSession)
{
    const auto    &lArguments = aSession.GetArguments();
    Prefix         lPrefix;
    unsigned short lDomain = 0;

    if (!lPrefix.Parse(lArguments[0]) || (lArguments.size() > 1 && !ParseNumber(lArguments[1], 0, 65535, lDomain)))
        return aSession.RefuseUsage("takes an IPv6 prefix such as fd00::/64, and a domain");

    return PerformCommand(aSession, "removing a route from", "route removed",
                          [&](Interface &anInterface)
                          { return anInterface.RemoveExternalRoute(lPrefix.mBytes.data(), lPrefix.mLength, lDomain); });
}

ExitStatus RunWPANMonitor(Session &aSession)
{
    zqWPANCtl lController;

    // Copied into the slots: one may still run when the controller has gone.
    const auto lPost = [&aSession](const char *aName, const zqString &anInterface, const Json &aPayload)
    {
        Json lEvent = { { "event", aName }, { "interface", anInterface.GetAsUTFArray() } };

        lEvent.update(aPayload);
        aSession.GetInbox().Post(std::move(lEvent));
    };

    lController.mNetWake.connect(
        [lPost](const zqString &anInterface, int aReason, int aRemaining) {
            lPost("NetWake", anInterface, { { "reason", aReason }, { "remaining", aRemaining } });
        });
    lController.mAllowSleep.connect([lPost](const zqString &anInterface)
                                    { lPost("AllowSleep", anInterface, Json::object()); });
    lController.mPreventSleep.connect([lPost](const zqString &anInterface)
                                      { lPost("PreventSleep", anInterface, Json::object()); });
    lController.mAssociationState.connect(
        [lPost](const zqString &anInterface, CFStringRef aState) {
            lPost("AssociationStateChanged", anInterface, { { "state", FromCF(aState) } });
        });
    lController.mJammingState.connect(
        [lPost](const zqString &anInterface, bool aJammed) {
            lPost("JammingStateChanged", anInterface, { { "jammed", aJammed } });
        });
    lController.mPropertyChanged.connect(
        [lPost](const zqString &anInterface, const zqString &aKey, CFUSharedRef<const void *> aValue)
        {
            const std::string lKey = aKey.GetAsUTFArray();
            lPost("PropertyChanged", anInterface, { { "properties", { { lKey, FromCF(aValue.Get(), lKey) } } } });
        });

    return PrintEvents(aSession, [](const Json &anEvent) { return anEvent.contains("interface"); });
}

} // namespace zqnetctl
