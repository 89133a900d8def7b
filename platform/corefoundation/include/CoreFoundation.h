/**
 *  @file
 *    CoreFoundation values: strings, numbers, booleans, data, arrays and
 *    dictionaries with reference counts.
 *
 *  Ownership: a function with Create or Copy in its name gives the caller a
 *  reference, which the caller releases (or adopts in a CFUSharedRef). A
 *  function with Get lends one: it is valid as long as its owner keeps it, and
 *  what a container lends, until the container is changed.
 *
 *  Null and wrong values: a null value, or a value of another type, where one
 *  of a certain type is expected is harmless everywhere. A function that reads
 *  then yields null, 0 or false, and one that changes does nothing. An index
 *  or a range that the array does not have is harmless, too. A pointer that is
 *  neither null nor a value is not.
 *
 *  Failure: a Create or Copy function yields null when memory is exhausted or
 *  an argument is unusable. A function that adds to a container reports
 *  nothing; when memory is exhausted the container stays as it was, and a
 *  caller that must know looks at the count or the value. Nothing throws.
 *
 *  Threads: reference counts are atomic, and immutable values may be read by
 *  any number of threads. A mutable array or dictionary is guarded by whoever
 *  owns it: while one thread changes it, no other may use it.
 */

#ifndef COREFOUNDATION_H
#define COREFOUNDATION_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define CF_EXPORT extern "C" __attribute__((visibility("default")))
#else
#define CF_EXPORT extern "C"
#endif

typedef unsigned char Boolean;
typedef int8_t        SInt8;
typedef uint8_t       UInt8;
typedef int16_t       SInt16;
typedef uint16_t      UInt16;
typedef int32_t       SInt32;
typedef uint32_t      UInt32;
typedef int64_t       SInt64;
typedef uint64_t      UInt64;
typedef float         Float32;
typedef double        Float64;
typedef UInt16        UniChar;

typedef unsigned long CFTypeID;
typedef unsigned long CFHashCode;
typedef unsigned long CFOptionFlags;
typedef signed long   CFIndex;

typedef const void                  *CFTypeRef;
typedef const struct __CFAllocator  *CFAllocatorRef;
typedef const struct __CFString     *CFStringRef;
typedef const struct __CFNumber     *CFNumberRef;
typedef const struct __CFBoolean    *CFBooleanRef;
typedef const struct __CFData       *CFDataRef;
typedef const struct __CFArray      *CFArrayRef;
typedef struct __CFArray            *CFMutableArrayRef;
typedef const struct __CFDictionary *CFDictionaryRef;
typedef struct __CFDictionary       *CFMutableDictionaryRef;

/** What a search yields that found nothing. */
static const CFIndex kCFNotFound = -1;

typedef enum
{
    kCFCompareLessThan    = -1,
    kCFCompareEqualTo     = 0,
    kCFCompareGreaterThan = 1
} CFComparisonResult;

typedef CFOptionFlags CFStringCompareFlags;
enum
{
    kCFCompareCaseInsensitive = 1
};

typedef struct
{
    CFIndex location;
    CFIndex length;
} CFRange;

static inline CFRange CFRangeMake(CFIndex aLocation, CFIndex aLength)
{
    CFRange lRange = { aLocation, aLength };
    return lRange;
}

/**
 *  The only allocator: memory comes from operator new (std::nothrow). Whatever
 *  is passed as an allocator is not looked at.
 */
#define kCFAllocatorDefault ((CFAllocatorRef)0)

// Every value

/** Add a reference. @returns its argument, null for null. */
CF_EXPORT CFTypeRef CFRetain(CFTypeRef aValue);

/**
 *  Drop a reference that the caller owns; with the last one the value, and its
 *  references to what it holds, are gone. Null is allowed.
 */
CF_EXPORT void CFRelease(CFTypeRef aValue);

/**
 *  The references at this moment; 0 for null. Constant strings, booleans and
 *  some small numbers are not counted: they live until the process ends, and
 *  their count is always the largest 32-bit integer.
 */
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef aValue);

/** The type, as the CF...GetTypeID functions name it; 0, which is no type, for null. */
CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef aValue);

/**
 *  Whether two values are of the same type and equal in content: strings with
 *  the same characters, numbers of the same value whatever their type codes,
 *  data with the same bytes, arrays with equal values in the same order,
 *  dictionaries with equal values for equal keys in any order. Containers
 *  whose callbacks compare in different ways are not equal. Null is equal to
 *  null only.
 */
CF_EXPORT Boolean CFEqual(CFTypeRef aFirst, CFTypeRef aSecond);

/**
 *  A hash: equal values have equal ones; 0 for null. An array's or dictionary's
 *  changes with its count, so a mutable one must not be changed while it is a
 *  key. Not the same from one release of the library to the next.
 */
