/**
 *  @file
 *    A D-Bus message of a fuzzer's bytes.
 */

#ifndef ZQ_FUZZ_MESSAGE_H
#define ZQ_FUZZ_MESSAGE_H

#include <zqlog.h>

#include <dbus/dbus.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>

struct MessageDeleter
{
    void operator()(DBusMessage *aMessage) const noexcept { dbus_message_unref(aMessage); }
};

using Message = std::unique_ptr<DBusMessage, MessageDeleter>;

/** Null when the bus would not have delivered such bytes. */
inline Message ParseMessage(const std::uint8_t *aData, std::size_t aSize)
{
    // What is refused is told in the log, at every round.
    zqLogSetHandler([](void *, const char *, int, const char *) {}, nullptr, zqLogLevel_Error);

    return Message(aSize > 0 && aSize <= INT_MAX
                       ? dbus_message_demarshal(reinterpret_cast<const char *>(aData), static_cast<int>(aSize), nullptr)
                       : nullptr);
}

#endif // ZQ_FUZZ_MESSAGE_H
