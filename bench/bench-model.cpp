// The whole way: a signal from the bus through client, manager and model to an
// observer, against a bare connection that receives the same signal and walks
// it; and the model's look-up.

#include "zq-bench.h"

#include <fakeconnman.h>
#include <privatebus.h>
#include <waituntil.h>

#include <zqdbus.h>
#include <zqnetworkmanager.h>

#include <cstdlib>

namespace zq::Bench
{

namespace
{

constexpr int kBurst = 200;

void Require(bool aCondition)
{
    if (!aCondition)
        std::abort();
}

class Counter final : public NetworkManager::Observer::Default
{
public:
    void ServiceChanged(NetworkManager::Manager *, NetworkManager::Service *, CFDictionaryRef) override { ++mCount; }

    int mCount = 0;
};

/** A connection that does with a signal what cannot be done without. */
class BareConnection
{
public:
    explicit BareConnection(const std::string &anAddress)
        : mConnection(dbus_connection_open_private(anAddress.c_str(), nullptr))
    {
        Require(mConnection != nullptr && dbus_bus_register(mConnection, nullptr));
        dbus_connection_set_exit_on_disconnect(mConnection, FALSE);
        dbus_bus_add_match(
            mConnection, "type='signal',sender='net.connman',interface='net.connman.Service',member='PropertyChanged'",
            nullptr);
        Require(dbus_connection_add_filter(mConnection, Handle, this, nullptr));
        dbus_connection_flush(mConnection);
    }

    ~BareConnection()
    {
        dbus_connection_close(mConnection);
        dbus_connection_unref(mConnection);
    }

    void Receive(int aCount)
    {
        mCount = 0;
        while (mCount < aCount)
            Require(dbus_connection_read_write_dispatch(mConnection, -1));
    }

private:
    static DBusHandlerResult Handle(DBusConnection *, DBusMessage *aMessage, void *aThis)
    {
        if (!dbus_message_is_signal(aMessage, "net.connman.Service", "PropertyChanged"))
            return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;

        WalkRaw(aMessage);
        ++static_cast<BareConnection *>(aThis)->mCount;
        return DBUS_HANDLER_RESULT_HANDLED;
    }

    DBusConnection *mConnection;
    int             mCount = 0;
};

/** A manager that follows a fake daemon with so many services; driven by hand. */
class Model
{
public:
    explicit Model(int aCount)
    {
        Mock::FakeConnMan::Objects lServices;
        zqError                    lError = 0;

        for (int lIndex = 0; lIndex < aCount; ++lIndex)
            lServices.emplace_back(ServicePath(lIndex), Mock::FakeConnMan::WiFiService("Network"));
        mFake.AddServices(lServices);
        Require(Mock::SystemBus().Start() && mFake.Appear() && mQueue.Init() == 0);

        mManager.reset(NetworkManager::CreateManager(lError, &mQueue));
        Require(lError == 0 && mManager->AddObserver(&mCounter) == 0);
        Require(mManager->FindService(Path(aCount - 1).Get()).Get() != nullptr);
    }

    ~Model() { (void)mManager->RemoveObserver(&mCounter); }

    static CFUSharedRef<CFStringRef> Path(int anIndex)
    {
        return CFUAdopt(CFStringCreateWithCString(nullptr, ServicePath(anIndex).c_str(), kCFStringEncodingUTF8));
    }

    /** Let the daemon send a burst, and wait until the bus has passed it on. */
    void Emit(int aCount)
    {
        for (int lIndex = 0; lIndex < kBurst; ++lIndex)
            mFake.Emit(ServicePath(lIndex * 7919 % aCount), Mock::FakeConnMan::kService, "PropertyChanged",
                       "('Strength', <byte " + std::to_string(++mStrength % 100) + ">)");
        mFake.Flush();
    }

    void Receive()
    {
        zqDBus *const lDBus = zqDBus::GetGlobalDefaultInstance();

        mCounter.mCount = 0;
        while (mCounter.mCount < kBurst)
        {
            unsigned int lCount       = 0;
            PRPollDesc  *lDescriptors = lDBus->GetPollDescriptors(lCount, nullptr);

            Require(PR_Poll(lDescriptors, lCount, PR_INTERVAL_NO_TIMEOUT) >= 0);
            (void)lDBus->HandleEvents(lDescriptors);
        }
    }

    NetworkManager::Manager &Get() { return *mManager; }

private:
    zqEventQueue                             mQueue;
    Mock::FakeConnMan                        mFake;
    Counter                                  mCounter;
    std::unique_ptr<NetworkManager::Manager> mManager;
    int                                      mStrength = 0;
};

void PropertyChanged(benchmark::State &aState)
{
    const int      lCount = static_cast<int>(aState.range(0));
    Model          lModel(lCount);
    BareConnection lBare(Mock::SystemBus().GetAddress());

    Compare(
        aState, "property to observer", lCount, kBurst,
        [&]
        {
            lModel.Emit(lCount);
            return Elapsed([&] { lBare.Receive(kBurst); });
        },
        [&] { return Elapsed([&] { lModel.Receive(); }); });
}

/** Against a model of ten services. */
void FindService(benchmark::State &aState)
{
    const int                              lCount = static_cast<int>(aState.range(0));
    Model                                  lModel(lCount);
    std::vector<CFUSharedRef<CFStringRef>> lFew;
    std::vector<CFUSharedRef<CFStringRef>> lMany;

    for (int lIndex = 0; lIndex < kBurst; ++lIndex)
    {
        lFew.push_back(Model::Path(lIndex % 10));
        lMany.push_back(Model::Path(lIndex * 7919 % lCount));
    }

    const auto lFind = [&](const std::vector<CFUSharedRef<CFStringRef>> &aPaths)
    {
        return Elapsed(
            [&]
            {
                for (const auto &lPath : aPaths)
                    Require(lModel.Get().FindService(lPath.Get()).Get() != nullptr);
            });
    };

    Compare(
        aState, "look-up in the model", lCount, kBurst, [&] { return lFind(lFew); }, [&] { return lFind(lMany); });
}

void Sizes(benchmark::internal::Benchmark *aBenchmark)
{
    aBenchmark->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(PropertyChanged)->Apply(Sizes)->Iterations(30);
BENCHMARK(FindService)->Apply(Sizes)->Iterations(1000);

} // namespace

} // namespace zq::Bench
