#include "model.h"

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

using namespace zq::Test;

namespace
{

const char *const kServiceFile   = "zqnetworkmanager-service";
const char *const kProvisionFile = "zqnetworkmanager-provision";

Dictionary With(const Dictionary &aProperties, const char *aKey, const Value &aValue)
{
    CFDictionarySetValue(aProperties.Get(), Str(aKey).Get(), aValue.Get());
    return aProperties;
}

zqSharedPtr<Service> ServiceWith(const char *aKey, const Value &aValue)
{
    return Make<Service>("/a", With(ServiceProperties(), aKey, aValue));
}

/** Without a property, or with one of another kind, there is no object and no refresh. */
template <typename T>
void ExpectRequired(const std::function<Dictionary()> &aMake, const std::string &aKey, const std::string &anAssertion,
                    const char *aFile)
{
    SCOPED_TRACE(aKey);
    LogCapture lLog;
    const auto lAbsent = aMake(), lWrong = With(aMake(), aKey.c_str(), Number(1));

    CFDictionaryRemoveValue(lAbsent.Get(), Str(aKey.c_str()).Get());
    for (const auto &lProperties : { lAbsent, lWrong })
    {
        zqSharedPtr<T> lObject(new T);

        EXPECT_EQ(lObject->Init(Str("/a"), lProperties), -4);
        EXPECT_EQ(lObject->Refresh(aMake()), -3);
        EXPECT_TRUE(lObject->GetType() == nullptr && lObject->GetPath() == nullptr);
        EXPECT_TRUE(lObject->CopyProperties() == nullptr);
        EXPECT_EQ(lObject->Init(Str("/b"), aMake()), 0);
        EXPECT_EQ(Text(lObject->GetPath().Get()), "/b");
    }
    EXPECT_EQ(lLog.Count("ASSERT: : " + anAssertion + ", file: " + aFile, 4), 2u) << lLog.GetText();
    EXPECT_EQ(Make<T>("/a", aMake())->Refresh(lWrong), -4);
}

std::vector<std::string> Words(const char *aText)
{
    std::istringstream lStream(aText);

    return { std::istream_iterator<std::string>(lStream), {} };
}

/** For each condition that the property of its name is there. */
template <typename T>
void ExpectRequired(const std::function<Dictionary()> &aMake, const char *aNames, const char *aFile)
{
    for (const std::string &lName : Words(aNames))
        ExpectRequired<T>(aMake, lName.substr(lName.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ")), lName + " != __null",
                          aFile);
}

/** What is cached of the properties that a text names. */
void ExpectCached(const Dictionary &aProperties, const char *aNames, const std::vector<Value> &aCached)
{
    const auto lNames = Words(aNames);

    ASSERT_EQ(lNames.size(), aCached.size());
    for (std::size_t i = 0; i < lNames.size(); i++)
        EXPECT_TRUE(CFEqual(aCached[i].Get(), CFDictionaryGetValue(aProperties.Get(), Str(lNames[i].c_str()).Get())))
            << lNames[i];
}

} // namespace

TEST(AKind, NeedsEachOfItsRequiredProperties)
{
    const auto lService = [] { return ServiceProperties(); };

    for (const char *lFamily : { "IPv4", "IPv6", "IPv4.Configuration", "IPv6.Configuration" })
        ExpectRequired<Service>(lService, lFamily, "theConfiguration", kServiceFile);
    ExpectRequired<Service>(lService,
                            "isAutoConnect theDomains theEthernet isFavorite isImmutable theNameservers theSecurity "
                            "theState theType",
                            kServiceFile);
    ExpectRequired<Technology>([] { return TechnologyProperties(); },
                               "theName isConnected isPowered isTethering theType", "zqnetworkmanager-technology");
    ExpectRequired<Provision>([] { return ProvisionProperties(nullptr); }, "theType", kProvisionFile);
}

TEST(AKind, CachesEachPropertyUnderItsOwnName)
{
    const auto lProperties = With(ServiceProperties("home", "ready"), "Nameservers", Strings({ "9.9.9.9" }));
    (void)With(With(lProperties, "Error", Str("dhcp-failed")), "Passphrase", Str("secret"));
    (void)With(With(lProperties, "Roaming", Bool(true)), "Age", Bool(true));

    const auto lService = Make<Service>("/a", lProperties);
    ExpectCached(lProperties,
                 "Name State Type Error Passphrase AutoConnect Favorite Immutable Roaming Age Nameservers Domains "
                 "Security Ethernet Strength",
                 { lService->GetName(), lService->GetState(), lService->GetType(), lService->GetError(),
                   lService->GetPassphrase(), lService->IsAutoConnect(), lService->IsFavorite(),
                   lService->IsImmutable(), lService->IsRoaming(), lService->IsAged(), lService->GetNameservers(),
                   lService->GetDomains(), lService->GetSecurity(), lService->GetEthernet(), lService->GetStrength() });

    // One property at a time, until something else than that has changed: it is told at the next refresh, whatever that
    // names.
    const auto lRefresh = [&](const char *aKey, const Value &aValue)
    { return lService->Refresh(With(Dict(), aKey, aValue)); };
    for (const auto &lChange : { std::make_pair("Strength", Number(7)), std::make_pair("State", Value(Str("idle"))) })
    {
        EXPECT_EQ(lRefresh(lChange.first, lChange.second), 0);
        (void)With(lProperties, lChange.first, lChange.second);
        ExpectCached(lProperties, "State Strength Name",
                     { lService->GetState(), lService->GetStrength(), lService->GetName() });
    }
    EXPECT_EQ(lService->ClearProperty(Str("Error")), 0);
    EXPECT_EQ(Text(lService->GetError().Get()), "dhcp-failed");
    EXPECT_EQ(lRefresh("Strength", Number(8)), 0);
    EXPECT_TRUE(lService->GetError() == nullptr);
    EXPECT_EQ(lRefresh("State", Number(1)), -4);
    EXPECT_EQ(lRefresh("Strength", Number(9)), -4);
    ExpectCached(lProperties, "State", { lService->GetState() });
    EXPECT_EQ(lRefresh("State", Str("ready")), 0);
    EXPECT_TRUE(CFEqual(lService->GetStrength().Get(), Number(9).Get()));

    // A technology changes wholly or not at all.
    const auto lTechnology = Make<Technology>("/t", TechnologyProperties());
    const auto lNew        = With(With(TechnologyProperties("x"), "Connected", Bool(true)), "Powered", Bool(false));
    for (const bool lGood : { false, true })
    {
        EXPECT_EQ(lTechnology->Refresh(With(lNew, "Type", lGood ? Value(Str("y")) : Number(1))), lGood ? 0 : -4);
        ExpectCached(lGood ? lNew : TechnologyProperties(), "Name Connected Powered Tethering Type",
                     { lTechnology->GetName(), lTechnology->IsConnected(), lTechnology->IsPowered(),
                       lTechnology->IsTethering(), lTechnology->GetType() });
        EXPECT_EQ(lTechnology->IsType(Str("y")).Get(), lGood ? kCFBooleanTrue : kCFBooleanFalse);
    }

    const char *const kNames  = "Type Name SSID EAP CACertFile ClientCertFile PrivateKeyFile PrivateKeyPassphrase "
                                "PrivateKeyPassphraseType Identity Phase2 Passphrase Security Hidden ExtendedPANID";
    const auto        lRecord = Dict(); // each value is its key's own text
    for (const std::string &lName : Words(kNames))
        (void)With(lRecord, lName.c_str(), Str(lName.c_str()));

    const auto lProvision = Make<Provision>("id", lRecord);
    ExpectCached(lRecord, kNames,
                 { lProvision->GetType(), lProvision->GetName(), lProvision->GetSSID(), lProvision->GetEAP(),
                   lProvision->GetCACertFile(), lProvision->GetClientCertFile(), lProvision->GetPrivateKeyFile(),
                   lProvision->GetPrivateKeyPassphrase(), lProvision->GetPrivateKeyPassphraseType(),
                   lProvision->GetIdentity(), lProvision->GetPhase2(), lProvision->GetPassphrase(),
                   lProvision->GetSecurity(), lProvision->GetHidden(), lProvision->GetExtendedPANID() });

    // What the file has as a number is a text, too.
    const auto lNumbered = Make<Provision>("id", With(ProvisionProperties(nullptr), "ExtendedPANID", Number(-1)));
    ASSERT_TRUE(lNumbered != nullptr);
    EXPECT_EQ(Text(lNumbered->GetExtendedPANID().Get()), "18446744073709551615");
}

TEST(AService, HasAStrengthAndItsRawFormOrABooleanInTheirPlace)
{
    const auto lService = Make<Service>("/a", ServiceProperties());
    const auto lLacking = ServiceProperties("work");

    CFDictionaryRemoveValue(lLacking.Get(), kServicePropertyStrength);
    EXPECT_TRUE(CFEqual(lService->GetRawStrength().Get(), Number(-50).Get()));
    EXPECT_EQ(lService->Refresh(lLacking), 0);
    EXPECT_TRUE(CFEqual(lService->GetStrength().Get(), Number(70).Get()));

    for (const auto &lNone : { Make<Service>("/a", lLacking), ServiceWith("Strength", Str("strong")) })
    {
        EXPECT_EQ(lNone->GetStrength().Get(), kCFBooleanFalse);
        EXPECT_EQ(lNone->GetRawStrength().Get(), kCFBooleanFalse);
        EXPECT_EQ(lNone->Refresh(Dict({ { kServicePropertyStrength, Number(0) } })), 0);
        EXPECT_TRUE(CFEqual(lNone->GetRawStrength().Get(), Number(-120).Get()));
    }
}

TEST(AService, KeepsItsCachedValuesWhenARefreshFailsHalfWay)
{
    const auto lService = Make<Service>("/a", ServiceProperties());

    EXPECT_EQ(lService->Refresh(Dict({ { kServicePropertyIPv4, Dict({ { kIPPropertyAddress, "10.0.0.1" } }) },
                                       { kServicePropertyName, "work" },
                                       { kServicePropertyStrength, Number(10) },
                                       { kServicePropertyType, Number(7) } })),
              -4);

    // The last check failed: the addresses were stored before it, nothing else was replaced.
    EXPECT_EQ(CFDictionaryGetCount(lService->GetAddresses(Str("IPv4")).Get()), 1);
    ExpectCached(ServiceProperties(), "Name Strength Type",
                 { lService->GetName(), lService->GetStrength(), lService->GetType() });
    EXPECT_TRUE(CFEqual(lService->GetRawStrength().Get(), Number(-50).Get()));

    // The lock is free and the service still initialised.
    EXPECT_EQ(lService->Refresh(Dict({ { kServicePropertyType, "ethernet" } })), 0);
    EXPECT_EQ(Text(lService->GetName().Get()), "work");
}

TEST(AService, IsSecuredAndConnectedByExactTexts)
{
    const std::map<std::vector<std::string>, bool> kSecured = {
        { {}, true }, { { "none" }, false }, { { "psk" }, true }, { { "None" }, true }, { { "none", "wps" }, false }
    };

    for (const auto &[lKinds, lSecured] : kSecured)
        EXPECT_EQ(ServiceWith("Security", Strings(lKinds))->IsSecured(), lSecured);
    for (const std::string lState : { "idle", "association", "ready", "online", "disconnect", "failure", "Ready", "" })
    {
        const auto lService = Make<Service>("/a", ServiceProperties("home", lState.c_str()));

        EXPECT_EQ(lService->IsConnected(), lState == "ready" || lState == "online") << lState;
        EXPECT_EQ(lService->IsOnline(), lState == "online") << lState;
        EXPECT_EQ(CFUIsTrue(lService->IsState(Str("ready"))), lState == "ready") << lState;
        EXPECT_EQ(lService->IsState(nullptr).Get(), kCFBooleanFalse);
    }
}

TEST(AService, KeepsAddressesAndConfigurationsApartAndByFamily)
{
    LogCapture lLog;
    const auto lService       = Make<Service>("/a", ServiceProperties());
    const auto lConfiguration = lService->GetConfiguration(Str("IPv4.Configuration"));

    EXPECT_EQ(Text(CFDictionaryGetValue(lConfiguration.Get(), kIPPropertyMethod)), "dhcp");
    EXPECT_EQ(lService->GetConfiguration(Str("IPv4")).Get(), lConfiguration.Get());
    EXPECT_EQ(Text(CFDictionaryGetValue(lService->GetConfiguration(Str("IPv6")).Get(), kIPPropertyMethod)), "auto");
    EXPECT_TRUE(lService->GetConfiguration(Str("Proxy")) == nullptr);
    EXPECT_EQ(CFDictionaryGetCount(lService->GetAddresses(Str("IPv4")).Get()), 0);
    EXPECT_TRUE(lService->GetAddresses(Str("IPv4.Configuration")) == nullptr);
    EXPECT_TRUE(lService->GetAddresses(nullptr) == nullptr);
    EXPECT_TRUE(lService->GetConfiguration(nullptr) == nullptr);
    EXPECT_EQ(lLog.Count("aFamily != __null", 4), 2u);
}

TEST(AProvision, TellsItsPathForItsIdentifierWhichItNamesLast)
{
    const auto               lProvision = Make<Provision>("id", ProvisionProperties("another"));
    CFUSharedRef<CFArrayRef> lNames     = Strings({ "old" });

    for (const auto &[lName, lText] :
         std::map<const char *, const char *>{ { "ProvisionIdentifier", "id" }, { "Name", "home" }, { "EAP", "null" } })
    {
        Value lValue = Number(1);
        lProvision->GetPropertyValue(Str(lName), lValue);
        EXPECT_EQ(Text(lValue.Get()), lText) << lName;
    }

    Make<Provision>("id", ProvisionProperties(nullptr, "secret"))->GetPropertyNames(lNames);
    ASSERT_EQ(CFArrayGetCount(lNames.Get()), 4);
    EXPECT_EQ(Text(CFArrayGetValueAtIndex(lNames.Get(), 3)), "ProvisionIdentifier");
}

TEST(AProvision, ForgetsTheCachedPassphraseAtOnceAndAnyPropertyThatARefreshFindsGone)
{
    const auto lProvision = Make<Provision>("id", ProvisionProperties(nullptr, "secret"));

    EXPECT_EQ(lProvision->ClearProvisionProperty(Str("SSID")), -17);
    EXPECT_EQ(lProvision->ClearProvisionProperty(nullptr), -17);
    EXPECT_EQ(lProvision->ClearProvisionProperty(Str("Passphrase")), 0);
    EXPECT_TRUE(lProvision->GetPassphrase() == nullptr);
    EXPECT_EQ(lProvision->Refresh(Dict()), 0);
    EXPECT_EQ(Text(lProvision->GetPassphrase().Get()), "secret");

    EXPECT_EQ(lProvision->ClearProperty(Str("Passphrase")), 0);
    EXPECT_EQ(Text(lProvision->GetPassphrase().Get()), "secret");
    EXPECT_EQ(lProvision->Refresh(Dict()), 0);
    EXPECT_TRUE(lProvision->GetPassphrase() == nullptr);
}

TEST(AKind, LogsWhatItRefuses)
{
    struct OpenService : Service
    {
        using Service::InitConfigurations;
    };

    LogCapture               lLog;
    CFUSharedRef<CFArrayRef> lNames      = Strings({ "old" });
    const auto               lService    = Make<OpenService>("/a", ServiceProperties());
    const auto               lTechnology = Make<Technology>("/t", TechnologyProperties());

    EXPECT_TRUE(lService->HasSecurity(Str("psk")) && !lService->HasSecurity(nullptr));
    EXPECT_EQ(lService->InitConfigurations(Str("IPv4.Configuration"), nullptr), -5);
    EXPECT_EQ(lService->InitConfigurations(nullptr, Dict()), -5);
    EXPECT_EQ(lService->Refresh(nullptr), -5);
    EXPECT_EQ(lTechnology->Refresh(nullptr), -5);
    EXPECT_EQ(lTechnology->Init(Str("/u"), TechnologyProperties()), -3);
    EXPECT_EQ(zqSharedPtr<Technology>(new Technology)->Refresh(TechnologyProperties()), -3);
    zqSharedPtr<Provision>(new Provision)->GetPropertyNames(lNames);
    EXPECT_TRUE(lNames == nullptr);
    for (const char *lText : { "aSecurity != __null", "aConfiguration != __null", "retval == 0" })
        EXPECT_TRUE(Asserted(lLog, lText, kServiceFile)) << lText;
    for (const char *lText : { "!mInitialized", "mInitialized", "retval == 0" })
        EXPECT_TRUE(Asserted(lLog, lText, "zqnetworkmanager-technology")) << lText;
    EXPECT_TRUE(Asserted(lLog, "theProperties != __null", kProvisionFile));
}
