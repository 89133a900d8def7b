#include "model.h"

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

/** A service whose protected operations a test may call. */
class OpenService : public Service
{
public:
    using Service::InitAddresses;
    using Service::InitConfigurations;
};

int IntegerOf(const Value &aValue)
{
    int lInteger = -9999;

    if (CFUIsTypeID(aValue.Get(), CFNumberGetTypeID()))
        (void)CFNumberGetValue(static_cast<CFNumberRef>(aValue.Get()), kCFNumberIntType, &lInteger);

    return lInteger;
}

CFUSharedRef<CFDictionaryRef> Without(const Dictionary &aProperties, CFStringRef aKey)
{
    CFDictionaryRemoveValue(aProperties.Get(), aKey);
    return aProperties;
}

} // namespace

TEST(AService, NeedsEachOfItsRequiredProperties)
{
    const struct
    {
        CFStringRef mKey;
        const char *mAssertion;
    } kRequired[] = {
        { kServicePropertyIPv4, "theConfiguration" },
        { kServicePropertyIPv6, "theConfiguration" },
        { kServicePropertyIPv4Configuration, "theConfiguration" },
        { kServicePropertyIPv6Configuration, "theConfiguration" },
        { kServicePropertyAutoConnect, "isAutoConnect != __null" },
        { kServicePropertyDomains, "theDomains != __null" },
        { kServicePropertyEthernet, "theEthernet != __null" },
        { kServicePropertyFavorite, "isFavorite != __null" },
        { kServicePropertyImmutable, "isImmutable != __null" },
        { kServicePropertyNameservers, "theNameservers != __null" },
        { kServicePropertySecurity, "theSecurity != __null" },
        { kServicePropertyState, "theState != __null" },
        { kServicePropertyType, "theType != __null" },
    };

    for (const auto &lRow : kRequired)
    {
        // Absent, or of a kind that nobody expects there.
        for (const bool lAbsent : { true, false })
        {
            LogCapture           lLog;
            zqSharedPtr<Service> lService(new Service);
            const auto           lProperties = ServiceProperties();

            if (lAbsent)
                CFDictionaryRemoveValue(lProperties.Get(), lRow.mKey);
            else
                CFDictionarySetValue(lProperties.Get(), lRow.mKey, Number(1).Get());

            EXPECT_EQ(lService->Init(Str("/a"), lProperties), -4) << Text(lRow.mKey);
            EXPECT_TRUE(Asserted(lLog, lRow.mAssertion, "zqnetworkmanager-service")) << Text(lRow.mKey);
            EXPECT_EQ(lService->Refresh(ServiceProperties()), -3);
            EXPECT_TRUE(lService->GetState() == nullptr);
        }
    }
}

TEST(AService, CachesEveryProperty)
{
    const auto lProperties = ServiceProperties("home", "ready", "wifi");
    CFDictionarySetValue(lProperties.Get(), kServicePropertyError, Str("dhcp-failed").Get());
    CFDictionarySetValue(lProperties.Get(), kServicePropertyPassphrase, Str("secret").Get());
    CFDictionarySetValue(lProperties.Get(), kServicePropertyRoaming, Bool(true).Get());
    CFDictionarySetValue(lProperties.Get(), kServicePropertyAge, Bool(true).Get());
    CFDictionarySetValue(lProperties.Get(), kServicePropertyNameservers, Strings({ "9.9.9.9" }).Get());
    CFDictionarySetValue(lProperties.Get(), kServicePropertyDomains, Strings({ "a", "b" }).Get());

    const auto lService = Make<Service>("/a", lProperties);
    ASSERT_TRUE(lService != nullptr);

    EXPECT_EQ(Text(lService->GetName().Get()), "home");
    EXPECT_EQ(Text(lService->GetState().Get()), "ready");
    EXPECT_EQ(Text(lService->GetType().Get()), "wifi");
    EXPECT_EQ(Text(lService->GetError().Get()), "dhcp-failed");
    EXPECT_EQ(Text(lService->GetPassphrase().Get()), "secret");
    EXPECT_EQ(lService->IsAutoConnect().Get(), kCFBooleanFalse);
    EXPECT_EQ(lService->IsFavorite().Get(), kCFBooleanTrue);
    EXPECT_EQ(lService->IsImmutable().Get(), kCFBooleanFalse);
    EXPECT_EQ(lService->IsRoaming().Get(), kCFBooleanTrue);
    EXPECT_EQ(lService->IsAged().Get(), kCFBooleanTrue);
    EXPECT_EQ(CFArrayGetCount(lService->GetNameservers().Get()), 1);
    EXPECT_EQ(CFArrayGetCount(lService->GetDomains().Get()), 2);
    EXPECT_EQ(CFArrayGetCount(lService->GetSecurity().Get()), 1);
    EXPECT_EQ(CFDictionaryGetCount(lService->GetEthernet().Get()), 1);
    EXPECT_EQ(IntegerOf(lService->GetStrength()), 70);
    EXPECT_EQ(IntegerOf(lService->GetRawStrength()), -50);
    EXPECT_EQ(lService->IsState(Str("ready")).Get(), kCFBooleanTrue);
    EXPECT_EQ(lService->IsState(Str("Ready")).Get(), kCFBooleanFalse);
    EXPECT_EQ(lService->IsState(nullptr).Get(), kCFBooleanFalse);
    EXPECT_EQ(lService->IsType(Str("wifi")).Get(), kCFBooleanTrue);
    EXPECT_EQ(lService->IsType(Str("ethernet")).Get(), kCFBooleanFalse);
}

