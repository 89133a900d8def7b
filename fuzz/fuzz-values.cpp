/**
 *  @file
 *    Makes CoreFoundation values of any message's arguments and sends those
 *    values back: what was taken in must either be sent whole or be refused.
 */

#include "message.h"

#include <zqconnman-private.h>
#include <zqdbus.h>

#include <cstdlib>

namespace
{

void SendBack(CFTypeRef aValue)
{
    const Message   lMessage(dbus_message_new(DBUS_MESSAGE_TYPE_SIGNAL));
    DBusMessageIter lIterator;

    dbus_message_iter_init_append(lMessage.get(), &lIterator);

    if (zqDBusCFAppendPropertyEntry(&lIterator, "Name", aValue) != zqError_None)
        return;

    if (!dbus_message_has_signature(lMessage.get(), "sv"))
        std::abort();

    dbus_message_iter_init(lMessage.get(), &lIterator);
    (void)dbus_message_iter_next(&lIterator);
    if (zqDBus::CopyValue(&lIterator) == nullptr)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *aData, std::size_t aSize)
{
    // What is refused is told in the log, at every round.
    zqLogSetHandler([](void *, const char *, int, const char *) {}, nullptr, zqLogLevel_Error);

    const Message lMessage = MakeMessage(aData, aSize);

    if (lMessage == nullptr)
        return 0;

    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant);

    DBusMessageIter lIterator;

    for (dbus_bool_t lMore = dbus_message_iter_init(lMessage.get(), &lIterator); lMore;
         lMore             = dbus_message_iter_next(&lIterator))
    {
        const CFUSharedRef<CFTypeRef> lValue = zqDBus::CopyValue(&lIterator);

        if (lValue != nullptr)
            SendBack(lValue.Get());
    }
    return 0;
}