CF_EXPORT CFHashCode CFHash(CFTypeRef aValue);

/**
 *  A text for people: a string itself, a number in decimals, `true` and
 *  `false`, `<0a1b>` for data, `(a, b)` for an array, `{ key = value; }` for a
 *  dictionary, `<pointers>` for a container of anything but CoreFoundation
 *  values, `(null)` for null. Its form is no format to be read back.
 *
 *  @returns null when memory is exhausted.
 */
CF_EXPORT CFStringRef CFCopyDescription(CFTypeRef aValue);

// Strings: immutable Unicode text. A NUL is a character like any other.

/**
 *  UTF-8, ASCII and ISO Latin 1 are converted from and to. Mac Roman, which is
 *  what a forgotten encoding (0) says, and every code that is not listed here
 *  are refused.
 */
typedef UInt32 CFStringEncoding;
enum
{
    kCFStringEncodingMacRoman  = 0,
    kCFStringEncodingISOLatin1 = 0x0201,
    kCFStringEncodingASCII     = 0x0600,
    kCFStringEncodingUTF8      = 0x08000100
};

CF_EXPORT CFTypeID CFStringGetTypeID(void);

/**
 *  A string of the text up to its NUL.
 *
 *  @returns null when the text is null, is no text in this encoding (UTF-8 is
 *           taken strictly: nothing overlong, no surrogates, nothing past
 *           U+10FFFF, nothing cut off; ASCII has no byte past 0x7F), would
 *           take 2 GiB or more as UTF-8 with a NUL, when the encoding is refused, or when
 *           memory is exhausted.
 */
CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef aAllocator, const char *aString,
                                                CFStringEncoding aEncoding);

/**
 *  A string of exactly these bytes, NULs among them included.
 *
 *  @param[in]  aBytes       May be null when the length is 0.
 *  @param[in]  aLength      In bytes.
 *  @param[in]  aIsExternal  Non-zero: a byte order mark at the start of UTF-8
 *                           is no part of the text.
 *
 *  @returns null as CFStringCreateWithCString does, and for a negative length.
 */
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef aAllocator, const UInt8 *aBytes, CFIndex aLength,
                                              CFStringEncoding aEncoding, Boolean aIsExternal);

/** The string itself, with a reference for the caller: no string can change. */
CF_EXPORT CFStringRef CFStringCreateCopy(CFAllocatorRef aAllocator, CFStringRef aString);

/** The length in UTF-16 units: 2 for a character past U+FFFF, 1 for every other. */
CF_EXPORT CFIndex CFStringGetLength(CFStringRef aString);

/**
 *  The text, lent for as long as the string lives, at no cost.
 *
 *  @returns null when the string has a NUL inside or characters that are not
 *           ASCII in another encoding than UTF-8: use CFStringGetCString then.
 */
CF_EXPORT const char *CFStringGetCStringPtr(CFStringRef aString, CFStringEncoding aEncoding);

/**
 *  Write all of the text, and a NUL.
 *
 *  @param[out]  aBuffer  What it holds after a failure is undefined.
 *  @param[in]   aSize    The buffer's size in bytes, the NUL included.
 *
 *  @returns false when the buffer is null or too small, when a character has
 *           no place in the encoding, or when the encoding is refused.
 */
CF_EXPORT Boolean CFStringGetCString(CFStringRef aString, char *aBuffer, CFIndex aSize, CFStringEncoding aEncoding);

/**
 *  The most bytes that so many UTF-16 units take, without a NUL.
 *
 *  @returns kCFNotFound for a negative length, one whose answer does not fit,
 *           or an encoding that is refused.
 */
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex aLength, CFStringEncoding aEncoding);

/** UTF-8, whatever the locale. */
CF_EXPORT CFStringEncoding CFStringGetSystemEncoding(void);

/**
 *  The order of two texts by their UTF-16 units, in no language's way. So
 *  characters past U+FFFF come before those from U+E000 to U+FFFF. Null comes
 *  first.
 *
 *  @param[in]  aOptions  kCFCompareCaseInsensitive takes the letters A to Z for
 *                        a to z, and no others.
 */
CF_EXPORT CFComparisonResult CFStringCompare(CFStringRef aFirst, CFStringRef aSecond, CFStringCompareFlags aOptions);

/** Whether the text begins with the other; true for an empty one, false when either is null. */
CF_EXPORT Boolean CFStringHasPrefix(CFStringRef aString, CFStringRef aPrefix);

/**
 *  The decimal integer at the start of the text, after white space and with or
 *  without a sign; 0 when there is none, and the nearest limit when it is past
 *  what fits.
 */
