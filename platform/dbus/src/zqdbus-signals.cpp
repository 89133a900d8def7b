/**
 *  @file
 *    The tables of signals and the filters.
 *
 *  Handlers register and unregister while a message is on its way through the
 *  entries: meanwhile one that is unregistered is only marked, and one that is
 *  new waits for the next message.
 */

#include "zqdbus-private.h"

#include <zqlog.h>

#include <algorithm>

#define ZQ_LOG_COMPONENT "dbus"
#define ZQ_LOG_FILE "zqdbus"

namespace
{

bool IsSameOrNull(const char *aFirst, const char *aSecond) noexcept
{
    return (aFirst == nullptr && aSecond == nullptr) || zqDBusIsSame(aFirst, aSecond);
}

/** Null in the row matches everything. */
bool Allows(const char *aColumn, const char *aText) noexcept
{
    return aColumn == nullptr || zqDBusIsSame(aColumn, aText);
}

bool HasFirstArgument(DBusMessage *aMessage, const char *anArgument) noexcept
{
    DBusMessageIter lIterator;
    const char     *lText = nullptr;

    if (!dbus_message_iter_init(aMessage, &lIterator) || dbus_message_iter_get_arg_type(&lIterator) != DBUS_TYPE_STRING)
        return false;

    dbus_message_iter_get_basic(&lIterator, &lText);

    return zqDBusIsSame(lText, anArgument);
}

} // namespace

bool zqDBusSignals::IsValid(const zqDBusSignalDispatch &aRow) noexcept
{
    return (aRow.mInterface == nullptr || zqDBusIsValidInterface(aRow.mInterface)) &&
           (aRow.mSender == nullptr || zqDBusIsValidBusName(aRow.mSender)) &&
           (aRow.mPath == nullptr || zqDBusIsValidPath(aRow.mPath)) &&
           (aRow.mMember == nullptr || zqDBusIsValidMember(aRow.mMember)) &&
           (aRow.mFirstArgument == nullptr || zqDBusIsValidText(aRow.mFirstArgument));
}

bool zqDBusSignals::IsSame(const zqDBusFilter &aFirst, const zqDBusFilter &aSecond) noexcept
{
    return aFirst.mHandler == aSecond.mHandler && aFirst.mContext == aSecond.mContext &&
           IsSameOrNull(aFirst.mInterface, aSecond.mInterface) && IsSameOrNull(aFirst.mMember, aSecond.mMember) &&
           IsSameOrNull(aFirst.mSender, aSecond.mSender);
}

zqError zqDBusSignals::Register(const char *aPath, const zqDBusSignalDispatch *aTable, void *aContext) noexcept
{
    if (aPath == nullptr || aTable == nullptr)
        return zqError_InvalidArgument;

    return zqDBusGuarded(
        [&]
        {
            auto lEntry = std::make_unique<Entry>();

            lEntry->mPath    = aPath;
            lEntry->mTable   = aTable;
            lEntry->mContext = aContext;

            const std::lock_guard<std::mutex> lLock(mLink.mLock);

            return AddLocked(std::move(lEntry));
        });
}

zqError zqDBusSignals::Unregister(const char *aPath, const zqDBusSignalDispatch *aTable, void *aContext) noexcept
{
    if (aPath == nullptr || aTable == nullptr)
        return zqError_InvalidArgument;

    const std::lock_guard<std::mutex> lLock(mLink.mLock);

    for (auto &lEntry : mEntries)
        if (!lEntry->mIsStale && lEntry->mTable == aTable && lEntry->mContext == aContext && lEntry->mPath == aPath)
        {
            RemoveLocked(*lEntry);
            PruneLocked();
            return zqError_None;
        }

    return zqError_NotFound;
}

zqError zqDBusSignals::AddFilters(const zqDBusFilter *aTable) noexcept
{
    if (aTable == nullptr)
        return zqError_InvalidArgument;

    const std::lock_guard<std::mutex> lLock(mLink.mLock);
    const zqDBusFilter               *lFilter = aTable;
    zqError                           lReturn = zqError_None;

    for (; lFilter->mHandler != nullptr; lFilter++)
    {
        lReturn = zqDBusGuarded([&] { return AddFilterLocked(*lFilter); });

        if (lReturn != zqError_None)
            break;
    }

    // All of them or none.
    if (lReturn != zqError_None)
        while (lFilter != aTable)
            (void)RemoveFilterLocked(*--lFilter);

    return lReturn;
}

