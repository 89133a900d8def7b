/**
 *  @file
 *    zqDBus, a connection to the D-Bus system bus that is driven by an NSPR
 *    poll loop, and what is needed to call, to be called and to follow signals.
 */

#ifndef ZQDBUS_H
#define ZQDBUS_H

#include <CFUtilities.h>
#include <zqdbus-error.h>
#include <zqdbus-sentcall.h>
#include <zqerror.h>
#include <zqexport.h>
#include <zqrefcount.h>

#include <dbus/dbus.h>
#include <prio.h>

#include <cstdarg>
#include <memory>

/**
 *  Receives the outcome of an asynchronous call.
 *
 *  A call that was sent ends in exactly one of the three operations, on the
 *  thread that runs HandleEvents (CancelPendingCall: on the caller's), after
 *  which the bus deletes the object. When sending fails, the object stays the
 *  caller's and no operation is called.
 */
class ZQ_EXPORT zqDBusPendingCall
{
public:
    virtual ~zqDBusPendingCall();

    /** A method return came. @param[in]  aReply  Lent. */
    virtual void completed(DBusMessage *aReply) = 0;

    /** An error came, from the peer or from the bus; or the bus is gone, or the call was cancelled. @param[in]  anError
     * Lent. */
    virtual void errorReceived(zqDBusError *anError) = 0;

    /** No reply came within the time-out. */
    virtual void timedOut() = 0;
};

/** A handler of a signal or of a method call. Must not throw (an exception is caught and counts as not handled). */
using zqDBusMessageHandler = DBusHandlerResult (*)(void *aContext, DBusConnection *aConnection, DBusMessage *aMessage);

/**
 *  One row of a table of signals. Null in any column but the last matches
 *  everything; a row whose handler is null ends the table.
 *
 *  A sender that is a well-known name matches the messages of the connection
 *  that owns that name at that time, and no other's.
 */
struct zqDBusSignalDispatch
{
    const char          *mInterface;
    const char          *mSender;
    const char          *mPath;
    const char          *mMember;
    const char          *mFirstArgument;
    zqDBusMessageHandler mHandler;
};

/** One row of a table of methods that an exported object answers; a row whose handler is null ends the table. */
struct zqDBusMethodDispatch
{
    const char          *mInterface;
    const char          *mMethod;
    zqDBusMessageHandler mHandler;
};

/**
 *  One bus filter: every signal of this interface and member, whatever its
 *  object path. A row whose handler is null ends a table.
 */
struct zqDBusFilter
{
    const char *mInterface;
    const char *mMember;
    const char *mSender; ///< as in zqDBusSignalDispatch
    DBusHandlerResult (*mHandler)(void *aContext, const char *aPath, DBusMessageIter *anIterator);
    void *mContext;
};

/**
 *  Receives the elements of a message one after the other.
 *
 *  @param[in]  aContext  What was given to the walk.
 *  @param[in]  anEvent   The type code of a basic element ('b' 'd' 'i' 'n' 'o'
 *                        'q' 's' 't' 'u' 'x' 'y' 'g' 'h'; 'e': the key of a
 *                        dictionary entry, unless it is no text: then its own
 *                        type code; 'v': a variant, before what it holds), or
 *                        one of the zqDBusWalk codes.
 *  @param[in]  aName     Inside a dictionary entry: its key (of the innermost
 *                        one; for the key itself, too). Otherwise, and when the
 *                        key is no text, null.
 *  @param[in]  aValue    A pointer to the element's value, of its D-Bus type
 *                        (for 's', 'o', 'g' and 'e' a `const char *const *`;
 *                        for 'b' a `const dbus_bool_t *`). For an array's start
 *                        a `const int *`: the type code of its elements
 *                        (DBUS_TYPE_DICT_ENTRY: it is a dictionary). Null for
 *                        the other container codes, for 'v', and for 'h': the
 *                        descriptor stays in the message.
 *
 *  @returns 0 to go on; a negative code ends the walk with it.
 */
using zqDBusWalker = zqError (*)(void *aContext, int anEvent, const char *aName, const void *aValue);

enum : int
{
    zqDBusWalkArrayStart     = 0x6173, ///< "as"
    zqDBusWalkArrayEnd       = 0x6165, ///< "ae"
    zqDBusWalkStructureStart = 0x7273, ///< "rs"
    zqDBusWalkStructureEnd   = 0x7265  ///< "re"
};

