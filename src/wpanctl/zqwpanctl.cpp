/**
 *  @file
 *    The WPAN controller and the registries of the process.
 */

#include <zqwpanctl.h>

#include "zqwpanctl-private.h"

#include <zqdbus.h>
#include <zqlog.h>

#include <algorithm>
#include <new>

#define ZQ_LOG_COMPONENT "wpanctl"
#define ZQ_LOG_FILE "zqwpanctl"

using namespace zq::WPAN;

namespace
{

const char kMatchRule[]        = "type=signal,interface=com.corvanix.MeshLink";
const char kDefaultInterface[] = "wpan0";

// The filter goes with its connection. A controller that is initialised on the
// next one has to install it anew.
void FilterIsGone(void *) noexcept
{
    Registry::Get().mFilterInstalled = false;
}

/** Ask the bus for the daemon's signals, and wait until it has agreed. */
zqError AddMatch(zqDBus &aDBus) noexcept
{
    const Message lMessage(zqDBus::NewMethodCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "AddMatch"));
    const char *const lRule = kMatchRule;

    if (lMessage == nullptr || !dbus_message_append_args(lMessage.get(), DBUS_TYPE_STRING, &lRule, DBUS_TYPE_INVALID))
        return zqError_NoResources;

    return aDBus.PerformMethodCallWithMessage(lMessage.get(), nullptr, nullptr, DBUS_TIMEOUT_USE_DEFAULT, nullptr);
}

zqError InstallFilter(zqDBus &aDBus) noexcept
{
    if (aDBus.AddConnectionFilter(HandleMessage, nullptr, FilterIsGone) != zqError_None)
        return zqError_Failed;

    if (AddMatch(aDBus) != zqError_None)
    {
        // A filter left behind would be a second one after the next attempt.
        (void)aDBus.RemoveConnectionFilter(HandleMessage, nullptr);
        return zqError_Failed;
    }

    Registry::Get().mFilterInstalled = true;
    return zqError_None;
}

} // namespace

Registry &Registry::Get()
{
    static Registry *const sRegistry = new Registry;
    return *sRegistry;
}

void Registry::Append(zqWPANCtl *aController)
{
    const std::lock_guard<std::mutex> lLock(mControllersLock);
    mControllers.push_back(aController);
}

void Registry::Remove(const zqWPANCtl *aController)
{
    const std::lock_guard<std::mutex> lLock(mControllersLock);
    const auto                        lEntry = std::find(mControllers.begin(), mControllers.end(), aController);

    if (lEntry == mControllers.end())
        return;

    const std::lock_guard<std::mutex> lDispatchLock(mDispatchLock);
    if (mDispatching > 0)
        *lEntry = nullptr;
    else
        mControllers.erase(lEntry);
}

zqWPANCtl::Interface *Registry::FindInterface(const zqString &aName)
{
    const std::lock_guard<std::mutex> lLock(mInterfacesLock);
    const auto                        lEntry = mInterfaces.find(aName);

    return lEntry != mInterfaces.end() ? lEntry->second.get() : nullptr;
}

Dispatching::Dispatching()
{
    Registry                         &lRegistry = Registry::Get();
    const std::lock_guard<std::mutex> lLock(lRegistry.mDispatchLock);

    ++lRegistry.mDispatching;
}

Dispatching::~Dispatching()
{
    Registry                         &lRegistry = Registry::Get();
    const std::lock_guard<std::mutex> lControllersLock(lRegistry.mControllersLock);
    const std::lock_guard<std::mutex> lDispatchLock(lRegistry.mDispatchLock);

    if (lRegistry.mDispatching == 1)
        lRegistry.mControllers.remove(nullptr);
    --lRegistry.mDispatching;
}

zqWPANCtl::zqWPANCtl()
{
    Registry::Get().Append(this);
}

zqWPANCtl::~zqWPANCtl()
{
    Registry::Get().Remove(this);

    // A dispatch under way keeps the signal that it raises, but not its slots.
    mNetWake.disconnect_all_slots();
    mAllowSleep.disconnect_all_slots();
    mPreventSleep.disconnect_all_slots();
    mAssociationState.disconnect_all_slots();
    mJammingState.disconnect_all_slots();
    mPropertyChanged.disconnect_all_slots();
}

zqError zqWPANCtl::Init() noexcept
{
    return Init(-1);
}

zqError zqWPANCtl::Init(const int & /* aTimeout */) noexcept
{
    zqDBus *const lDBus = zqDBus::GetGlobalDefaultInstance();

    if (Registry::Get().mFilterInstalled || lDBus == nullptr)
        return zqError_None;

    return InstallFilter(*lDBus);
}

zqWPANCtl::Interface *zqWPANCtl::GetInterface(const zqString &aName) noexcept
try
{
    Registry                              &lRegistry = Registry::Get();
    const std::lock_guard<std::mutex>      lLock(lRegistry.mInterfacesLock);
    std::unique_ptr<zqWPANCtl::Interface> &lEntry = lRegistry.mInterfaces[aName];

    if (lEntry == nullptr)
    {
        lEntry = std::make_unique<Interface>();
        (void)lEntry->Init(zqString(kObjectPath) + "/" + aName, this); // it has logged why its settings cannot be kept
    }
    return lEntry.get();
}
catch (const std::bad_alloc &)
{
    return nullptr;
}

zqWPANCtl::Interface *zqWPANCtl::GetInterface() noexcept
{
    return GetInterface(kDefaultInterface);
}
