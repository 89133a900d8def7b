/**
 *  @file
 *    Events, the queues that carry them to a thread, and the publisher that
 *    posts an event to every subscribed queue.
 */

#ifndef ZQEVENT_H
#define ZQEVENT_H

#include <zqerror.h>
#include <zqexport.h>
#include <zqrefcount.h>

#include <prio.h>

#include <cstdint>
#include <memory>

class zqEventQueue;

/** A typed, reference counted event. Immutable once it has been enqueued. */
class ZQ_EXPORT zqEvent : public zqRefCount
{
public:
    zqEvent() noexcept = default;

    /** @retval 0 */
    zqError      Init(unsigned int aType, unsigned int aFlags) noexcept;
    unsigned int GetType() const noexcept { return mType; }
    unsigned int GetFlags() const noexcept { return mFlags; }

protected:
    ~zqEvent() override;

private:
    unsigned int mType  = 0;
    unsigned int mFlags = 0;
};

/** Receives the events that were enqueued for it, on the thread that drains the queue. */
class ZQ_EXPORT zqIEventHandler
{
public:
    virtual ~zqIEventHandler();

    /** Must not throw. @param[in]  anEvent  Lent for the duration of the call. */
    virtual void HandleEvent(zqEvent *anEvent) = 0;
};

/**
 *  A first-in-first-out queue of events that wakes a poll loop.
 *
 *  Enqueue, Exit and Remove may be called from any thread; one thread drains
 *  the queue, with Dequeue or with Dispatch. Events that still wait when the
 *  queue goes are released.
 */
class ZQ_EXPORT zqEventQueue
{
public:
    /** The type of the event that Exit posts, for a null handler. */
    static const unsigned int kExitEvent;

    zqEventQueue() noexcept;
    ~zqEventQueue();
    zqEventQueue(const zqEventQueue &)            = delete;
    zqEventQueue &operator=(const zqEventQueue &) = delete;

    /** @retval 0, -3 when already initialised, -7 when the lock or the pollable event cannot be created. */
    zqError Init() noexcept;

    /**
     *  The pollable event to poll for PR_POLL_READ, lent; null before Init.
     *
     *  It is readable from the first Enqueue after it was last waited for and
     *  dequeued from. After PR_WaitForPollableEvent, dequeue until Dequeue
     *  reports no more: what comes in between does not tell of itself again.
     */
    PRFileDesc *GetPoller() const noexcept;

    /**
     *  Append an event for a handler; the queue takes a reference of its own.
     *
     *  @param[in]  aHandler  May be null: the event is then for whoever drains
     *                        the queue.
     *  @retval 0, -3 before Init, -5 for a null event, -2 when memory is
     *          exhausted, -1 when the poller cannot be set; on failure the queue
     *          is unchanged.
     */
    zqError Enqueue(zqEvent *anEvent, zqIEventHandler *aHandler) noexcept;

    /**
     *  Take the oldest event.
     *
     *  @param[out]  anEvent   The event, with the queue's reference, which the
     *                         caller releases; null when there is none.
     *  @param[out]  aHandler  The handler it is for; may be null.
     *  @returns true when there was one.
     */
    bool Dequeue(zqEvent *&anEvent, zqIEventHandler *&aHandler) noexcept;

    /**
     *  Drop the events that wait for a handler that is about to go.
     *
     *  Called on the draining thread this is final; on another one an event
     *  may be on its way to the handler already.
     */
    void Remove(const zqIEventHandler *aHandler) noexcept;

    /**
     *  Take every event that waits and hand each to its handler.
     *
     *  It clears the poller, so a loop may call it as soon as the poller is
     *  readable, after waiting for it or not. What a handler enqueues is left
     *  for the next call, and the poller is readable. Events without a handler
     *  are dropped.
     *
     *  @returns false when the exit event was among them; the others were
     *           handed out all the same.
     */
    bool Dispatch() noexcept;

