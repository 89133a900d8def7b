/**
 *  @file
 *    The fake radio daemon as a program, on the bus of DBUS_SYSTEM_BUS_ADDRESS.
 *
 *  It says "ready" once it owns its name, then does what each line of its
 *  standard input says, and says the line again when that is done and the bus
 *  has passed it on. It ends with its input.
 *
 *      interface NAME         what follows is about this one; added if it is new
 *      netwake DATA MS        signal a wake
 *      prevent | allow        signal that the host's sleep is prevented, or allowed
 *      state STATE            such as "associated"
 *      prop KEY VALUE         set a property: VALUE in GVariant's text format
 *      crash | restart        leave without a word; come back with the defaults
 *      status METHOD STATUS   answer calls of the method with this status from now on
 *      error METHOD NAME      ... with an error
 *      silent METHOD          ... not at all
 *      hold METHOD | release  ... when "release" is said
 *      normal                 answer all calls normally again
 *      calls                  print "METHOD ARGUMENTS" for each call since the last time
 */

#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "fakemeshd.h"

using namespace zq::Mock;

namespace
{

class Player
{
public:
    void Obey(const std::string &aLine)
    {
        std::istringstream lWords(aLine);
        std::string        lVerb, lFirst, lRest;

        lWords >> lVerb >> lFirst >> std::ws;
        std::getline(lWords, lRest);

        const std::map<std::string, std::function<void()>> lVerbs = {
            { "interface", [&] { Select(lFirst); } },
            { "netwake", [&] { Signal("NetWake", "(byte " + lFirst + ", " + lRest + ")"); } },
            { "prevent", [&] { Signal("PreventSleep"); } },
            { "allow", [&] { Signal("AllowSleep"); } },
            { "state", [&] { mMeshd.SetState(lFirst, mName); } },
            { "prop", [&] { mMeshd.SetProperty(lFirst, lRest, mName); } },
            { "crash", [&] { mMeshd.Crash(); } },
            { "restart", [&] { mMeshd.Restart(); } },
            { "status", [&] { mMeshd.Script(lFirst, Answer::Value("(" + lRest + ",)")); } },
            { "error", [&] { mMeshd.Script(lFirst, Answer::Error(lRest, "As told")); } },
            { "silent", [&] { mMeshd.Script(lFirst, Answer::Silence()); } },
            { "hold", [&] { mMeshd.Script(lFirst, Answer::Held()); } },
            { "release", [&] { mMeshd.ReleaseHeld(); } },
            { "normal", [&] { mMeshd.ClearScripts(); } },
            { "calls", [&] { PrintCalls(); } },
        };
        const auto lFound = lVerbs.find(lVerb);

        if (lFound == lVerbs.end())
            std::cerr << "zq-mock-meshd: what is \"" << aLine << "\"?" << std::endl;
        else
            lFound->second();

        mMeshd.Flush();
        std::cout << aLine << std::endl;
    }

    bool Appear() { return mMeshd.Appear(); }

private:
    void Select(const std::string &aName)
    {
        mName = aName;
        if (mMeshd.GetProperty("NCP:State", aName).empty())
            mMeshd.AddInterface(aName);
    }

    void Signal(const std::string &aMember, const std::string &aBody = "")
    {
        mMeshd.Signal(FakeMeshd::Path(mName), aMember, aBody);
    }

    void PrintCalls()
    {
        for (const FakePeer::Call &lCall : mMeshd.GetCalls())
            std::cout << lCall.mMethod << " " << lCall.mArguments << std::endl;
        mMeshd.ClearCalls();
    }

    FakeMeshd   mMeshd;
    std::string mName = "wpan0";
};

} // namespace

int main()
{
    Player      lPlayer;
    std::string lLine;

    if (!lPlayer.Appear())
    {
        std::cerr << "zq-mock-meshd: the bus, or the name on it, cannot be had" << std::endl;
        return 3;
    }

    std::cout << "ready" << std::endl;
    while (std::getline(std::cin, lLine))
        lPlayer.Obey(lLine);

    return 0;
}
