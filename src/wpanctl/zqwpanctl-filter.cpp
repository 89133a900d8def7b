/**
 *  @file
 *    The message filter that hands the WPAN daemon's signals to the controllers
 *    and the interfaces.
 */

#include "zqwpanctl-private.h"

#include <zqdbus.h>
#include <zqlog.h>

#include <algorithm>
#include <cstring>
#include <string>

#define ZQ_LOG_COMPONENT "wpanctl"
#define ZQ_LOG_FILE "zqwpanctl"

namespace zq::WPAN
{

namespace
{

constexpr std::size_t kMaximumNameLength = 63;

using OfController = zqWPANCtl::Signals;
using OfInterface  = zqWPANCtl::Interface::Signals;

/** One signal about one interface, on its way to everybody who is to be told. */
class Announcement
{
public:
    explicit Announcement(const zqString &anInterface) noexcept : mInterface(anInterface) {}

    const zqString &GetInterface() const noexcept { return mInterface; }

    /** False when an exception left a slot. */
    bool IsIntact() const noexcept { return mIntact; }

    /** Raise a signal of every controller, then the same of the interface. */
    template <typename ControllerSignal, typename InterfaceSignal, typename... Arguments>
    void Raise(ControllerSignal OfController::*aControllerSignal, InterfaceSignal OfInterface::*anInterfaceSignal,
               const Arguments &...anArguments)
    {
        Registry                    &lRegistry = Registry::Get();
        std::unique_lock<std::mutex> lLock(lRegistry.mControllersLock);

        for (zqWPANCtl *const &lController : lRegistry.mControllers)
        {
            if (lController == nullptr)
                continue;

            // The controller may be destroyed by one of its own slots.
            const auto lSignals = lController->mSignals;

            lLock.unlock();
            Guard([&] { ((*lSignals).*aControllerSignal)(mInterface, anArguments...); });
            lLock.lock();
        }
        lLock.unlock();

        zqWPANCtl::Interface *const lInterface = lRegistry.FindInterface(mInterface);
        if (lInterface != nullptr)
            Guard([&] { ((*lInterface->mSignals).*anInterfaceSignal)(anArguments...); });
    }

private:
    // One owner's broken slot must not cost the other owners their signal.
    template <typename Function>
    void Guard(const Function &aFunction) noexcept
    try
    {
        aFunction();
    }
    catch (...)
    {
        mIntact = false;
        ZQ_LOG(zqLogLevel_Error, "wpanctl: a slot threw an exception");
    }