    /** Post the exit event. @retval as Enqueue. */
    zqError Exit() noexcept;

private:
    struct State;

    /** Dequeue an event whose number is below this. */
    bool DequeueBefore(std::uint64_t anEnd, zqEvent *&anEvent, zqIEventHandler *&aHandler) noexcept;

    std::unique_ptr<State> mState;
};

/**
 *  A list of subscribers (queue, handler, name).
 *
 *  May be called from any thread, except Init and Destroy, which nothing else
 *  may overlap. The publisher's lock is held while Publish calls its function,
 *  which must therefore not use the publisher; in return nothing is published
 *  to a subscriber any more once Unsubscribe has returned.
 */
class ZQ_EXPORT zqEventPublisher
{
public:
    using PublishFunction = zqError (*)(zqIEventHandler *aHandler, zqEventQueue *aQueue, void *aContext);

    zqEventPublisher() noexcept;
    virtual ~zqEventPublisher();
    zqEventPublisher(const zqEventPublisher &)            = delete;
    zqEventPublisher &operator=(const zqEventPublisher &) = delete;

    /** @retval 0, -3 when already initialised, -7 when the lock cannot be created. */
    zqError Init(const char *aName) noexcept;

    /** Drop every subscriber, back to the state before Init. Safe to call twice. */
    void Destroy() noexcept;

    /**
     *  Add a subscriber. The queue and the handler stay the caller's and must
     *  outlive the subscription.
     *
     *  @param[in]  aName  Names the subscriber in the log; may be null.
     *
     *  @retval 0, -3 before Init, -5 for a null queue or handler, -18 when the
     *          pair is subscribed already, -2 when memory is exhausted.
     */
    virtual zqError Subscribe(zqEventQueue *aQueue, zqIEventHandler *aHandler, const char *aName);

    /** @retval 0, -3 before Init, -17 when the pair is not subscribed. */
    virtual zqError Unsubscribe(zqEventQueue *aQueue, zqIEventHandler *aHandler);

    /**
     *  Call @a aFunction once for every subscriber, in the order of subscription.
     *
     *  @returns 0, or the first failure, every subscriber being served all the
     *           same; -3 before Init, -5 for a null function.
     */
    zqError Publish(PublishFunction aFunction, void *aContext);

private:
    struct State;
    std::unique_ptr<State> mState;
};

/**
 *  Keeps a loop visible to the watchdog of the application's queue.
 *
 *  While it is registered, the loop of the own queue counts as alive under the
 *  client's name. The watchdog itself belongs to the device: here clients are
 *  only registered and counted. May be used from any thread.
 */
class ZQ_EXPORT zqHeartBeatClient
{
public:
    /**
     *  @param[in]  anOwnQueue          The queue of the loop; may be null.
     *  @param[in]  anApplicationQueue  The queue that the watchdog keeps; may be null.
     *  @param[in]  aName               May be null.
     *  @param[in]  aPeriod             The longest time in seconds between two beats.
     */
    zqHeartBeatClient(zqEventQueue *anOwnQueue, zqEventQueue *anApplicationQueue, const char *aName,
                      int aPeriod) noexcept;

    /** Unregisters. */
    ~zqHeartBeatClient();
    zqHeartBeatClient(const zqHeartBeatClient &)            = delete;
    zqHeartBeatClient &operator=(const zqHeartBeatClient &) = delete;

    /** @retval 0, or -22 when registered already. */
    zqError Register() noexcept;

    /** @retval 0, or -22 when not registered. */
    zqError Unregister() noexcept;

    /** The number of clients of this process that are registered with @a anApplicationQueue. */
    static int GetNumRegistered(const zqEventQueue *anApplicationQueue) noexcept;

private:
    const zqEventQueue *mApplicationQueue;
    zqHeartBeatClient  *mNext       = nullptr; // of the registered clients
    bool                mRegistered = false;
};

#endif // ZQEVENT_H
