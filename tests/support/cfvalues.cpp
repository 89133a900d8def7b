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
    const auto lType = aValue == static_cast<int>(aValue) ? kCFNumberIntType : kCFNumberSInt64Type;
    const int  lInt  = static_cast<int>(aValue);

    return CFUAdopt<CFTypeRef>(
        CFNumberCreate(nullptr, lType, lType == kCFNumberIntType ? static_cast<const void *>(&lInt) : &aValue));
}

Value Bool(bool aValue)
{
    return CFURetain<CFTypeRef>(aValue ? kCFBooleanTrue : kCFBooleanFalse);
}

CFUSharedRef<CFArrayRef> Strings(const std::vector<std::string> &aTexts)
{
    const auto lArray = CFUAdopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));

    for (const std::string &lText : aTexts)
        CFArrayAppendValue(lArray.Get(), Str(lText).Get());
    return lArray;
}

Dictionary Dict(const std::vector<std::pair<CFStringRef, Value>> &anEntries)
{
    auto lDictionary = CFUAdopt(
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));

    for (const auto &[lKey, lValue] : anEntries)
        CFDictionarySetValue(lDictionary.Get(), lKey, lValue.Get());
    return lDictionary;
}

} // namespace zq::Test
