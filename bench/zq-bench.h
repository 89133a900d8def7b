/**
 *  @file
 *    What the benchmarks share: the messages, the floor that they are measured
 *    against, the daemon, and the way in which two works are compared.
 */

#ifndef ZQ_BENCH_H
#define ZQ_BENCH_H

#include <dbus/dbus.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zq::Bench
{

/** End the program when something fails that only a fault of its own can make fail. */
void Require(bool aCondition);

// Messages

struct FreeMessage
{
    void operator()(DBusMessage *aMessage) const { dbus_message_unref(aMessage); }
};

using Message = std::unique_ptr<DBusMessage, FreeMessage>;

std::string ServicePath(int anIndex);

/** Append the properties of a Wi-Fi service, as a daemon of today tells them. */
void AppendProperties(DBusMessage *aMessage, int anIndex, const char *aState);

/** Append a set of so many services with all their properties. */
void AppendServices(DBusMessage *aMessage, int aCount);

/** Append what ServicesChanged has: so many services, the first of them with another state, and nothing removed. */
void AppendChanges(DBusMessage *aMessage, int aCount, int aChangedCount, const char *aState);

/** As it comes from the bus: in one piece. */
Message Received(Message aMessage);

/** Visit every element of a message with libdbus's iterators, and do nothing with it. */
void Walk(DBusMessage *aMessage);

// The daemon: this program once more, in a process of its own

/** Be the daemon; its orders come on the standard input. @returns the status to end with. */
int RunDaemon();

namespace Daemon
{

enum Order : int
{
    kCount,  ///< have so many services
    kEmit,   ///< send so many PropertyChanged of one byte
    kChange, ///< change the state of so many services, and tell of it in one signal
    kStamp   ///< send so many PropertyChanged with the time in nanoseconds
};

void Start();

/** Give an order and do not wait. */
void Send(Order anOrder, int aCount);

/** The same, and return when the bus has passed on whatever it makes the daemon send. */
void Tell(Order anOrder, int aCount);

} // namespace Daemon

// Comparing

/** How the program was told to count. */
enum class Counting
{
    Times,        ///< time on the processor and on the wall, allocations, what stays allocated
    Instructions, ///< callgrind counts: it is told where each work begins and ends
    Calls         ///< strace counts: so is it
};

extern Counting gCounting;

/** Something to measure: what goes before and what undoes it is not. */
struct Work
{
    std::function<void()> mRun;
    std::function<void()> mPrepare = [] {};
    std::function<void()> mUndo    = [] {};
};

/**
 *  Compare two works as often as the times need; once, after one round that is not counted, for the other ways.
 *
 *  A line of the output is: name, size, count, quantity, what the floor took of it, and what the work took.
 *
 *  @param[in]  aCount  How many services, signals or calls the work is about.
 */
void Compare(const std::string &aName, int aSize, int aCount, const Work &aFloor, const Work &aWork);

void Print(const std::string &aName, int aSize, int aCount, const char *aQuantity, double aFloor, double aWork);

double Median(std::vector<double> aValues);

/** So long since some time, in nanoseconds: of the thread on the processor, or of the clock. */
double Nanoseconds(int aClock);

// The measures

void MeasureBytes();
void MeasureModel();

} // namespace zq::Bench

#endif // ZQ_BENCH_H
