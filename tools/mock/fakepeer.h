/**
 *  @file
 *    A scripted peer on the system bus of this process.
 *
 *  It speaks through GDBus, so that the two ends of a conversation are different D-Bus
 *  implementations, and below GDBus's objects, so that it can say what no
 *  decent peer would.
 *
 *  Values are written in GVariant's text format: "('State', <'online'>)" is a
 *  signal's body of signature sv, "(@a(oa{sv}) [],)" an empty GetServices reply,
 *  "" no arguments at all.
 */

#ifndef ZQ_MOCK_FAKEPEER_H
#define ZQ_MOCK_FAKEPEER_H

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gio/gio.h>

namespace zq::Mock
{

/** The lock that every fake's state is under: hold it in a derived fake's operations. */
class FakeGuard
{
public:
    FakeGuard();
    ~FakeGuard();
};

/** What a call gets for an answer. */
class Answer
{
public:
    enum Kind
    {
        kNormal,
        kValue,
        kError,
        kSilence,
        kHeld,
        kCrash
    };

    /** What the peer would say by itself. */
    static Answer Normal() { return { kNormal, "", "" }; }
    /** A return of these arguments, whatever their signature. */
    static Answer Value(std::string aBody) { return { kValue, "", std::move(aBody) }; }
    static Answer Error(std::string aName, std::string aMessage)
    {
        return { kError, std::move(aName), std::move(aMessage) };
    }
    /** None, ever. */
    static Answer Silence() { return { kSilence, "", "" }; }
    /** The normal one, but only when ReleaseHeld() is called. */
    static Answer Held() { return { kHeld, "", "" }; }
    /** The peer drops off the bus on getting the call. */
    static Answer Crash() { return { kCrash, "", "" }; }

    Kind        mKind;
    std::string mName;
    std::string mText;
};

/**
 *  Owns one bus name while present and answers the calls to it.
 *
 *  May be used from any thread; calls are answered on GDBus's own thread. Every
 *  operation that sends does so at once and in order.
 */
class FakePeer
{
public:
    struct Call
    {
        std::string   mPath;
        std::string   mInterface;
        std::string   mMethod;
        std::string   mArguments; ///< as text, with types; "()" for none
        std::string   mSender;
        std::uint32_t mSerial;
    };

    /** What came back for a call that the peer made. */
    struct Reply
    {
        std::string mErrorName; ///< empty for a return
        std::string mBody;      ///< as text, with types; the message of an error
    };

    explicit FakePeer(std::string aBusName);
    virtual ~FakePeer();

    FakePeer(const FakePeer &)            = delete;
    FakePeer &operator=(const FakePeer &) = delete;

    /** Connect to the system bus of this process and own the name, also when another peer has it; false when that
     * fails. */
    bool Appear();

    /** Drop the connection without a word. */
    void Crash();

    bool        IsPresent() const;
    std::string GetUniqueName() const;

    /**
     *  Answer calls of a method otherwise than normally.
     *
     *  @param[in]  aPath   Of the object, or empty for any.
     *  @param[in]  aCount  For so many calls; after them it is forgotten. Negative: for all.
     *
     *  Later scripts go before earlier ones.
     */
    void Script(const std::string &aMethod, Answer anAnswer, const std::string &aPath = "", int aCount = -1);
    void ClearScripts();

    /** Answer everything that is held. */
    void ReleaseHeld()
    {
        FakeGuard lGuard;
        ReleaseHeldLocked();
    }

    /** The calls that arrived, in order; of one method, or of all when it is empty. */
    std::vector<Call> GetCalls(const std::string &aMethod = "") const;
    std::size_t       CountCalls(const std::string &aMethod) const { return GetCalls(aMethod).size(); }
    bool              WaitForCall(const std::string &aMethod, std::size_t aCount = 1) const;
    void              ClearCalls();

