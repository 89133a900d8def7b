#include "bus.h"

namespace zq::Test
{

namespace
{

struct Ended final : zqDBusPendingCall
{
    explicit Ended(bool &anEnd) : mEnd(anEnd) {}

    void completed(DBusMessage *) override { mEnd = true; }
    void errorReceived(zqDBusError *) override { mEnd = true; }
    void timedOut() override { mEnd = true; }

    bool &mEnd;
};

} // namespace

bool Settle(zqDBus *aBus)
{
    bool               lEnd = false;
    DBusMessage *const lMessage =
        zqDBus::NewMethodCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId");
    auto *const   lPending = new Ended(lEnd);
    const zqError lReturn  = aBus->PerformMethodCallWithMessage(lMessage, lPending, nullptr, -1, nullptr);

    dbus_message_unref(lMessage);
    if (lReturn != 0)
        delete lPending;
    return lReturn == 0 && PumpUntil(aBus, [&] { return lEnd; });
}

} // namespace zq::Test
