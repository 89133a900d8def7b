/**
 *  @file
 *    The holder of a D-Bus message, for the rooms that know D-Bus.
 */

#ifndef ZQSHARED_MESSAGE_H
#define ZQSHARED_MESSAGE_H

#include <dbus/dbus.h>

namespace zq::Shared
{

/** Holds one reference to a message, or null. */
class MessageRef
{
public:
    explicit MessageRef(DBusMessage *aMessage = nullptr) noexcept : mMessage(aMessage) {}
    ~MessageRef()
    {
        if (mMessage != nullptr)
            dbus_message_unref(mMessage);
    }
    MessageRef(const MessageRef &)            = delete;
    MessageRef &operator=(const MessageRef &) = delete;

    DBusMessage  *Get() const noexcept { return mMessage; }
    DBusMessage **Out() noexcept { return &mMessage; }

private:
    DBusMessage *mMessage;
};

} // namespace zq::Shared

#endif // ZQSHARED_MESSAGE_H
