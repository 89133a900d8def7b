/**
 *  @file
 *    The run loop: a poll over the manager's own queue, which ends it, and over the
 *    descriptors of the concrete manager.
 */

#include <zqnetworkmanager-manager.h>

#include <zqlog.h>

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-manager"

namespace zq::NetworkManager
{

namespace
{

// What HandleEvent yields when the loop is to end.
const int kHandledEvent = 4;

} // namespace

// The own queue's descriptor, which is always there, and those of the concrete
// manager behind it.
class Manager::PollList
{
public:
    explicit PollList(PRFileDesc *aPoller) : mBase{ aPoller, PR_POLL_READ, 0 } {}

    PRPollDesc *GetData() { return mList.empty() ? &mBase : mList.data(); }
    int         GetLength() const { return mList.empty() ? 1 : static_cast<int>(mList.size()); }

    void Reset() { mList.clear(); }

    /** Replace the descriptors behind the base; false, and nothing changes, when memory is exhausted. */
    bool Set(const PRPollDesc *aDescriptors, unsigned int aCount)
    {
        try
        {
            std::vector<PRPollDesc> lList;

            lList.reserve(aCount + 1);
            lList.push_back(mBase);
            lList.insert(lList.end(), aDescriptors, aDescriptors + aCount);
            mList.swap(lList);
        }
        catch (const std::bad_alloc &)
        {
            return false;
        }

        return true;
    }

private:
    PRPollDesc              mBase;
    std::vector<PRPollDesc> mList;
};

void Manager::Run()
{
    bool lIsStale = true;
    bool lDone    = false;

    ZQ_REQUIRE(mEventQueue != NULL, );

    PollList lList(mEventQueue->GetPoller());

    if (lHBClient != nullptr)
        (void)lHBClient->Register();

    while (!lDone)
    {
        RefreshPollList(lList, lIsStale);

        ZQ_LOG(zqLogLevel_Detail, ": Run() - # of poll fds: %d", lList.GetLength());

        const int lActive = PR_Poll(lList.GetData(), lList.GetLength(), PR_INTERVAL_NO_TIMEOUT);

        if (lActive >= 1)
            lDone = HandleReady(lList, lActive);
    }

    if (lHBClient != nullptr)
        (void)lHBClient->Unregister();
}

void Manager::Run(void *aManager)
{
    if (aManager != nullptr)
        static_cast<Manager *>(aManager)->Run();
    else
        ZQ_LOG(zqLogLevel_Error, ": No network manager instance");
}

// The concrete manager tells only what is new since it was last asked, so its
// first answer to a list that does not hold its descriptors counts as new.
void Manager::RefreshPollList(PollList &aList, bool &aIsStale)
{
    if (!IsAvailable())
    {
        aList.Reset();
        aIsStale = true;
        return;
    }

    (void)HandleEvents(nullptr);

    unsigned int      lCount       = 0;
    bool              lChanged     = aIsStale;
    const PRPollDesc *lDescriptors = GetPollDescriptors(lCount, &lChanged);

    if (lDescriptors != nullptr && lCount != 0 && lChanged)
        aIsStale = !ZQ_CHECK_TEXT(aList.Set(lDescriptors, lCount), "lDescriptors != __null");
}

bool Manager::HandleReady(PollList &aList, int anActive)
{
    PRPollDesc *const lData    = aList.GetData();
    int               lHandled = 0;
    bool              lDone    = false;

    if ((lData->out_flags & PR_POLL_READ) != 0)
    {
        (void)PR_WaitForPollableEvent(lData->fd);
        lDone    = (HandleEvent() == kHandledEvent);
        lHandled = 1;
    }

    if (aList.GetLength() > 1 && lHandled < anActive)
        lHandled += HandleEvents(lData + 1);

    if (lHandled != anActive)
        ZQ_LOG(zqLogLevel_Error, ": active fds: %d, handled fds = %d", anActive, lHandled);

    return lDone;
}

int Manager::HandleEvent()
{
    int              lReturn  = 0;
    zqEvent         *lEvent   = nullptr;
    zqIEventHandler *lHandler = nullptr;

    while (mEventQueue->Dequeue(lEvent, lHandler))
    {
        ZQ_LOG(zqLogLevel_Detail, ": Handle event 0x%x", lEvent->GetType());
        lEvent->Release();
        lReturn = kHandledEvent;
    }

    return lReturn;
}

zqError Manager::Stop()
{
    ZQ_REQUIRE(mEventQueue != NULL, zqError_WrongState);

    return mEventQueue->Exit();
}

} // namespace zq::NetworkManager
