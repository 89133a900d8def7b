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

// Callbacks: how a container handles what it holds
//
// A container copies the structure that it is created with; a null structure
// means that all of its functions are null. A container made as a copy of
// another one has the other's.
//
//   retain           Called for what enters; what it yields is what is held. Null: the
//                    pointer is held as it is, a null one too. A function that yields
//                    null refuses the value: the container stays as it was, or is not
//                    created. So containers of CoreFoundation values hold no nulls.
//   release          Called once for everything held that leaves. Null: nothing is.
//   copyDescription  Not called.
//   equal            Null: pointers are compared, which they always are first.
//   hash             Null: the pointer serves, or, if there is an equal function, every
//                    key is compared with that one: right, but slow. Keys that are
//                    equal must have equal hashes, for as long as they are held.
//
// A callback must not use the container that calls it, and must not throw.

typedef const void *(*CFRetainCallBack)(CFAllocatorRef aAllocator, const void *aValue);
typedef void (*CFReleaseCallBack)(CFAllocatorRef aAllocator, const void *aValue);
typedef CFStringRef (*CFCopyDescriptionCallBack)(const void *aValue);
typedef Boolean (*CFEqualCallBack)(const void *aFirst, const void *aSecond);
typedef CFHashCode (*CFHashCallBack)(const void *aValue);

typedef struct
{
    CFIndex                   version;
    CFRetainCallBack          retain;
    CFReleaseCallBack         release;
    CFCopyDescriptionCallBack copyDescription;
    CFEqualCallBack           equal;
} CFArrayCallBacks;

// Arrays: values in order. An immutable one takes no change: the functions that
// change do nothing to it.

/** For CoreFoundation values: CFRetain, CFRelease and CFEqual. */
CF_EXPORT const CFArrayCallBacks kCFTypeArrayCallBacks;

typedef void (*CFArrayApplierFunction)(const void *aValue, void *aContext);

CF_EXPORT CFTypeID CFArrayGetTypeID(void);

/**
 *  An immutable array.
 *
 *  @returns null for a negative count, null values with another count than 0,
 *           a value that the callbacks refuse, or when memory is exhausted.
 */
CF_EXPORT CFArrayRef CFArrayCreate(CFAllocatorRef aAllocator, const void **aValues, CFIndex aCount,
                                   const CFArrayCallBacks *aCallBacks);

/** An immutable array of the same values: the array itself, with a reference for the caller, when it is immutable. */
CF_EXPORT CFArrayRef CFArrayCreateCopy(CFAllocatorRef aAllocator, CFArrayRef anArray);

/**
 *  An empty mutable array.
 *
 *  @param[in]  aCapacity  How many values to expect; a hint, not a limit.
 *
 *  @returns null for a negative capacity, or when memory is exhausted.
 */
CF_EXPORT CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef aAllocator, CFIndex aCapacity,
                                                 const CFArrayCallBacks *aCallBacks);

/** A mutable array of the same values; the capacity and failures are CFArrayCreateMutable's. */
CF_EXPORT CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef aAllocator, CFIndex aCapacity, CFArrayRef anArray);

/** The number of values. */
CF_EXPORT CFIndex CFArrayGetCount(CFArrayRef anArray);

/** The value at an index, lent; null for an index that the array does not have. */
CF_EXPORT const void *CFArrayGetValueAtIndex(CFArrayRef anArray, CFIndex anIndex);

/** Whether a value in the range equals this one. Of a range, here and below, the part counts that the array has. */
CF_EXPORT Boolean CFArrayContainsValue(CFArrayRef anArray, CFRange aRange, const void *aValue);

/** The index of the first value in the range that equals this one, or kCFNotFound. */
CF_EXPORT CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef anArray, CFRange aRange, const void *aValue);

/**
 *  Call a function, which may be null, with each value in the range, in order.
 *  The function must not change the array.
 */
CF_EXPORT void CFArrayApplyFunction(CFArrayRef anArray, CFRange aRange, CFArrayApplierFunction aFunction,
                                    void *aContext);

/** Add a value at the end. */
CF_EXPORT void CFArrayAppendValue(CFMutableArrayRef anArray, const void *aValue);

/** Add the values in the range of the source, which may be the array itself, at the end: all of them or none. */
CF_EXPORT void CFArrayAppendArray(CFMutableArrayRef anArray, CFArrayRef aSource, CFRange aRange);

/** Replace a value; at the index that is the count, append one. */
CF_EXPORT void CFArraySetValueAtIndex(CFMutableArrayRef anArray, CFIndex anIndex, const void *aValue);

/** Remove a value; those behind it move up by one. Needs no memory. */
CF_EXPORT void CFArrayRemoveValueAtIndex(CFMutableArrayRef anArray, CFIndex anIndex);

/** Remove every value. Needs no memory. */
CF_EXPORT void CFArrayRemoveAllValues(CFMutableArrayRef anArray);

