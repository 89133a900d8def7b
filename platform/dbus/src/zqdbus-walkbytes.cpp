/**
 *  @file
 *    The elements of a message, out of its bytes.
 *
 *  libdbus has validated the bytes of what it received, but its iterators look
 *  at the signature and the alignment anew for every element, and cost most of
 *  what decoding costs. This walk raises the same events. It believes nothing:
 *  a first round proves that all of it lies inside of the message, and what it
 *  cannot prove is left to the iterators.
 */

#include "zqdbus-private.h"

#include <algorithm>

namespace
{

/** Not a code of a walker's, all of which are negative. */
constexpr zqError kRefused = 1;

/** As deep as libdbus lets messages be. */
constexpr int kDeepest = 64;

constexpr std::uint32_t kFixedHead = 16;

constexpr char kNativeOrder = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? DBUS_LITTLE_ENDIAN : DBUS_BIG_ENDIAN;

/** Behind one complete type of a signature, or null. */
const char *SkipType(const char *aSignature) noexcept
{
    int lOpen = 0;

    do
    {
        while (*aSignature == DBUS_TYPE_ARRAY)
            aSignature++;

        if (*aSignature == '\0')
            return nullptr;

        if (*aSignature == DBUS_STRUCT_BEGIN_CHAR || *aSignature == DBUS_DICT_ENTRY_BEGIN_CHAR)
            lOpen++;
        else if (*aSignature == DBUS_STRUCT_END_CHAR || *aSignature == DBUS_DICT_ENTRY_END_CHAR)
            lOpen--;
        aSignature++;
    } while (lOpen > 0);

    return aSignature;
}

std::uint32_t GetAlignment(char aType) noexcept
{
    switch (aType)
    {
    case DBUS_TYPE_BYTE:
    case DBUS_TYPE_SIGNATURE:
    case DBUS_TYPE_VARIANT:
        return 1;
    case DBUS_TYPE_INT16:
    case DBUS_TYPE_UINT16:
        return 2;
    case DBUS_TYPE_INT64:
    case DBUS_TYPE_UINT64:
    case DBUS_TYPE_DOUBLE:
    case DBUS_STRUCT_BEGIN_CHAR:
    case DBUS_DICT_ENTRY_BEGIN_CHAR:
        return 8;
    default:
        return 4;
    }
}

int GetElementType(char aType) noexcept
{
    if (aType == DBUS_STRUCT_BEGIN_CHAR)
        return DBUS_TYPE_STRUCT;

    return aType == DBUS_DICT_ENTRY_BEGIN_CHAR ? DBUS_TYPE_DICT_ENTRY : aType;
}

/** One round. Each step yields 0, kRefused, or what the walker returned. */
class Round
{
public:
    /** @param[in]  aWalker  Null: the bytes are only proven. */
    Round(const char *aBytes, std::uint32_t aLength, zqDBusWalker aWalker, void *aContext) noexcept
        : mBytes(aBytes), mEnd(aLength), mIsSwapped(aBytes[0] != kNativeOrder), mWalker(aWalker), mContext(aContext)
    {
    }

    zqError Walk(const char *aSignature) noexcept
    {
        std::uint32_t lBody = 0;
        std::uint32_t lHead = 0;

        mAt = 4;
        if (!Read(lBody))
            return kRefused;

        mAt = 12;
        if (!Read(lHead) || lHead > mEnd - mAt)
            return kRefused;

        mAt = kFixedHead + lHead;
        if (!Align(8) || mEnd - mAt != lBody)
            return kRefused;

        const zqError lReturn = Members(aSignature, '\0', nullptr);

        return lReturn == 0 && mAt != mEnd ? kRefused : lReturn;
    }

private:
    zqError Tell(int anEvent, const char *aName, const void *aValue) const noexcept
    {
        return mWalker != nullptr ? mWalker(mContext, anEvent, aName, aValue) : zqError(zqError_None);
    }

    bool Align(std::uint32_t anAlignment) noexcept
    {
        mAt = (mAt + anAlignment - 1) & ~(anAlignment - 1);
        return mAt <= mEnd;
    }