CF_EXPORT SInt32 CFStringGetIntValue(CFStringRef aString);

/**
 *  The one constant string of a text: the same one for every call with an
 *  equal text, on any thread. It lives until the process ends, and may be
 *  retained and released like any other. Every text given is kept for good, so
 *  texts that come from outside have no business here.
 *
 *  @returns null when the text is null or no UTF-8, or when memory is exhausted.
 */
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char *aString);

/** The constant string of a literal. A look-up under a lock: keep the result where it is needed often. */
#define CFSTR(aString) __CFStringMakeConstantString("" aString "")

// Numbers: immutable, a 64-bit integer or a double, with the type code they were created with.

/** The fixed-size types, then those of C. CharType is signed; an unsigned value needs the next larger type. */
typedef CFIndex CFNumberType;
enum
{
    kCFNumberSInt8Type     = 1,
    kCFNumberSInt16Type    = 2,
    kCFNumberSInt32Type    = 3,
    kCFNumberSInt64Type    = 4,
    kCFNumberFloat32Type   = 5,
    kCFNumberFloat64Type   = 6,
    kCFNumberCharType      = 7,
    kCFNumberShortType     = 8,
    kCFNumberIntType       = 9,
    kCFNumberLongType      = 10,
    kCFNumberLongLongType  = 11,
    kCFNumberFloatType     = 12,
    kCFNumberDoubleType    = 13,
    kCFNumberCFIndexType   = 14,
    kCFNumberNSIntegerType = 15,
    kCFNumberCGFloatType   = 16
};

CF_EXPORT CFTypeID CFNumberGetTypeID(void);

/**
 *  A number read from memory.
 *
 *  @param[in]  aType   What stands there.
 *  @param[in]  aValue  Where; it need not be aligned.
 *
 *  @returns null when the type code is none of those above, the pointer is null
 *           or memory is exhausted. The values from -1 to 255 of the most usual
 *           types are shared, and cost no memory.
 */
CF_EXPORT CFNumberRef CFNumberCreate(CFAllocatorRef aAllocator, CFNumberType aType, const void *aValue);

/** The very type code of CFNumberCreate: kCFNumberIntType stays that, and does not become SInt32Type. */
CF_EXPORT CFNumberType CFNumberGetType(CFNumberRef aNumber);

/** The bytes that a value of the number's type takes. */
CF_EXPORT CFIndex CFNumberGetByteSize(CFNumberRef aNumber);

/** Whether the number's type is one of the floating-point types. */
CF_EXPORT Boolean CFNumberIsFloatType(CFNumberRef aNumber);

/**
 *  Write the value as another type.
 *
 *  @param[out]  aValue  Where; it need not be aligned. It is not written when
 *                       the number, the type code or the pointer is unusable.
 *
 *  @returns true when the value is written without a loss. False, and an
 *           approximate value is written, when it does not fit: the low bits of
 *           an integer for a smaller one; of a floating-point value the whole
 *           part, the nearest limit, or 0 for what is not a number; for a
 *           floating-point type the nearest value, or infinity.
 */
CF_EXPORT Boolean CFNumberGetValue(CFNumberRef aNumber, CFNumberType aType, void *aValue);

/**
 *  The order of two values, exact between integers and floating-point ones.
 *  What is not a number is equal to itself and comes before all numbers; null
 *  comes before that. -0.0 equals 0.
 *
 *  @param[in]  aContext  Not used.
 */
CF_EXPORT CFComparisonResult CFNumberCompare(CFNumberRef aFirst, CFNumberRef aSecond, void *aContext);

// Booleans: these two, and no others.

CF_EXPORT const CFBooleanRef kCFBooleanTrue;
CF_EXPORT const CFBooleanRef kCFBooleanFalse;

CF_EXPORT CFTypeID CFBooleanGetTypeID(void);

/** True for kCFBooleanTrue; false for everything else. */
CF_EXPORT Boolean CFBooleanGetValue(CFBooleanRef aBoolean);

// Data: immutable bytes.

CF_EXPORT CFTypeID CFDataGetTypeID(void);

/**
 *  Data with a copy of the bytes, which may be null when the length is 0.
 *
 *  @returns null for a null pointer or a length that is negative or 2 GiB or
 *           more, or when memory is exhausted.
 */
CF_EXPORT CFDataRef CFDataCreate(CFAllocatorRef aAllocator, const UInt8 *aBytes, CFIndex aLength);

/** The number of bytes. */
CF_EXPORT CFIndex CFDataGetLength(CFDataRef aData);

/** The bytes, lent for as long as the data lives. */
CF_EXPORT const UInt8 *CFDataGetBytePtr(CFDataRef aData);

#include <CFCollections.h>

#endif /* COREFOUNDATION_H */
