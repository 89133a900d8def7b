/**
 *  @file
 *    CoreFoundation values as an application writes them: texts as std::string
 *    and back, and dictionaries from a list of pairs.
 *
 *  @code
 *  manager.ServiceCompleteInput(service, CFUDictionary({ { kServicePropertyPassphrase, passphrase } }));
 *  @endcode
 *
 *  May be called from any thread. When std::string finds no memory, it throws.
 */

#ifndef CFUVALUES_H
#define CFUVALUES_H

#include <CFUtilities.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

/** A string from UTF-8; null when it is not UTF-8 or memory is exhausted. */
inline CFUSharedRef<CFStringRef> CFUString(const std::string &aText)
{
    return CFUAdopt(CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8 *>(aText.data()),
                                            static_cast<CFIndex>(aText.size()), kCFStringEncodingUTF8, false));
}

/** A string as UTF-8, up to a NUL in it; empty for null and for a value that is no string. */
inline std::string CFUText(CFTypeRef aValue)
{
    const auto lString = CFUIsTypeID(aValue, CFStringGetTypeID()) ? static_cast<CFStringRef>(aValue) : nullptr;

    if (lString == nullptr)
        return std::string();

    const CFIndex lSize = CFStringGetMaximumSizeForEncoding(CFStringGetLength(lString), kCFStringEncodingUTF8) + 1;
    std::string   lBuffer(static_cast<std::size_t>(lSize), '\0');

    if (!CFStringGetCString(lString, lBuffer.data(), lSize, kCFStringEncodingUTF8))
        return std::string();

    lBuffer.resize(std::strlen(lBuffer.c_str()));
    return lBuffer;
}

template <typename T>
std::string CFUText(const CFUSharedRef<T> &aValue)
{
    return CFUText(aValue.Get());
}

/** A key or a value on its way into a dictionary, with a reference of its own. */
class CFUValue
{
public:
    CFUValue(CFTypeRef aValue) noexcept : mValue(CFURetain(aValue)) {}
    CFUValue(const char *aText) : mValue(CFUString(aText)) {}
    CFUValue(const std::string &aText) : mValue(CFUString(aText)) {}
    CFUValue(bool aFlag) noexcept : mValue(CFUAdopt(CFUBooleanCreate(aFlag))) {}
    CFUValue(std::int32_t aNumber) noexcept
        : mValue(CFUAdopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &aNumber)))
    {
    }

    template <typename T>
    CFUValue(const CFUSharedRef<T> &aValue) noexcept : mValue(aValue)
    {
    }

    CFTypeRef Get() const noexcept { return mValue.Get(); }

private:
    CFUSharedRef<CFTypeRef> mValue;
};

/** A new dictionary. @returns null when one of the keys or values is null, or memory is exhausted. */
inline CFUSharedRef<CFDictionaryRef> CFUDictionary(std::initializer_list<std::pair<CFUValue, CFUValue>> aPairs)
{
    std::vector<const void *> lKeys, lValues;

    for (const auto &lPair : aPairs)
    {
        if (lPair.first.Get() == nullptr || lPair.second.Get() == nullptr)
            return nullptr;
        lKeys.push_back(lPair.first.Get());
        lValues.push_back(lPair.second.Get());
    }
    return CFUAdopt(CFDictionaryCreate(kCFAllocatorDefault, lKeys.data(), lValues.data(),
                                       static_cast<CFIndex>(lKeys.size()), &kCFTypeDictionaryKeyCallBacks,
                                       &kCFTypeDictionaryValueCallBacks));
}

#endif /* CFUVALUES_H */
