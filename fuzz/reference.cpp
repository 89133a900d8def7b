#include "reference.h"

#include <zqnetworkmanager-vocabulary.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <string>

using namespace zq::NetworkManager;

namespace
{

bool IsServiceDictionary(CFTypeRef aName)
{
    const CFStringRef lNames[] = { kServicePropertyEthernet,
                                   kServicePropertyIPv4,
                                   kServicePropertyIPv4Configuration,
                                   kServicePropertyIPv6,
                                   kServicePropertyProxy,
                                   kServicePropertyIPv6Configuration,
                                   kServicePropertyProxyConfiguration };

    return std::any_of(std::begin(lNames), std::end(lNames),
                       [=](CFStringRef aKnown) { return CFEqual(aName, aKnown); });
}

Fate DecideForProperties(int aDepth, int aType, CFTypeRef)
{
    if (aType == DBUS_TYPE_STRUCT)
        return Fate::kRefused;
    return aDepth == 0 ? Fate::kDictionary : Fate::kList;
}

Fate DecideForObjects(int aDepth, int aType, CFTypeRef)
{
    if (aType == DBUS_TYPE_STRUCT)
        return Fate::kFlat;
    return aDepth == 0 || aDepth == 2 ? Fate::kDictionary : Fate::kList;
}

Fate DecideForTechnology(int aDepth, int aType, CFTypeRef aName)
{
    if (aType == DBUS_TYPE_STRUCT)
        return Fate::kFlat;
    if (aDepth <= 1)
        return Fate::kDictionary;
    return CFEqual(aName, CFSTR("Alternates")) ? Fate::kList : Fate::kSkipped;
}

Fate DecideForService(int aDepth, int aType, CFTypeRef aName)
{
    return aType != DBUS_TYPE_STRUCT && IsServiceDictionary(aName) ? Fate::kDictionary
                                                                   : DecideForProperties(aDepth, aType, aName);
}

Fate DecideForServices(int aDepth, int aType, CFTypeRef aName)
{
    return aType != DBUS_TYPE_STRUCT && IsServiceDictionary(aName) ? Fate::kDictionary
                                                                   : DecideForObjects(aDepth, aType, aName);
}

Fate DecideForAny(int, int aType, CFTypeRef)
{
    return aType == DBUS_TYPE_DICT_ENTRY ? Fate::kDictionary : Fate::kList;
}

Fate DecideForAnyObjects(int aDepth, int aType, CFTypeRef aName)
{
    if (aDepth == 0)
        return Fate::kDictionary;
    return aDepth == 1 && aType == DBUS_TYPE_STRUCT ? Fate::kFlat : DecideForAny(aDepth, aType, aName);
}

} // namespace

const Rules kProperties           = { "sob", DecideForProperties };
const Rules kPropertiesNoPaths    = { "sb", DecideForProperties };
const Rules kObjects              = { "sob", DecideForObjects };
const Rules kTechnologyProperties = { "sob", DecideForTechnology };
const Rules kServiceProperties    = { "sbyq", DecideForService };
const Rules kServiceObjects       = { "sboy", DecideForServices };
const Rules kAny                  = { nullptr, DecideForAny };
const Rules kAnyObjects           = { nullptr, DecideForAnyObjects };

namespace
{

const Rules kSkipping = { "sob", [](int, int, CFTypeRef) { return Fate::kList; } };

bool IsText(int aType)
{
    return aType == DBUS_TYPE_STRING || aType == DBUS_TYPE_OBJECT_PATH || aType == DBUS_TYPE_SIGNATURE;
}

SInt64 GetInteger(int aType, const DBusBasicValue &aBasic)
{
    switch (aType)
    {
    case DBUS_TYPE_BYTE:
        return aBasic.byt;
    case DBUS_TYPE_INT16:
        return aBasic.i16;
    case DBUS_TYPE_UINT16:
        return aBasic.u16;
    case DBUS_TYPE_INT32:
        return aBasic.i32;
    case DBUS_TYPE_UINT32:
    case DBUS_TYPE_BOOLEAN:
        return aBasic.u32;
    default:
        return aBasic.i64;
    }
}

Value MakeText(const std::string &aText)
{
    return CFUAdopt<CFTypeRef>(CFStringCreateWithCString(nullptr, aText.c_str(), kCFStringEncodingUTF8));
}

Value MakeValue(int aType, const DBusBasicValue &aBasic)
{
    if (IsText(aType))
        return MakeText(aBasic.str);
    if (aType == DBUS_TYPE_BOOLEAN)
        return CFURetain<CFTypeRef>(aBasic.bool_val != 0 ? kCFBooleanTrue : kCFBooleanFalse);
    if (aType == DBUS_TYPE_DOUBLE)
        return CFUAdopt<CFTypeRef>(CFNumberCreate(nullptr, kCFNumberDoubleType, &aBasic.dbl));

    const SInt64 lInteger = GetInteger(aType, aBasic);

    return CFUAdopt<CFTypeRef>(CFNumberCreate(nullptr, kCFNumberSInt64Type, &lInteger));
}

/** A key that is no text as one. */
Value MakeKey(int aType, const DBusBasicValue &aBasic)
{
    if (aType == DBUS_TYPE_UINT64)
        return MakeText(std::to_string(aBasic.u64));
    if (aType != DBUS_TYPE_DOUBLE)
        return MakeText(std::to_string(GetInteger(aType, aBasic)));

    char lText[32];

    return MakeText({ lText, std::to_chars(lText, lText + sizeof lText, aBasic.dbl).ptr });
}

/** A list or dictionary that is being filled. */
class Container
{
public:
    explicit Container(Fate aFate) : mIsDictionary(aFate == Fate::kDictionary)
    {
        if (mIsDictionary)
            mValue = CFUAdopt<CFTypeRef>(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                                   &kCFTypeDictionaryValueCallBacks));
        else
            mValue = CFUAdopt<CFTypeRef>(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    }