TEST(AService, WithoutAStrengthHasABooleanInItsPlace)
{
    for (const Value &lStrength : { Value(), Value(Str("strong")) })
    {
        const auto lProperties = ServiceProperties();
        CFDictionaryRemoveValue(lProperties.Get(), kServicePropertyStrength);
        if (lStrength != nullptr)
            CFDictionarySetValue(lProperties.Get(), kServicePropertyStrength, lStrength.Get());

        const auto lService = Make<Service>("/a", lProperties);

        EXPECT_EQ(lService->GetStrength().Get(), kCFBooleanFalse);
        EXPECT_EQ(lService->GetRawStrength().Get(), kCFBooleanFalse);

        EXPECT_EQ(lService->Refresh(Dict({ { kServicePropertyStrength, Number(0) } })), 0);
        EXPECT_EQ(IntegerOf(lService->GetRawStrength()), -120);
    }
}

TEST(AService, KeepsItsStrengthThroughARefreshThatLacksIt)
{
    const auto lService = Make<Service>("/a", ServiceProperties());

    EXPECT_EQ(lService->Refresh(Without(ServiceProperties("work"), kServicePropertyStrength)), 0);
    EXPECT_EQ(IntegerOf(lService->GetStrength()), 70);
    EXPECT_EQ(Text(lService->GetName().Get()), "work");
}

TEST(AService, KeepsItsCachedValuesWhenARefreshFailsHalfWay)
{
    LogCapture lLog;
    const auto lService = Make<Service>("/a", ServiceProperties());
    const auto lBad     = Dict({ { kServicePropertyIPv4, Dict({ { kIPPropertyAddress, Str("10.0.0.1") } }) },
                                 { kServicePropertyName, Str("work") },
                                 { kServicePropertyStrength, Number(10) },
                                 { kServicePropertyType, Number(7) } });

    EXPECT_EQ(lService->Refresh(lBad), -4);
    EXPECT_TRUE(Asserted(lLog, "theType != __null", "zqnetworkmanager-service"));
    EXPECT_TRUE(Asserted(lLog, "retval == 0", "zqnetworkmanager-service"));

    // The last check failed: the addresses were stored before it, nothing else was replaced.
    EXPECT_EQ(CFDictionaryGetCount(lService->GetAddresses(CFURetain(kServicePropertyIPv4)).Get()), 1);
    EXPECT_EQ(Text(lService->GetName().Get()), "home");
    EXPECT_EQ(IntegerOf(lService->GetStrength()), 70);
    EXPECT_EQ(IntegerOf(lService->GetRawStrength()), -50);
    EXPECT_EQ(Text(lService->GetType().Get()), "wifi");
    EXPECT_EQ(Text(lService->GetProperty(CFURetain(kServicePropertyName)).Get()), "work");

    // The lock is free and the service still initialised.
    EXPECT_EQ(lService->Refresh(Dict({ { kServicePropertyType, Str("ethernet") } })), 0);
    EXPECT_EQ(Text(lService->GetName().Get()), "work");
    EXPECT_EQ(lService->Refresh(nullptr), -5);
}

