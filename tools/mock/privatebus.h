/**
 *  @file
 *    A message bus of the program's own.
 *
 *  UseNoSystemBus() points DBUS_SYSTEM_BUS_ADDRESS at an address where nobody
 *  listens, so that nothing can reach the machine's bus. SystemBus() starts the
 *  program's own bus and points the variable at that.
 */

#ifndef ZQ_MOCK_PRIVATEBUS_H
#define ZQ_MOCK_PRIVATEBUS_H

#include <string>

#include <sys/types.h>

namespace zq::Mock
{

/**
 *  A dbus-daemon on a socket in a directory of its own, both gone with the object.
 *
 *  The daemon also ends with the thread that started it: start it from one that
 *  lives as long as the bus is needed.
 */
class PrivateBus
{
public:
    PrivateBus();
    ~PrivateBus();

    PrivateBus(const PrivateBus &)            = delete;
    PrivateBus &operator=(const PrivateBus &) = delete;

    /** Start the daemon unless it runs, at the same address every time; returns when it listens. */
    bool Start();

    /** End the daemon at once, as a crash would; its clients are disconnected. */
    void Kill();

    /** Freeze the daemon: it keeps its connections and answers nothing, until Continue(). */
    void Stop();
    void Continue();

    bool               IsRunning() const { return mPid > 0; }
    const std::string &GetAddress() const { return mAddress; }

    /** Make this the system bus of every connection that is opened from now on. */
    void UseAsSystemBus() const;

private:
    std::string mDirectory;
    std::string mAddress;
    pid_t       mOwner;
    pid_t       mPid;
};

/** The program's own system bus: started, and the system bus of this process, from the first call on. */
PrivateBus &SystemBus();

/** Make the system bus unreachable for connections that are opened from now on. */
void UseNoSystemBus();

} // namespace zq::Mock

#endif // ZQ_MOCK_PRIVATEBUS_H