    /** Of a dictionary, texts are keys and anything is a value, by turns. */
    bool Add(const Value &aValue)
    {
        if (!mIsDictionary)
            CFArrayAppendValue(static_cast<CFMutableArrayRef>(const_cast<void *>(mValue.Get())), aValue.Get());
        else if (mKey != nullptr)
        {
            CFDictionarySetValue(static_cast<CFMutableDictionaryRef>(const_cast<void *>(mValue.Get())), mKey.Get(),
                                 aValue.Get());
            mKey.Reset();
        }
        else if (CFUIsTypeID(aValue.Get(), CFStringGetTypeID()))
            mKey = aValue;
        else
            return false;
        return true;
    }

    const bool mIsDictionary;
    Value      mValue;
    Value      mKey; ///< waits for its value
};

class Reader
{
public:
    explicit Reader(const Rules &aRules) : mRules(aRules) {}

    bool ReadAll(DBusMessageIter anIterator, Container &aAround, int aDepth) const
    {
        for (; dbus_message_iter_get_arg_type(&anIterator) != DBUS_TYPE_INVALID; dbus_message_iter_next(&anIterator))
            if (!Read(anIterator, aAround, aDepth))
                return false;
        return true;
    }

    bool Read(DBusMessageIter &anIterator, Container &aAround, int aDepth) const
    {
        const int lType = dbus_message_iter_get_arg_type(&anIterator);

        if (dbus_type_is_basic(lType))
            return ReadBasic(anIterator, lType, aAround);

        DBusMessageIter lInner;

        dbus_message_iter_recurse(&anIterator, &lInner);
        if (lType == DBUS_TYPE_VARIANT)
            return Read(lInner, aAround, aDepth);
        if (lType == DBUS_TYPE_DICT_ENTRY)
            return ReadKey(lInner, aAround) && dbus_message_iter_next(&lInner) && Read(lInner, aAround, aDepth);

        const bool lIsEntries =
            lType == DBUS_TYPE_ARRAY && dbus_message_iter_get_element_type(&anIterator) == DBUS_TYPE_DICT_ENTRY;

        return ReadContainer(lInner, lIsEntries ? DBUS_TYPE_DICT_ENTRY : lType, aAround, aDepth);
    }

private:
    bool ReadBasic(DBusMessageIter &anIterator, int aType, Container &aAround) const
    {
        if (mRules.mBasics != nullptr && std::strchr(mRules.mBasics, aType) == nullptr)
            return false;

        if (aType == DBUS_TYPE_UNIX_FD)
        {
            aAround.mKey.Reset();
            return true;
        }

        DBusBasicValue lBasic;

        dbus_message_iter_get_basic(&anIterator, &lBasic);
        return aAround.Add(MakeValue(aType, lBasic));
    }

    bool ReadKey(DBusMessageIter &anIterator, Container &aAround) const
    {
        const int lType = dbus_message_iter_get_arg_type(&anIterator);

        if (mRules.mBasics != nullptr && !IsText(lType))
            return ReadBasic(anIterator, lType, aAround);
        if (lType == DBUS_TYPE_UNIX_FD || aAround.mKey != nullptr)
            return false;

        DBusBasicValue lBasic;

        dbus_message_iter_get_basic(&anIterator, &lBasic);
        return aAround.Add(IsText(lType) ? MakeText(lBasic.str) : MakeKey(lType, lBasic));
    }

    bool ReadContainer(DBusMessageIter &anInner, int aType, Container &aAround, int aDepth) const
    {
        const Fate lFate = mRules.mDecide(aDepth, aType, aAround.mKey.Get());
        Container  lContainer(lFate);

        switch (lFate)
        {
        case Fate::kRefused:
            return false;
        case Fate::kSkipped:
            aAround.mKey.Reset();
            return Reader(kSkipping).ReadAll(anInner, lContainer, aDepth + 1);
        case Fate::kFlat:
            return ReadAll(anInner, aAround, aDepth + 1);
        default:
            return aAround.Add(lContainer.mValue) && ReadAll(anInner, lContainer, aDepth + 1);
        }
    }

    const Rules &mRules;
};

} // namespace

Value ReadArray(DBusMessageIter anIterator, const Rules &aRules)
{
    Container lAround(Fate::kList);

    if (!Reader(aRules).Read(anIterator, lAround, 0))
        return nullptr;
    return CFURetain(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(lAround.mValue.Get()), 0));
}

Value ReadMembers(DBusMessageIter anIterator, const Rules &aRules, Fate aFate, int aDepth)
{
    Container lAround(aFate);

    return Reader(aRules).ReadAll(anIterator, lAround, aDepth) ? lAround.mValue : nullptr;
}