TEST(AService, IsSecuredUnlessItHasTheNoneKind)
{
    const struct
    {
        std::vector<std::string> mKinds;
        bool                     mSecured;
    } kCases[] = {
        { {}, true }, { { "none" }, false }, { { "psk" }, true }, { { "None" }, true }, { { "none", "wps" }, false },
    };

    for (const auto &lCase : kCases)
    {
        const auto lProperties = ServiceProperties();
        CFDictionarySetValue(lProperties.Get(), kServicePropertySecurity, Strings(lCase.mKinds).Get());

        EXPECT_EQ(Make<Service>("/a", lProperties)->IsSecured(), lCase.mSecured)
            << testing::PrintToString(lCase.mKinds);
    }

    LogCapture lLog;
    const auto lService = Make<Service>("/a", ServiceProperties());
    EXPECT_TRUE(lService->HasSecurity(CFURetain(kServiceSecurityPSK)));
    EXPECT_FALSE(lService->HasSecurity(CFURetain(kServiceSecurityWEP)));
    EXPECT_FALSE(lService->HasSecurity(nullptr));
    EXPECT_TRUE(Asserted(lLog, "aSecurity != __null", "zqnetworkmanager-service"));
}

TEST(AService, IsConnectedWhenReadyOrOnline)
{
    for (const char *lState :
         { "idle", "association", "configuration", "ready", "online", "disconnect", "failure", "Ready", "" })
    {
        const auto        lService = Make<Service>("/a", ServiceProperties("home", lState));
        const std::string lText    = lState;

        EXPECT_EQ(lService->IsConnected(), lText == "ready" || lText == "online") << lState;
        EXPECT_EQ(lService->IsOnline(), lText == "online") << lState;
    }
}

TEST(AService, KeepsAddressesAndConfigurationsApartAndByFamily)
{
    LogCapture lLog;
    const auto lService       = Make<Service>("/a", ServiceProperties());
    const auto lConfiguration = lService->GetConfiguration(CFURetain(kServicePropertyIPv4Configuration));

    EXPECT_EQ(Text(CFDictionaryGetValue(lConfiguration.Get(), kIPPropertyMethod)), "dhcp");
    EXPECT_EQ(lService->GetConfiguration(CFURetain(kServicePropertyIPv4)).Get(), lConfiguration.Get());
    EXPECT_EQ(Text(CFDictionaryGetValue(lService->GetConfiguration(Str("IPv6")).Get(), kIPPropertyMethod)), "auto");
    EXPECT_TRUE(lService->GetConfiguration(Str("Proxy")) == nullptr);
    EXPECT_EQ(CFDictionaryGetCount(lService->GetAddresses(CFURetain(kServicePropertyIPv4)).Get()), 0);
    EXPECT_TRUE(lService->GetAddresses(CFURetain(kServicePropertyIPv4Configuration)) == nullptr);

    EXPECT_TRUE(lService->GetAddresses(nullptr) == nullptr);
    EXPECT_TRUE(lService->GetConfiguration(nullptr) == nullptr);
    EXPECT_EQ(lLog.Count("aFamily != __null", 4), 2u);
}

TEST(AService, StoresAFamilyInPlaceOfTheEarlierOne)
{
    LogCapture               lLog;
    zqSharedPtr<OpenService> lService(new OpenService);

    EXPECT_EQ(lService->InitAddresses(nullptr, Dict()), -5);
    EXPECT_TRUE(Asserted(lLog, "aFamily != __null", "zqnetworkmanager-service"));
    EXPECT_EQ(lService->InitConfigurations(Str("IPv4.Configuration"), nullptr), -5);
    EXPECT_TRUE(Asserted(lLog, "aConfiguration != __null", "zqnetworkmanager-service"));

    const auto lSecond = Dict();
    EXPECT_EQ(lService->InitAddresses(Str("IPv4"), Dict()), 0);
    EXPECT_EQ(lService->InitAddresses(Str("IPv4"), lSecond), 0);
    EXPECT_EQ(lService->GetAddresses(Str("IPv4")).Get(), lSecond.Get());
}

