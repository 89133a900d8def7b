// A daemon that costs little, in a process of its own: what it does is not
// counted, but the times on the wall have it.

#include "zq-bench.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <limits.h>
#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace zq::Bench
{

namespace
{

constexpr const char *kName     = "net.connman";
constexpr const char *kProperty = "PropertyChanged";

struct Command
{
    Daemon::Order mOrder;
    int           mCount;
    bool          mIsAnswered;
};

// The program's ends of the daemon's pipes.
int sOrders  = -1;
int sAnswers = -1;

/** What the daemon has. */
int         sCount     = 0;
const char *sState     = "idle";
unsigned    sSignals   = 0;
const char *kServiceOf = "net.connman.Service";

int IndexOf(const char *aPath)
{
    return std::atoi(aPath + std::strlen("/net/connman/service/wifi_020000000001_")) - 100000;
}

void AppendNone(DBusMessage *aMessage, const char *aSignature)
{
    DBusMessageIter lIterator, lInner;

    dbus_message_iter_init_append(aMessage, &lIterator);
    Require(dbus_message_iter_open_container(&lIterator, DBUS_TYPE_ARRAY, aSignature, &lInner));
    Require(dbus_message_iter_close_container(&lIterator, &lInner));
}

DBusHandlerResult Answer(DBusConnection *aConnection, DBusMessage *aMessage, void *)
{
    if (dbus_message_get_type(aMessage) != DBUS_MESSAGE_TYPE_METHOD_CALL)
        return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;

    const Message     lReply(dbus_message_new_method_return(aMessage));
    const char *const lMember    = dbus_message_get_member(aMessage);
    const bool        lIsService = dbus_message_has_interface(aMessage, kServiceOf);

    if (std::strcmp(lMember, "GetServices") == 0)
        AppendServices(lReply.get(), sCount);
    else if (std::strcmp(lMember, "GetTechnologies") == 0)
        AppendNone(lReply.get(), "(oa{sv})");
    else if (std::strcmp(lMember, "GetProperties") == 0 && lIsService)
        AppendProperties(lReply.get(), IndexOf(dbus_message_get_path(aMessage)), sState);
    else if (std::strcmp(lMember, "GetProperties") == 0)
        AppendNone(lReply.get(), "{sv}");

    Require(dbus_connection_send(aConnection, lReply.get(), nullptr));
    return DBUS_HANDLER_RESULT_HANDLED;
}

void SendProperty(DBusConnection *aConnection, int anIndex, const char *aName, int aType, const void *aValue)
{
    const Message   lSignal(dbus_message_new_signal(ServicePath(anIndex).c_str(), kServiceOf, kProperty));
    const char      lSignature[] = { static_cast<char>(aType), '\0' };
    DBusMessageIter lIterator, lVariant;

    dbus_message_iter_init_append(lSignal.get(), &lIterator);
    Require(dbus_message_iter_append_basic(&lIterator, DBUS_TYPE_STRING, &aName));
    Require(dbus_message_iter_open_container(&lIterator, DBUS_TYPE_VARIANT, lSignature, &lVariant));
    Require(dbus_message_iter_append_basic(&lVariant, aType, aValue));
    Require(dbus_message_iter_close_container(&lIterator, &lVariant));
    Require(dbus_connection_send(aConnection, lSignal.get(), nullptr));
}

void Emit(DBusConnection *aConnection)
{
    const unsigned char lStrength = static_cast<unsigned char>(++sSignals % 100);

    SendProperty(aConnection, static_cast<int>(sSignals * 7919U % static_cast<unsigned>(sCount)), "Strength",
                 DBUS_TYPE_BYTE, &lStrength);
}

void Stamp(DBusConnection *aConnection)
{
    char              lText[32];
    const char *const lTime = lText;

    (void)std::snprintf(lText, sizeof(lText), "%.0f", Nanoseconds(CLOCK_MONOTONIC));
    SendProperty(aConnection, 0, "Name", DBUS_TYPE_STRING, &lTime);
}

void Change(DBusConnection *aConnection, int aCount)
{
    const Message lSignal(dbus_message_new_signal("/", "net.connman.Manager", "ServicesChanged"));

    sState = std::strcmp(sState, "idle") == 0 ? "ready" : "idle";
    AppendChanges(lSignal.get(), sCount, aCount, sState);
    Require(dbus_connection_send(aConnection, lSignal.get(), nullptr));
}

void Obey(DBusConnection *aConnection, const Command &aCommand)
{
    if (aCommand.mOrder == Daemon::kCount)
        sCount = aCommand.mCount;
    else if (aCommand.mOrder == Daemon::kChange)
        Change(aConnection, aCommand.mCount);
    else
        for (int lIndex = 0; lIndex < aCommand.mCount; ++lIndex)
            (aCommand.mOrder == Daemon::kStamp ? Stamp : Emit)(aConnection);

    dbus_connection_flush(aConnection);

    if (!aCommand.mIsAnswered)
        return;

    // The bus answers when it has passed on what was sent before.
    const Message lCall(dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId"));
    const Message lReply(dbus_connection_send_with_reply_and_block(aConnection, lCall.get(), -1, nullptr));

    Require(write(STDOUT_FILENO, "", 1) == 1);
}

void Give(Daemon::Order anOrder, int aCount, bool anAnswered)
{
    const Command lCommand = { anOrder, aCount, anAnswered };

    Require(write(sOrders, &lCommand, sizeof(lCommand)) == sizeof(lCommand));
}

} // namespace

int RunDaemon()
{
    DBusConnection *const lConnection = dbus_bus_get(DBUS_BUS_SYSTEM, nullptr);
    pollfd                lFiles[2]   = { { STDIN_FILENO, POLLIN, 0 }, { -1, POLLIN, 0 } };
    Command               lCommand    = {};

    Require(lConnection != nullptr && dbus_connection_get_unix_fd(lConnection, &lFiles[1].fd));
    Require(dbus_connection_add_filter(lConnection, Answer, nullptr, nullptr));
    Require(dbus_bus_request_name(lConnection, kName, 0, nullptr) == DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER);
    Require(write(STDOUT_FILENO, "", 1) == 1);

    for (;;)
    {
        while (dbus_connection_get_dispatch_status(lConnection) == DBUS_DISPATCH_DATA_REMAINS)
            (void)dbus_connection_dispatch(lConnection);
        dbus_connection_flush(lConnection);

        Require(poll(lFiles, 2, -1) > 0);
        if (lFiles[0].revents != 0)
        {
            if (read(STDIN_FILENO, &lCommand, sizeof(lCommand)) != sizeof(lCommand))
                return 0;
            Obey(lConnection, lCommand);
        }
        if (lFiles[1].revents != 0)
            (void)dbus_connection_read_write(lConnection, 0);
    }
}

void Daemon::Start()
{
    int lOrders[2], lAnswers[2];

    Require(pipe(lOrders) == 0 && pipe(lAnswers) == 0);

    if (fork() == 0)
    {
        (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
        Require(dup2(lOrders[0], STDIN_FILENO) == STDIN_FILENO && dup2(lAnswers[1], STDOUT_FILENO) == STDOUT_FILENO);

        // Under valgrind the link is true only for who reads it.
        char          lProgram[PATH_MAX] = {};
        const ssize_t lLength            = readlink("/proc/self/exe", lProgram, sizeof(lProgram) - 1);

        (void)(lLength > 0 && execl(lProgram, lProgram, "daemon", nullptr));
        _exit(127);
    }

    sOrders  = lOrders[1];
    sAnswers = lAnswers[0];

    char lReady = 0;

    Require(read(sAnswers, &lReady, 1) == 1);
}

void Daemon::Send(Order anOrder, int aCount)
{
    Give(anOrder, aCount, false);
}

void Daemon::Tell(Order anOrder, int aCount)
{
    char lDone = 0;

    Give(anOrder, aCount, true);
    Require(read(sAnswers, &lDone, 1) == 1);
}

} // namespace zq::Bench
