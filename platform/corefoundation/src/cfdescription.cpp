/**
 *  @file
 *    Values in words, for logs and tests.
 */

#include "cfruntime.h"

#include <charconv>
#include <iterator>
#include <string>

using namespace cf;

namespace
{

void Describe(std::string &aText, CFTypeRef aValue);

/** The shortest text that reads back as the value, in every locale. */
template <typename T>
void DescribeAs(std::string &aText, CFNumberRef aNumber, CFNumberType aType)
{
    char lBuffer[40];
    T    lValue = 0;

    (void)CFNumberGetValue(aNumber, aType, &lValue);
    aText.append(lBuffer, std::to_chars(std::begin(lBuffer), std::end(lBuffer), lValue).ptr);
}

void DescribeNumber(std::string &aText, CFNumberRef aNumber)
{
    if (CFNumberIsFloatType(aNumber))
        DescribeAs<double>(aText, aNumber, kCFNumberFloat64Type);
    else
        DescribeAs<SInt64>(aText, aNumber, kCFNumberSInt64Type);
}

void DescribeData(std::string &aText, CFDataRef aData)
{
    static constexpr char kDigits[] = "0123456789abcdef";

    aText += '<';
    for (CFIndex lIndex = 0; lIndex < CFDataGetLength(aData); ++lIndex)
    {
        const UInt8 lByte = CFDataGetBytePtr(aData)[lIndex];
        aText += kDigits[lByte >> 4];
        aText += kDigits[lByte & 0x0F];
    }
    aText += '>';
}

// Bare pointers are not known to point at anything readable.
const char kPointers[] = "<pointers>";

void DescribeArray(std::string &aText, CFArrayRef anArray)
{
    if (!HoldsValues(anArray))
    {
        aText += kPointers;
        return;
    }

    aText += '(';
    for (CFIndex lIndex = 0; lIndex < CFArrayGetCount(anArray); ++lIndex)
    {
        aText += lIndex != 0 ? ", " : "";
        Describe(aText, CFArrayGetValueAtIndex(anArray, lIndex));
    }
    aText += ')';
}

void DescribeEntry(const void *aKey, const void *aValue, void *aContext)
{
    std::string &lText = *static_cast<std::string *>(aContext);

    Describe(lText, aKey);
    lText += " = ";
    Describe(lText, aValue);
    lText += "; ";
}

void DescribeDictionary(std::string &aText, CFDictionaryRef aDictionary)
{
    if (!HoldsValues(aDictionary))
    {
        aText += kPointers;
        return;
    }

    aText += "{ ";
    CFDictionaryApplyFunction(aDictionary, DescribeEntry, &aText);
    aText += '}';
}

void Describe(std::string &aText, CFTypeRef aValue)
{
    switch (CFGetTypeID(aValue))
    {
    case kTypeString:
        aText += GetText(static_cast<CFStringRef>(aValue));
        return;
    case kTypeNumber:
        return DescribeNumber(aText, static_cast<CFNumberRef>(aValue));
    case kTypeBoolean:
        aText += aValue == kCFBooleanTrue ? "true" : "false";
        return;
    case kTypeData:
        return DescribeData(aText, static_cast<CFDataRef>(aValue));
    case kTypeArray:
        return DescribeArray(aText, static_cast<CFArrayRef>(aValue));
    case kTypeDictionary:
        return DescribeDictionary(aText, static_cast<CFDictionaryRef>(aValue));
    default:
        aText += "(null)";
    }
}

} // namespace

CFStringRef CFCopyDescription(CFTypeRef aValue)
{
    try
    {
        std::string lText;

        Describe(lText, aValue);
        return CreateString(lText.data(), lText.size());
    }
    catch (...)
    {
        return nullptr;
    }
}
