/**
 *  @file
 *    ConnMan, played: the story of connman-netns by the fake daemon, where the
 *    kernel refuses namespaces.
 *
 *      zq-mock-connmand COMMAND [ARGUMENT...]   on a bus of its own
 *      zq-mock-connmand cable down|up           from inside
 *      zq-mock-connmand daemon start|stop|kill
 *      zq-mock-connmand thread up               a Thread network over wpan0
 */

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fakeconnman.h"
#include "privatebus.h"

using namespace zq::Mock;

namespace
{

const std::string kPath = FakeConnMan::ServicePath("ethernet_020000000002_cable");

class World
{
public:
    World() { mConnMan.AddTechnology(FakeConnMan::TechnologyPath("ethernet"), FakeConnMan::Technology("ethernet")); }

    void Obey(const std::string &aCommand)
    {
        if (aCommand == "daemon start")
        {
            mConnMan.Appear();
            PlugIn();
        }
        else if (aCommand == "daemon stop" || aCommand == "daemon kill")
        {
            mConnMan.Crash();
            mConnMan.RemoveService(kPath);
        }
        else if (aCommand == "cable down")
        {
            mConnMan.RemoveService(kPath);
            mConnMan.SetManagerProperty("State", "'idle'");
        }
        else if (aCommand == "thread up")
        {
            mConnMan.AddService(FakeConnMan::ServicePath("lowpan_home"),
                                FakeConnMan::EthernetServiceWithMTU({ { "Type", "'lowpan'" },
                                                                      { "Name", "'home'" },
                                                                      { "State", "'online'" },
                                                                      { "Ethernet", "{'Interface': <'wpan0'>}" } }));
        }
        else if (aCommand == "cable up")
        {
            PlugIn();
        }
    }

private:
    void PlugIn()
    {
        mConnMan.AddService(kPath, FakeConnMan::EthernetServiceWithMTU());
        mConnMan.SetServiceProperty(kPath, "State", "'association'");
        mConnMan.SetServiceProperty(kPath, "State", "'configuration'");
        mConnMan.SetServiceProperty(kPath, "IPv4",
                                    "{'Method': <'dhcp'>, 'Address': <'192.168.77.10'>, "
                                    "'Netmask': <'255.255.255.0'>, 'Gateway': <'192.168.77.1'>}");
        mConnMan.SetServiceProperty(kPath, "State", "'ready'");
        mConnMan.SetTechnologyProperty(FakeConnMan::TechnologyPath("ethernet"), "Connected", "true");
        mConnMan.SetManagerProperty("State", "'ready'");
    }

    FakeConnMan mConnMan;
};

int Tell(const char *aPipe, const std::string &aCommand)
{
    std::ofstream lPipe(aPipe);

    lPipe << aCommand << std::endl;

    return lPipe.good() ? EXIT_SUCCESS : EXIT_FAILURE;
}

int Play(char **aCommand)
{
    char        lDirectory[] = "/tmp/zq-world-XXXXXX";
    std::string lPipe        = std::string(mkdtemp(lDirectory)) + "/control";

    mkfifo(lPipe.c_str(), 0600);
    char *const lSelf = realpath("/proc/self/exe", nullptr);
    setenv("ZQ_WORLD_CONTROL", lSelf, 1);
    std::free(lSelf);
    setenv("ZQ_WORLD_PIPE", lPipe.c_str(), 1);
    SystemBus();

    const pid_t lChild = fork();

    if (lChild == 0)
    {
        execvp(aCommand[0], aCommand);
        _exit(127);
    }

    std::thread lListener(
        [&]
        {
            World         lWorld;
            std::string   lLine;
            std::ifstream lCommands;

            for (bool lGoesOn = true; lGoesOn;)
            {
                lCommands.open(lPipe);
                while (lGoesOn && std::getline(lCommands, lLine))
                {
                    lGoesOn = (lLine != "end");
                    lWorld.Obey(lLine);
                }
                lCommands.close();
                lCommands.clear();
            }
        });

    int lStatus = 0;
    waitpid(lChild, &lStatus, 0);
    Tell(lPipe.c_str(), "end");
    lListener.join();
    unlink(lPipe.c_str());
    rmdir(lDirectory);

    return WIFEXITED(lStatus) ? WEXITSTATUS(lStatus) : EXIT_FAILURE;
}

} // namespace

int main(int anArgumentCount, char **anArguments)
{
    const char *const lPipe = std::getenv("ZQ_WORLD_PIPE");

    if (lPipe != nullptr && anArgumentCount == 3)
        return Tell(lPipe, std::string(anArguments[1]) + " " + anArguments[2]);

    if (lPipe != nullptr || anArgumentCount < 2)
    {
        std::fprintf(stderr, "usage: zq-mock-connmand COMMAND [ARGUMENT...]\n");
        return 2;
    }

    return Play(anArguments + 1);
}
