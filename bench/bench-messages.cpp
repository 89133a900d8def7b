#include "zq-bench.h"

#include <cstdlib>
#include <initializer_list>
#include <utility>

namespace zq::Bench
{

namespace
{

/** Appends to a message or to one of its containers. */
class Writer
{
public:
    explicit Writer(DBusMessageIter *anIterator) : mIterator(anIterator) {}

    template <typename F>
    void In(int aType, const char *aSignature, F aFill)
    {
        DBusMessageIter lInner;

        Require(dbus_message_iter_open_container(mIterator, aType, aSignature, &lInner));
        aFill(Writer(&lInner));
        Require(dbus_message_iter_close_container(mIterator, &lInner));
    }

    void Basic(int aType, const void *aValue) { Require(dbus_message_iter_append_basic(mIterator, aType, aValue)); }
    void Text(const char *aText, int aType = DBUS_TYPE_STRING) { Basic(aType, &aText); }

    template <typename F>
    void Entry(const char *aName, const char *aSignature, F aFill)
    {
        In(DBUS_TYPE_DICT_ENTRY, nullptr,
           [&](Writer anEntry)
           {
               anEntry.Text(aName);
               anEntry.In(DBUS_TYPE_VARIANT, aSignature, aFill);
           });
    }

    void Entry(const char *aName, const char *aText)
    {
        Entry(aName, "s", [&](Writer aVariant) { aVariant.Text(aText); });
    }

    void Entry(const char *aName, bool aFlag)
    {
        const dbus_bool_t lFlag = aFlag ? TRUE : FALSE;

        Entry(aName, "b", [&](Writer aVariant) { aVariant.Basic(DBUS_TYPE_BOOLEAN, &lFlag); });
    }

    void List(const char *aName, std::initializer_list<const char *> aTexts)
    {
        const auto lFill = [&](Writer anArray)
        {
            for (const char *lText : aTexts)
                anArray.Text(lText);
        };

        Entry(aName, "as", [&](Writer aVariant) { aVariant.In(DBUS_TYPE_ARRAY, "s", lFill); });
    }

