/**
 *  @file
 *    Walks over the bytes of any message, and of one with some of its bytes
 *    spoilt. Of what libdbus takes for a message the events are those of its
 *    iterators; what is proven of spoilt bytes lies inside of them.
 */

#include "message.h"

#include <zqdbus-private.h>

#include <cstdlib>
#include <string>

namespace
{

/** What a walker is told, byte by byte. */
zqError WriteDown(void *aContext, int anEvent, const char *aName, const void *aValue) noexcept
{
    std::string &lText  = *static_cast<std::string *>(aContext);
    const auto  *lValue = static_cast<const DBusBasicValue *>(aValue);

    lText.append(std::to_string(anEvent)).append(aName != nullptr ? aName : "-");
    if (aValue == nullptr)
        lText.append("-");
    else if (anEvent == zqDBusWalkArrayStart)
        lText.append(std::to_string(*static_cast<const int *>(aValue)));
    else if (anEvent == DBUS_TYPE_STRING || anEvent == DBUS_TYPE_OBJECT_PATH || anEvent == DBUS_TYPE_SIGNATURE ||
             anEvent == DBUS_TYPE_DICT_ENTRY)
        lText.append(lValue->str);
    else if (anEvent == DBUS_TYPE_BYTE)
        lText.append(std::to_string(lValue->byt));
    else if (anEvent == DBUS_TYPE_INT16 || anEvent == DBUS_TYPE_UINT16)
        lText.append(std::to_string(lValue->u16));
    else if (anEvent == DBUS_TYPE_BOOLEAN || anEvent == DBUS_TYPE_INT32 || anEvent == DBUS_TYPE_UINT32)
        lText.append(std::to_string(lValue->u32));
    else
        lText.append(std::to_string(lValue->u64));

    return zqError_None;
}

/** @returns false when the bytes are refused. */
bool Walk(const std::vector<char> &aBytes, const char *aSignature, std::string &anEvents)
{
    zqError lResult = zqError_None;

    return zqDBusWalkBytes(aBytes.data(), static_cast<int>(aBytes.size()), aSignature, WriteDown, &anEvents, lResult);
}

/** Some bytes for others, where the last ones of the input say, and a part of all for the whole. */
void Spoil(std::vector<char> &aBytes, const std::uint8_t *aData, std::size_t aSize)
{
    for (std::size_t lEnd = aSize; lEnd >= 3 && lEnd + 24 > aSize; lEnd -= 3)
        aBytes[(aData[lEnd - 2] << 8 | aData[lEnd - 1]) % aBytes.size()] = static_cast<char>(aData[lEnd - 3]);
    if (aSize > 0 && aData[0] % 4 == 0)
        aBytes.resize(aData[aSize - 1] % aBytes.size());
    aBytes.shrink_to_fit();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *aData, std::size_t aSize)
{
    const Message lMessage = MakeMessage(aData, aSize);
    char         *lCopied  = nullptr;
    int           lLength  = 0;

    // First the bytes: the iterators turn them into this machine's order.
    if (lMessage == nullptr || !dbus_message_marshal(lMessage.get(), &lCopied, &lLength))
        return 0;

    std::vector<char> lBytes(lCopied, lCopied + lLength);
    const std::string lSignature = dbus_message_get_signature(lMessage.get());
    std::string       lEvents;
    std::string       lExpected;
    DBusMessageIter   lIterator;

    dbus_free(lCopied);
    if (dbus_message_iter_init(lMessage.get(), &lIterator))
        (void)zqDBus::WalkDBusMsgIter(&lIterator, WriteDown, &lExpected);

    if (!Walk(lBytes, lSignature.c_str(), lEvents) || lEvents != lExpected)
        std::abort();

    Spoil(lBytes, aData, aSize);
    (void)Walk(lBytes, lSignature.c_str(), lEvents);
    return 0;
}
