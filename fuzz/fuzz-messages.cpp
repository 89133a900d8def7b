/**
 *  @file
 *    Decodes any message as everything that ConnMan may send: whatever the
 *    daemon's version, or whoever took its name, the process has to survive it.
 */

#include "message.h"

#include <zqconnman-private.h>

#include <cstdlib>

namespace
{

using Form = const zqDBusCFForm *;

void Decode(DBusMessage *aMessage, Form aForm)
{
    CFUSharedRef<CFDictionaryRef> lResult;

    // A result without success, or the other way round, would be used or leaked.
    if ((zqDBusCFDecode(aMessage, *aForm, lResult) == zqError_None) != (lResult != nullptr))
        std::abort();
}

void DecodeAll(DBusMessage *aMessage)
{
    for (Form lForm :
         { &kFormManagerProperties, &kFormManagerProperty, &kFormServiceProperties, &kFormServiceProperty,
           &kFormServices, &kFormTechnologyProperties, &kFormTechnologyProperty, &kFormTechnologies, &kFormTechnology })
        Decode(aMessage, lForm);

    CFUSharedRef<CFDictionaryRef> lChanged;
    CFUSharedRef<CFArrayRef>      lRemoved;
    CFUSharedRef<CFArrayRef>      lInput;

    (void)zqDBusCFDecodeServicesChanged(aMessage, lChanged, lRemoved);
    (void)zqDBusCFDecodeInput(aMessage, lInput);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *aData, std::size_t aSize)
{
    // What is refused is told in the log, at every round.
    zqLogSetHandler([](void *, const char *, int, const char *) {}, nullptr, zqLogLevel_Error);

    const Message lMessage = MakeMessage(aData, aSize);

    if (lMessage == nullptr)
        return 0;

    for (zqConnMan::Decoding lDecoding : { zqConnMan::kDecodingExact, zqConnMan::kDecodingTolerant })
    {
        zqConnMan::SetDecoding(lDecoding);
        DecodeAll(lMessage.get());
    }
    return 0;
}
