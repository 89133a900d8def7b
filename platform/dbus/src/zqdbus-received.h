/**
 *  @file
 *    Messages that are held, and those that were received and wait to be dispatched.
 */

#ifndef ZQDBUS_RECEIVED_H
#define ZQDBUS_RECEIVED_H

#include <zqdbus.h>

#include <cstdint>
#include <utility>
#include <vector>

/** Holds one reference to a message, or null. */
class zqDBusMessageRef
{
public:
    zqDBusMessageRef() noexcept = default;
    explicit zqDBusMessageRef(DBusMessage *anAdopted) noexcept : mMessage(anAdopted) {}
    zqDBusMessageRef(const zqDBusMessageRef &)            = delete;
    zqDBusMessageRef &operator=(const zqDBusMessageRef &) = delete;
    ~zqDBusMessageRef() { Adopt(nullptr); }

    DBusMessage *Get() const noexcept { return mMessage; }
    DBusMessage *Leak() noexcept { return std::exchange(mMessage, nullptr); }

    void Adopt(DBusMessage *aMessage) noexcept
    {
        DBusMessage *lOld = std::exchange(mMessage, aMessage);

        if (lOld != nullptr)
            dbus_message_unref(lOld);
    }

private:
    DBusMessage *mMessage = nullptr;
};

/** Numbers the received messages, in the order of the stream. */
using zqDBusSequence = std::uint64_t;

/** A message that was received and waits to be dispatched. */
struct zqDBusReceived
{
    DBusMessage       *mMessage; ///< with a reference
    zqDBusPendingCall *mPending; ///< whose reply it is, or null
    zqDBusSequence     mSequence;
};

/** Those messages, in the order in which they came. */
class zqDBusReceivedQueue
{
public:
    bool IsEmpty() const noexcept { return mFirst == mMessages.size(); }

    /** Room for one more; throws when memory is exhausted. */
    void Reserve();
    void Push(const zqDBusReceived &aReceived) noexcept { mMessages.push_back(aReceived); }

    zqDBusReceived Pop() noexcept;

    /** A reply that waits here has no receiver any more. @returns false when there is none. */
    bool Disown(const zqDBusPendingCall *aPending) noexcept;

private:
    std::vector<zqDBusReceived> mMessages;
    std::size_t                 mFirst = 0;
};

#endif // ZQDBUS_RECEIVED_H
