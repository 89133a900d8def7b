/**
 *  @file
 *    Match rules, and the owners of well-known names.
 */

#include "zqdbus-private.h"

namespace
{

void AppendKey(std::string &aRule, const char *aKey, const char *aValue)
{
    if (aValue == nullptr)
        return;

    aRule.append(",").append(aKey).append("='");

    for (; *aValue != '\0'; aValue++)
    {
        if (*aValue == '\'')
            aRule.append("'\\''");
        else
            aRule.push_back(*aValue);
    }

    aRule.push_back('\'');
}

} // namespace

std::string zqDBusRules::Make(const zqDBusSignalDispatch &aRow)
{
    std::string lRule("type='signal'");

    AppendKey(lRule, "interface", aRow.mInterface);
    AppendKey(lRule, "sender", aRow.mSender);
    AppendKey(lRule, "path", aRow.mPath);
    AppendKey(lRule, "member", aRow.mMember);
    AppendKey(lRule, "arg0", aRow.mFirstArgument);

    return lRule;
}

zqError zqDBusRules::AddLocked(const std::string &aRule)
{
    const auto lAdded = mRules.emplace(aRule, 0);

    if (lAdded.second)
    {
        const zqError lReturn = mLink.AskBusLocked("AddMatch", aRule.c_str(), nullptr);

        if (lReturn != zqError_None)
        {
            (void)mRules.erase(lAdded.first);
            return lReturn;
        }
    }

    lAdded.first->second++;

    return zqError_None;
}

void zqDBusRules::RemoveLocked(const std::string &aRule) noexcept
{
    const auto lFound = mRules.find(aRule);

    if (lFound == mRules.end() || --lFound->second > 0)
        return;

    // A rule that stays on the bus costs messages, no more.
    (void)mLink.AskBusLocked("RemoveMatch", aRule.c_str(), nullptr);
    (void)mRules.erase(lFound);
}

bool zqDBusOwners::IsTracked(const char *aName) noexcept
{
    return aName != nullptr && aName[0] != ':' && !zqDBusIsSame(aName, DBUS_SERVICE_DBUS);
}

std::string zqDBusOwners::MakeRule(const char *aName)
{
    return zqDBusRules::Make(
        { DBUS_INTERFACE_DBUS, DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, "NameOwnerChanged", aName, nullptr });
}

zqError zqDBusOwners::UseLocked(const char *aName)
{
    const auto lAdded = mNames.emplace(aName, Name());

    if (lAdded.second)
    {
        Name         &lName   = lAdded.first->second;
        zqError       lReturn = zqError_NoResources;
        std::string   lRule;
        dbus_uint32_t lSerial = 0;

        try
        {
            lRule   = MakeRule(aName);
            lReturn = mRules.AddLocked(lRule);
        }
        catch (const std::bad_alloc &)
        {
        }

        if (lReturn == zqError_None)
        {
            lReturn = mLink.AskBusLocked("GetNameOwner", aName, &lSerial);

            if (lReturn != zqError_None)
                mRules.RemoveLocked(lRule);
        }

        if (lReturn != zqError_None)
        {
            (void)mNames.erase(lAdded.first);
            return lReturn;
        }

        lName.mSerial = lSerial;
    }

    lAdded.first->second.mUsers++;

    return zqError_None;
}

void zqDBusOwners::ReleaseLocked(const char *aName) noexcept
{
    const auto lFound = mNames.find(aName);

    if (lFound == mNames.end() || --lFound->second.mUsers > 0)
        return;

    (void)zqDBusGuarded(
        [&]
        {
            mRules.RemoveLocked(MakeRule(aName));
            return zqError_None;
        });
    mNumComing -= lFound->second.mComing.size();
    (void)mNames.erase(lFound);
}

bool zqDBusOwners::HasLocked(const char *aName) const noexcept
{
    return mNames.find(aName) != mNames.end();
}

const std::string &zqDBusOwners::GetLatestLocked(const char *aName) const noexcept
{
    static const std::string sNobody;
    const auto               lFound = mNames.find(aName);

    if (lFound == mNames.end())
        return sNobody;

    return lFound->second.mComing.empty() ? lFound->second.mOwner : lFound->second.mComing.back().mOwner;
}

bool zqDBusOwners::IsOwnerLocked(const char *aName, const char *aSender) const noexcept
{
    if (!IsTracked(aName))
        return zqDBusIsSame(aName, aSender);

    const auto lFound = mNames.find(aName);

    return lFound != mNames.end() && aSender != nullptr && lFound->second.mOwner == aSender;
}

bool zqDBusOwners::ReceiveLocked(DBusMessage *aMessage, zqDBusSequence aSequence)
{
    if (!zqDBusIsSame(dbus_message_get_sender(aMessage), DBUS_SERVICE_DBUS))
        return false;

    if (dbus_message_is_signal(aMessage, DBUS_INTERFACE_DBUS, "NameOwnerChanged"))
        ReceiveChangeLocked(aMessage, aSequence);

    return dbus_message_get_reply_serial(aMessage) != 0 && ReceiveAnswerLocked(aMessage, aSequence);
}

bool zqDBusOwners::ReceiveAnswerLocked(DBusMessage *aMessage, zqDBusSequence aSequence)
{
    const dbus_uint32_t lSerial = dbus_message_get_reply_serial(aMessage);

    for (auto &lName : mNames)
        if (lName.second.mSerial == lSerial)
        {
            const char *lOwner = "";

            // An error says that nobody owns the name.
            if (dbus_message_get_type(aMessage) == DBUS_MESSAGE_TYPE_METHOD_RETURN)
                (void)dbus_message_get_args(aMessage, nullptr, DBUS_TYPE_STRING, &lOwner, DBUS_TYPE_INVALID);

            AddChangeLocked(lName.second, aSequence, lOwner);
            lName.second.mSerial = 0;

            return true;
        }

    return false;
}

void zqDBusOwners::ReceiveChangeLocked(DBusMessage *aMessage, zqDBusSequence aSequence)
{
    const char *lName = nullptr;
    const char *lOld  = nullptr;
    const char *lNew  = nullptr;

    if (!dbus_message_get_args(aMessage, nullptr, DBUS_TYPE_STRING, &lName, DBUS_TYPE_STRING, &lOld, DBUS_TYPE_STRING,
                               &lNew, DBUS_TYPE_INVALID))
        return;

    const auto lFound = mNames.find(lName);

    if (lFound != mNames.end())
        AddChangeLocked(lFound->second, aSequence, lNew);
}

void zqDBusOwners::AddChangeLocked(Name &aName, zqDBusSequence aSequence, const char *anOwner)
{
    aName.mComing.push_back({ aSequence, anOwner });
    mNumComing++;
}

void zqDBusOwners::AdvanceLocked(zqDBusSequence aSequence) noexcept
{
    if (mNumComing == 0)
        return;

    for (auto &lEntry : mNames)
    {
        Name &lName = lEntry.second;
        auto  lNext = lName.mComing.begin();

        for (; lNext != lName.mComing.end() && lNext->mSequence <= aSequence; ++lNext)
            lName.mOwner.swap(lNext->mOwner);

        mNumComing -= static_cast<std::size_t>(lNext - lName.mComing.begin());
        (void)lName.mComing.erase(lName.mComing.begin(), lNext);
    }
}
