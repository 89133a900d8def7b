/**
 *  @file
 *    The properties of the daemon's manager: what it tells of them, and what is
 *    set.
 *
 *  A property that is set is sent, and set in the copy held here, in one hold of
 *  a lock. A refusal takes the same lock, so it finds either both done or
 *  neither; and it changes nothing when the property was set once more since.
 */

#include "zqnetworkmanager-connman.h"

#include <zqlog.h>

#include <new>

#define ZQ_LOG_COMPONENT "network manager"
#define ZQ_LOG_FILE "zqnetworkmanager-connman"

namespace zq::NetworkManager::ConnMan
{

namespace
{

} // namespace

/** When the daemon does not take it, the copy held here says again what the daemon told last. */
class Manager::PropertySet final : public ::zq::ConnMan::ManagerSetPropertyPendingCall
{
public:
    PropertySet(Manager &aManager, const CFUSharedRef<CFStringRef> &aKey, unsigned int aNumber) noexcept
        : ManagerSetPropertyPendingCall(&aManager.mConnMan, CFSTR("/")), mManager(aManager), mKey(aKey),
          mNumber(aNumber)
    {
    }

    void errorReceived(zqDBusError *anError) override
    {
        ManagerSetPropertyPendingCall::errorReceived(anError);
        DidNotSet();
    }

    void timedOut() override
    {
        ManagerSetPropertyPendingCall::timedOut();
        DidNotSet();
    }

private:
    void DidNotSet()
    {
        // What ends because the manager goes finds only a part of it.
        if (GetConnMan() != nullptr && GetConnMan()->GetDelegate() == &mManager)
            mManager.PropertyNotSet(mKey, mNumber);
    }

    Manager                        &mManager;
    const CFUSharedRef<CFStringRef> mKey;
    const unsigned int              mNumber;
};

zqError Manager::ManagerSetProperty(const CFUSharedRef<CFStringRef> &aKey, const CFUSharedRef<const void *> &aValue)
try
{
    if (!IsName(aKey))
        return zqError_InvalidArgument;
    ZQ_REQUIRE(aValue != NULL, zqError_InvalidArgument);

    const zqString                    lKey(aKey);
    const std::lock_guard<std::mutex> lLock(mPropertySetLock);
    unsigned int                     &lLatest = mLatestSets[lKey];
    const unsigned int                lNumber = lLatest + 1;

    std::unique_ptr<PropertySet> lSet(new (std::nothrow) PropertySet(*this, aKey, lNumber));
    ZQ_REQUIRE(lSet != NULL, zqError_OutOfMemory);

    // The copy held here must not run ahead of the daemon.
    const zqError lReturn = mConnMan.ManagerSetProperty(lKey.GetAsUTFArray(), aValue.Get(), lSet.get());
    if (lReturn != zqError_None)
        return lReturn;

    (void)lSet.release(); // it is the bus's, and may have ended by now
    lLatest = lNumber;

    return zq::NetworkManager::Manager::ManagerSetProperty(aKey, aValue);
}
catch (const std::bad_alloc &)
{
    return zqError_OutOfMemory;
}

zqError Manager::TakeProperties(CFDictionaryRef aProperties)
{
    {
        const std::lock_guard<std::mutex> lLock(mPropertySetLock);

        if (mTold == nullptr)
            mTold = Shared::MakeDictionary();
        (void)CFUDictionaryMerge(mTold.Get(), aProperties, true);
    }
    return UpdateProperties(aProperties);
}

void Manager::PropertyNotSet(const CFUSharedRef<CFStringRef> &aKey, unsigned int aNumber)
{
    const auto lChanges = Shared::MakeDictionary();
    zqError    lReturn  = zqError_None;

    {
        const std::lock_guard<std::mutex> lLock(mPropertySetLock);
        const auto                        lLatest = mLatestSets.find(aKey);

        // What was set since is right, or is refused in its turn.
        if (lLatest == mLatestSets.end() || lLatest->second != aNumber)
            return;

        const auto lTold = CFURetain(mTold != nullptr ? CFDictionaryGetValue(mTold.Get(), aKey.Get()) : nullptr);

        if (lTold != nullptr)
        {
            lReturn = zq::NetworkManager::Manager::ManagerSetProperty(aKey, lTold);
            CFDictionarySetValue(lChanges.Get(), aKey.Get(), lTold.Get());
        }
        else
            lReturn = ManagerClearProperty(aKey);
        (void)ZQ_CHECK(lReturn == 0);
    }

    if (ZQ_CHECK(lChanges != NULL))
    {
        lReturn = SignalPropertiesChanged(lChanges.Get());
        (void)ZQ_CHECK(lReturn == 0);
    }
}

} // namespace zq::NetworkManager::ConnMan
