/**
 *  @file
 *    The method calls to the WPAN daemon: the table of them, the one function
 *    that makes them, and the receivers of their outcomes.
 */

#ifndef ZQWPANCTL_CALLS_H
#define ZQWPANCTL_CALLS_H

#include <zqwpanctl-signals.h>

#include <zqdbus.h>

#include <initializer_list>

namespace zq::WPAN
{

/** One method: the D-Bus types of its arguments, and how many milliseconds the daemon has for it. */
struct Command
{
    const char *mMethod;
    const char *mArguments;
    int         mTimeout;
    int         mAsyncTimeout;
};

// clang-format off
constexpr Command kPermitJoin    = { "PermitJoin",    "ibqy",     2000,  2000 };
constexpr Command kForm          = { "Form",          "snuay",   45000, 45000 };
constexpr Command kBeginNetWake  = { "BeginNetWake",  "yu",       8000,  8000 };
constexpr Command kAddRoute      = { "AddRoute",      "ayqn",     5000,  5000 };
constexpr Command kRemoveRoute   = { "RemoveRoute",   "ayq",      5000,  5000 };
constexpr Command kConfigGateway = { "ConfigGateway", "bayuu",    5000,  5000 };
constexpr Command kBeginLowPower = { "BeginLowPower", "",         1000,  5000 }; // nobody may be kept waiting for it
constexpr Command kLeave         = { "Leave",         "",         5000,  5000 };
constexpr Command kReset         = { "Reset",         "",         7000,  7000 };
constexpr Command kGetProperty   = { "GetProp",       "s",        5000,  5000 };
constexpr Command kSetProperty   = { "SetProp",       "sv",       8000,  8000 };
// clang-format on

// The caller says how long they may take.
constexpr char kPing[]        = "Ping";
constexpr char kHostDidWake[] = "HostDidWake";

/**
 *  One argument, lent: the address of a basic value, the text of a string, the
 *  bytes of an array with their number, or the CoreFoundation value of a variant.
 */
struct Argument
{
    const void *mData;
    int         mLength = 0;
};

/**
 *  Make a call to the interface with this path.
 *
 *  Without a helper it waits for the reply, on the thread's own connection;
 *  with one it is sent on the process-wide connection and the helper is the
 *  bus's when the result is 0.
 *
 *  @param[in]   anArguments  As many as the command's types say.
 *  @param[out]  aValue       What follows the status in the reply; null: nothing does.
 */
zqError Perform(const zqString &aPath, const Command &aCommand, zqDBusPendingCall *aHelper,
                std::initializer_list<Argument> anArguments, CFUSharedRef<CFTypeRef> *aValue = nullptr) noexcept;

/** Read a reply's status and, if @a aValue is not null, the value behind it. @retval 0, or -1. */
zqError ReadReply(DBusMessage *aReply, CFUSharedRef<CFTypeRef> *aValue) noexcept;

/** A new receiver; null when it cannot be made, or its completion not copied. */
template <typename Helper, typename... Arguments>
std::unique_ptr<Helper> NewHelper(const Arguments &...anArguments) noexcept
try
{
    return std::make_unique<Helper>(anArguments...);
}
catch (...)
{
    return nullptr;
}

/** Send a call with a receiver, which is the bus's once that has succeeded. */
template <typename Helper, typename Send>
zqError SendWith(std::unique_ptr<Helper> aHelper, const Send &aSend) noexcept
{
    if (aHelper == nullptr)
        return zqError_OutOfMemory;

    const zqError lReturn = aSend(aHelper.get());

    if (lReturn == zqError_None)
        (void)aHelper.release();
    return lReturn;
}

} // namespace zq::WPAN

/** The bus deletes it once it was told the one outcome of its call. */
class zqWPANCtl::Interface::AsyncCommandResponseHelper : public zqDBusPendingCall
{
public:
    void completed(DBusMessage *aReply) override = 0;
    void errorReceived(zqDBusError *anError) override;
    void timedOut() override;

protected:
    /** @param[in]  aTimeout  With 0 nobody waits for an answer: that none came is a success. */
    explicit AsyncCommandResponseHelper(int aTimeout) noexcept : mTimeout(aTimeout) {}

    virtual void invokeCallback(zqError anError) = 0;

private:
    const int mTimeout;
};

class zqWPANCtl::Interface::SimpleCommandResponseHelper final : public AsyncCommandResponseHelper
{
public:
    SimpleCommandResponseHelper(const Completion &aCompletion, int aTimeout)
        : AsyncCommandResponseHelper(aTimeout), mCompletion(aCompletion)
    {
    }

    void completed(DBusMessage *aReply) override;

private:
    void invokeCallback(zqError anError) override;

    const Completion mCompletion;
};

class zqWPANCtl::Interface::GetPropertyCommandResponseHelper final : public AsyncCommandResponseHelper
{
public:
    GetPropertyCommandResponseHelper(const PropertyCompletion &aCompletion, const zqString &aKey)
        : AsyncCommandResponseHelper(zq::WPAN::kGetProperty.mAsyncTimeout), mCompletion(aCompletion), mKey(aKey)
    {
    }

    void completed(DBusMessage *aReply) override;

private:
    void invokeCallback(zqError anError) override;

    const PropertyCompletion mCompletion;
    const zqString           mKey;
    CFUSharedRef<CFTypeRef>  mValue;
};

#endif // ZQWPANCTL_CALLS_H