    const zqString mInterface;
    bool           mIntact = true;
};

/** @returns true when the message was handled, false for one that does not decode or that others are to see too. */
using Handler = bool (*)(Announcement &anAnnouncement, DBusMessage *aMessage);

bool HandleNetWake(Announcement &anAnnouncement, DBusMessage *aMessage)
{
    unsigned char lData      = 0;
    dbus_int32_t  lRemaining = 0;

    if (zqDBus::DecodeMessageParams(aMessage, nullptr, DBUS_TYPE_BYTE, &lData, DBUS_TYPE_INT32, &lRemaining,
                                    DBUS_TYPE_INVALID) != zqError_None)
        return false;

    ZQ_LOG(zqLogLevel_Information, "wpanctl: Got net wake event for interface %s, %dms remaining, data:0x%02X\n",
           anAnnouncement.GetInterface().GetAsUTFArray(), lRemaining, lData);
    anAnnouncement.Raise(&OfController::mNetWake, &OfInterface::mNetWake, int(lData), int(lRemaining));
    return true;
}

bool HandlePreventSleep(Announcement &anAnnouncement, DBusMessage *)
{
    anAnnouncement.Raise(&OfController::mPreventSleep, &OfInterface::mPreventSleep);
    return true;
}

bool HandleAllowSleep(Announcement &anAnnouncement, DBusMessage *)
{
    anAnnouncement.Raise(&OfController::mAllowSleep, &OfInterface::mAllowSleep);
    return true;
}

bool HandleAssociationStateChanged(Announcement &anAnnouncement, DBusMessage *aMessage)
{
    const char *lText = nullptr;

    if (zqDBus::DecodeMessageParams(aMessage, nullptr, DBUS_TYPE_STRING, &lText, DBUS_TYPE_INVALID) != zqError_None)
        return false;

    const auto lState = CFUAdopt(CFStringCreateWithCString(kCFAllocatorDefault, lText, kCFStringEncodingUTF8));
    if (!lState)
        return false;

    anAnnouncement.Raise(&OfController::mAssociationState, &OfInterface::mAssociationState, lState.Get());
    return true;
}

bool HandleJammingState(Announcement &anAnnouncement, const CFUSharedRef<CFTypeRef> &aValue)
{
    if (!CFUIsTypeID(aValue.Get(), CFBooleanGetTypeID()))
        return false;

    const bool lJammed = CFUIsTrue(aValue);

    ZQ_LOG(zqLogLevel_Information, "wpanctl: meshd reporting jamming state: %s", lJammed ? "true" : "false");
    anAnnouncement.Raise(&OfController::mJammingState, &OfInterface::mJammingState, lJammed);
    return true;
}

bool HandlePropertyChanged(Announcement &anAnnouncement, DBusMessage *aMessage)
{
    DBusMessageIter lIterator;
    const char     *lKey = nullptr;

    if (!dbus_message_iter_init(aMessage, &lIterator) || dbus_message_iter_get_arg_type(&lIterator) != DBUS_TYPE_STRING)
        return false;
    dbus_message_iter_get_basic(&lIterator, &lKey);
    (void)dbus_message_iter_next(&lIterator);

    const CFUSharedRef<CFTypeRef> lValue = zqDBus::CopyValue(&lIterator);
    if (!lValue)
        return false;

    ZQ_LOG(zqLogLevel_Detail, "wpanctl: meshd signal property changed: %s", lKey);
    anAnnouncement.Raise(&OfController::mPropertyChanged, &OfInterface::mPropertyChanged, zqString(lKey), lValue);

    // Every other change is left for the other filters of the process to see.
    return std::strcmp(lKey, kPropertyJamStatus) == 0 && HandleJammingState(anAnnouncement, lValue);
}

struct Row
{
    const char *mMember;
    Handler     mHandler;
};

const Row kRows[] = {
    { "NetWake", HandleNetWake },
    { "PreventSleep", HandlePreventSleep },
    { "AllowSleep", HandleAllowSleep },
    { "AssociationStateChanged", HandleAssociationStateChanged },
    { "PropertyChanged", HandlePropertyChanged },
};

/** The interface that a signal is about, from the rest of its path: empty when the path is no interface's. */
std::string InterfaceName(const char *aRest)
{
    if (aRest[0] != '/')
        return {};
    return std::string(aRest + 1, std::min(std::strcspn(aRest + 1, "/"), kMaximumNameLength));
}

bool HandleInterfaceSignal(DBusMessage *aMessage, const char *aRest)
{
    const std::string lName = InterfaceName(aRest);
    if (lName.empty())
        return false;

    const auto lRow =
        std::find_if(std::begin(kRows), std::end(kRows),
                     [&](const Row &aRow) { return dbus_message_is_signal(aMessage, kInterface, aRow.mMember) != 0; });
    if (lRow == std::end(kRows))
        return false;

    Announcement lAnnouncement(zqString(lName.c_str()));
    const bool   lHandled = lRow->mHandler(lAnnouncement, aMessage);
    return lHandled && lAnnouncement.IsIntact();
}

/** @param[out]  anInterface  The interface whose settings are to be restored, or null. */
bool HandleInterfaceAdded(DBusMessage *aMessage, zqWPANCtl::Interface *&anInterface)
{
    const char *lName = nullptr;

    if (zqDBus::DecodeMessageParams(aMessage, nullptr, DBUS_TYPE_STRING, &lName, DBUS_TYPE_INVALID) != zqError_None)
        return false;

    ZQ_LOG(zqLogLevel_Information, "wpanctl: meshd signaling interface %s added, restoring saved settings", lName);
    anInterface = Registry::Get().FindInterface(lName);
    return true;
}

bool Dispatch(DBusMessage *aMessage, zqWPANCtl::Interface *&anInterface)
{
    const Dispatching lDispatching;
    const char *const lPath   = dbus_message_get_path(aMessage);
    const std::size_t lLength = sizeof(kObjectPath) - 1;

    if (lPath == nullptr || std::strncmp(lPath, kObjectPath, lLength) != 0)
        return false;
    if (dbus_message_is_signal(aMessage, kInterface, "InterfaceAdded"))
        return HandleInterfaceAdded(aMessage, anInterface);
    return HandleInterfaceSignal(aMessage, lPath + lLength);
}

} // namespace

DBusHandlerResult HandleMessage(DBusConnection *, DBusMessage *aMessage, void *) noexcept
try
{
    zqWPANCtl::Interface *lInterface = nullptr;
    const bool            lHandled   = Dispatch(aMessage, lInterface);

    if (lInterface != nullptr)
        lInterface->RestoreSettings();
    return lHandled ? DBUS_HANDLER_RESULT_HANDLED : DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
}
catch (...)
{
    ZQ_LOG(zqLogLevel_Error, "wpanctl: a signal of meshd could not be dispatched");
    return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
}

} // namespace zq::WPAN
