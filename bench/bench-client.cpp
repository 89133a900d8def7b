// The client's part: from a message that has arrived to its cache and its
// delegate, against a walk over the same message.

#include "zq-bench.h"

#include <zqconnman-private.h>

#include <cstdlib>

/** The inner steps of the client. */
struct zqConnManBench
{
    static void Load(zqConnMan &aClient, DBusMessage *aReply)
    {
        CFUSharedRef<CFDictionaryRef> lServices;

        if (zqDBusCFDecode(aReply, kFormServices, lServices) != 0 || aClient.UpdateServices(lServices.Get()) != 0)
            std::abort();
    }

    static void ServicesChanged(zqConnMan &aClient, DBusMessage *aSignal)
    {
        if (!aClient.ManagerServicesChanged(aSignal))
            std::abort();
    }

    static CFDictionaryRef GetServices(const zqConnMan &aClient) { return aClient.mServices; }
};

namespace zq::Bench
{

namespace
{

class Client
{
public:
    Client() { mClient.SetDelegate(&mDelegate); }
    ~Client()
    {
        mClient.SetDelegate(nullptr);
        mClient.Flush();
    }

    zqConnMan &Get() { return mClient; }

private:
    zq::ConnMan::Delegate::Default mDelegate;
    zqConnMan                      mClient;
};

/** What the client does with a message about so many services, once @a aPrepare has been done without counting it. */
void CompareWithWalk(benchmark::State &aState, const std::string &aName, DBusMessage *aMessage, int aCount,
                     const std::function<void()> &aPrepare, const std::function<void()> &anOperation)
{
    Compare(
        aState, aName, aCount, aCount, [=] { return Elapsed([=] { WalkRaw(aMessage); }); },
        [&]
        {
            aPrepare();
            return Elapsed(anOperation);
        });
}

void Load(benchmark::State &aState)
{
    const int     lCount = static_cast<int>(aState.range(0));
    const Message lReply = MakeServices(lCount);
    Client        lClient;

    CompareWithWalk(
        aState, "load", lReply.get(), lCount, [&] { lClient.Get().FlushServices(); },
        [&] { zqConnManBench::Load(lClient.Get(), lReply.get()); });
}

void LoadTolerant(benchmark::State &aState)
{
    const int     lCount = static_cast<int>(aState.range(0));
    const Message lReply = MakeServices(lCount);
    Client        lClient;

    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant);
    CompareWithWalk(
        aState, "load, tolerant", lReply.get(), lCount, [&] { lClient.Get().FlushServices(); },
        [&] { zqConnManBench::Load(lClient.Get(), lReply.get()); });
    zqConnMan::SetDecoding(zqConnMan::kDecodingExact);
}

void Added(benchmark::State &aState)
{
    const int     lCount  = static_cast<int>(aState.range(0));
    const Message lSignal = MakeServicesAdded(lCount);
    const Message lEmpty  = MakeServices(0);
    Client        lClient;

    CompareWithWalk(
        aState, "changed, all new", lSignal.get(), lCount,
        [&]
        {
            lClient.Get().FlushServices();
            zqConnManBench::Load(lClient.Get(), lEmpty.get());
        },
        [&] { zqConnManBench::ServicesChanged(lClient.Get(), lSignal.get()); });
}

void Changed(benchmark::State &aState, const char *aName, int aPercent)
{
    const int     lCount  = static_cast<int>(aState.range(0));
    const Message lSignal = MakeServicesChanged(lCount, lCount * aPercent / 100);
    const Message lReply  = MakeServices(lCount);
    Client        lClient;

    zqConnManBench::Load(lClient.Get(), lReply.get());
    CompareWithWalk(
        aState, aName, lSignal.get(), lCount, [] {},
        [&] { zqConnManBench::ServicesChanged(lClient.Get(), lSignal.get()); });
}

/** Against the look-up of the same path in an array of one: what the hash and the call cost by themselves. */
void LookUp(benchmark::State &aState)
{
    constexpr int kLookUps = 1000;
    const int     lCount   = static_cast<int>(aState.range(0));
    const Message lReply   = MakeServices(lCount);
    const Message lOne     = MakeServices(1);
    Client        lClient;
    Client        lSmall;

    zqConnManBench::Load(lClient.Get(), lReply.get());
    zqConnManBench::Load(lSmall.Get(), lOne.get());

    const auto lLookUp = [](Client &aClient, int aStep)
    {
        const CFDictionaryRef                  lServices = zqConnManBench::GetServices(aClient.Get());
        const CFIndex                          lSize     = CFDictionaryGetCount(lServices);
        std::vector<CFUSharedRef<CFStringRef>> lPaths;

        // As they come from the wire: other strings than the keys.
        for (int lIndex = 0; lIndex < kLookUps; ++lIndex)
            lPaths.push_back(zq::ConnMan::MakeString(ServicePath(static_cast<int>(lIndex * aStep % lSize)).c_str()));

        return Elapsed(
            [&]
            {
                for (const auto &lPath : lPaths)
                    if (CFDictionaryGetValue(lServices, lPath.Get()) == nullptr)
                        std::abort();
            });
    };

    Compare(
        aState, "look-up in the cache", lCount, kLookUps, [&] { return lLookUp(lSmall, 1); },
        [&] { return lLookUp(lClient, 7919); });
}

void Sizes(benchmark::internal::Benchmark *aBenchmark)
{
    aBenchmark->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(Load)->Apply(Sizes);
BENCHMARK(LoadTolerant)->Apply(Sizes);
BENCHMARK(Added)->Apply(Sizes);
BENCHMARK_CAPTURE(Changed, none, "changed, none", 0)->Apply(Sizes);
BENCHMARK_CAPTURE(Changed, all, "changed, all", 100)->Apply(Sizes);
BENCHMARK(LookUp)->Apply(Sizes);

} // namespace

} // namespace zq::Bench