/** How values are decoded where their natural kinds, those of zqDBus::CopyValue, are not all that is wanted. */
struct zqDBusDecoding
{
    CFStringRef (*mFindString)(const char *aText) noexcept; ///< a string that there is for a text, lent; or null
    bool mBytesAreData;                                     ///< an array of bytes is data, and not of numbers
    bool mKeysAreTexts; ///< a key that is none becomes one (a boolean "0" or "1"); a descriptor is refused
};

/** As what a value, never null, is sent: one of the signatures of zqDBus::AppendVariant, or "y"; null: refused. */
using zqDBusSignatureOf = const char *(*)(CFTypeRef aValue) noexcept;

/**
 *  A connection to the system bus.
 *
 *  Its operations may be called on any thread and inside any handler. Handlers,
 *  and the outcomes of calls, come on the thread that runs HandleEvents, with no
 *  lock held; they may make blocking calls, register and unregister anything,
 *  and drop the last reference to the instance. What another thread unregisters
 *  while it is being called may still be running when that returns.
 *
 *  Nothing but the making of an instance waits for the bus without a limit. When
 *  the last reference goes, the calls that are still outstanding end (see
 *  zqDBusPendingCall), and the connection is closed.
 */
class ZQ_EXPORT zqDBus : public zqRefCount
{
public:
    // Instances

    /**
     *  The calling thread's connection to the system bus, lent: made at the
     *  first call, and anew when the one before has lost its bus. The thread
     *  holds it until it ends or a new one takes its place: who keeps it longer
     *  takes a reference.
     *
     *  Making one connects and registers, which libdbus does without a time-out
     *  when the bus listens but does not answer.
     *
     *  @returns null when the bus cannot be reached.
     */
    static zqDBus *GetThreadDefaultInstance() noexcept;

    /** Make an instance (or none) the process-wide one; it is held with a reference. */
    static void SetGlobalDefaultInstance(zqDBus *aDBus) noexcept;

    /** The process-wide instance, lent; null when there is none. */
    static zqDBus *GetGlobalDefaultInstance() noexcept;

    /**
     *  The libdbus connection, lent: for filters, and for sending.
     *
     *  What it receives is taken out of it before libdbus would dispatch it:
     *  filters are for AddConnectionFilter. Calls that block are for
     *  PerformMethodCall: libdbus's own keep every other thread from sending,
     *  do not notice a forged reply, and may end the process when the bus dies
     *  while another thread uses the connection. The same is true of whatever
     *  else makes a pending call of libdbus's.
     */
    DBusConnection *GetConnection() const noexcept;

    /** False once the bus is gone. */
    bool IsConnected() const noexcept;

    // The poll loop

    /**
     *  The descriptors to poll.
     *
     *  @param[out]     aCount    How many there are.
     *  @param[in,out]  aChanged  Set to true when the set differs from the one
     *                            that was yielded last; left alone otherwise.
     *  @returns the descriptors, lent: one, the same for the life of the
     *           instance, whatever libdbus watches.
     */
    PRPollDesc *GetPollDescriptors(unsigned int &aCount, bool *aChanged) noexcept;

    /**
     *  Read, write, let time-outs run out and dispatch what has come.
     *
     *  One call dispatches a portion of a long queue; the descriptor is ready
     *  again at once when some of it is left. A call from inside a handler, or
     *  while another thread's goes on, does nothing.
     *
     *  @param[in]  aDescriptors  As yielded by GetPollDescriptors, with their
     *                            out-flags; null: only dispatch what waits.
     *  @returns how many of the descriptors were handled.
     */
    int HandleEvents(PRPollDesc *aDescriptors) noexcept;

    /**
     *  Dispatch all that has come when no table or interface is registered and no
     *  call waits: only the connection's filters see it.
     *
     *  For who leaves an instance that may not be driven any more: what his
     *  blocking calls have received beside their replies would be kept for good,
     *  and be old news to who comes next. While others use the instance it does
     *  nothing, nor inside a handler.
     */
    void DispatchUnclaimed() noexcept;

