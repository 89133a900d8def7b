/**
 *  @file
 *    What goes into a message, checked: what libdbus would end the process for.
 */

#include "zqdbus-private.h"

#include <algorithm>

namespace
{

bool IsStringLike(int aType) noexcept
{
    return aType == DBUS_TYPE_STRING || aType == DBUS_TYPE_OBJECT_PATH || aType == DBUS_TYPE_SIGNATURE;
}

bool IsValidString(int aType, const char *aText) noexcept
{
    if (aText == nullptr)
        return false;

    switch (aType)
    {
    case DBUS_TYPE_OBJECT_PATH:
        return dbus_validate_path(aText, nullptr);
    case DBUS_TYPE_SIGNATURE:
        return dbus_signature_validate(aText, nullptr);
    default:
        return dbus_validate_utf8(aText, nullptr);
    }
}

bool IsValidBoolean(dbus_bool_t aValue) noexcept
{
    return aValue == 0 || aValue == 1;
}

bool IsValidBasic(int aType, const void *aValue) noexcept
{
    if (aValue == nullptr || !dbus_type_is_basic(aType))
        return false;

    if (IsStringLike(aType))
        return IsValidString(aType, *static_cast<const char *const *>(aValue));

    return aType != DBUS_TYPE_BOOLEAN || IsValidBoolean(*static_cast<const dbus_bool_t *>(aValue));
}

std::size_t GetFixedSize(int aType) noexcept
{
    switch (aType)
    {
    case DBUS_TYPE_BYTE:
        return 1;
    case DBUS_TYPE_INT16:
    case DBUS_TYPE_UINT16:
        return 2;
    case DBUS_TYPE_BOOLEAN:
    case DBUS_TYPE_INT32:
    case DBUS_TYPE_UINT32:
        return 4;
    default:
        return 8;
    }
}

bool IsValidFixedArray(int aType, const void *anElements, int aCount) noexcept
{
    if (static_cast<std::size_t>(aCount) > DBUS_MAXIMUM_ARRAY_LENGTH / GetFixedSize(aType))
        return false;

    const auto *const lBooleans = static_cast<const dbus_bool_t *>(anElements);

    return aType != DBUS_TYPE_BOOLEAN || std::all_of(lBooleans, lBooleans + aCount, IsValidBoolean);
}

/** The element type, the address of the elements' address, and their number. */
bool IsValidArray(int aType, const void *anAddress, int aCount) noexcept
{
    if (anAddress == nullptr || aCount < 0)
        return false;

    const void *const lElements = *static_cast<const void *const *>(anAddress);

    if (lElements == nullptr && aCount > 0)
        return false;

    if (IsStringLike(aType))
    {
        const auto *const lStrings = static_cast<const char *const *>(lElements);

        return std::all_of(lStrings, lStrings + aCount, [=](const char *aText) { return IsValidString(aType, aText); });
    }

    return dbus_type_is_fixed(aType) && aType != DBUS_TYPE_UNIX_FD && IsValidFixedArray(aType, lElements, aCount);
}

bool AreValidArguments(int aFirstType, va_list aArguments) noexcept
{
    for (int lType = aFirstType; lType != DBUS_TYPE_INVALID; lType = va_arg(aArguments, int))
    {
        if (lType != DBUS_TYPE_ARRAY)
        {
            if (!dbus_type_is_valid(lType) || !IsValidBasic(lType, va_arg(aArguments, const void *)))
                return false;

            continue;
        }

        const int         lElementType = va_arg(aArguments, int);
        const void *const lAddress     = va_arg(aArguments, const void *);
        const int         lCount       = va_arg(aArguments, int);

        if (!dbus_type_is_valid(lElementType) || !IsValidArray(lElementType, lAddress, lCount))
            return false;
    }

    return true;
}

} // namespace

// The local names are libdbus's own: the bus drops who uses them.

bool zqDBusIsValidPath(const char *aPath) noexcept
{
    return aPath != nullptr && dbus_validate_path(aPath, nullptr) && std::strcmp(aPath, DBUS_PATH_LOCAL) != 0;
}

bool zqDBusIsValidInterface(const char *anInterface) noexcept
{
    return anInterface != nullptr && dbus_validate_interface(anInterface, nullptr) &&
           std::strcmp(anInterface, DBUS_INTERFACE_LOCAL) != 0;
}

bool zqDBusIsValidMember(const char *aMember) noexcept
{
    return aMember != nullptr && dbus_validate_member(aMember, nullptr);
}

bool zqDBusIsValidBusName(const char *aName) noexcept
{
    return aName != nullptr && dbus_validate_bus_name(aName, nullptr);
}

bool zqDBusIsValidText(const char *aText) noexcept
{
    return IsValidString(DBUS_TYPE_STRING, aText);
}

zqError zqDBusAppendArguments(DBusMessage *aMessage, int aFirstType, va_list aArguments) noexcept
{
    va_list lArguments;

    va_copy(lArguments, aArguments);

    const bool lIsValid = AreValidArguments(aFirstType, lArguments);

    va_end(lArguments);

    if (!lIsValid)
        return zqError_InvalidArgument;

    return dbus_message_append_args_valist(aMessage, aFirstType, aArguments) ? zqError_None : zqError_NoResources;
}
