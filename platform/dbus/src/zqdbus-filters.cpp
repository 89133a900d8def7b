/**
 *  @file
 *    The connection's filters.
 */

#include "zqdbus-private.h"

#include <zqlog.h>

#include <algorithm>

#define ZQ_LOG_COMPONENT "dbus"
#define ZQ_LOG_FILE "zqdbus"

struct zqDBusConnectionFilters::Row
{
    ~Row()
    {
        if (mFree != nullptr)
            mFree(mContext);
    }

    DBusHandleMessageFunction mFilter  = nullptr;
    void                     *mContext = nullptr;
    DBusFreeFunction          mFree    = nullptr;
    unsigned long             mNumber  = 0; ///< ascending, so that a walk finds its place again
};

zqError zqDBusConnectionFilters::Add(DBusHandleMessageFunction aFilter, void *aContext, DBusFreeFunction aFree) noexcept
{
    if (aFilter == nullptr)
        return zqError_InvalidArgument;

    return zqDBusGuarded(
        [&]
        {
            auto                              lRow = std::make_shared<Row>();
            const std::lock_guard<std::mutex> lLock(mLink.mLock);

            if (!mLink.IsConnectedLocked())
                return zqError(zqError_WrongState);

            mRows.push_back(lRow);

            // Its own from here on: a row that could not be kept must not free what is still the caller's.
            lRow->mFilter  = aFilter;
            lRow->mContext = aContext;
            lRow->mFree    = aFree;
            lRow->mNumber  = ++mLast;

            return zqError(zqError_None);
        });
}

zqError zqDBusConnectionFilters::Remove(DBusHandleMessageFunction aFilter, const void *aContext) noexcept
{
    std::shared_ptr<Row>              lGone; // what it frees, it frees without the lock
    const std::lock_guard<std::mutex> lLock(mLink.mLock);
    const auto                        lFound = std::find_if(mRows.begin(), mRows.end(),
                                                            [=](const std::shared_ptr<Row> &aRow)
                                                            { return aRow->mFilter == aFilter && aRow->mContext == aContext; });

    if (lFound == mRows.end())
        return zqError_NotFound;

    lGone.swap(*lFound);
    (void)mRows.erase(lFound);

    return zqError_None;
}

void zqDBusConnectionFilters::RemoveAll() noexcept
{
    Rows                              lGone;
    const std::lock_guard<std::mutex> lLock(mLink.mLock);

    lGone.swap(mRows);
}

/** The first row behind this number, up to the last one. */
std::shared_ptr<zqDBusConnectionFilters::Row> zqDBusConnectionFilters::FindAfter(unsigned long aNumber,
                                                                                 unsigned long aLast) noexcept
{
    const std::lock_guard<std::mutex> lLock(mLink.mLock);

    for (const std::shared_ptr<Row> &lRow : mRows)
        if (lRow->mNumber > aNumber && lRow->mNumber <= aLast)
            return lRow;
    return nullptr;
}

void zqDBusConnectionFilters::Dispatch(DBusMessage *aMessage) noexcept
{
    unsigned long lLast = 0;

    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);

        lLast = mLast;
    }

    for (auto lRow = FindAfter(0, lLast); lRow != nullptr; lRow = FindAfter(lRow->mNumber, lLast))
    {
        try
        {
            if (lRow->mFilter(mLink.mConnection, aMessage, lRow->mContext) == DBUS_HANDLER_RESULT_HANDLED)
                return;
        }
        catch (...)
        {
            ZQ_LOG(zqLogLevel_Error, "dbus: a filter threw\n");
        }
    }
}
