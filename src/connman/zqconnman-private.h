/**
 *  @file
 *    What the sources of the ConnMan client share.
 */

#ifndef ZQCONNMAN_PRIVATE_H
#define ZQCONNMAN_PRIVATE_H

#include <zqconnman.h>
#include <zqlog.h>
#include <zqshared-containers.h>
#include <zqshared-lock.h>
#include <zqshared-message.h>

#define ZQ_LOG_COMPONENT "connman"
#define ZQ_LOG_FILE "zqconnman"

namespace zq::ConnMan
{

constexpr const char *kBusDaemonName       = "org.freedesktop.DBus";
constexpr const char *kBusDaemonPath       = "/org/freedesktop/DBus";
constexpr const char *kBusDaemonInterface  = "org.freedesktop.DBus";
constexpr const char *kBusName             = "net.connman";
constexpr const char *kManagerPath         = "/";
constexpr const char *kManagerInterface    = "net.connman.Manager";
constexpr const char *kServiceInterface    = "net.connman.Service";
constexpr const char *kTechnologyInterface = "net.connman.Technology";
constexpr const char *kAgentInterface      = "net.connman.Agent";
constexpr const char *kAgentPath           = "/com/corvanix/client";

using Shared::MakeArray;
using Shared::MakeDictionary;
using Shared::Merge;
using Shared::MessageRef;
using Shared::ScopedLock;

inline bool IsTolerant() noexcept
{
    return zqConnMan::GetDecoding() == zqConnMan::kDecodingTolerant;
}

/** Call @a aFunction(key, value) for every entry, in the dictionary's order. */
template <typename F>
void ForEachEntry(CFDictionaryRef aDictionary, F aFunction)
{
    CFDictionaryApplyFunction(
        aDictionary,
        [](const void *aKey, const void *aValue, void *aContext) { (*static_cast<F *>(aContext))(aKey, aValue); },
        &aFunction);
}

/** The text of a string as UTF-8, for as long as this object and the string live. */
class UTF8Text
{
public:
    explicit UTF8Text(CFStringRef aString) noexcept;
    ~UTF8Text() { delete[] mBuffer; }
    UTF8Text(const UTF8Text &)            = delete;
    UTF8Text &operator=(const UTF8Text &) = delete;

    /** Null when the string is null or memory is exhausted. */
    const char *Get() const noexcept { return mText; }

private:
    const char *mText   = nullptr;
    char       *mBuffer = nullptr;
};

/** A new string, or null. */
CFUSharedRef<CFStringRef> MakeString(const char *aText) noexcept;

/** The string for a text of the wire: that of the vocabulary, lent, or null when the vocabulary lacks the text. */
CFStringRef FindCommonString(const char *aText) noexcept;

} // namespace zq::ConnMan

// What messages are decoded with. A signature that is not the form's is an
// assertion and -5; a refused element is -5; memory -7. Results are set only
// on success.

extern const zqDBusCFForm kFormManagerProperties;
extern const zqDBusCFForm kFormManagerProperty;
extern const zqDBusCFForm kFormServiceProperties;
extern const zqDBusCFForm kFormServiceProperty;
extern const zqDBusCFForm kFormServices;
extern const zqDBusCFForm kFormTechnologyProperties;
extern const zqDBusCFForm kFormTechnologyProperty;
extern const zqDBusCFForm kFormTechnologies;
extern const zqDBusCFForm kFormTechnology;

zqError zqDBusCFDecode(DBusMessage *aMessage, const zqDBusCFForm &aForm, CFUSharedRef<CFDictionaryRef> &aResult);

/** The same from the first argument of a message on, for forms of a name and its value. */
zqError zqDBusCFDecode(DBusMessageIter *anIterator, const zqDBusCFForm &aForm, CFUSharedRef<CFDictionaryRef> &aResult);

/** What a call for properties has come to: those of its reply, or the code of its failure. */
zqError zqDBusCFTakeProperties(const char *aMethod, zqError aReplied, DBusMessage *aReply, zqDBusError &anError,
                               const zqDBusCFForm &aForm, CFDictionaryRef &aResult);

zqError zqDBusCFDecodeServicesChanged(DBusMessage *aMessage, CFUSharedRef<CFDictionaryRef> &aChanged,
                                      CFUSharedRef<CFArrayRef> &aRemoved);

/** The arguments of an agent's RequestInput, as they are: whoever uses them checks what they are. */
zqError zqDBusCFDecodeInput(DBusMessage *aMessage, CFUSharedRef<CFArrayRef> &aValues);

/** Append a name and, as a variant, its value. @retval 0, -5 for a value that is not supported, -7. */
zqError zqDBusCFAppendPropertyEntry(DBusMessageIter *anIterator, const char *aName, CFTypeRef aValue);

/** Append a dictionary as a{sv}. @retval as zqDBusCFAppendPropertyEntry. */
zqError zqDBusCFAppendPropertyDictionary(DBusMessageIter *anIterator, CFDictionaryRef aDictionary);

#endif // ZQCONNMAN_PRIVATE_H
