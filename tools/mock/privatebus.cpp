#include "privatebus.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zq::Mock
{

namespace
{

// Everything is allowed, replies that nobody asked for included.
constexpr char kConfiguration[] = R"(<busconfig>
  <listen>unix:path=%s/socket</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow send_destination="*" send_requested_reply="false"/>
    <allow receive_requested_reply="false"/>
  </policy>
</busconfig>
)";

void Replace(std::string &aText, const std::string &aFrom, const std::string &aTo)
{
    aText.replace(aText.find(aFrom), aFrom.size(), aTo);
}

// The child may only do what is safe between fork and exec.
pid_t Spawn(const char *aConfiguration, int aReadyDescriptor)
{
    const pid_t lParent = getpid();
    const pid_t lPid    = fork();

    if (lPid == 0)
    {
        prctl(PR_SET_PDEATHSIG, SIGKILL);

        // It complains, as root in a container, of limits that it cannot raise.
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);

        if (getppid() == lParent && dup2(aReadyDescriptor, STDOUT_FILENO) == STDOUT_FILENO)
            execlp("dbus-daemon", "dbus-daemon", aConfiguration, "--nofork", "--nopidfile", "--nosyslog",
                   "--print-address=1", nullptr);
        _exit(127);
    }

    return lPid;
}

} // namespace

PrivateBus::PrivateBus() : mOwner(getpid()), mPid(0)
{
    char lTemplate[] = "/tmp/zq-bus-XXXXXX";

    if (mkdtemp(lTemplate) != nullptr)
        mDirectory = lTemplate;

    std::string lText = kConfiguration;
    Replace(lText, "%s", mDirectory);
    std::ofstream(mDirectory + "/bus.conf") << lText;

    mAddress = "unix:path=" + mDirectory + "/socket";
}

PrivateBus::~PrivateBus()
{
    // A child that this process forked ends too, and the bus is not its own.
    if (getpid() != mOwner)
        return;

    Kill();
    unlink((mDirectory + "/socket").c_str());
    unlink((mDirectory + "/bus.conf").c_str());
    rmdir(mDirectory.c_str());
}

bool PrivateBus::Start()
{
    int lPipe[2];

    if (IsRunning())
        return true;

    if (pipe2(lPipe, O_CLOEXEC) != 0)
        return false;

    unlink((mDirectory + "/socket").c_str());
    mPid = Spawn(("--config-file=" + mDirectory + "/bus.conf").c_str(), lPipe[1]);
    close(lPipe[1]);

    // The address comes once the daemon listens; end of file means that it failed.
    char       lAnswer[256];
    const bool lListens = (mPid > 0) && (read(lPipe[0], lAnswer, sizeof(lAnswer)) > 0);
    close(lPipe[0]);

    if (!lListens)
        Kill();

    return lListens;
}

void PrivateBus::Kill()
{
    if (mPid > 0)
    {
        kill(mPid, SIGKILL);
        waitpid(mPid, nullptr, 0);
    }
    mPid = 0;
}

void PrivateBus::Stop()
{
    if (IsRunning() && kill(mPid, SIGSTOP) == 0)
        waitpid(mPid, nullptr, WUNTRACED);
}

void PrivateBus::Continue()
{
    if (IsRunning() && kill(mPid, SIGCONT) == 0)
        waitpid(mPid, nullptr, WCONTINUED);
}

void PrivateBus::UseAsSystemBus() const
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", mAddress.c_str(), 1);
}

PrivateBus &SystemBus()
{
    static PrivateBus sBus;
    static const bool sStarted = sBus.Start();

    if (!sStarted)
        abort();

    static const bool sUsed = (sBus.UseAsSystemBus(), true);
    static_cast<void>(sUsed);

    return sBus;
}

void UseNoSystemBus()
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/zq-no-bus", 1);
}

} // namespace zq::Mock