zqError zqDBusSignals::AddFilterLocked(const zqDBusFilter &aFilter)
{
    auto lEntry = std::make_unique<Entry>();

    lEntry->mFilter        = aFilter;
    lEntry->mContext       = aFilter.mContext;
    lEntry->mTable         = lEntry->mFilterRows;
    lEntry->mFilterRows[0] = { aFilter.mInterface, aFilter.mSender, nullptr, aFilter.mMember, nullptr, CallFilter };

    return AddLocked(std::move(lEntry));
}

zqError zqDBusSignals::RemoveFilters(const zqDBusFilter *aTable) noexcept
{
    if (aTable == nullptr)
        return zqError_InvalidArgument;

    const std::lock_guard<std::mutex> lLock(mLink.mLock);
    zqError                           lReturn = zqError_None;

    for (const zqDBusFilter *lFilter = aTable; lFilter->mHandler != nullptr; lFilter++)
        if (!RemoveFilterLocked(*lFilter))
            lReturn = zqError_NotFound;

    return lReturn;
}

bool zqDBusSignals::RemoveFilterLocked(const zqDBusFilter &aFilter) noexcept
{
    // The latest: what is undone after a failure was added last.
    const auto lFound =
        std::find_if(mEntries.rbegin(), mEntries.rend(),
                     [&](const std::unique_ptr<Entry> &anEntry)
                     { return !anEntry->mIsStale && anEntry->mFilter.mHandler && IsSame(anEntry->mFilter, aFilter); });

    if (lFound == mEntries.rend())
        return false;

    RemoveLocked(**lFound);
    PruneLocked();

    return true;
}

zqError zqDBusSignals::AddLocked(std::unique_ptr<Entry> anEntry)
{
    if (mLink.mIsLost || !dbus_connection_get_is_connected(mLink.mConnection))
        return zqError_WrongState;

    for (const zqDBusSignalDispatch *lRow = anEntry->mTable; lRow->mHandler != nullptr; lRow++)
        if (!IsValid(*lRow))
            return zqError_InvalidArgument;

    mEntries.push_back(std::move(anEntry));

    const zqDBusSignalDispatch *const lTable  = mEntries.back()->mTable;
    const zqDBusSignalDispatch       *lRow    = lTable;
    zqError                           lReturn = zqError_None;

    for (; lRow->mHandler != nullptr; lRow++)
    {
        lReturn = zqDBusGuarded([&] { return UseRowLocked(*lRow); });

        if (lReturn != zqError_None)
            break;
    }

    if (lReturn != zqError_None)
    {
        while (lRow != lTable)
            ReleaseRowLocked(*--lRow);

        mEntries.pop_back();
    }

    return lReturn;
}

zqError zqDBusSignals::UseRowLocked(const zqDBusSignalDispatch &aRow)
{
    const std::string lRule      = zqDBusRules::Make(aRow);
    const bool        lIsTracked = zqDBusOwners::IsTracked(aRow.mSender);
    zqError           lReturn    = zqError_None;

    // First whose signals they are, then the signals.
    if (lIsTracked)
        lReturn = mOwners.UseLocked(aRow.mSender);

    if (lReturn != zqError_None)
        return lReturn;

    lReturn = zqDBusGuarded([&] { return mRules.AddLocked(lRule); });

    if (lReturn != zqError_None && lIsTracked)
        mOwners.ReleaseLocked(aRow.mSender);

    return lReturn;
}

void zqDBusSignals::ReleaseRowLocked(const zqDBusSignalDispatch &aRow) noexcept
{
    (void)zqDBusGuarded(
        [&]
        {
            mRules.RemoveLocked(zqDBusRules::Make(aRow));
            return zqError_None;
        });

    if (zqDBusOwners::IsTracked(aRow.mSender))
        mOwners.ReleaseLocked(aRow.mSender);
}