// Dictionaries: a value for each key. Keys are walked, copied and described in
// the order in which they were first set; a new value leaves a key at its place,
// and a key that was removed and comes back is the last. Finding, setting and
// removing a key take the same time in a large dictionary as in a small one. An
// immutable dictionary takes no change: the functions that change do nothing to it.

typedef struct
{
    CFIndex                   version;
    CFRetainCallBack          retain;
    CFReleaseCallBack         release;
    CFCopyDescriptionCallBack copyDescription;
    CFEqualCallBack           equal;
    CFHashCallBack            hash;
} CFDictionaryKeyCallBacks;

typedef struct
{
    CFIndex                   version;
    CFRetainCallBack          retain;
    CFReleaseCallBack         release;
    CFCopyDescriptionCallBack copyDescription;
    CFEqualCallBack           equal;
} CFDictionaryValueCallBacks;

/** For keys that are CoreFoundation values: CFRetain, CFRelease, CFEqual and CFHash. */
CF_EXPORT const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;

/** For keys that are strings, of which copies are held. What is no string is refused. */
CF_EXPORT const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks;

/** For values that are CoreFoundation values: CFRetain, CFRelease and CFEqual. */
CF_EXPORT const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

typedef void (*CFDictionaryApplierFunction)(const void *aKey, const void *aValue, void *aContext);

CF_EXPORT CFTypeID CFDictionaryGetTypeID(void);

/**
 *  An immutable dictionary. Of keys that are equal the first one counts.
 *
 *  @returns null for a negative count, null keys or values with another count
 *           than 0, a key or value that the callbacks refuse, or when memory is
 *           exhausted.
 */
CF_EXPORT CFDictionaryRef CFDictionaryCreate(CFAllocatorRef aAllocator, const void **aKeys, const void **aValues,
                                             CFIndex aCount, const CFDictionaryKeyCallBacks *aKeyCallBacks,
                                             const CFDictionaryValueCallBacks *aValueCallBacks);

/** An immutable dictionary of the same entries: itself, with a reference for the caller, when it is immutable. */
CF_EXPORT CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef aAllocator, CFDictionaryRef aDictionary);

/**
 *  An empty mutable dictionary.
 *
 *  @param[in]  aCapacity  How many entries to expect; a hint, not a limit.
 *
 *  @returns null for a negative capacity, or when memory is exhausted.
 */
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef aAllocator, CFIndex aCapacity,
                                                           const CFDictionaryKeyCallBacks   *aKeyCallBacks,
                                                           const CFDictionaryValueCallBacks *aValueCallBacks);

/** A mutable dictionary of the same entries; the capacity and failures are CFDictionaryCreateMutable's. */
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef aAllocator, CFIndex aCapacity,
                                                               CFDictionaryRef aDictionary);

/** The number of entries. */
CF_EXPORT CFIndex CFDictionaryGetCount(CFDictionaryRef aDictionary);

/** Whether there is a value for the key. */
CF_EXPORT Boolean CFDictionaryContainsKey(CFDictionaryRef aDictionary, const void *aKey);

/** The value for the key, lent; null when there is none. */
CF_EXPORT const void *CFDictionaryGetValue(CFDictionaryRef aDictionary, const void *aKey);

/**
 *  Whether there is a value for the key, and which.
 *
 *  @param[out]  aValue  The value, lent; not written when there is none. May be
 *                       null.
 */
CF_EXPORT Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef aDictionary, const void *aKey, const void **aValue);

/**
 *  Write all keys and values, lent, in the dictionary's order.
 *
 *  @param[out]  aKeys    Room for as many as the count; may be null.
 *  @param[out]  aValues  Likewise.
 */
CF_EXPORT void CFDictionaryGetKeysAndValues(CFDictionaryRef aDictionary, const void **aKeys, const void **aValues);

/**
 *  Call a function, which may be null, with each key and its value, in the
 *  dictionary's order. The function must not change the dictionary.
 */
CF_EXPORT void CFDictionaryApplyFunction(CFDictionaryRef aDictionary, CFDictionaryApplierFunction aFunction,
                                         void *aContext);

/** Add a value for a key that has none; a key that has one keeps it. */
CF_EXPORT void CFDictionaryAddValue(CFMutableDictionaryRef aDictionary, const void *aKey, const void *aValue);

/** Add a value for a key, or replace the one that there is. The key that is held stays. Replacing needs no memory. */
CF_EXPORT void CFDictionarySetValue(CFMutableDictionaryRef aDictionary, const void *aKey, const void *aValue);

/** Remove a key and its value. Needs no memory. */
CF_EXPORT void CFDictionaryRemoveValue(CFMutableDictionaryRef aDictionary, const void *aKey);

/** Remove every key and value, in the time that their number takes. Needs no memory. */
CF_EXPORT void CFDictionaryRemoveAllValues(CFMutableDictionaryRef aDictionary);

#endif /* COREFOUNDATION_H */
