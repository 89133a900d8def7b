/**
 *  @file
 *    CoreFoundation values as JSON and back.
 *
 *  Whatever the tool shows, plain or as JSON, has come through FromCF, which
 *  masks secrets: no passphrase can reach the output by another way.
 */

#ifndef ZQNETCTL_JSON_H
#define ZQNETCTL_JSON_H

#include <CFUValues.h>

#include <nlohmann/json.hpp>

#include <string>

namespace zqnetctl
{

using Json = nlohmann::ordered_json;

/** What stands in the place of a secret. */
extern const char *const kMask;

/** True for a property, or a field of a credential request, whose value is never shown. */
bool IsSecret(const std::string &aKey);

/** An empty dictionary that holds references to what is set in it; null when memory is exhausted. */
CFUSharedRef<CFMutableDictionaryRef> CreateDictionary();

/**
 *  A value as JSON: dictionaries become objects, data arrays of numbers, null
 *  and a value of an unknown kind null.
 *
 *  @param[in]  aKey  The key that the value stands under; empty: none. A
 *                    secret's string is masked; where the daemon asks for a
 *                    secret (a dictionary under its name), its "Value" is.
 */
Json FromCF(CFTypeRef aValue, const std::string &aKey = std::string());

/**
 *  JSON as a CoreFoundation value. An integer becomes a signed 32-bit number,
 *  or a 64-bit one where it does not fit.
 *
 *  @returns null for JSON null, also inside, an integer of more than 63 bits, or when memory is exhausted.
 */
CFUSharedRef<CFTypeRef> ToCF(const Json &aValue);

/** One line, without its end; bytes that are not UTF-8 become U+FFFD. */
std::string ToLine(const Json &aValue);

} // namespace zqnetctl

#endif // ZQNETCTL_JSON_H