void zqDBusSignals::RemoveLocked(Entry &anEntry) noexcept
{
    anEntry.mIsStale = true;

    for (const zqDBusSignalDispatch *lRow = anEntry.mTable; lRow->mHandler != nullptr; lRow++)
        ReleaseRowLocked(*lRow);
}

void zqDBusSignals::PruneLocked() noexcept
{
    if (mIsDispatching)
        return;

    (void)mEntries.erase(std::remove_if(mEntries.begin(), mEntries.end(),
                                        [](const std::unique_ptr<Entry> &anEntry) { return anEntry->mIsStale; }),
                         mEntries.end());
}

zqDBusSignals::Head::Head(DBusMessage *aMessage) noexcept
    : mMessage(aMessage), mMember(dbus_message_get_member(aMessage)), mInterface(dbus_message_get_interface(aMessage)),
      mPath(dbus_message_get_path(aMessage)), mSender(dbus_message_get_sender(aMessage))
{
}

bool zqDBusSignals::IsMatchLocked(const zqDBusSignalDispatch &aRow, const Head &aHead) const noexcept
{
    return Allows(aRow.mMember, aHead.mMember) && Allows(aRow.mInterface, aHead.mInterface) &&
           Allows(aRow.mPath, aHead.mPath) &&
           (aRow.mSender == nullptr || mOwners.IsOwnerLocked(aRow.mSender, aHead.mSender)) &&
           (aRow.mFirstArgument == nullptr || HasFirstArgument(aHead.mMessage, aRow.mFirstArgument));
}

bool zqDBusSignals::IsServedLocked(const void *aContext) const noexcept
{
    return std::any_of(mEntries.begin(), mEntries.end(),
                       [=](const std::unique_ptr<Entry> &anEntry)
                       { return anEntry->mServed == mMessage && anEntry->mContext == aContext; });
}

bool zqDBusSignals::TakeLocked(Entry &anEntry, const Head &aHead, zqDBusMessageHandler &aHandler,
                               void *&aContext) noexcept
{
    if (anEntry.mIsStale)
        return false;

    for (const zqDBusSignalDispatch *lRow = anEntry.mTable; lRow->mHandler != nullptr; lRow++)
        if (IsMatchLocked(*lRow, aHead))
        {
            if (IsServedLocked(anEntry.mContext))
                return false;

            anEntry.mServed = mMessage;
            aHandler        = lRow->mHandler;
            aContext        = anEntry.mFilter.mHandler != nullptr ? &anEntry : anEntry.mContext;

            return true;
        }

    return false;
}

DBusHandlerResult zqDBusSignals::CallFilter(void *anEntry, DBusConnection * /* aConnection */, DBusMessage *aMessage)
{
    const zqDBusFilter &lFilter = static_cast<const Entry *>(anEntry)->mFilter;
    DBusMessageIter     lIterator;

    (void)dbus_message_iter_init(aMessage, &lIterator);

    return lFilter.mHandler(lFilter.mContext, dbus_message_get_path(aMessage), &lIterator);
}

bool zqDBusSignals::Dispatch(DBusMessage *aMessage) noexcept
{
    bool                         lReturn = false;
    const Head                   lHead(aMessage);
    std::unique_lock<std::mutex> lLock(mLink.mLock);
    const std::size_t            lCount = mEntries.size();

    mIsDispatching = true;
    mMessage++;

    for (std::size_t lIndex = 0; lIndex < lCount; lIndex++)
    {
        zqDBusMessageHandler lHandler = nullptr;
        void                *lContext = nullptr;

        if (!TakeLocked(*mEntries[lIndex], lHead, lHandler, lContext))
            continue;

        lLock.unlock();

        try
        {
            if (lHandler(lContext, mLink.mConnection, aMessage) == DBUS_HANDLER_RESULT_HANDLED)
                lReturn = true;
        }
        catch (...)
        {
            ZQ_LOG(zqLogLevel_Error, "dbus: the handler of a signal threw\n");
        }

        lLock.lock();
    }

    mIsDispatching = false;
    PruneLocked();

    return lReturn;
}
