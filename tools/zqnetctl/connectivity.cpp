/**
 *  @file
 *    The command that tells of connectivity, and keeps technologies powered.
 */

#include "commands.h"
#include "describe.h"
#include "output.h"

#include <zqnetwork-connectivity.h>

#include <unistd.h>

namespace zqnetctl
{

namespace
{

/** What the policy's thread posts when it has begun. */
constexpr const char *kBegun = "begun";

/** For a request that the daemon has not answered when the command is to end. */
constexpr std::chrono::seconds kPatience{ 2 };

Json ToJson(const zqNetworkEvent::Connected &anEvent)
{
    zqStringArray lTypes;
    Json          lTechnologies = Json::array();

    (void)anEvent.GetConnectedTechnologies(lTypes);
    for (int lIndex = 0; lIndex < lTypes.GetNumElements(); lIndex++)
        lTechnologies.push_back(lTypes.GetElement(lIndex).GetAsUTFArray());

    return { { "event", "NetworkConnected" },
             { "connected", anEvent.IsConnected() },
             { "change", anEvent.IsChange() },
             { "technologies", lTechnologies } };
}

/** One of those that tell of a single technology. */
Json ToJson(const char *aName, const zqNetworkEvent::TechnologySpecific &anEvent)
{
    return { { "event", aName }, { "technology", anEvent.GetTechnology().GetAsUTFArray() } };
}

/** Null for an event that is not the controller's. */
Json ToJson(const zqEvent &anEvent)
{
    using namespace zqNetworkEvent;
    Json lJson;

    switch (anEvent.GetType())
    {
    case Connected::kType:
        lJson = ToJson(static_cast<const Connected &>(anEvent));
        break;
    case Failure::kType:
        lJson           = ToJson("NetworkFailure", static_cast<const Failure &>(anEvent));
        lJson["reason"] = static_cast<const Failure &>(anEvent).GetReason().GetAsUTFArray();
        break;
    case Success::kType:
        lJson = ToJson("NetworkSuccess", static_cast<const Success &>(anEvent));
        break;
    case Trace::kType:
        lJson = ToJson("NetworkTrace", static_cast<const Trace &>(anEvent));
        break;
    case RadioProperty::kType:
    {
        const auto       &lEvent = static_cast<const RadioProperty &>(anEvent);
        const std::string lName  = lEvent.GetPropertyName().GetAsUTFArray();

        lJson               = ToJson("NetworkRadioProperty", lEvent);
        lJson["properties"] = { { lName, FromCF(lEvent.GetPropertyValue(), lName) } };
        break;
    }
    default:
        break;
    }
    return lJson;
}

std::string Tell(Narrator &aNarrator, const Json &anEvent)
{
    if (anEvent["event"] != "NetworkConnected")
        return aNarrator.Tell(anEvent);

    return std::string("NetworkConnected ") +
           (anEvent["connected"] == true ? "connected over " + Describe(anEvent["technologies"]) : "disconnected") +
           (anEvent["change"] == true ? "" : ", unchanged");
}

/** The controller, with the queue that feeds it and a thread that drains the queue. */
class Policy
{
public:
    explicit Policy(Session &aSession) : mSession(aSession) {}
    ~Policy();
    Policy(const Policy &)            = delete;
    Policy &operator=(const Policy &) = delete;

    zqError Start();

    /** @returns false when a request still waits for the daemon: it cannot be called back. */
    bool Stop();

private:
    zqError Begin();
    void    Main();
    void    Drain();

    Session              &mSession;
    zqEventQueue          mQueue;
    zqNetworkConnectivity mController;
    std::promise<void>    mEnded;
    std::thread           mThread;
};

Policy::~Policy()
{
    if (mThread.joinable())
    {
        (void)mQueue.Exit();
        mThread.join();
    }
}

zqError Policy::Start()
{
    const zqError lReturn = mQueue.Init();

    if (lReturn == zqError_None)
        mThread = std::thread(&Policy::Main, this);
    return lReturn;
}

bool Policy::Stop()
{
    if (!mThread.joinable())
        return true;

    (void)mQueue.Exit();
    if (mEnded.get_future().wait_for(kPatience) != std::future_status::ready)
        return false;

    mThread.join();
    return true;
}

void Policy::Main()
{
    mSession.GetInbox().Post({ { "event", kBegun }, { "result", Begin() } });
    Drain();
    mController.Destroy();
    mEnded.set_value();
}

zqError Policy::Begin()
{
    const Options &lOptions = mSession.GetOptions();
    Manager       &lManager = mSession.GetManager();
    zqStringArray  lTypes;
    zqError        lReturn = zqError_None;

    for (const std::string &lType : lOptions.mArguments)
        if (lReturn == zqError_None)
            lReturn = lTypes.Append(lType.c_str());

    if (lReturn == zqError_None)
        lReturn = mController.Init(&lManager, &mQueue, lTypes);
    if (lReturn == zqError_None)
        lReturn = lManager.Subscribe(&mQueue, &mController, "zqnetctl");
    if (lReturn == zqError_None && lOptions.mPower)
        lReturn = mController.SetPowered(*lOptions.mPower);
    return lReturn;
}

void Policy::Drain()
{
    zqEvent         *lEvent   = nullptr;
    zqIEventHandler *lHandler = nullptr;

    for (bool lGoOn = true; lGoOn;)
    {
        (void)PR_WaitForPollableEvent(mQueue.GetPoller());

        while (mQueue.Dequeue(lEvent, lHandler))
        {
            // What the controller posts is for no handler: the state that Init found out is among it.
            if (lHandler != nullptr)
                lHandler->HandleEvent(lEvent);
            else if (lEvent->GetType() == zqEventQueue::kExitEvent)
                lGoOn = false;
            else if (Json lJson = ToJson(*lEvent); !lJson.is_null())
                mSession.GetInbox().Post(std::move(lJson));
            lEvent->Release();
        }
    }
}

/** Print the controller's events; the manager's, which arrive as well, are left out. */
ExitStatus Listen(Session &aSession)
{
    const Options &lOptions  = aSession.GetOptions();
    const Deadline lDeadline = GetDeadline(lOptions.mSeconds);
    Narrator       lNarrator;
    Json           lEvent;

    while (aSession.GetInbox().Wait(lEvent, lDeadline, Inbox::kWatchOutput) == Inbox::kEvent)
    {
        const std::string lName = lEvent["event"].get<std::string>();

        if (lName == kBegun && lEvent["result"] != zqError_None)
            return Complain(lOptions.mCommand + " " + lOptions.mArguments.front(), lEvent["result"].get<zqError>());
        if (lName.compare(0, 7, "Network") != 0)
            continue;
        if (!(lOptions.mJson ? PrintLine(lEvent) : PrintLine(GetTimeOfDay() + "  " + Tell(lNarrator, lEvent))))
            return GetOutputStatus(false);
    }
    return kExitSuccess;
}

} // namespace

ExitStatus RunConnectivity(Session &aSession)
{
    Policy lPolicy(aSession);

    if (const zqError lReturn = lPolicy.Start(); lReturn != zqError_None)
        return Complain(aSession.GetOptions().mCommand, lReturn);

    const ExitStatus lStatus = Listen(aSession);

    if (!lPolicy.Stop())
        _exit(lStatus);
    return lStatus;
}

} // namespace zqnetctl
