#include "json.h"

#include <limits>
#include <vector>

namespace zqnetctl
{

const char *const kMask = "********";

namespace
{

constexpr const char *kSecrets[] = { "Passphrase", "PrivateKeyPassphrase", "TetheringPassphrase", "PreviousPassphrase",
                                     "Password",   "Network:Key" };

constexpr const char *kExtendedPANID = "ExtendedPANID";

Json FromNumber(CFNumberRef aNumber, const std::string &aKey)
{
    if (CFNumberIsFloatType(aNumber))
    {
        double lDouble = 0;
        (void)CFNumberGetValue(aNumber, kCFNumberFloat64Type, &lDouble);
        return lDouble;
    }

    SInt64 lInteger = 0;
    (void)CFNumberGetValue(aNumber, kCFNumberSInt64Type, &lInteger);

    // An extended PAN ID has all 64 bits, which the number holds as a signed one.
    if (aKey == kExtendedPANID)
        return static_cast<UInt64>(lInteger);
    return lInteger;
}

Json FromData(CFDataRef aData)
{
    const UInt8 *lBytes = CFDataGetBytePtr(aData);

    return std::vector<unsigned>(lBytes, lBytes + CFDataGetLength(aData));
}

Json FromArray(CFArrayRef anArray)
{
    Json lArray = Json::array();

    for (CFIndex lIndex = 0; lIndex < CFArrayGetCount(anArray); lIndex++)
        lArray.push_back(FromCF(CFArrayGetValueAtIndex(anArray, lIndex)));
    return lArray;
}

Json FromDictionary(CFDictionaryRef aDictionary, const std::string &aKey)
{
    const auto                lCount = static_cast<std::size_t>(CFDictionaryGetCount(aDictionary));
    std::vector<const void *> lKeys(lCount);
    std::vector<const void *> lValues(lCount);
    Json                      lObject = Json::object();

    CFDictionaryGetKeysAndValues(aDictionary, lKeys.data(), lValues.data());

    for (std::size_t lIndex = 0; lIndex < lCount; lIndex++)
    {
        if (!CFUIsTypeID(lKeys[lIndex], CFStringGetTypeID()))
            continue;

        const std::string lKey    = CFUText(lKeys[lIndex]);
        const bool        lSecret = lKey == "Value" && IsSecret(aKey);

        lObject[lKey] = lSecret ? Json(kMask) : FromCF(lValues[lIndex], lKey);
    }
    return lObject;
}

CFUSharedRef<CFTypeRef> ToNumber(const Json &aValue)
{
    if (aValue.is_number_float())
    {
        const auto lDouble = aValue.get<double>();
        return CFUAdopt<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &lDouble));
    }

    if (aValue.is_number_unsigned() && aValue.get<UInt64>() > UInt64(std::numeric_limits<SInt64>::max()))
        return nullptr;

    const auto   lInteger = aValue.get<SInt64>();
    const SInt32 lSmall   = static_cast<SInt32>(lInteger);

    if (lSmall == lInteger)
        return CFUAdopt<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &lSmall));
    return CFUAdopt<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &lInteger));
}

CFUSharedRef<CFTypeRef> ToArray(const Json &aValue)
{
    const auto lArray = CFUAdopt(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));

    for (const Json &lElement : aValue)
    {
        const auto lConverted = ToCF(lElement);

        if (!lArray || !lConverted)
            return nullptr;
        CFArrayAppendValue(lArray.Get(), lConverted.Get());
    }
    return lArray;
}

CFUSharedRef<CFTypeRef> ToDictionary(const Json &aValue)
{
    const auto lDictionary = CreateDictionary();

    for (const auto &lEntry : aValue.items())
    {
        const auto lKey       = CFUString(lEntry.key());
        const auto lConverted = ToCF(lEntry.value());

        if (!lDictionary || !lKey || !lConverted)
            return nullptr;
        CFDictionarySetValue(lDictionary.Get(), lKey.Get(), lConverted.Get());
    }
    return lDictionary;
}

} // namespace

bool IsSecret(const std::string &aKey)
{
    for (const char *lSecret : kSecrets)
        if (aKey == lSecret)
            return true;
    return false;
}

CFUSharedRef<CFMutableDictionaryRef> CreateDictionary()
{
    return CFUAdopt(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                              &kCFTypeDictionaryValueCallBacks));
}

Json FromCF(CFTypeRef aValue, const std::string &aKey)
{
    if (aValue == nullptr)
        return nullptr;

    const CFTypeID lType = CFGetTypeID(aValue);

    if (lType == CFDictionaryGetTypeID())
        return FromDictionary(static_cast<CFDictionaryRef>(aValue), aKey);
    if (IsSecret(aKey))
        return kMask;
    if (lType == CFStringGetTypeID())
        return CFUText(aValue);
    if (lType == CFBooleanGetTypeID())
        return CFUIsTrue(aValue);
    if (lType == CFNumberGetTypeID())
        return FromNumber(static_cast<CFNumberRef>(aValue), aKey);
    if (lType == CFArrayGetTypeID())
        return FromArray(static_cast<CFArrayRef>(aValue));
    if (lType == CFDataGetTypeID())
        return FromData(static_cast<CFDataRef>(aValue));
    return nullptr;
}

CFUSharedRef<CFTypeRef> ToCF(const Json &aValue)
{
    if (aValue.is_object())
        return ToDictionary(aValue);
    if (aValue.is_array())
        return ToArray(aValue);
    if (aValue.is_string())
        return CFUString(aValue.get_ref<const std::string &>());
    if (aValue.is_boolean())
        return CFUAdopt<CFTypeRef>(CFUBooleanCreate(aValue.get<bool>()));
    if (aValue.is_number())
        return ToNumber(aValue);
    return nullptr;
}

std::string ToLine(const Json &aValue)
{
    return aValue.dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace zqnetctl
