/**
 *  @file
 *    What the benchmarks share: the messages, the floor that they are measured
 *    against, and the way in which the two are compared.
 *
 *  Every figure is a ratio of two times that were taken right after each other,
 *  and the median of many such: machines differ, and a shared one differs from
 *  minute to minute.
 */

#ifndef ZQ_BENCH_H
#define ZQ_BENCH_H

#include <benchmark/benchmark.h>
#include <dbus/dbus.h>

#include <functional>
#include <memory>
#include <string>

namespace zq::Bench
{

struct FreeMessage
{
    void operator()(DBusMessage *aMessage) const { dbus_message_unref(aMessage); }
};

using Message = std::unique_ptr<DBusMessage, FreeMessage>;

std::string ServicePath(int anIndex);

/** A reply to GetServices with so many Wi-Fi services, as it comes from the bus. */
Message MakeServices(int aCount);

/** A ServicesChanged signal about so many services, @a aChangedCount of them with a changed property, the others
 * without. */
Message MakeServicesChanged(int aCount, int aChangedCount);

/** A ServicesChanged signal with so many services and all their properties. */
Message MakeServicesAdded(int aCount);

/** Visit every element of a message with libdbus's iterators, and do nothing with it. */
void WalkRaw(DBusMessage *aMessage);
void WalkRaw(DBusMessageIter &anIterator);

/** How long something took, in seconds. */
using Stopwatch = std::function<double()>;

/** In time of the thread's on the processor: what others do meanwhile does not count. */
double Elapsed(const std::function<void()> &anOperation);

/**
 *  Compare two operations as often as the benchmark wants, and report the median of their ratios.
 *
 *  @param[in]  aCount  What the cost is divided by: services, look-ups, signals.
 *  @param[in]  aFloor, anOperation  Each does its work once and yields how long that took.
 */
void Compare(benchmark::State &aState, const std::string &aName, int aSize, int aCount, const Stopwatch &aFloor,
             const Stopwatch &anOperation);

/** Print what was compared: the ratio at each size, and how the cost for each element grows with the size. */
void PrintSummary();

} // namespace zq::Bench

#endif // ZQ_BENCH_H
