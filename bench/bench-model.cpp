// What a user pays: a manager that is made, and one that is kept current, against
// a bare connection that makes the same calls, receives the same signals, and
// walks each of them once.

#include "zq-bench.h"

#include <privatebus.h>

#include <zqdbus.h>
#include <zqnetworkmanager.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <list>
#include <thread>
#include <vector>

#include <unistd.h>

namespace zq::Bench
{

namespace
{

constexpr int         kBurst   = 200;
constexpr const char *kService = "net.connman.Service";

/** A connection that does what cannot be done without. */
class Bare
{
public:
    Bare() : mConnection(dbus_connection_open_private(Mock::SystemBus().GetAddress().c_str(), nullptr))
    {
        Require(mConnection != nullptr && dbus_bus_register(mConnection, nullptr));
        dbus_connection_set_exit_on_disconnect(mConnection, FALSE);
        dbus_bus_add_match(mConnection, "type='signal',sender='net.connman'", nullptr);
        Require(dbus_connection_add_filter(mConnection, Handle, this, nullptr));
        dbus_connection_flush(mConnection);
    }

    ~Bare()
    {
        dbus_connection_close(mConnection);
        dbus_connection_unref(mConnection);
    }

    Bare(const Bare &)            = delete;
    Bare &operator=(const Bare &) = delete;

    void Call(const char *aPath, const char *anInterface, const char *aMethod)
    {
        const Message lCall(dbus_message_new_method_call("net.connman", aPath, anInterface, aMethod));
        const Message lReply(dbus_connection_send_with_reply_and_block(mConnection, lCall.get(), -1, nullptr));

        Require(lReply != nullptr);
        Walk(lReply.get());
    }

    void CallEach(int aCount, const char *aMethod)
    {
        for (int lIndex = 0; lIndex < aCount; ++lIndex)
            Call(ServicePath(lIndex).c_str(), kService, aMethod);
    }

    void Load(int aCount)
    {
        for (const char *lMethod : { "GetProperties", "GetServices", "GetTechnologies" })
            Call("/", "net.connman.Manager", lMethod);
        CallEach(aCount, "GetProperties");
    }

    void Receive(int aCount)
    {
        mCount = 0;
        while (mCount < aCount)
            Require(dbus_connection_read_write_dispatch(mConnection, -1));
    }

    std::function<void(DBusMessage *)> mReceived = [](DBusMessage *) {};

private:
    static DBusHandlerResult Handle(DBusConnection *, DBusMessage *aMessage, void *aThis)
    {
        auto *const lThis = static_cast<Bare *>(aThis);

        if (!dbus_message_has_member(aMessage, "PropertyChanged") &&
            !dbus_message_has_member(aMessage, "ServicesChanged"))
            return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;

        Walk(aMessage);
        ++lThis->mCount;
        lThis->mReceived(aMessage);
        return DBUS_HANDLER_RESULT_HANDLED;
    }

    DBusConnection *mConnection;
    int             mCount = 0;
};

/** An observer that stops the manager when it has seen enough. */
class Counter final : public NetworkManager::Observer::Default
{
public:
    void ServiceChanged(NetworkManager::Manager *aManager, NetworkManager::Service *, CFDictionaryRef aChanged) override
    {
        mReceived(aChanged);
        if (--mLeft == 0)
            Require(aManager->Stop() == 0);
    }

    int                                  mLeft     = 0;
    std::function<void(CFDictionaryRef)> mReceived = [](CFDictionaryRef) {};
};

/** A manager that follows the daemon with so many services. */
class Model
{
public:
    explicit Model(int aCount)
    {
        Daemon::Tell(Daemon::kCount, aCount);
        Require(mQueue.Init() == 0);
        Make();
        Require(mManager->AddObserver(&mCounter) == 0);
        Require(FindFirst() != nullptr);
    }

    ~Model() { (void)mManager->RemoveObserver(&mCounter); }
    Model(const Model &)            = delete;
    Model &operator=(const Model &) = delete;

    void Make()
    {
        zqError lError = 0;

        mManager.reset(NetworkManager::CreateManager(lError, &mQueue));
        Require(lError == 0 && mManager != nullptr);
    }

    zqSharedPtr<NetworkManager::Service> FindFirst() const
    {
        return mManager->FindService(
            CFUAdopt(CFStringCreateWithCString(nullptr, ServicePath(0).c_str(), kCFStringEncodingUTF8)).Get());
    }