    /**
     *  Add a timer. When it is set, the handler is called once, when so many
     *  milliseconds have passed, on the thread that runs HandleEvents; setting it
     *  again puts it off. Nothing wakes the loop before, nor when it was stopped.
     *  Setting needs no memory.
     *
     *  A handler may set, stop or remove any of them, its own included. One that
     *  is stopped or removed on another thread may still be running when that
     *  returns. When the bus is lost, or the instance goes, they are removed.
     *
     *  @retval 0, -3 when the bus is known to be gone, -5 for a null handler or a
     *          negative time, -7 when memory is exhausted, -17 for setting one
     *          that was not added.
     */
    using TimerHandler = void (*)(void *aContext);
    zqError AddTimer(TimerHandler aHandler, void *aContext) noexcept;
    void    RemoveTimer(TimerHandler aHandler, void *aContext) noexcept;
    zqError SetTimer(TimerHandler aHandler, void *aContext, int aMilliseconds) noexcept;
    void    StopTimer(TimerHandler aHandler, void *aContext) noexcept;

    // Calls

    /** A new method call, with a reference for the caller; null for a null or invalid argument or when memory is
     * exhausted. */
    static DBusMessage *NewMethodCall(const char *aDestination, const char *aPath, const char *anInterface,
                                      const char *aMethod) noexcept;

    /**
     *  Send a call with the given arguments (type and address pairs as for
     *  dbus_message_append_args, ended by DBUS_TYPE_INVALID).
     *
     *  With @a aPending the call is asynchronous and returns once it is queued;
     *  without, it blocks until the reply is there.
     *
     *  The calls of one thread do not hold up those of another, and a blocking
     *  call waits no longer than its time-out, even when the bus process stalls.
     *  It dispatches nothing: the signals that come meanwhile are dispatched by
     *  HandleEvents.
     *
     *  A reply counts only when the connection sent it that owned the
     *  destination when the call was sent or when the reply came, or when it is
     *  an error from the bus. Somebody else's is ignored, with a log line: the
     *  true one still counts.
     *
     *  @param[in]   aPending   Receives the outcome; owned by the bus after a
     *                          result of 0, by the caller otherwise.
     *  @param[out]  aReply     The reply of a blocking call, with a reference
     *                          for the caller; may be null when it is not wanted.
     *  @param[in]   aTimeout   In milliseconds; -1: the bus library's own (25
     *                          seconds); DBUS_TIMEOUT_INFINITE: none; 0: a
     *                          reply that is not there at once is too late.
     *  @param[out]  anError    Filled in for a blocking call that failed on the bus; may be null.
     *
     *  @retval   0  Replied (blocking) or queued.
     *  @retval  -1  The peer or the bus answered with an error: @a anError.
     *  @retval  -3  The bus is gone; @a anError is set too.
     *  @retval  -5  An argument is null or no valid D-Bus name, path, UTF-8,
     *               boolean or time-out, or of a type that cannot be given so.
     *  @retval  -7  Memory is exhausted, or too much (8 MiB) waits to be sent.
     *  @retval -16  No reply within the time-out (blocking); @a anError is set too.
     */
    zqError PerformMethodCall(const char *aDestination, const char *aPath, const char *anInterface, const char *aMethod,
                              zqDBusPendingCall *aPending, DBusMessage **aReply, int aTimeout, DBusError *anError,
                              int aFirstType, va_list aArguments) noexcept;

    /** The same for a message that was built with NewMethodCall; it stays the caller's, who may send it again. */
    zqError PerformMethodCallWithMessage(DBusMessage *aMessage, zqDBusPendingCall *aPending, DBusMessage **aReply,
                                         int aTimeout, DBusError *anError) noexcept;

    /** The two halves of a blocking call without arguments; zqDBusSentCall tells of both. */
    zqError SendMethodCall(const char *aDestination, const char *aPath, const char *anInterface, const char *aMethod,
                           zqDBusSentCall &aCall) noexcept;
    zqError AwaitReply(zqDBusSentCall &aCall, DBusMessage **aReply, int aTimeout, DBusError *anError) noexcept;

    /**
     *  Wait until all that was queued so far has been written, for so many milliseconds at most.
     *
     *  @retval 0, -3 when the bus is gone, -5 for a negative time, -7 when no
     *          descriptor can be had, -16 when something is left.
     */
    zqError Flush(int aTimeout) noexcept;

