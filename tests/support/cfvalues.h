/**
 *  @file
 *    Values of CoreFoundation: made in a word, and told as texts that can be compared.
 */

#ifndef ZQ_TEST_CFVALUES_H
#define ZQ_TEST_CFVALUES_H

#include <cstdint>
#include <string>
#include <vector>

#include <CFUtilities.h>

namespace zq::Test
{

using String     = CFUSharedRef<CFStringRef>;
using Value      = CFUSharedRef<CFTypeRef>;
using Dictionary = CFUSharedRef<CFMutableDictionaryRef>;

/** Of UTF-8, which may have a NUL; null when it is none. */
String Str(const std::string &aText);

/** An int, or an SInt64 when it does not fit in one. */
Value Number(std::int64_t aValue);

/** Of a type for integers. */
Value NumberOf(CFNumberType aType, std::int64_t aValue);

Value                           Bool(bool aValue);
CFUSharedRef<CFMutableArrayRef> MakeArray(const std::vector<Value> &theValues = {});
CFUSharedRef<CFMutableArrayRef> Strings(const std::vector<std::string> &aTexts);

/** A key with its value, each a text or what it is. */
struct Entry
{
    template <typename K, typename V>
    Entry(const K &aKey, const V &aValue) : mKey(Key(aKey)), mValue(Of(aValue))
    {
    }

    String mKey;
    Value  mValue;

private:
    static String Key(CFStringRef aKey) { return CFURetain(aKey); }
    static String Key(const std::string &aKey) { return Str(aKey); }
    static Value  Of(const Value &aValue) { return aValue; }
    static Value  Of(const std::string &aText) { return Str(aText); }
};

using Entries = std::vector<Entry>;

Dictionary Dict(const Entries &anEntries = {});

/**
 *  text, 1, true, [a, b], {name: value} with entries in the dictionary's order,
 *  <1, 255> for data, null.
 *
 *  @param[in]  aTyped  Strings are quoted, and numbers have their type's code before them: 'text', 2:1.
 */
std::string Text(CFTypeRef aValue, bool aTyped = false);

} // namespace zq::Test

#endif // ZQ_TEST_CFVALUES_H