    template <typename T>
    bool Read(T &aValue) noexcept
    {
        if (!Align(sizeof(T)) || mEnd - mAt < sizeof(T))
            return false;

        std::memcpy(&aValue, mBytes + mAt, sizeof(T));
        mAt += sizeof(T);

        if (mIsSwapped)
            std::reverse(reinterpret_cast<char *>(&aValue), reinterpret_cast<char *>(&aValue + 1));
        return true;
    }

    /** A text behind its length, which is a T. */
    template <typename T>
    bool ReadText(const char *&aText) noexcept
    {
        T lLength = 0;

        if (!Read(lLength) || mEnd - mAt <= lLength || mBytes[mAt + lLength] != '\0')
            return false;

        aText = mBytes + mAt;
        mAt += lLength + 1U;
        return true;
    }

    bool ReadBasic(char aType, DBusBasicValue &aValue) noexcept
    {
        const char *lText = nullptr;

        switch (aType)
        {
        case DBUS_TYPE_BYTE:
            return Read(aValue.byt);
        case DBUS_TYPE_BOOLEAN:
            return Read(aValue.u32) && aValue.u32 <= 1;
        case DBUS_TYPE_INT16:
        case DBUS_TYPE_UINT16:
            return Read(aValue.u16);
        case DBUS_TYPE_INT32:
        case DBUS_TYPE_UINT32:
        case DBUS_TYPE_UNIX_FD:
            return Read(aValue.u32);
        case DBUS_TYPE_INT64:
        case DBUS_TYPE_UINT64:
        case DBUS_TYPE_DOUBLE:
            return Read(aValue.u64);
        case DBUS_TYPE_STRING:
        case DBUS_TYPE_OBJECT_PATH:
            if (!ReadText<std::uint32_t>(lText))
                return false;
            break;
        case DBUS_TYPE_SIGNATURE:
            if (!ReadText<unsigned char>(lText))
                return false;
            break;
        default:
            return false;
        }

        aValue.str = const_cast<char *>(lText);
        return true;
    }

    zqError Members(const char *&aSignature, char anEnd, const char *aName) noexcept
    {
        while (*aSignature != anEnd)
        {
            const zqError lReturn = Element(aSignature, aName);

            if (lReturn != 0)
                return lReturn;
        }

        return zqError_None;
    }

    /** @param[in,out]  aSignature  At the element's type; then behind it. */
    zqError Element(const char *&aSignature, const char *aName) noexcept
    {
        const char lType   = *aSignature;
        zqError    lReturn = kRefused;

        if (lType != DBUS_TYPE_ARRAY && lType != DBUS_TYPE_VARIANT && GetElementType(lType) == lType)
        {
            aSignature++;
            return Basic(lType, aName);
        }

        if (++mDepth <= kDeepest)
            lReturn = Container(aSignature, aName);
        mDepth--;

        return lReturn;
    }

    zqError Basic(char aType, const char *aName) noexcept
    {
        DBusBasicValue lValue;

        if (!ReadBasic(aType, lValue))
            return kRefused;

        return Tell(aType, aName, aType != DBUS_TYPE_UNIX_FD ? &lValue : nullptr);
    }

    zqError Container(const char *&aSignature, const char *aName) noexcept
    {
        switch (*aSignature++)
        {
        case DBUS_TYPE_ARRAY:
            return Array(aSignature, aName);
        case DBUS_STRUCT_BEGIN_CHAR:
            return Structure(aSignature, aName);
        case DBUS_DICT_ENTRY_BEGIN_CHAR:
            return Entry(aSignature);
        default:
            return Variant(aName);
        }
    }

    zqError Array(const char *&aSignature, const char *aName) noexcept
    {
        const char *const lElement = aSignature;
        const int         lType    = GetElementType(*lElement);
        std::uint32_t     lLength  = 0;

        aSignature = SkipType(lElement);
        if (aSignature == nullptr || !Read(lLength) || !Align(GetAlignment(*lElement)) || lLength > mEnd - mAt)
            return kRefused;

        const std::uint32_t lEnd    = mAt + lLength;
        zqError             lReturn = Tell(zqDBusWalkArrayStart, aName, &lType);

        while (lReturn == 0 && mAt < lEnd)
        {
            const char *lSignature = lElement;

            lReturn = Element(lSignature, aName);
        }

        if (lReturn != 0)
            return lReturn;

        return mAt == lEnd ? Tell(zqDBusWalkArrayEnd, aName, nullptr) : kRefused;
    }