    void Dictionary(const char *aName, std::initializer_list<std::pair<const char *, const char *>> anEntries)
    {
        const auto lFill = [&](Writer anArray)
        {
            for (const auto &lEntry : anEntries)
                anArray.Entry(lEntry.first, lEntry.second);
        };

        Entry(aName, "a{sv}", [&](Writer aVariant) { aVariant.In(DBUS_TYPE_ARRAY, "{sv}", lFill); });
    }

private:
    DBusMessageIter *mIterator;
};

void AppendService(Writer aProperties, int anIndex, const char *aState)
{
    const std::string   lName     = "Network " + std::to_string(anIndex);
    const unsigned char lStrength = static_cast<unsigned char>(anIndex % 100);

    aProperties.Entry("Type", "wifi");
    aProperties.List("Security", { "psk" });
    aProperties.Entry("State", aState);
    aProperties.Entry("Strength", "y", [&](Writer aVariant) { aVariant.Basic(DBUS_TYPE_BYTE, &lStrength); });
    aProperties.Entry("Favorite", false);
    aProperties.Entry("Immutable", false);
    aProperties.Entry("AutoConnect", false);
    aProperties.Entry("Name", lName.c_str());
    aProperties.Dictionary("Ethernet",
                           { { "Method", "auto" }, { "Interface", "wlan0" }, { "Address", "02:00:00:00:00:01" } });
    aProperties.Dictionary("IPv4", {});
    aProperties.Dictionary("IPv4.Configuration", { { "Method", "dhcp" } });
    aProperties.Dictionary("IPv6", {});
    aProperties.Dictionary("IPv6.Configuration", { { "Method", "auto" }, { "Privacy", "disabled" } });
    for (const char *lList : { "Nameservers", "Nameservers.Configuration", "Timeservers", "Timeservers.Configuration",
                               "Domains", "Domains.Configuration" })
        aProperties.List(lList, {});
    aProperties.Dictionary("Proxy", { { "Method", "direct" } });
    aProperties.Dictionary("Proxy.Configuration", {});
    aProperties.Entry("mDNS", false);
    aProperties.Entry("mDNS.Configuration", false);
    aProperties.Dictionary("Provider", {});
}

template <typename F>
void AppendObjects(DBusMessage *aMessage, int aCount, F aFill)
{
    DBusMessageIter lIterator;

    dbus_message_iter_init_append(aMessage, &lIterator);
    Writer(&lIterator)
        .In(DBUS_TYPE_ARRAY, "(oa{sv})",
            [&](Writer aSet)
            {
                for (int lIndex = 0; lIndex < aCount; ++lIndex)
                    aSet.In(DBUS_TYPE_STRUCT, nullptr,
                            [&](Writer anObject)
                            {
                                anObject.Text(ServicePath(lIndex).c_str(), DBUS_TYPE_OBJECT_PATH);
                                anObject.In(DBUS_TYPE_ARRAY, "{sv}",
                                            [&](Writer aProperties) { aFill(aProperties, lIndex); });
                            });
            });
}

void Walk(DBusMessageIter &anIterator)
{
    int lType = DBUS_TYPE_INVALID;

    while ((lType = dbus_message_iter_get_arg_type(&anIterator)) != DBUS_TYPE_INVALID)
    {
        if (dbus_type_is_container(lType))
        {
            DBusMessageIter lInner;

            dbus_message_iter_recurse(&anIterator, &lInner);
            Walk(lInner);
        }
        else
        {
            DBusBasicValue lValue;

            dbus_message_iter_get_basic(&anIterator, &lValue);
        }
        (void)dbus_message_iter_next(&anIterator);
    }
}

} // namespace

void Require(bool aCondition)
{
    if (!aCondition)
        std::abort();
}

std::string ServicePath(int anIndex)
{
    return "/net/connman/service/wifi_020000000001_" + std::to_string(100000 + anIndex) + "_managed_psk";
}

void AppendProperties(DBusMessage *aMessage, int anIndex, const char *aState)
{
    DBusMessageIter lIterator;

    dbus_message_iter_init_append(aMessage, &lIterator);
    Writer(&lIterator)
        .In(DBUS_TYPE_ARRAY, "{sv}", [=](Writer aProperties) { AppendService(aProperties, anIndex, aState); });
}

void AppendServices(DBusMessage *aMessage, int aCount)
{
    AppendObjects(aMessage, aCount,
                  [](Writer aProperties, int anIndex) { AppendService(aProperties, anIndex, "idle"); });
}

void AppendChanges(DBusMessage *aMessage, int aCount, int aChangedCount, const char *aState)
{
    DBusMessageIter lIterator;

    AppendObjects(aMessage, aCount,
                  [=](Writer aProperties, int anIndex)
                  {
                      if (anIndex < aChangedCount)
                          aProperties.Entry("State", aState);
                  });
    dbus_message_iter_init_append(aMessage, &lIterator);
    Writer(&lIterator).In(DBUS_TYPE_ARRAY, "o", [](Writer) {});
}

Message Received(Message aMessage)
{
    char *lBytes  = nullptr;
    int   lLength = 0;

    dbus_message_set_serial(aMessage.get(), 1);
    Require(dbus_message_marshal(aMessage.get(), &lBytes, &lLength));

    Message lReceived(dbus_message_demarshal(lBytes, lLength, nullptr));

    dbus_free(lBytes);
    Require(lReceived != nullptr);
    return lReceived;
}

void Walk(DBusMessage *aMessage)
{
    DBusMessageIter lIterator;

    if (dbus_message_iter_init(aMessage, &lIterator))
        Walk(lIterator);
}

} // namespace zq::Bench
