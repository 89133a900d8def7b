/**
 *  @file
 *    Helpers over CoreFoundation: one scoped holder of a reference and a few
 *    operations that every user of dictionaries needs.
 */

#ifndef CFUTILITIES_H
#define CFUTILITIES_H

#include <CoreFoundation.h>

#include <cstddef>
#include <type_traits>
#include <utility>

/** Release a reference that may be null, as CFRelease does. */
CF_EXPORT void CFURelease(CFTypeRef aValue);

/**
 *  Merge @a aSource into @a aDestination, both of CoreFoundation keys and
 *  values. New keys follow those that are there, in the source's order. With
 *  a null on either side, or one dictionary on both, nothing happens.
 *
 *  When memory is exhausted, the keys that found no room are missing; what the
 *  destination held stays.
 *
 *  @param[in]  aReplace  Non-zero: a key that both hold takes the source's
 *                        value. Zero: it keeps the destination's.
 *
 *  @returns true when the destination was changed: a key was added, or a
 *           value replaced by one that is not equal to it.
 */
CF_EXPORT Boolean CFUDictionaryMerge(CFMutableDictionaryRef aDestination, CFDictionaryRef aSource, Boolean aReplace);

/**
 *  A new array of the dictionary's keys, which are CoreFoundation values, in
 *  the dictionary's order.
 *
 *  @returns null for what is no dictionary, or when memory is exhausted.
 */
CF_EXPORT CFArrayRef CFUDictionaryCopyKeys(CFDictionaryRef aDictionary);

/** True when @a aValue is not null and of the given type. */
CF_EXPORT Boolean CFUIsTypeID(CFTypeRef aValue, CFTypeID aType);

/** The type code that the number was created with; 0 for null or a value that is no number. */
CF_EXPORT CFNumberType CFUGetNumberType(CFTypeRef aValue);

/** kCFBooleanTrue or kCFBooleanFalse, with a reference for the caller. */
CF_EXPORT CFBooleanRef CFUBooleanCreate(bool aValue);

/**
 *  Holds one reference to a CoreFoundation value, or null.
 *
 *  A reference enters in one of two ways that look different where they are
 *  written: CFUAdopt takes over the reference that the caller owns (the result
 *  of a Create or Copy function), CFURetain adds one to a borrowed value.
 *
 *  @code
 *  auto lName  = CFUAdopt(CFStringCreateWithCString(nullptr, "wlan0", kCFStringEncodingUTF8));
 *  auto lState = CFURetain(static_cast<CFStringRef>(CFDictionaryGetValue(lProperties, kServicePropertyState)));
 *  @endcode
 *
 *  The holder itself is not locked: one thread uses one holder at a time.
 */
template <typename T>
class CFUSharedRef
{
public:
    constexpr CFUSharedRef() noexcept = default;
    constexpr CFUSharedRef(std::nullptr_t) noexcept {}
    CFUSharedRef(const CFUSharedRef &aOther) noexcept : mRef(aOther.mRef) { Retain(mRef); }
    CFUSharedRef(CFUSharedRef &&aOther) noexcept : mRef(std::exchange(aOther.mRef, nullptr)) {}

    /** From a holder of a narrower type, such as a mutable dictionary or any value for `const void *`. */
    template <typename U, typename = std::enable_if_t<std::is_convertible<U, T>::value>>
    CFUSharedRef(const CFUSharedRef<U> &aOther) noexcept : mRef(aOther.Get())
    {
        Retain(mRef);
    }

    template <typename U, typename = std::enable_if_t<std::is_convertible<U, T>::value>>
    CFUSharedRef(CFUSharedRef<U> &&aOther) noexcept : mRef(aOther.Leak())
    {
    }

    ~CFUSharedRef() { CFURelease(std::exchange(mRef, nullptr)); }

    CFUSharedRef &operator=(CFUSharedRef aOther) noexcept
    {
        std::swap(mRef, aOther.mRef);
        return *this;
    }

    /** The value, lent: valid while this holder keeps it. */
    T Get() const noexcept { return mRef; }

    /** Give the reference to the caller; the holder is null afterwards. */
    [[nodiscard]] T Leak() noexcept { return std::exchange(mRef, nullptr); }

    void Reset() noexcept { CFURelease(std::exchange(mRef, nullptr)); }

    /** Whether there is a value. A boolean has no such conversion, for a false one is a value too: use CFUIsTrue. */
    template <typename U = T, typename = std::enable_if_t<!std::is_same<U, CFBooleanRef>::value>>
    explicit operator bool() const noexcept
    {
        return mRef != nullptr;
    }

    /** Take over a reference that the caller owns. */
    static CFUSharedRef Adopt(T aValue) noexcept
    {
        CFUSharedRef lRef;
        lRef.mRef = aValue;
        return lRef;
    }

private:
    static void Retain(T aValue) noexcept
    {
        if (aValue != nullptr)
            (void)CFRetain(aValue);
    }

    T mRef = nullptr;
};

template <typename T>
bool operator==(const CFUSharedRef<T> &aRef, std::nullptr_t) noexcept
{
    return aRef.Get() == nullptr;
}

template <typename T>
bool operator!=(const CFUSharedRef<T> &aRef, std::nullptr_t) noexcept
{
    return aRef.Get() != nullptr;
}

/** True for kCFBooleanTrue alone: not for kCFBooleanFalse, null or a value of another kind. */
inline bool CFUIsTrue(CFTypeRef aValue) noexcept
{
    return aValue != nullptr && aValue == kCFBooleanTrue;
}

template <typename T>
bool CFUIsTrue(const CFUSharedRef<T> &aRef) noexcept
{
    return CFUIsTrue(aRef.Get());
}

/** Hold a value and take over the caller's reference to it. */
template <typename T>
CFUSharedRef<T> CFUAdopt(T aValue) noexcept
{
    return CFUSharedRef<T>::Adopt(aValue);
}

/** Hold a borrowed value with a reference of its own. */
template <typename T>
CFUSharedRef<T> CFURetain(T aValue) noexcept
{
    if (aValue != nullptr)
        (void)CFRetain(aValue);
    return CFUSharedRef<T>::Adopt(aValue);
}

#endif /* CFUTILITIES_H */