TEST(ATechnology, NeedsAllFivePropertiesAndIsNeverHalfUpdated)
{
    const struct
    {
        CFStringRef mKey;
        const char *mAssertion;
    } kRequired[] = {
        { kTechnologyPropertyName, "theName != __null" },
        { kTechnologyPropertyConnected, "isConnected != __null" },
        { kTechnologyPropertyPowered, "isPowered != __null" },
        { kTechnologyPropertyTethering, "isTethering != __null" },
        { kTechnologyPropertyType, "theType != __null" },
    };

    for (const auto &lRow : kRequired)
    {
        LogCapture              lLog;
        zqSharedPtr<Technology> lTechnology(new Technology);

        EXPECT_EQ(lTechnology->Init(Str("/t"), Without(TechnologyProperties(), lRow.mKey)), -4) << lRow.mAssertion;
        EXPECT_TRUE(Asserted(lLog, lRow.mAssertion, "zqnetworkmanager-technology"));
        EXPECT_TRUE(Asserted(lLog, "retval == 0", "zqnetworkmanager-technology"));
        EXPECT_EQ(lTechnology->Refresh(TechnologyProperties()), -3);
        EXPECT_TRUE(Asserted(lLog, "mInitialized", "zqnetworkmanager-technology"));

        // A refresh in which the value is unusable and all others are new
        lTechnology     = Make<Technology>("/t", TechnologyProperties());
        const auto lNew = Dict({ { kTechnologyPropertyName, Str("x") },
                                 { kTechnologyPropertyConnected, Bool(true) },
                                 { kTechnologyPropertyPowered, Bool(false) },
                                 { kTechnologyPropertyTethering, Bool(true) },
                                 { kTechnologyPropertyType, Str("x") } });
        CFDictionarySetValue(lNew.Get(), lRow.mKey, Number(1).Get());

        EXPECT_EQ(lTechnology->Refresh(lNew), -4);
        EXPECT_EQ(Text(lTechnology->GetName().Get()), "wifi");
        EXPECT_EQ(lTechnology->IsConnected().Get(), kCFBooleanFalse);
        EXPECT_EQ(lTechnology->IsPowered().Get(), kCFBooleanTrue);
        EXPECT_EQ(lTechnology->IsTethering().Get(), kCFBooleanFalse);
        EXPECT_EQ(lTechnology->IsType(Str("wifi")).Get(), kCFBooleanTrue);
    }
}

TEST(ATechnology, FollowsARefreshAndRefusesASecondInit)
{
    LogCapture lLog;
    const auto lTechnology = Make<Technology>("/t", TechnologyProperties());

    EXPECT_EQ(lTechnology->Refresh(Dict({ { kTechnologyPropertyConnected, Bool(true) } })), 0);
    EXPECT_EQ(lTechnology->IsConnected().Get(), kCFBooleanTrue);
    EXPECT_EQ(lTechnology->Init(Str("/u"), TechnologyProperties()), -3);
    EXPECT_TRUE(Asserted(lLog, "!mInitialized", "zqnetworkmanager-technology"));
    EXPECT_EQ(lTechnology->IsType(nullptr).Get(), kCFBooleanFalse);

    zqSharedPtr<Technology> lCopy(new Technology);
    EXPECT_EQ(lCopy->Init(*lTechnology), 0);
    EXPECT_EQ(lCopy->IsConnected().Get(), kCFBooleanTrue);
}

TEST(AProvision, NeedsOnlyItsType)
{
    LogCapture             lLog;
    const auto             lProvision = Make<Provision>("id", Dict({ { kServicePropertyType, Str("wifi") } }));
    zqSharedPtr<Provision> lTypeless(new Provision);

    ASSERT_TRUE(lProvision != nullptr);
    EXPECT_EQ(Text(lProvision->GetType().Get()), "wifi");
    EXPECT_TRUE(lProvision->GetName() == nullptr);
    EXPECT_TRUE(lProvision->GetExtendedPANID() == nullptr);

    EXPECT_EQ(lTypeless->Init(Str("id"), Dict({ { kServicePropertyName, Str("home") } })), -4);
    EXPECT_TRUE(Asserted(lLog, "theType != __null", "zqnetworkmanager-provision"));
}

