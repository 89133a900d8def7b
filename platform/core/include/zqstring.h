/**
 *  @file
 *    zqString, a string that rests on a CFStringRef, and an array of them.
 */

#ifndef ZQSTRING_H
#define ZQSTRING_H

#include <CFUtilities.h>
#include <zqerror.h>
#include <zqexport.h>

#include <vector>

/**
 *  A text that can be had as a CFStringRef and as UTF-8.
 *
 *  Copies share the text. One thread changes one zqString at a time. Nothing
 *  fails: where memory is exhausted the text is empty afterwards.
 */
class ZQ_EXPORT zqString
{
public:
    /** The empty text. */
    zqString() noexcept = default;

    /** From UTF-8; null or bytes that are not UTF-8 give the empty text. */
    zqString(const char *aText) noexcept;

    /**
     *  From a CoreFoundation string, with a reference of its own.
     *
     *  Null gives the empty text, and so does a string that holds a NUL: it
     *  would be another text when read as UTF-8.
     */
    zqString(CFStringRef aString) noexcept;
    zqString(const CFUSharedRef<CFStringRef> &aString) noexcept;

    /** The text as UTF-8 with a NUL at its end, lent: valid as long as this object is unchanged. Never null. */
    const char *GetAsUTFArray() const noexcept;

    /** The text as a CoreFoundation string, lent. Never null. */
    CFStringRef GetAsCFString() const noexcept;

    bool IsEmpty() const noexcept;

    /** The length of the UTF-8 text in bytes. */
    int GetLength() const noexcept;

    /** The leading decimal integer of the text, as CFStringGetIntValue reads it; 0 when there is none. */
    int GetInteger() const noexcept;

    /** Append UTF-8 to this text. */
    zqString &operator+=(const zqString &aOther) noexcept;

    /** Case-sensitive, by content. The order is that of CFStringCompare without options. */
    bool operator==(const zqString &aOther) const noexcept;
    bool operator!=(const zqString &aOther) const noexcept { return !(*this == aOther); }
    bool operator<(const zqString &aOther) const noexcept;

private:
    CFUSharedRef<CFStringRef> mString; // null for the empty text
};

ZQ_EXPORT zqString operator+(const zqString &aFirst, const zqString &aSecond) noexcept;

/** An array of texts, in the order in which they were appended. Not locked: its owner guards it. */
class ZQ_EXPORT zqStringArray
{
public:
    zqStringArray() noexcept;

    /** A copy is empty when memory is exhausted; Copy tells. */
    zqStringArray(const zqStringArray &aOther) noexcept;
    zqStringArray(zqStringArray &&aOther) noexcept;
    zqStringArray &operator=(zqStringArray aOther) noexcept;
    ~zqStringArray();

    int  GetNumElements() const noexcept;
    bool IsEmpty() const noexcept;

    /** The text at an index; the empty text when it is out of range. */
    zqString GetElement(int anIndex) const noexcept;

    /** The index of the first text equal to @a aText, or -1. */
    int Find(const zqString &aText) const noexcept;

    /** @retval 0, or -2 when memory is exhausted. */
    zqError Append(const zqString &aText) noexcept;

    /**
     *  Append every text of @a aOther, which may be this array.
     *
     *  @retval 0, or -2 when memory is exhausted; nothing was appended then.
     */
    zqError Copy(const zqStringArray &aOther) noexcept;

    /** Remove one text; an index out of range is ignored. */
    void RemoveAt(int anIndex) noexcept;

    void Clear() noexcept;

private:
    std::vector<zqString> mElements;
};

#endif // ZQSTRING_H
