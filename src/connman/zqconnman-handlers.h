/**
 *  @file
 *    What the bus calls, and the members of the client that it is forwarded to.
 */

#ifndef ZQCONNMAN_HANDLERS_H
#define ZQCONNMAN_HANDLERS_H

#include "zqconnman-private.h"

#include <cstring>

struct zqConnMan::Handlers
{
    static const zqDBusSignalDispatch __SignalDispatchTableDBus[];
    static const zqDBusSignalDispatch __SignalDispatchTableManager[];
    static const zqDBusMethodDispatch __DispatchTableAgent[];

    static zqConnMan &Client(void *aContext) noexcept { return *static_cast<zqConnMan *>(aContext); }

    static DBusHandlerResult Result(bool aHandled) noexcept
    {
        return aHandled ? DBUS_HANDLER_RESULT_HANDLED : DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
    }

    template <bool (zqConnMan::*kHandler)(DBusMessage *)>
    static DBusHandlerResult Signal(void *aContext, DBusConnection *, DBusMessage *aMessage)
    {
        return Result((Client(aContext).*kHandler)(aMessage));
    }

    template <bool (zqConnMan::*kHandler)(DBusMessage *)>
    static DBusHandlerResult ManagerSignal(void *aContext, DBusConnection *aConnection, DBusMessage *aMessage)
    {
        Client(aContext).ConnManHeard();

        return Signal<kHandler>(aContext, aConnection, aMessage);
    }

    /** A PropertyChanged by way of a table, handed on as a filter hands it on. */
    template <bool (zqConnMan::*kHandler)(const char *, DBusMessageIter *)>
    static DBusHandlerResult Property(void *aContext, DBusConnection *, DBusMessage *aMessage)
    {
        DBusMessageIter lIterator;

        (void)dbus_message_iter_init(aMessage, &lIterator);

        return Filter<kHandler>(aContext, dbus_message_get_path(aMessage), &lIterator);
    }

    template <bool (zqConnMan::*kHandler)(const char *, DBusMessageIter *)>
    static DBusHandlerResult Filter(void *aContext, const char *aPath, DBusMessageIter *anIterator)
    {
        Client(aContext).ConnManHeard();

        return Result((Client(aContext).*kHandler)(aPath, anIterator));
    }

    /** The agent is the daemon's: anybody else on the bus would learn, or plant, credentials. */
    template <DBusHandlerResult (zqConnMan::*kHandler)(DBusConnection *, DBusMessage *)>
    static DBusHandlerResult Agent(void *aContext, DBusConnection *aConnection, DBusMessage *aMessage)
    {
        zqConnMan &lClient = Client(aContext);

        if (lClient.mDBus->IsSentByOwner(aMessage, zq::ConnMan::kBusName))
            return (lClient.*kHandler)(aConnection, aMessage);

        return RefuseStranger(aConnection, aMessage);
    }

    static DBusHandlerResult RefuseStranger(DBusConnection *aConnection, DBusMessage *aMessage);

    static void BusLost(void *aContext) { Client(aContext).BusLost(); }
    static void AskDue(void *aContext) { Client(aContext).Ask(); }
};

#endif // ZQCONNMAN_HANDLERS_H