    zqError Structure(const char *&aSignature, const char *aName) noexcept
    {
        // An empty one would take no room, and never fill its array.
        if (!Align(8) || *aSignature == DBUS_STRUCT_END_CHAR)
            return kRefused;

        zqError lReturn = Tell(zqDBusWalkStructureStart, aName, nullptr);

        if (lReturn == 0)
            lReturn = Members(aSignature, DBUS_STRUCT_END_CHAR, aName);
        if (lReturn != 0)
            return lReturn;

        aSignature++;
        return Tell(zqDBusWalkStructureEnd, aName, nullptr);
    }

    zqError Entry(const char *&aSignature) noexcept
    {
        const char *lName   = nullptr;
        const char  lType   = *aSignature;
        zqError     lReturn = kRefused;

        if (!Align(8))
            return kRefused;

        if (lType == DBUS_TYPE_STRING || lType == DBUS_TYPE_OBJECT_PATH || lType == DBUS_TYPE_SIGNATURE)
        {
            DBusBasicValue lKey;

            aSignature++;
            if (!ReadBasic(lType, lKey))
                return kRefused;

            lName   = lKey.str;
            lReturn = Tell(DBUS_TYPE_DICT_ENTRY, lName, &lName);
        }
        else
            lReturn = Element(aSignature, nullptr);

        if (lReturn == 0)
            lReturn = Members(aSignature, DBUS_DICT_ENTRY_END_CHAR, lName);
        if (lReturn == 0)
            aSignature++;
        return lReturn;
    }

    zqError Variant(const char *aName) noexcept
    {
        const char *lSignature = nullptr;

        if (!ReadText<unsigned char>(lSignature))
            return kRefused;

        const zqError lReturn = Tell(DBUS_TYPE_VARIANT, aName, nullptr);

        return lReturn != 0 ? lReturn : Element(lSignature, aName);
    }

    const char *const   mBytes;
    const std::uint32_t mEnd;
    const bool          mIsSwapped;
    const zqDBusWalker  mWalker;
    void *const         mContext;
    std::uint32_t       mAt    = 0;
    int                 mDepth = 0;
};

} // namespace

bool zqDBusWalkBytes(const char *aBytes, int aLength, const char *aSignature, zqDBusWalker aWalker, void *aContext,
                     zqError &aResult) noexcept
{
    const auto lLength = static_cast<std::uint32_t>(aLength);

    if (aLength < static_cast<int>(kFixedHead) || aLength > DBUS_MAXIMUM_MESSAGE_LENGTH ||
        (aBytes[0] != DBUS_LITTLE_ENDIAN && aBytes[0] != DBUS_BIG_ENDIAN) ||
        Round(aBytes, lLength, nullptr, nullptr).Walk(aSignature) != 0)
        return false;

    aResult = Round(aBytes, lLength, aWalker, aContext).Walk(aSignature);
    return true;
}

zqError zqDBus::WalkMessage(DBusMessage *aMessage, zqDBusWalker aWalker, void *aContext) noexcept
{
    char   *lBytes  = nullptr;
    int     lLength = 0;
    zqError lReturn = zqError_None;

    if (aMessage == nullptr || aWalker == nullptr)
        return zqError_InvalidArgument;

    const bool lIsWalked =
        dbus_message_marshal(aMessage, &lBytes, &lLength) &&
        zqDBusWalkBytes(lBytes, lLength, dbus_message_get_signature(aMessage), aWalker, aContext, lReturn);

    dbus_free(lBytes);

    DBusMessageIter lIterator;

    if (!lIsWalked && dbus_message_iter_init(aMessage, &lIterator))
        lReturn = WalkDBusMsgIter(&lIterator, aWalker, aContext);
    return lReturn;
}
