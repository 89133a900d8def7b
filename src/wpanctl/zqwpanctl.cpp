/**
 *  @file
 *    The WPAN controller and the registries of the process.
 */

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

// All that is asked of a bus.

zqError AddMatch(zqDBus &aDBus) noexcept
{
    const MessageRef lMessage(
        zqDBus::NewMethodCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "AddMatch"));
    const char *const lRule = kMatchRule;

    if (lMessage.Get() == nullptr ||
        !dbus_message_append_args(lMessage.Get(), DBUS_TYPE_STRING, &lRule, DBUS_TYPE_INVALID))
        return zqError_Failed;

    return aDBus.PerformMethodCallWithMessage(lMessage.Get(), nullptr, nullptr, DBUS_TIMEOUT_USE_DEFAULT, nullptr);
}

void RemoveMatch(const zqDBus &aDBus) noexcept
{
    dbus_bus_remove_match(aDBus.GetConnection(), kMatchRule, nullptr); // without waiting
}

zqError AddFilter(zqDBus &aDBus) noexcept
{
    return aDBus.AddConnectionFilter(HandleMessage, nullptr, nullptr);
}

void RemoveFilter(zqDBus &aDBus) noexcept
{
    (void)aDBus.RemoveConnectionFilter(HandleMessage, nullptr);
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

bool Registry::HasFilter(const zqDBus &aDBus)
{
    const std::lock_guard<std::mutex> lLock(mFilterLock);

    return mFilterBus == &aDBus;
}

zqError Registry::MoveFilter(zqDBus &aDBus)
{
    zqRefCountSharedPtr lOld; // released without the lock: its calls may end, and their receivers come here
    {
        const std::lock_guard<std::mutex> lLock(mFilterLock);

        if (mFilterBus == &aDBus)
            return zqError_None; // another thread was faster
        if (AddFilter(aDBus) != zqError_None)
            return zqError_Failed;

        lOld = mFilterBus;
        mFilterBus.Set(&aDBus);
        if (lOld != nullptr)
            RemoveFilter(static_cast<zqDBus &>(*lOld.Get()));
    }
    if (lOld != nullptr)
        RemoveMatch(static_cast<const zqDBus &>(*lOld.Get()));
    return zqError_None;
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
    : mSignals(std::make_shared<Signals>()), mNetWake(mSignals->mNetWake), mAllowSleep(mSignals->mAllowSleep),
      mPreventSleep(mSignals->mPreventSleep), mAssociationState(mSignals->mAssociationState),
      mJammingState(mSignals->mJammingState), mPropertyChanged(mSignals->mPropertyChanged)
{
    Registry::Get().Append(this);
}

zqWPANCtl::~zqWPANCtl()
{
    Registry::Get().Remove(this);

    // A dispatch under way keeps the signals, but not their slots.
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
    Registry &lRegistry = Registry::Get();

    // Once more when another bus has become the process's meanwhile.
    for (;;)
    {
        const zqRefCountSharedPtr lHolder(zqDBus::GetGlobalDefaultInstance());
        zqDBus *const             lDBus = static_cast<zqDBus *>(lHolder.Get());

        if (lDBus == nullptr || lRegistry.HasFilter(*lDBus))
            return zqError_None;

        // Before the filter moves, so that no signal is lost between the two.
        if (AddMatch(*lDBus) != zqError_None || lRegistry.MoveFilter(*lDBus) != zqError_None)
            return zqError_Failed;
    }
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
