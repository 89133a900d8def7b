#include "fakepeer.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "waituntil.h"

namespace zq::Mock
{

namespace
{

// GLib's threads reach a fake only through this table and under this lock: GLib's
// own synchronisation is invisible to ThreadSanitizer, and a message may still
// be under way when its fake is destroyed.
std::mutex                        sLock;
std::map<std::size_t, FakePeer *> sPeers;
std::size_t                       sNextIdentifier;

// Who appears takes the name from who has it, in one step, and nobody waits for it.
constexpr guint32 kNameFlags = 1 | 2 | 4;

std::string Text(const char *aText)
{
    return (aText != nullptr) ? aText : "";
}

std::size_t NewIdentifier()
{
    FakeGuard lGuard;

    return ++sNextIdentifier;
}

/** A value that is let go of at its end. */
using Variant = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;

void SetBody(GDBusMessage *aMessage, const std::string &aBody)
{
    if (!aBody.empty())
        g_dbus_message_set_body(aMessage, Variant(ParseValue(aBody), g_variant_unref).get());
}

/** Takes the message over. */
std::uint32_t Send(GDBusConnection *aConnection, GDBusMessage *aMessage)
{
    std::uint32_t lSerial = 0;

    g_dbus_connection_send_message(aConnection, aMessage, G_DBUS_SEND_MESSAGE_FLAGS_NONE, &lSerial, nullptr);
    g_object_unref(aMessage);
    return lSerial;
}

void SendSignal(GDBusConnection *aConnection, const std::string &aPath, const std::string &anInterface,
                const std::string &aMember, const std::string &aBody, const std::string &aDestination)
{
    GDBusMessage *lMessage = g_dbus_message_new_signal(aPath.c_str(), anInterface.c_str(), aMember.c_str());

    if (!aDestination.empty())
        g_dbus_message_set_destination(lMessage, aDestination.c_str());
    SetBody(lMessage, aBody);
    (void)Send(aConnection, lMessage);
}

/** The bus handles a connection's messages in order: its answer is behind all of them. */
guint32 CallBus(GDBusConnection *aConnection, const char *aMethod, GVariant *aBody)
{
    GVariant *const lReply = g_dbus_connection_call_sync(aConnection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                         "org.freedesktop.DBus", aMethod, aBody, nullptr,
                                                         G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    const Variant   lOwned(lReply, g_variant_unref);
    guint32         lNumber = 0;

    if (lReply != nullptr && g_variant_is_of_type(lReply, G_VARIANT_TYPE("(u)")))
        g_variant_get(lReply, "(u)", &lNumber);
    return lNumber;
}

void Close(GDBusConnection *aConnection)
{
    if (aConnection == nullptr)
        return;

    g_dbus_connection_close_sync(aConnection, nullptr, nullptr);
    g_object_unref(aConnection);

    // What tells of the end waits in the main context, and keeps the connection.
    while (g_main_context_iteration(nullptr, FALSE))
    {
    }
}

FakePeer::Call ReadCall(GDBusMessage *aMessage)
{
    return { Text(g_dbus_message_get_path(aMessage)),   Text(g_dbus_message_get_interface(aMessage)),
             Text(g_dbus_message_get_member(aMessage)), PrintValue(g_dbus_message_get_body(aMessage)),
             Text(g_dbus_message_get_sender(aMessage)), g_dbus_message_get_serial(aMessage) };
}

} // namespace

FakeGuard::FakeGuard()
{
    sLock.lock();
}

FakeGuard::~FakeGuard()
{
    sLock.unlock();
}

GVariant *ParseValue(const std::string &aText)
{
    GError   *lError = nullptr;
    GVariant *lValue = g_variant_parse(nullptr, aText.c_str(), nullptr, nullptr, &lError);

    if (lValue == nullptr)
    {
        std::fprintf(stderr, "not a value: %s: %s\n", aText.c_str(), lError->message);
        std::abort();
    }

    return lValue;
}

std::string PrintValue(GVariant *aValue)
{
    if (aValue == nullptr)
        return "()";

    return std::unique_ptr<char, decltype(&g_free)>(g_variant_print(aValue, TRUE), g_free).get();
}

std::string GetArgument(GVariant *aBody, std::size_t anIndex)
{
    if (aBody == nullptr || anIndex >= g_variant_n_children(aBody))
        return "";

    const Variant lChild(g_variant_get_child_value(aBody, anIndex), g_variant_unref);

    if (g_variant_is_of_type(lChild.get(), G_VARIANT_TYPE_STRING) ||
        g_variant_is_of_type(lChild.get(), G_VARIANT_TYPE_OBJECT_PATH))
        return g_variant_get_string(lChild.get(), nullptr);
    if (!g_variant_is_of_type(lChild.get(), G_VARIANT_TYPE_VARIANT))
        return PrintValue(lChild.get());
    return PrintValue(Variant(g_variant_get_variant(lChild.get()), g_variant_unref).get());
}

FakePeer::FakePeer(std::string aBusName)
    : mConnection(nullptr), mBusName(std::move(aBusName)), mIdentifier(NewIdentifier()), mForger(nullptr)
{
    FakeGuard lGuard;

    sPeers[mIdentifier] = this;
}

FakePeer::~FakePeer()
{
    Detach();
    Close(mForger);
    Close(mConnection);
}

void FakePeer::Detach()
{
    FakeGuard lGuard;

    sPeers.erase(mIdentifier);
}

GDBusConnection *FakePeer::Connect()
{
    const char            *lAddress = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    const auto             lFlags   = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    GDBusConnection *const lReturn =
        (lAddress == nullptr) ? nullptr
                              : g_dbus_connection_new_for_address_sync(lAddress, lFlags, nullptr, nullptr, nullptr);

    if (lReturn != nullptr)
    {
        g_dbus_connection_set_exit_on_close(lReturn, FALSE);
        g_dbus_connection_add_filter(lReturn, Filter, reinterpret_cast<gpointer>(mIdentifier), nullptr);
    }

    return lReturn;
}

bool FakePeer::Appear()
{
    Crash();

    GDBusConnection *const lConnection = Connect();

    if (lConnection == nullptr)
        return false;

    {
        FakeGuard lGuard;
        mConnection = lConnection;
    }

    return CallBus(lConnection, "RequestName", g_variant_new("(su)", mBusName.c_str(), kNameFlags)) == 1;
}

void FakePeer::Crash()
{
    GDBusConnection *lConnection;
    {
        FakeGuard lGuard;
        lConnection = std::exchange(mConnection, nullptr);
        LeaveLocked();
    }

    Close(lConnection);
}

void FakePeer::LeaveLocked()
{
    mHeld.clear();
    mReplies.clear();
    DidLeaveLocked();
}

bool FakePeer::IsPresent() const
{
    FakeGuard lGuard;

    return mConnection != nullptr;
}

std::string FakePeer::GetUniqueName() const
{
    FakeGuard lGuard;

    return (mConnection != nullptr) ? Text(g_dbus_connection_get_unique_name(mConnection)) : "";
}

void FakePeer::Script(const std::string &aMethod, Answer anAnswer, const std::string &aPath, int aCount)
{
    FakeGuard lGuard;

    mScripts.push_front({ aMethod, aPath, aCount, std::move(anAnswer) });
}

void FakePeer::ClearScripts()
{
    FakeGuard lGuard;

    mScripts.clear();
}

Answer FakePeer::ScriptedLocked(const Call &aCall)
{
    const auto lRow =
        std::find_if(mScripts.begin(), mScripts.end(),
                     [&](const ScriptRow &aRow)
                     { return aRow.mMethod == aCall.mMethod && (aRow.mPath.empty() || aRow.mPath == aCall.mPath); });

    if (lRow == mScripts.end())
        return Answer::Normal();

    const Answer lReturn = lRow->mAnswer;

    if (lRow->mCount > 0 && --lRow->mCount == 0)
        mScripts.erase(lRow);

    return lReturn;
}

std::vector<FakePeer::Call> FakePeer::GetCalls(const std::string &aMethod) const
{
    FakeGuard         lGuard;
    std::vector<Call> lReturn;

    std::copy_if(mCalls.begin(), mCalls.end(), std::back_inserter(lReturn),
                 [&](const Call &aCall) { return aMethod.empty() || aCall.mMethod == aMethod; });

    return lReturn;
}

bool FakePeer::WaitForCall(const std::string &aMethod, std::size_t aCount) const
{
    return WaitUntil([&] { return CountCalls(aMethod) >= aCount; });
}

void FakePeer::ClearCalls()
{
    FakeGuard lGuard;

    mCalls.clear();
}

void FakePeer::EmitLocked(const std::string &aPath, const std::string &anInterface, const std::string &aMember,
                          const std::string &aBody)
{
    if (mConnection != nullptr)
        SendSignal(mConnection, aPath, anInterface, aMember, aBody, "");
}

void FakePeer::EmitForged(const std::string &aPath, const std::string &anInterface, const std::string &aMember,
                          const std::string &aBody, const std::string &aDestination)
{
    GDBusConnection *const lForger = GetForger();

    if (lForger == nullptr)
        return;

    SendSignal(lForger, aPath, anInterface, aMember, aBody, aDestination);
    (void)CallBus(lForger, "GetId", nullptr);
}

GDBusConnection *FakePeer::GetForger()
{
    if (mForger == nullptr || g_dbus_connection_is_closed(mForger))
    {
        Close(mForger);
        mForger = Connect();
    }

    return mForger;
}

std::uint32_t FakePeer::CallOtherLocked(GDBusConnection *aConnection, const std::string &aDestination,
                                        const std::string &aPath, const std::string &anInterface,
                                        const std::string &aMethod, const std::string &aBody)
{
    if (aConnection == nullptr)
        return 0;

    GDBusMessage *lMessage =
        g_dbus_message_new_method_call(aDestination.c_str(), aPath.c_str(), anInterface.c_str(), aMethod.c_str());

    SetBody(lMessage, aBody);
    return Send(aConnection, lMessage);
}

std::uint32_t FakePeer::CallOther(const std::string &aDestination, const std::string &aPath,
                                  const std::string &anInterface, const std::string &aMethod, const std::string &aBody)
{
    FakeGuard lGuard;

    return CallOtherLocked(mConnection, aDestination, aPath, anInterface, aMethod, aBody);
}

// A forger's tickets have the top bit, since each connection counts its own serials.
constexpr std::uint32_t kForged = 0x80000000u;

std::uint32_t FakePeer::CallForged(const std::string &aDestination, const std::string &aPath,
                                   const std::string &anInterface, const std::string &aMethod, const std::string &aBody)
{
    GDBusConnection *const lForger = GetForger();
    FakeGuard              lGuard;

    return CallOtherLocked(lForger, aDestination, aPath, anInterface, aMethod, aBody) | kForged;
}

bool FakePeer::GetReply(std::uint32_t aTicket, Reply &aReply) const
{
    FakeGuard  lGuard;
    const auto lFound = mReplies.find(aTicket);

    if (lFound == mReplies.end())
        return false;

    aReply = lFound->second;

    return true;
}

bool FakePeer::WaitForReply(std::uint32_t aTicket, Reply &aReply) const
{
    return WaitUntil([&] { return GetReply(aTicket, aReply); });
}

void FakePeer::Flush()
{
    GDBusConnection *lConnection;

    {
        FakeGuard lGuard;
        lConnection = (mConnection != nullptr) ? G_DBUS_CONNECTION(g_object_ref(mConnection)) : nullptr;
    }

    if (lConnection == nullptr)
        return;

    (void)CallBus(lConnection, "GetId", nullptr);
    g_object_unref(lConnection);
}

GDBusMessage *FakePeer::Filter(GDBusConnection *aConnection, GDBusMessage *aMessage, gboolean anIncoming,
                               gpointer aContext) noexcept
{
    bool lHandled = false;

    if (anIncoming)
    {
        FakeGuard  lGuard;
        const auto lPeer = sPeers.find(reinterpret_cast<std::size_t>(aContext));

        if (lPeer != sPeers.end())
            lHandled = lPeer->second->FilterLocked(aConnection, aMessage);
    }

    if (lHandled)
    {
        g_object_unref(aMessage);
        return nullptr;
    }

    return aMessage;
}

bool FakePeer::FilterLocked(GDBusConnection *aConnection, GDBusMessage *aMessage)
{
    const GDBusMessageType lType = g_dbus_message_get_message_type(aMessage);

    if (lType == G_DBUS_MESSAGE_TYPE_METHOD_CALL)
    {
        if (aConnection == mConnection)
            HandleCallLocked(aMessage);
        return true;
    }

    if (lType == G_DBUS_MESSAGE_TYPE_METHOD_RETURN || lType == G_DBUS_MESSAGE_TYPE_ERROR)
        NoteReplyLocked(aConnection, aMessage);

    return false;
}

void FakePeer::NoteReplyLocked(GDBusConnection *aConnection, GDBusMessage *aMessage)
{
    const std::uint32_t lSerial = g_dbus_message_get_reply_serial(aMessage);
    const std::uint32_t lTicket = (aConnection == mForger) ? (lSerial | kForged) : lSerial;

    if (aConnection != mConnection && aConnection != mForger)
        return;

    mReplies[lTicket] = { Text(g_dbus_message_get_error_name(aMessage)),
                          PrintValue(g_dbus_message_get_body(aMessage)) };
    DidReplyLocked(lTicket, mReplies[lTicket]);
}

void FakePeer::HandleCallLocked(GDBusMessage *aMessage)
{
    const Call lCall = ReadCall(aMessage);

    mCalls.push_back(lCall);
    AnswerCallLocked(aMessage, lCall, ScriptedLocked(lCall));
}

void FakePeer::AnswerCallLocked(GDBusMessage *aMessage, const Call &aCall, const Answer &anAnswer)
{
    GDBusMessage *lReply = nullptr;

    switch (anAnswer.mKind)
    {
    case Answer::kNormal:
        AnswerCallLocked(aMessage, aCall, AnswerLocked(aCall, g_dbus_message_get_body(aMessage)));
        break;

    case Answer::kValue:
        lReply = g_dbus_message_new_method_reply(aMessage);
        SetBody(lReply, anAnswer.mText);
        break;

    case Answer::kError:
        lReply = g_dbus_message_new_method_error_literal(aMessage, anAnswer.mName.c_str(), anAnswer.mText.c_str());
        break;

    case Answer::kSilence:
        break;

    case Answer::kHeld:
        mHeld.emplace_back(G_DBUS_MESSAGE(g_object_ref(aMessage)), g_object_unref);
        break;

    case Answer::kCrash:
        g_dbus_connection_close(mConnection, nullptr, nullptr, nullptr);
        g_object_unref(std::exchange(mConnection, nullptr));
        LeaveLocked();
        break;
    }

    if (lReply != nullptr)
        (void)Send(mConnection, lReply);
}

void FakePeer::ReleaseHeldLocked()
{
    for (const Reference &lMessage : std::exchange(mHeld, {}))
        AnswerCallLocked(lMessage.get(), ReadCall(lMessage.get()), Answer::Normal());
}

} // namespace zq::Mock
