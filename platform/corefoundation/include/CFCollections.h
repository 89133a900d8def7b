/**
 *  @file
 *    CoreFoundation's arrays and dictionaries. Included by CoreFoundation.h,
 *    which says what holds for every value.
 */

#ifndef CFCOLLECTIONS_H
#define CFCOLLECTIONS_H

#include <CoreFoundation.h>

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

#endif /* CFCOLLECTIONS_H */