    /** End an outstanding call now: errorReceived with "org.freedesktop.DBus.Error.Disconnected", then it is deleted.
     * @retval 0, or -17. */
    zqError CancelPendingCall(zqDBusPendingCall *aPending) noexcept;

    // Signals

    /**
     *  Follow the signals of a table. The rows and the strings in them must
     *  live until they are unregistered.
     *
     *  A message is handed to a context once, however many rows and filters of
     *  it match: to the first of them in the order of registration.
     *
     *  @param[in]  aPath  The object path that the table is registered for; the
     *                     rows say which paths they match.
     *  The rules are asked of the bus without waiting for its answer.
     *
     *  @retval 0, -3 when the bus is gone, -5 for a null argument or a row with
     *          an invalid name, -7 when memory is exhausted; on failure nothing
     *          is registered. Unregistering: 0, -5, or -17 when absent.
     */
    zqError RegisterSignalHandlers(const char *aPath, const zqDBusSignalDispatch *aTable, void *aContext) noexcept;
    zqError UnregisterSignalHandlers(const char *aPath, const zqDBusSignalDispatch *aTable, void *aContext) noexcept;

    /**
     *  Add or remove the filters of a table. The rows are identified by their
     *  contents, and only the strings in them must live until they are removed.
     *
     *  @retval as RegisterSignalHandlers: all of them are added, or none; -17
     *          when one was absent, and the others are removed.
     */
    zqError AddFilters(const zqDBusFilter *aTable) noexcept;
    zqError RemoveFilters(const zqDBusFilter *aTable) noexcept;

    /**
     *  Add a filter of the connection: it is given every signal that no handler
     *  of a table has handled, whoever sent it and whether or not a rule was
     *  asked for, as libdbus would give it: on the thread that runs
     *  HandleEvents, in the order of adding, until one has handled it. As any
     *  handler it may make blocking calls, and add and remove filters.
     *
     *  @param[in]  aFree  Called with the context once the filter has been
     *                     removed, or the instance has gone; may be null.
     *
     *  @retval 0, -3 when the bus is gone, -5 for a null filter, -7 when memory
     *          is exhausted. Removing: 0, or -17 when it is not there.
     */
    zqError AddConnectionFilter(DBusHandleMessageFunction aFilter, void *aContext, DBusFreeFunction aFree) noexcept;
    zqError RemoveConnectionFilter(DBusHandleMessageFunction aFilter, void *aContext) noexcept;

    /**
     *  Call when the bus is lost, on the thread that runs HandleEvents, after
     *  every outstanding call has ended.
     *
     *  @retval 0, -3 when the bus is known to be gone, -5 for null, -7 when memory is exhausted.
     */
    using DisconnectHandler = void (*)(void *aContext);
    zqError AddDisconnectHandler(DisconnectHandler aHandler, void *aContext) noexcept;
    void    RemoveDisconnectHandler(DisconnectHandler aHandler, void *aContext) noexcept;

    /**
     *  True when the message was sent by the connection that owns the
     *  well-known name, as far as the signals dispatched so far tell.
     *
     *  A name that no table, filter or call has mentioned is asked of the bus,
     *  which blocks for at most a second.
     */
    bool IsSentByOwner(DBusMessage *aMessage, const char *aName) noexcept;

    /**
     *  True when the well-known name, which a table or filter mentions, is owned
     *  as far as is known: also by what was received and not dispatched yet.
     */
    bool HasOwner(const char *aName) const noexcept;

    // Being called

    /**
     *  Export an object. A method that the table lacks is answered by the bus
     *  library with "org.freedesktop.DBus.Error.UnknownMethod".
     *
     *  @retval 0, -3 when the bus is gone, -5 for a null argument or invalid
     *          path, -18 when the path is exported already, -7 when memory is
     *          exhausted. Unregistering: 0, -5, or -17 when it is not exported.
     */
    zqError RegisterInterface(const char *aPath, const zqDBusMethodDispatch *aTable, void *aContext) noexcept;
    zqError UnregisterInterface(const char *aPath) noexcept;

    // Messages

