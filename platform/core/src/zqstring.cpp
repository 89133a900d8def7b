/**
 *  @file
 *    One text.
 */

#include <zqstring.h>

#include <cstring>
#include <memory>
#include <new>

namespace
{

CFUSharedRef<CFStringRef> CreateString(const char *aText, std::size_t aLength) noexcept
{
    return CFUAdopt(CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8 *>(aText),
                                            static_cast<CFIndex>(aLength), kCFStringEncodingUTF8, false));
}

/** The string, when it can be had as a C string. */
CFUSharedRef<CFStringRef> Usable(CFUSharedRef<CFStringRef> aString) noexcept
{
    if (aString != nullptr && CFStringGetCStringPtr(aString.Get(), kCFStringEncodingUTF8) == nullptr)
        aString.Reset();
    return aString;
}

CFStringRef EmptyString() noexcept
{
    static const CFStringRef sEmpty = CFSTR("");

    return sEmpty;
}

// Made when the library is loaded: later there might be no memory for it.
[[maybe_unused]] const CFStringRef kEmptyAtLoad = EmptyString();

} // namespace

zqString::zqString(const char *aText) noexcept
{
    if (aText != nullptr && *aText != '\0')
        mString = CreateString(aText, std::strlen(aText));
}

zqString::zqString(CFStringRef aString) noexcept : mString(Usable(CFURetain(aString))) {}

zqString::zqString(const CFUSharedRef<CFStringRef> &aString) noexcept : mString(Usable(aString)) {}

const char *zqString::GetAsUTFArray() const noexcept
{
    return mString != nullptr ? CFStringGetCStringPtr(mString.Get(), kCFStringEncodingUTF8) : "";
}

CFStringRef zqString::GetAsCFString() const noexcept
{
    return mString != nullptr ? mString.Get() : EmptyString();
}

bool zqString::IsEmpty() const noexcept
{
    return *GetAsUTFArray() == '\0';
}

int zqString::GetLength() const noexcept
{
    return static_cast<int>(std::strlen(GetAsUTFArray()));
}

int zqString::GetInteger() const noexcept
{
    return CFStringGetIntValue(GetAsCFString());
}

zqString &zqString::operator+=(const zqString &aOther) noexcept
{
    if (aOther.IsEmpty())
        return *this;
    if (IsEmpty())
        return *this = aOther;

    const auto                    lFirst  = static_cast<std::size_t>(GetLength());
    const auto                    lSecond = static_cast<std::size_t>(aOther.GetLength());
    const std::unique_ptr<char[]> lBuffer(new (std::nothrow) char[lFirst + lSecond]);

    if (lBuffer == nullptr)
    {
        mString.Reset();
        return *this;
    }

    (void)std::memcpy(lBuffer.get(), GetAsUTFArray(), lFirst);
    (void)std::memcpy(lBuffer.get() + lFirst, aOther.GetAsUTFArray(), lSecond);
    mString = CreateString(lBuffer.get(), lFirst + lSecond);
    return *this;
}

bool zqString::operator==(const zqString &aOther) const noexcept
{
    return mString.Get() == aOther.mString.Get() || std::strcmp(GetAsUTFArray(), aOther.GetAsUTFArray()) == 0;
}

bool zqString::operator<(const zqString &aOther) const noexcept
{
    return CFStringCompare(GetAsCFString(), aOther.GetAsCFString(), 0) == kCFCompareLessThan;
}

zqString operator+(const zqString &aFirst, const zqString &aSecond) noexcept
{
    zqString lSum(aFirst);

    return lSum += aSecond;
}