    void Emit(const std::string &aPath, const std::string &anInterface, const std::string &aMember,
              const std::string &aBody)
    {
        FakeGuard lGuard;
        EmitLocked(aPath, anInterface, aMember, aBody);
    }

    /** The same signal from a connection that owns no name; to everyone, or to one destination. It has been passed on.
     */
    void EmitForged(const std::string &aPath, const std::string &anInterface, const std::string &aMember,
                    const std::string &aBody, const std::string &aDestination = "");

    /**
     *  Call an object of another connection; returns at once.
     *
     *  @returns  The call's ticket for GetReply(); 0 when the peer is not present.
     */
    std::uint32_t CallOther(const std::string &aDestination, const std::string &aPath, const std::string &anInterface,
                            const std::string &aMethod, const std::string &aBody);

    /** The same from a connection that owns no name. */
    std::uint32_t CallForged(const std::string &aDestination, const std::string &aPath, const std::string &anInterface,
                             const std::string &aMethod, const std::string &aBody);

    /** False while no reply has come. */
    bool GetReply(std::uint32_t aTicket, Reply &aReply) const;
    bool WaitForReply(std::uint32_t aTicket, Reply &aReply) const;

    /** Until the bus has passed on all that was sent so far. */
    void Flush();

protected:
    /** Take no call from here on: a derived class's destructor begins with this. */
    void Detach();

    /** The normal answer; called with the lock held. */
    virtual Answer AnswerLocked(const Call &aCall, GVariant *aBody) = 0;

    /** A call that the peer made has got its reply; called with the lock held. */
    virtual void DidReplyLocked(std::uint32_t, const Reply &) {}

    /** The name has been dropped by Crash() or an Answer::Crash(); called with the lock held. */
    virtual void DidLeaveLocked() {}

    void EmitLocked(const std::string &aPath, const std::string &anInterface, const std::string &aMember,
                    const std::string &aBody);

    void ReleaseHeldLocked();

    bool IsPresentLocked() const { return mConnection != nullptr; }

    std::uint32_t CallOtherLocked(GDBusConnection *aConnection, const std::string &aDestination,
                                  const std::string &aPath, const std::string &anInterface, const std::string &aMethod,
                                  const std::string &aBody);

    GDBusConnection *mConnection;

private:
    /** Of an object of GLib. */
    using Reference = std::shared_ptr<GDBusMessage>;

    struct ScriptRow
    {
        std::string mMethod;
        std::string mPath;
        int         mCount;
        Answer      mAnswer;
    };

    static GDBusMessage *Filter(GDBusConnection *aConnection, GDBusMessage *aMessage, gboolean anIncoming,
                                gpointer aContext) noexcept;

    GDBusConnection *Connect();
    GDBusConnection *GetForger();
    bool             FilterLocked(GDBusConnection *aConnection, GDBusMessage *aMessage);
    void             HandleCallLocked(GDBusMessage *aMessage);
    void             AnswerCallLocked(GDBusMessage *aMessage, const Call &aCall, const Answer &anAnswer);
    void             NoteReplyLocked(GDBusConnection *aConnection, GDBusMessage *aMessage);
    Answer           ScriptedLocked(const Call &aCall);
    void             LeaveLocked();

    const std::string mBusName;
    const std::size_t mIdentifier;
    GDBusConnection  *mForger;

    std::list<ScriptRow>           mScripts;
    std::vector<Call>              mCalls;
    std::vector<Reference>         mHeld;
    std::map<std::uint32_t, Reply> mReplies;
};

/** Parse a value's text, with a reference for the caller; ends the program, telling the text, when it is none. */
GVariant *ParseValue(const std::string &aText);

/** An argument's text: a string as it is, what is in a variant or any other value with types; empty for none. */
std::string GetArgument(GVariant *aBody, std::size_t anIndex);

/** A value as text, with types. */
std::string PrintValue(GVariant *aValue);

} // namespace zq::Mock

#endif // ZQ_MOCK_FAKEPEER_H