    /** Read the arguments (type and address pairs, ended by DBUS_TYPE_INVALID). @retval 0, or -5 with @a anError when
     * they are others. */
    static zqError DecodeMessageParams(DBusMessage *aMessage, DBusError *anError, int aFirstType, ...) noexcept;

    /** Answer a method call with these arguments. @retval 0, -5 for a null message or invalid argument, -7 when memory
     * is exhausted. */
    static zqError ReplyWithParams(DBusConnection *aConnection, DBusMessage *aMessage, int aFirstType, ...) noexcept;

    /** Report every element from the iterator on to the walker, depth first. @retval 0, -5 for a null argument, or what
     * the walker returned. */
    static zqError WalkDBusMsgIter(DBusMessageIter *anIterator, zqDBusWalker aWalker, void *aContext) noexcept;

    /** The same of all arguments of a message that was received, at a fraction of the cost. Texts last as long as the
     * walker runs. */
    static zqError WalkMessage(DBusMessage *aMessage, zqDBusWalker aWalker, void *aContext) noexcept;

    /**
     *  The element at the iterator as a CoreFoundation value of its natural
     *  kind: a string (also for paths and signatures), boolean, number, data (an
     *  array of bytes), dictionary, or array (also for a structure); a variant
     *  is what it holds.
     *
     *  Numbers: 'y' and 'n' become SInt16, 'q' and 'i' SInt32, 'u', 'x' and 't'
     *  SInt64 (of 't' the same bits), 'd' Double. A file descriptor has no value:
     *  an array or a dictionary does without it.
     *
     *  @returns null for an iterator at its end, a file descriptor, or when memory is exhausted.
     */
    static CFUSharedRef<CFTypeRef> CopyValue(DBusMessageIter *anIterator) noexcept;

    /**
     *  The elements from the iterator on, appended to an array. What has no value is left out.
     *
     *  @retval 0, -5 for a null argument or a refused key, -7 when memory is exhausted; then some were appended.
     */
    static zqError AddElements(DBusMessageIter *anIterator, const zqDBusDecoding &aDecoding,
                               CFMutableArrayRef anArray) noexcept;

    /**
     *  The entries of the array at the iterator, or its structures of a key and
     *  a value, set in a dictionary; or, when there is no array, the key at the
     *  iterator with the value after it. An entry that lacks one of them is
     *  left out.
     *
     *  @retval as AddElements.
     */
    static zqError AddEntries(DBusMessageIter *anIterator, const zqDBusDecoding &aDecoding,
                              CFMutableDictionaryRef aDictionary) noexcept;

    /** As what AppendVariant sends a value unless it is told otherwise; null when it cannot. */
    static const char *GetNaturalSignature(CFTypeRef aValue) noexcept;

    /**
     *  Append a CoreFoundation value as a variant, so that CopyValue yields an
     *  equal one.
     *
     *  A string becomes 's', a boolean 'b', data 'ay', an array of strings
     *  alone 'as', any other array 'av', a dictionary 'a{sv}'. Numbers by what
     *  they were created as: integers of 1 and 2 bytes become 'n', of 4 'i', of
     *  8 'x', floating-point ones 'd'.
     *
     *  @param[in]  aSignatureOf  Asked of the value and of those inside it:
     *                            numbers may become others of 'y', 'n', 'i', 'x'
     *                            and 'd', and any value may be refused.
     *
     *  @retval  0
     *  @retval -5  The iterator or the value is null; or the value or one
     *              inside it has no such form: of another type, a string that
     *              holds a NUL, a key that is no string, containers that are
     *              nested more than 16 deep. Nothing was appended.
     *  @retval -7  Memory is exhausted. The message cannot be used.
     */
    static zqError AppendVariant(DBusMessageIter *anIterator, CFTypeRef aValue,
                                 zqDBusSignatureOf aSignatureOf = GetNaturalSignature) noexcept;

    /** The same of a dictionary that is no variant but 'a{sv}' itself. */
    static zqError AppendDictionary(DBusMessageIter *anIterator, CFDictionaryRef aDictionary,
                                    zqDBusSignatureOf aSignatureOf = GetNaturalSignature) noexcept;

private:
    friend class zqDBusSentCall;
    struct State;

    zqDBus() noexcept;
    ~zqDBus() override;

    void Destroy() override;

    std::unique_ptr<State> mState;
};

#endif // ZQDBUS_H
