/**
 *  @file
 *    D-Bus messages of a fuzzer's bytes.
 */

#ifndef ZQ_FUZZ_MESSAGE_H
#define ZQ_FUZZ_MESSAGE_H

#include <dbus/dbus.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

struct MessageDeleter
{
    void operator()(DBusMessage *aMessage) const noexcept { dbus_message_unref(aMessage); }
};

using Message = std::unique_ptr<DBusMessage, MessageDeleter>;

/** Null when the bus would not have delivered such bytes. */
Message ParseMessage(const std::uint8_t *aData, std::size_t aSize);

/**
 *  A well-formed message, marshalled, for any bytes; none left are as good as zeros.
 *
 *  The first byte says the byte order and which of the arguments that ConnMan
 *  sends there are, or that there are any; the others say, in the order of the
 *  arguments, where an array goes on, what a variant holds, and what the values
 *  are. Names are mostly those of the vocabulary, and paths few, so that they
 *  come twice.
 */
std::vector<std::uint8_t> BuildMessage(const std::uint8_t *aData, std::size_t aSize);

/** The message that the bytes are when they begin as one does, otherwise the one that they describe. */
Message MakeMessage(const std::uint8_t *aData, std::size_t aSize);

#endif // ZQ_FUZZ_MESSAGE_H
