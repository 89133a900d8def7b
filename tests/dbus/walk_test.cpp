#include <zqdbus-private.h>

#include <gtest/gtest.h>

#include <string>

namespace
{

/** A marshalled message of signature "ya{sv}a(ud)v", in one of the byte orders. */
std::string Marshal(bool aIsBig)
{
    std::string lBytes;
    const auto  lNumber = [&](std::uint64_t aNumber, std::size_t aSize)
    {
        while (lBytes.size() % aSize != 0)
            lBytes.push_back('\0');
        for (std::size_t lByte = 0; lByte < aSize; ++lByte)
            lBytes.push_back(static_cast<char>(aNumber >> 8 * (aIsBig ? aSize - 1 - lByte : lByte)));
    };
    const auto lText = [&](const std::string &aText, std::size_t aLengthSize)
    {
        lNumber(aText.size(), aLengthSize);
        lBytes.append(aText).push_back('\0');
    };

    lBytes = { aIsBig ? DBUS_BIG_ENDIAN : DBUS_LITTLE_ENDIAN, DBUS_MESSAGE_TYPE_SIGNAL, 0, 1 };
    lNumber(77, 4); // the arguments' size
    lNumber(1, 4);
    lNumber(0, 4); // no fields
    lNumber(7, 1);
    lNumber(21, 4); // the dictionary
    lText("Name", 4);
    lText("s", 1);
    lText("home", 4);
    lNumber(16, 4); // the structures, of which one stands at a multiple of 8
    lNumber(0, 4);
    lNumber(0x01020304, 4);
    lNumber(0x3FF0000000000000, 8); // 1.0
    lText("as", 1);
    lNumber(13, 4);
    lText("one", 4);
    lText("", 4);
    return lBytes;
}

std::string Describe(const std::string &aBytes, const char *aSignature)
{
    std::string lEvents;
    zqError     lResult = 0;
    const auto  lWalker = [](void *aContext, int anEvent, const char *aName, const void *aValue) -> zqError
    {
        std::string &lText  = *static_cast<std::string *>(aContext);
        const auto  *lValue = static_cast<const DBusBasicValue *>(aValue);

        if (anEvent > 0xFF)
            lText += std::string{ static_cast<char>(anEvent >> 8), static_cast<char>(anEvent) };
        else
            lText += static_cast<char>(anEvent);
        if (aName != nullptr)
            lText.append(":").append(aName);
        if (anEvent == DBUS_TYPE_STRING)
            lText.append("=").append(lValue->str);
        else if (anEvent == DBUS_TYPE_UINT32)
            lText += "=" + std::to_string(lValue->u32);
        else if (anEvent == DBUS_TYPE_DOUBLE)
            lText += "=" + std::to_string(lValue->dbl);
        else if (anEvent == DBUS_TYPE_BYTE)
            lText += "=" + std::to_string(lValue->byt);
        lText += ' ';
        return 0;
    };

    // Of exactly that size, so that who reads too far is seen.
    const std::vector<char> lExact(aBytes.begin(), aBytes.end());

    return zqDBusWalkBytes(lExact.data(), static_cast<int>(lExact.size()), aSignature, lWalker, &lEvents, lResult)
               ? lEvents
               : "refused" + lEvents;
}

} // namespace

TEST(WalkTest, BytesOfBothOrdersAreWalkedWholeOrNotAtAll)
{
    constexpr const char *kSignature = "ya{sv}a(ud)v";

    for (const bool lIsBig : { false, true })
    {
        SCOPED_TRACE(lIsBig);

        const std::string lBytes = Marshal(lIsBig);

        EXPECT_EQ(Describe(lBytes, kSignature), "y=7 as e:Name v:Name s:Name=home ae as rs u=16909060 d=1.000000 re ae "
                                                "v as s=one s= ae ");
        for (std::size_t lLength = 0; lLength < lBytes.size(); ++lLength)
            EXPECT_EQ(Describe(lBytes.substr(0, lLength), kSignature), "refused") << lLength;
        for (const char *lOther : { "", "y", "ya{sv}a(ud)", "ya{sv}a(ud)vy", "ya{sv}a(ud", "ya", "a()", "ya{sv}a()v" })
            EXPECT_EQ(Describe(lBytes, lOther), "refused") << lOther;
    }
}
