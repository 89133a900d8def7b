// The client's part: from a message in hand to values, and to its cache and its
// delegate, against a walk over the same message.

#include "zq-bench.h"

#include <zqconnman-private.h>

/** The inner steps of the client. */
struct zqConnManBench
{
    static void Load(zqConnMan &aClient, CFDictionaryRef aServices)
    {
        zq::Bench::Require(aClient.UpdateServices(aServices) == 0);
    }

    static void ServicesChanged(zqConnMan &aClient, DBusMessage *aSignal)
    {
        zq::Bench::Require(aClient.ManagerServicesChanged(aSignal));
    }
};

namespace zq::Bench
{

namespace
{

constexpr int kSizes[] = { 10, 100, 1000, 10000 };

CFUSharedRef<CFDictionaryRef> Decode(DBusMessage *aReply)
{
    CFUSharedRef<CFDictionaryRef> lServices;

    Require(zqDBusCFDecode(aReply, kFormServices, lServices) == 0);
    return lServices;
}

void MeasureDecode(const std::string &aName, DBusMessage *aReply, int aCount)
{
    CFUSharedRef<CFDictionaryRef> lServices;

    Compare(aName, aCount, aCount, { [=] { Walk(aReply); } },
            { [&] { lServices = Decode(aReply); }, [&] { lServices.Reset(); }, [&] { lServices.Reset(); } });
}

void MeasureChange(const char *aName, DBusMessage *aReply, int aCount, int aChangedCount)
{
    zq::ConnMan::Delegate::Default lDelegate;
    zqConnMan                      lClient;
    Message                        lSignals[2];
    int                            lRound = 0;

    for (Message &lSignal : lSignals)
    {
        Message lMessage(dbus_message_new_signal("/", "net.connman.Manager", "ServicesChanged"));

        AppendChanges(lMessage.get(), aCount, aChangedCount, &lSignal == lSignals ? "ready" : "idle");
        lSignal = Received(std::move(lMessage));
    }

    lClient.SetDelegate(&lDelegate);
    zqConnManBench::Load(lClient, Decode(aReply).Get());
    Compare(aName, aCount, aCount, { [&] { Walk(lSignals[0].get()); } },
            { [&] { zqConnManBench::ServicesChanged(lClient, lSignals[lRound++ % 2].get()); } });
    lClient.SetDelegate(nullptr);
    lClient.Flush();
}

} // namespace

void MeasureBytes()
{
    for (const int lCount : kSizes)
    {
        if (gCounting != Counting::Times && lCount != 1000)
            continue;

        Message lMessage(dbus_message_new(DBUS_MESSAGE_TYPE_METHOD_RETURN));

        Require(dbus_message_set_reply_serial(lMessage.get(), 1));
        AppendServices(lMessage.get(), lCount);

        const Message lReply = Received(std::move(lMessage));

        MeasureDecode("decode", lReply.get(), lCount);
        zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant);
        MeasureDecode("decode-tolerant", lReply.get(), lCount);
        zqConnMan::SetDecoding(zqConnMan::kDecodingExact);
        MeasureChange("cache", lReply.get(), lCount, lCount);
        MeasureChange("order", lReply.get(), lCount, 0);
    }
}

} // namespace zq::Bench
