/**
 *  @file
 *    One manager with its loop.
 */

#ifndef ZQNETCTL_SESSION_H
#define ZQNETCTL_SESSION_H

#include "errors.h"
#include "events.h"
#include "inbox.h"
#include "options.h"

#include <future>
#include <memory>
#include <thread>

namespace zqnetctl
{

/** Whether anybody owns a name on the bus, asked over a connection of this thread. */
bool IsOnBus(const char *aName);

class Session
{
public:
    explicit Session(const Options &anOptions);
    ~Session();
    Session(const Session &)            = delete;
    Session &operator=(const Session &) = delete;

    /**
     *  Make the manager and run its loop on a thread of its own. From here on
     *  the events arrive in the inbox, first those that tell what there is
     *  already. Complains when it fails.
     *
     *  @param[in]  aDaemonNeeded  Whether the daemon must be on the bus, with
     *                             what it has loaded, when this returns.
     *
     *  @returns kExitAbsent when the bus cannot be reached or a needed daemon
     *           is not on it, kExitFailed when what it says cannot be used.
     */
    ExitStatus Open(bool aDaemonNeeded);

    /** False when errors were logged while the model was loaded: something may be missing from it. */
    bool IsComplete() const { return mComplete; }

    Manager       &GetManager() { return *mManager; }
    Inbox         &GetInbox() { return mInbox; }
    const Options &GetOptions() const { return mOptions; }

    const std::vector<std::string> &GetArguments() const { return mOptions.mArguments; }

    /** Complain of the command line. */
    ExitStatus RefuseUsage(const std::string &aProblem) const
    {
        Complain(mOptions.mCommand, aProblem);
        return kExitUsage;
    }

private:
    void       RunLoop(std::promise<zqError> aCreated);
    ExitStatus FindDaemon();
    bool       AwaitLoad();

    const Options                                            &mOptions;
    Inbox                                                     mInbox;
    const std::unique_ptr<zq::NetworkManager::Observer::Base> mReporter;
    bool                                                      mComplete = false;
    std::unique_ptr<Manager>                                  mManager; // made and deleted on the loop's thread
    std::thread                                               mLoop;
};

} // namespace zqnetctl

#endif // ZQNETCTL_SESSION_H
