#include "zq-bench.h"

#include <cstdlib>
#include <initializer_list>
#include <utility>

namespace zq::Bench
{

namespace
{

/** Appends what a daemon of today says about a Wi-Fi service. */
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
    void Text(const char *aText) { Basic(DBUS_TYPE_STRING, &aText); }
    void Path(const std::string &aPath)
    {
        const char *const lPath = aPath.c_str();

        Basic(DBUS_TYPE_OBJECT_PATH, &lPath);
    }

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
        Entry(aName, "as",
              [&](Writer aVariant)
              {
                  aVariant.In(DBUS_TYPE_ARRAY, "s",
                              [&](Writer anArray)
                              {
                                  for (const char *lText : aTexts)
                                      anArray.Text(lText);
                              });
              });
    }

    void Dictionary(const char *aName, std::initializer_list<std::pair<const char *, const char *>> anEntries)
    {
        Entry(aName, "a{sv}",
              [&](Writer aVariant)
              {
                  aVariant.In(DBUS_TYPE_ARRAY, "{sv}",
                              [&](Writer anArray)
                              {
                                  for (const auto &lEntry : anEntries)
                                      anArray.Entry(lEntry.first, lEntry.second);
                              });
              });
    }

    static void Require(dbus_bool_t aResult)
    {
        if (!aResult)
            std::abort();
    }

private:
    DBusMessageIter *mIterator;
};

void AppendService(Writer aProperties, int anIndex)
{
    const std::string   lName     = "Network " + std::to_string(anIndex);
    const unsigned char lStrength = static_cast<unsigned char>(anIndex % 100);

    aProperties.Entry("Type", "wifi");
    aProperties.List("Security", { "psk" });
    aProperties.Entry("State", "idle");
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
    aProperties.List("Nameservers", {});
    aProperties.List("Nameservers.Configuration", {});
    aProperties.List("Timeservers", {});
    aProperties.List("Timeservers.Configuration", {});
    aProperties.List("Domains", {});
    aProperties.List("Domains.Configuration", {});
    aProperties.Dictionary("Proxy", { { "Method", "direct" } });
    aProperties.Dictionary("Proxy.Configuration", {});
    aProperties.Entry("mDNS", false);
    aProperties.Entry("mDNS.Configuration", false);
    aProperties.Dictionary("Provider", {});
}

template <typename F>
void AppendObjects(Writer anArguments, int aCount, F anAppendProperties)
{
    anArguments.In(DBUS_TYPE_ARRAY, "(oa{sv})",
                   [&](Writer aSet)
                   {
                       for (int lIndex = 0; lIndex < aCount; ++lIndex)
                           aSet.In(DBUS_TYPE_STRUCT, nullptr,
                                   [&](Writer anObject)
                                   {
                                       anObject.Path(ServicePath(lIndex));
                                       anObject.In(DBUS_TYPE_ARRAY, "{sv}",
                                                   [&](Writer aProperties)
                                                   { anAppendProperties(aProperties, lIndex); });
                                   });
                   });
}

/** As it comes from the bus: in one piece. */
Message Received(Message aMessage)
{
    char *lBytes  = nullptr;
    int   lLength = 0;

    dbus_message_set_serial(aMessage.get(), 1);
    Writer::Require(dbus_message_marshal(aMessage.get(), &lBytes, &lLength));

    Message lReceived(dbus_message_demarshal(lBytes, lLength, nullptr));

    dbus_free(lBytes);
    Writer::Require(lReceived != nullptr);
    return lReceived;
}

template <typename F>
Message MakeSignal(int aCount, F anAppendProperties)
{
    Message         lMessage(dbus_message_new_signal("/", "net.connman.Manager", "ServicesChanged"));
    DBusMessageIter lIterator;

    dbus_message_iter_init_append(lMessage.get(), &lIterator);
    AppendObjects(Writer(&lIterator), aCount, anAppendProperties);
    Writer(&lIterator).In(DBUS_TYPE_ARRAY, "o", [](Writer) {});

    return Received(std::move(lMessage));
}

} // namespace

std::string ServicePath(int anIndex)
{
    return "/net/connman/service/wifi_020000000001_" + std::to_string(100000 + anIndex) + "_managed_psk";
}

Message MakeServices(int aCount)
{
    Message         lMessage(dbus_message_new(DBUS_MESSAGE_TYPE_METHOD_RETURN));
    DBusMessageIter lIterator;

    Writer::Require(dbus_message_set_reply_serial(lMessage.get(), 1));
    dbus_message_iter_init_append(lMessage.get(), &lIterator);
    AppendObjects(Writer(&lIterator), aCount, AppendService);

    return Received(std::move(lMessage));
}

Message MakeServicesChanged(int aCount, int aChangedCount)
{
    return MakeSignal(aCount,
                      [aChangedCount](Writer aProperties, int anIndex)
                      {
                          if (anIndex < aChangedCount)
                              aProperties.Entry("State", "ready");
                      });
}

Message MakeServicesAdded(int aCount)
{
    return MakeSignal(aCount, AppendService);
}

void WalkRaw(DBusMessageIter &anIterator)
{
    int lType = DBUS_TYPE_INVALID;

    while ((lType = dbus_message_iter_get_arg_type(&anIterator)) != DBUS_TYPE_INVALID)
    {
        if (dbus_type_is_container(lType))
        {
            DBusMessageIter lInner;

            dbus_message_iter_recurse(&anIterator, &lInner);
            WalkRaw(lInner);
        }
        else
        {
            DBusBasicValue lValue;

            dbus_message_iter_get_basic(&anIterator, &lValue);
            benchmark::DoNotOptimize(lValue);
        }
        (void)dbus_message_iter_next(&anIterator);
    }
}

void WalkRaw(DBusMessage *aMessage)
{
    DBusMessageIter lIterator;

    if (dbus_message_iter_init(aMessage, &lIterator))
        WalkRaw(lIterator);
}

} // namespace zq::Bench
