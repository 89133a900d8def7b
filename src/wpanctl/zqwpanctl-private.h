/**
 *  @file
 *    What the sources of the WPAN client share: the registries of the process.
 */

#ifndef ZQWPANCTL_PRIVATE_H
#define ZQWPANCTL_PRIVATE_H

#include <zqwpanctl-signals.h>

#include <zqrefcount.h>
#include <zqshared-lock.h>
#include <zqshared-message.h>

#include <dbus/dbus.h>

#include <list>
#include <map>
#include <memory>
#include <mutex>

class zqDBus;

namespace zq::WPAN
{

using Shared::MessageRef;
using Shared::ScopedLock;

constexpr const char kInterface[]  = "com.corvanix.MeshLink";
constexpr const char kObjectPath[] = "/com/corvanix/MeshLink";

// Properties that no application need name.
constexpr const char kPropertyDriverName[]       = "Config:NCP:DriverName";
constexpr const char kPropertyJamStatus[]        = "JamDetection:Status";
constexpr const char kPropertyJamEnable[]        = "JamDetection:Enable";
constexpr const char kPropertyJamRssiThreshold[] = "JamDetection:RssiThreshold";
constexpr const char kPropertyJamWindow[]        = "JamDetection:Window";
constexpr const char kPropertyJamBusyPeriod[]    = "JamDetection:BusyPeriod";

/**
 *  The process-wide state. Each lock guards what stands below it; they are never
 *  held together, but for the dispatch lock, which is taken inside the
 *  controllers' lock. No signal is raised under any of them.
 */
struct Registry
{
    std::mutex             mControllersLock;
    std::list<zqWPANCtl *> mControllers; // null: destroyed during a dispatch

    std::mutex                                                mInterfacesLock;
    std::map<zqString, std::unique_ptr<zqWPANCtl::Interface>> mInterfaces;

    std::mutex mDispatchLock;
    int        mDispatching = 0; // a slot that runs the bus dispatches inside a dispatch

    std::mutex          mFilterLock;
    zqRefCountSharedPtr mFilterBus; // whose connection has the message filter

    /** Made at the first call and never freed: slots of any age may still ask for it. */
    static Registry &Get();

    void Append(zqWPANCtl *aController);

    /** A dispatch that walks the list keeps its place: the entry is emptied now and removed when the dispatch ends. */
    void Remove(const zqWPANCtl *aController);

    /** Null when nobody has asked for the interface. */
    zqWPANCtl::Interface *FindInterface(const zqString &aName);

    bool HasFilter(const zqDBus &aDBus);

    /** Put the filter on this bus, and take it off the one that has it. @retval 0, or -1 with nothing changed. */
    zqError MoveFilter(zqDBus &aDBus);
};

/** Marks a dispatch for as long as it lives. */
class Dispatching
{
public:
    Dispatching();
    ~Dispatching();
    Dispatching(const Dispatching &)            = delete;
    Dispatching &operator=(const Dispatching &) = delete;
};

/** The message filter. */
DBusHandlerResult HandleMessage(DBusConnection *aConnection, DBusMessage *aMessage, void *aContext) noexcept;

} // namespace zq::WPAN

#endif // ZQWPANCTL_PRIVATE_H