TEST(AProvision, CachesEachPropertyUnderItsOwnName)
{
    const struct
    {
        CFStringRef mKey;
        String (Provision::*mGet)() const;
    } kProperties[] = {
        { kServicePropertyType, &Provision::GetType },
        { kServicePropertyName, &Provision::GetName },
        { kServicePropertySSID, &Provision::GetSSID },
        { kServicePropertyEAP, &Provision::GetEAP },
        { kServicePropertyCACertFile, &Provision::GetCACertFile },
        { kServicePropertyClientCertFile, &Provision::GetClientCertFile },
        { kServicePropertyPrivateKeyFile, &Provision::GetPrivateKeyFile },
        { kServicePropertyPrivateKeyPassphrase, &Provision::GetPrivateKeyPassphrase },
        { kServicePropertyPrivateKeyPassphraseType, &Provision::GetPrivateKeyPassphraseType },
        { kServicePropertyIdentity, &Provision::GetIdentity },
        { kServicePropertyPhase2, &Provision::GetPhase2 },
        { kServicePropertyPassphrase, &Provision::GetPassphrase },
        { kServicePropertySecurity, &Provision::GetSecurity },
        { kServicePropertyHidden, &Provision::GetHidden },
        { kServicePropertyExtendedPANID, &Provision::GetExtendedPANID },
    };
    const auto lProperties = Dict();

    // Each value is its key's own text.
    for (const auto &lRow : kProperties)
        CFDictionarySetValue(lProperties.Get(), lRow.mKey, lRow.mKey);

    const auto lProvision = Make<Provision>("id", lProperties);

    for (const auto &lRow : kProperties)
        EXPECT_EQ(Text((lProvision.Get()->*lRow.mGet)().Get()), Text(lRow.mKey));
}

TEST(AProvision, ClearsWhatARefreshFindsGone)
{
    const auto lProvision = Make<Provision>("id", ProvisionProperties(nullptr, "secret"));

    EXPECT_EQ(lProvision->ClearProperty(CFURetain(kServicePropertyPassphrase)), 0);
    EXPECT_EQ(Text(lProvision->GetPassphrase().Get()), "secret");
    EXPECT_EQ(lProvision->Refresh(Dict()), 0);
    EXPECT_TRUE(lProvision->GetPassphrase() == nullptr);
}

TEST(AProvision, NamesItsPropertiesAndItsIdentifierLast)
{
    LogCapture               lLog;
    CFUSharedRef<CFArrayRef> lNames = Paths({ "old" });

    Make<Provision>("id", ProvisionProperties(nullptr, "secret"))->GetPropertyNames(lNames);
    ASSERT_EQ(CFArrayGetCount(lNames.Get()), 4);
    EXPECT_EQ(Text(CFArrayGetValueAtIndex(lNames.Get(), 3)), "ProvisionIdentifier");

    zqSharedPtr<Provision>(new Provision)->GetPropertyNames(lNames);
    EXPECT_TRUE(lNames == nullptr);
    EXPECT_TRUE(Asserted(lLog, "theProperties != __null", "zqnetworkmanager-provision"));
}

TEST(AProvision, HasItsPathForItsIdentifier)
{
    const auto lProvision = Make<Provision>("id", ProvisionProperties("another"));
    Value      lValue     = Number(1);

    lProvision->GetPropertyValue(Str("ProvisionIdentifier"), lValue);
    EXPECT_EQ(Text(lValue.Get()), "id");
    lProvision->GetPropertyValue(Str("Name"), lValue);
    EXPECT_EQ(Text(lValue.Get()), "home");
    lProvision->GetPropertyValue(Str("EAP"), lValue);
    EXPECT_TRUE(lValue == nullptr);
}

TEST(AProvision, ForgetsOnlyTheCachedPassphrase)
{
    const auto lProvision = Make<Provision>("id", ProvisionProperties(nullptr, "secret"));
    Value      lValue;

    EXPECT_EQ(lProvision->ClearProvisionProperty(Str("SSID")), -17);
    EXPECT_EQ(lProvision->ClearProvisionProperty(nullptr), -17);
    EXPECT_EQ(lProvision->ClearProvisionProperty(Str("Passphrase")), 0);
    EXPECT_EQ(lProvision->ClearProvisionProperty(Str("Passphrase")), 0);

    EXPECT_TRUE(lProvision->GetPassphrase() == nullptr);
    lProvision->GetPropertyValue(Str("Passphrase"), lValue);
    EXPECT_EQ(Text(lValue.Get()), "secret");
    EXPECT_EQ(lProvision->Refresh(Dict()), 0);
    EXPECT_EQ(Text(lProvision->GetPassphrase().Get()), "secret");
}