    void Receive(int aCount)
    {
        mCounter.mLeft = aCount;
        mManager->Run();
    }

    zqEventQueue                             mQueue;
    Counter                                  mCounter;
    std::unique_ptr<NetworkManager::Manager> mManager;
};

void MeasureStart(int aCount)
{
    Daemon::Tell(Daemon::kCount, aCount);

    Bare                                     lBare;
    zqEventQueue                             lQueue;
    std::unique_ptr<NetworkManager::Manager> lManager;

    Require(lQueue.Init() == 0);
    Compare("start", aCount, aCount, { [&] { lBare.Load(aCount); } },
            { [&]
              {
                  zqError lError = 0;

                  lManager.reset(NetworkManager::CreateManager(lError, &lQueue));
                  Require(lError == 0);
              },
              [&] { lManager.reset(); }, [&] { lManager.reset(); } });
}

void MeasureChangeSet(int aCount)
{
    Model lModel(aCount);
    Bare  lBare;

    Compare("change-set", aCount, aCount,
            { [&]
              {
                  lBare.Receive(1);
                  lBare.CallEach(aCount, "GetProperties");
              },
              [=] { Daemon::Tell(Daemon::kChange, aCount); } },
            { [&] { lModel.Receive(aCount); } });
}

void MeasureSignal(int aCount)
{
    Model lModel(aCount);
    Bare  lBare;

    Compare("signal", aCount, kBurst, { [&] { lBare.Receive(kBurst); }, [] { Daemon::Tell(Daemon::kEmit, kBurst); } },
            { [&] { lModel.Receive(kBurst); } });
}

/** One signal at a time, each of which wakes the loop; the calls count one that asks for the next. */
void MeasureWake()
{
    std::unique_ptr<Model> lModel;
    std::unique_ptr<Bare>  lBare;
    std::vector<double>    lFloor, lWork;

    const auto lNext = [](std::vector<double> &aTimes, const char *aText)
    {
        if (gCounting == Counting::Times)
            aTimes.push_back(Nanoseconds(CLOCK_MONOTONIC) - std::atof(aText));
        Daemon::Send(Daemon::kStamp, 1);
    };
    const auto lNextOfBare = [&](DBusMessage *aSignal)
    {
        DBusMessageIter lIterator, lVariant;
        const char     *lText = nullptr;

        Require(dbus_message_iter_init(aSignal, &lIterator) && dbus_message_iter_next(&lIterator));
        dbus_message_iter_recurse(&lIterator, &lVariant);
        dbus_message_iter_get_basic(&lVariant, &lText);
        lNext(lFloor, lText);
    };
    const auto lNextOfModel = [&](CFDictionaryRef aChanged)
    {
        const auto lName =
            static_cast<CFStringRef>(CFDictionaryGetValue(aChanged, NetworkManager::kServicePropertyName));

        lNext(lWork, CFStringGetCStringPtr(lName, kCFStringEncodingUTF8));
    };

    Daemon::Tell(Daemon::kCount, 10);
    Compare("wake", 10, kBurst,
            { [&] { lBare->Receive(kBurst); },
              [&]
              {
                  lBare            = std::make_unique<Bare>();
                  lBare->mReceived = lNextOfBare;
                  Daemon::Send(Daemon::kStamp, 1);
              },
              [&] { lBare.reset(); } },
            { [&] { lModel->Receive(kBurst); },
              [&]
              {
                  lModel                     = std::make_unique<Model>(10);
                  lModel->mCounter.mReceived = lNextOfModel;
                  Daemon::Send(Daemon::kStamp, 1);
              },
              [&] { lModel.reset(); } });

    if (gCounting == Counting::Times)
        Print("latency", 10, 1, "wall", Median(lFloor), Median(lWork));
}

void MeasureCall()
{
    Model      lModel(1);
    Bare       lBare;
    const auto lService = lModel.FindFirst();

    Compare("call", 1, kBurst,
            { [&]
              {
                  for (int lIndex = 0; lIndex < kBurst; ++lIndex)
                      lBare.CallEach(1, "Disconnect");
              } },
            { [&]
              {
                  for (int lIndex = 0; lIndex < kBurst; ++lIndex)
                      Require(lModel.mManager->ServiceDisconnect(*lService) == 0);
              } });
}

/** Calls behind which a flood of signals waits. */
void MeasureFlood()
{
    constexpr int kCalls   = 1000;
    constexpr int kSignals = 40000;

    Model      lModel(10);
    Bare       lBare;
    const auto lService = lModel.FindFirst();

    Compare("flood", kSignals, kSignals + kCalls,
            { [&]
              {
                  lBare.Receive(kSignals);
                  for (int lIndex = 0; lIndex < kCalls; ++lIndex)
                      lBare.CallEach(1, "Disconnect");
              },
              [] { Daemon::Tell(Daemon::kEmit, kSignals); } },
            { [&]
              {
                  for (int lIndex = 0; lIndex < kCalls; ++lIndex)
                      Require(lModel.mManager->ServiceDisconnect(*lService) == 0);
                  lModel.Receive(kSignals);
              } });
}

/** Against the same signals without them. */
void MeasureObservers(int aCount)
{
    Model              lModel(10);
    std::list<Counter> lCounters(static_cast<std::size_t>(aCount));

    const auto lEmit    = [] { Daemon::Tell(Daemon::kEmit, kBurst); };
    const auto lReceive = [&] { lModel.Receive(kBurst); };

    Compare("observers", aCount, kBurst * aCount, { lReceive, lEmit },
            { lReceive,
              [&]
              {
                  for (Counter &lCounter : lCounters)
                      Require(lModel.mManager->AddObserver(&lCounter) == 0);
                  lEmit();
              },
              [&]
              {
                  for (Counter &lCounter : lCounters)
                      Require(lModel.mManager->RemoveObserver(&lCounter) == 0);
              } });
}

class Ignorer final : public zqIEventHandler
{
public:
    void HandleEvent(zqEvent *) override {}
};

void MeasureQueues(int aCount)
{
    Model                   lModel(10);
    Ignorer                 lHandler;
    std::list<zqEventQueue> lQueues(static_cast<std::size_t>(aCount));

    const auto lEmit    = [] { Daemon::Tell(Daemon::kEmit, kBurst); };
    const auto lReceive = [&] { lModel.Receive(kBurst); };

    for (zqEventQueue &lQueue : lQueues)
        Require(lQueue.Init() == 0);

    Compare("queues", aCount, kBurst * aCount, { lReceive, lEmit },
            { lReceive,
              [&]
              {
                  for (zqEventQueue &lQueue : lQueues)
                      Require(lModel.mManager->Subscribe(&lQueue, &lHandler, "queue") == 0 && lQueue.Dispatch());
                  lEmit();
              },
              [&]
              {
                  for (zqEventQueue &lQueue : lQueues)
                      Require(lModel.mManager->Unsubscribe(&lQueue, &lHandler) == 0 && lQueue.Dispatch());
              } });
}

/** How often the loop wakes up in a second in which nothing happens. */
void MeasureIdle()
{
    Model             lModel(1000);
    const std::string lStatus = "/proc/self/task/" + std::to_string(gettid()) + "/status";
    long              lCount  = 0;

    const auto lWaits = [&]
    {
        std::ifstream lFile(lStatus);
        std::string   lWord;

        while (lFile >> lWord && lWord != "voluntary_ctxt_switches:")
            continue;

        long lNumber = 0;

        lFile >> lNumber;
        return lNumber;
    };

    std::thread lWatcher(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            lCount -= lWaits();
            std::this_thread::sleep_for(std::chrono::seconds(1));
            lCount += lWaits();
            Require(lModel.mManager->Stop() == 0);
        });

    lModel.mManager->Run();
    lWatcher.join();
    Print("idle", 1000, 1, "wake-ups", 0, static_cast<double>(lCount));
}

} // namespace

void MeasureModel()
{
    const bool lIsTiming = gCounting == Counting::Times;

    for (const int lCount : { 10, 100, 1000, 10000 })
        if (lIsTiming || lCount == 1000)
        {
            if (gCounting != Counting::Calls)
                MeasureStart(lCount);
            if (gCounting != Counting::Calls)
                MeasureChangeSet(lCount);
            MeasureSignal(lCount);
        }

    for (const int lCount : { 1, 10, 100 })
        if (lIsTiming || lCount == 10)
        {
            MeasureObservers(lCount);
            MeasureQueues(lCount);
        }

    MeasureCall();
    if (gCounting != Counting::Instructions)
        MeasureWake();
    if (lIsTiming)
    {
        MeasureFlood();
        MeasureIdle();
    }
}

} // namespace zq::Bench
