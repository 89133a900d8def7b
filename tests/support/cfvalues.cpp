#include "cfvalues.h"

namespace zq::Test
{

String Str(const std::string &aText)
{
    return CFUAdopt(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8 *>(aText.data()),
                                            static_cast<CFIndex>(aText.size()), kCFStringEncodingUTF8, false));
}

Value Number(std::int64_t aValue)
{
    return NumberOf(aValue == static_cast<int>(aValue) ? kCFNumberIntType : kCFNumberSInt64Type, aValue);
}

Value NumberOf(CFNumberType aType, std::int64_t aValue)
{
    return CFUAdopt<CFTypeRef>(CFNumberCreate(nullptr, aType, &aValue)); // little-endian
}

Value Bool(bool aValue)
{
    return CFURetain<CFTypeRef>(aValue ? kCFBooleanTrue : kCFBooleanFalse);
}

CFUSharedRef<CFMutableArrayRef> MakeArray(const std::vector<Value> &theValues)
{
    auto lArray = CFUAdopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));

    for (const Value &lValue : theValues)
        CFArrayAppendValue(lArray.Get(), lValue.Get());
    return lArray;
}

CFUSharedRef<CFMutableArrayRef> Strings(const std::vector<std::string> &aTexts)
{
    auto lArray = MakeArray();

    for (const std::string &lText : aTexts)
        CFArrayAppendValue(lArray.Get(), Str(lText).Get());
    return lArray;
}

Dictionary Dict(const Entries &anEntries)
{
    auto lDictionary = CFUAdopt(
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));

    for (const Entry &lEntry : anEntries)
        CFDictionarySetValue(lDictionary.Get(), lEntry.mKey.Get(), lEntry.mValue.Get());
    return lDictionary;
}

namespace
{

std::string StringText(CFStringRef aString)
{
    const CFIndex lSize = CFStringGetMaximumSizeForEncoding(CFStringGetLength(aString), kCFStringEncodingUTF8) + 1;
    std::string   lText(static_cast<std::size_t>(lSize), '\0');

    return CFStringGetCString(aString, lText.data(), lSize, kCFStringEncodingUTF8) ? lText.c_str() : "no text";
}

std::string NumberText(CFNumberRef aNumber)
{
    double lDouble  = 0;
    SInt64 lInteger = 0;

    if (CFNumberIsFloatType(aNumber))
        return (void)CFNumberGetValue(aNumber, kCFNumberDoubleType, &lDouble), std::to_string(lDouble);
    return (void)CFNumberGetValue(aNumber, kCFNumberSInt64Type, &lInteger), std::to_string(lInteger);
}

std::string Join(const std::vector<std::string> &aTexts, const char *anOpen, const char *aClose)
{
    std::string lText = anOpen;

    for (const std::string &lElement : aTexts)
        lText += (lText.size() > 1 ? ", " : "") + lElement;
    return lText + aClose;
}

} // namespace

std::string Text(CFTypeRef aValue, bool aTyped)
{
    std::vector<std::string> lTexts;

    if (aValue == nullptr)
        return "null";
    if (CFUIsTypeID(aValue, CFStringGetTypeID()))
        return (aTyped ? "'" : "") + StringText(static_cast<CFStringRef>(aValue)) + (aTyped ? "'" : "");
    if (CFUIsTypeID(aValue, CFBooleanGetTypeID()))
        return CFBooleanGetValue(static_cast<CFBooleanRef>(aValue)) ? "true" : "false";

    if (CFUIsTypeID(aValue, CFNumberGetTypeID()))
    {
        const auto lNumber = static_cast<CFNumberRef>(aValue);

        return (aTyped ? std::to_string(CFUGetNumberType(lNumber)) + ":" : "") + NumberText(lNumber);
    }

    if (CFUIsTypeID(aValue, CFDataGetTypeID()))
    {
        const auto lData = static_cast<CFDataRef>(aValue);

        for (CFIndex lIndex = 0; lIndex < CFDataGetLength(lData); ++lIndex)
            lTexts.push_back(std::to_string(CFDataGetBytePtr(lData)[lIndex]));
        return Join(lTexts, "<", ">");
    }

    if (CFUIsTypeID(aValue, CFArrayGetTypeID()))
    {
        const auto lArray = static_cast<CFArrayRef>(aValue);

        for (CFIndex lIndex = 0; lIndex < CFArrayGetCount(lArray); ++lIndex)
            lTexts.push_back(Text(CFArrayGetValueAtIndex(lArray, lIndex), aTyped));
        return Join(lTexts, "[", "]");
    }

    if (!CFUIsTypeID(aValue, CFDictionaryGetTypeID()))
        return "something else";

    auto lAdd = [&](const void *aKey, const void *anEntry)
    { lTexts.push_back(Text(aKey, aTyped) + ": " + Text(anEntry, aTyped)); };

    CFDictionaryApplyFunction(
        static_cast<CFDictionaryRef>(aValue),
        [](const void *aKey, const void *anEntry, void *aContext)
        { (*static_cast<decltype(lAdd) *>(aContext))(aKey, anEntry); },
        &lAdd);
    return Join(lTexts, "{", "}");
}

} // namespace zq::Test
