/**
 *  @file
 *    Decodes any message as everything that ConnMan may send: whatever the
 *    daemon's version, or whoever took its name, the process has to survive it,
 *    and is to know what the message says.
 */

#include "message.h"
#include "reference.h"

#include <failingallocations.h>

#include <zqconnman-walkers.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

/** One dictionary of properties or objects, and which walkers make it of arguments of which signature. */
struct Expectation
{
    const zqDBusCFForm *mForm;
    const char         *mSignature;
    const Rules        *mExact;
    const Rules        *mTolerant;
};

const Expectation kExpectations[] = {
    { &kFormManagerProperties, "a{sv}", &kProperties, &kAny },
    { &kFormManagerProperty, "sv", &kProperties, &kAny },
    { &kFormServiceProperties, "a{sv}", &kServiceProperties, &kAny },
    { &kFormServiceProperty, "sv", &kServiceProperties, &kAny },
    { &kFormServices, "a(oa{sv})", &kServiceObjects, &kAnyObjects },
    { &kFormTechnologyProperties, "a{sv}", &kTechnologyProperties, &kAny },
    { &kFormTechnologyProperty, "sv", &kPropertiesNoPaths, &kAny },
    { &kFormTechnologies, "a(oa{sv})", &kObjects, &kAnyObjects },
    { &kFormTechnology, "oa{sv}", &kObjects, &kAnyObjects },
};

/** What a decoder yields: nothing when it refuses; otherwise the first, and of ServicesChanged the second too. */
using Parts = std::array<Value, 2>;

void Require(bool aHolds, const char *aRule)
{
    if (aHolds)
        return;

    fprintf(stderr, "not so: %s\n", aRule);
    std::abort();
}

class Check
{
public:
    /** @param[in]  aGranted  After how many allocations memory is exhausted, when a message is decoded once more. */
    Check(DBusMessage *aMessage, bool aIsTolerant, int aGranted)
        : mMessage(aMessage), mIsTolerant(aIsTolerant), mGranted(aGranted)
    {
        (void)dbus_message_iter_init(aMessage, &mIterator);
        zqConnMan::SetDecoding(aIsTolerant ? zqConnMan::kDecodingTolerant : zqConnMan::kDecodingExact);
    }

    void Decode(const Expectation &anExpectation)
    {
        const Parts lExpected = { Read(anExpectation) };

        DecodeFrom(mMessage, anExpectation, lExpected);
        if (std::strcmp(anExpectation.mSignature, "sv") == 0)
            DecodeFrom(&mIterator, anExpectation, lExpected);
    }

    void DecodeServicesChanged()
    {
        Parts lExpected;

        if (dbus_message_has_signature(mMessage, "a(oa{sv})ao"))
        {
            DBusMessageIter lRemoved = mIterator;

            (void)dbus_message_iter_next(&lRemoved);
            lExpected[0] = ReadArray(mIterator, mIsTolerant ? kAnyObjects : kServiceObjects);
            if (lExpected[0] != nullptr)
                lExpected[1] = ReadArray(lRemoved, kAny);
        }

        Compare(lExpected,
                [&](Parts &aParts)
                {
                    CFUSharedRef<CFDictionaryRef> lChanged;
                    CFUSharedRef<CFArrayRef>      lRemoved;
                    const zqError                 lReturn = zqDBusCFDecodeServicesChanged(mMessage, lChanged, lRemoved);

                    aParts = { std::move(lChanged), std::move(lRemoved) };
                    return lReturn;
                });
    }

    /** What values become by their natural kinds is not predicted here. */
    void CopyAll()
    {
        for (DBusMessageIter lIterator = mIterator; zqDBus::CopyValue(&lIterator) != nullptr;)
            (void)dbus_message_iter_next(&lIterator);
    }

    void DecodeInput()
    {
        Compare({ ReadMembers(mIterator, mIsTolerant ? kAny : kTechnologyProperties, Fate::kList, 0) },
                [&](Parts &aParts)
                {
                    CFUSharedRef<CFArrayRef> lValues;
                    const zqError            lReturn = zqDBusCFDecodeInput(mMessage, lValues);

                    aParts[0] = std::move(lValues);
                    return lReturn;
                });
    }

private:
    Value Read(const Expectation &anExpectation) const
    {
        const Rules &lRules = mIsTolerant ? *anExpectation.mTolerant : *anExpectation.mExact;

        if (!dbus_message_has_signature(mMessage, anExpectation.mSignature))
            return nullptr;

        switch (*anExpectation.mSignature)
        {
        case 's': // a name and its value: the only entry of an array
            return ReadMembers(mIterator, lRules, Fate::kDictionary, 1);
        case 'o': // a path and its properties: the only structure of an array
            return ReadMembers(mIterator, lRules, Fate::kDictionary, 2);
        default:
            return ReadArray(mIterator, lRules);
        }
    }

    /** @param[in]  aSource  The message, or the iterator at its first argument. */
    template <typename Source>
    void DecodeFrom(Source *aSource, const Expectation &anExpectation, const Parts &anExpected) const
    {
        Compare(anExpected,
                [&](Parts &aParts)
                {
                    CFUSharedRef<CFDictionaryRef> lResult;
                    const zqError                 lReturn = zqDBusCFDecode(aSource, *anExpectation.mForm, lResult);

                    aParts[0] = std::move(lResult);
                    return lReturn;
                });
    }

    template <typename Decoder>
    void Compare(const Parts &anExpected, Decoder aDecode) const
    {
        const zqError lSound  = anExpected[0] != nullptr ? zqError_None : zqError_InvalidArgument;
        Parts         lParts  = {};
        zqError       lReturn = aDecode(lParts);

        Require(lReturn == lSound, "a message is refused with -5, or decoded with 0");
        RequireEqual(lParts, anExpected);

        lParts = {};
        {
            const zq::Test::FailingAllocations lFailing(mGranted);

            lReturn = aDecode(lParts);
        }
        Require(lReturn == lSound || lReturn == zqError_NoResources, "exhausted memory is told by -7");
        RequireEqual(lParts, lReturn == zqError_None ? anExpected : Parts());
    }

    static void RequireEqual(const Parts &aParts, const Parts &anExpected)
    {
        for (std::size_t lPart = 0; lPart < aParts.size(); ++lPart)
            Require(CFEqual(aParts[lPart].Get(), anExpected[lPart].Get()), "the result is what was sent, or none");
    }

    DBusMessage *const mMessage;
    const bool         mIsTolerant;
    const int          mGranted;
    DBusMessageIter    mIterator;
};

/** What no message leads to. */
void RefuseMisuse()
{
    CFUSharedRef<CFDictionaryRef> lResult;
    zqDBusCFContext               lContext;

    for (const zqDBusWalker lWalker :
         { PropertiesWalker, PropertiesWalkerNoPaths, ObjectsWalker, ObjectWalker, TechnologyPropertiesWalker,
           ServicePropertiesWalker, ServiceObjectsWalker, ServicesChangedWalker })
        Require(lWalker(nullptr, zqDBusWalkArrayEnd, nullptr, nullptr) == zqError_InvalidArgument, "no context is -5");

    Require(zqDBusCFDecode(static_cast<DBusMessageIter *>(nullptr), kFormServiceProperty, lResult) ==
                    zqError_InvalidArgument &&
                zqDBus::AddElements(nullptr, {}, nullptr) == zqError_InvalidArgument &&
                zqDBus::AddEntries(nullptr, {}, nullptr) == zqError_InvalidArgument,
            "no iterator is -5");
    zqDBusCFPopState(lContext);
    Require(lContext.mResult == nullptr, "an empty stack has no result");

    lContext.mStack.push_back({ zqDBusCFState::kScalar, 0, nullptr, nullptr, nullptr });
    for (const char *lText : { "first", "second" })
        (void)zqDBusCFAddString(lContext, lText);
    Require(CFEqual(lContext.mStack.back().mValue, CFSTR("second")), "what is no container holds the last value");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *aData, std::size_t aSize)
{
    // What is refused is told in the log, at every round.
    zqLogSetHandler([](void *, const char *, int, const char *) {}, nullptr, zqLogLevel_Error);

    if (aSize == 0)
        RefuseMisuse();

    const Message lMessage = MakeMessage(aData, aSize);

    if (lMessage == nullptr)
        return 0;

    for (const bool lIsTolerant : { false, true })
    {
        Check lCheck(lMessage.get(), lIsTolerant, aSize > 0 ? aData[aSize - 1] % 64 : 0);

        for (const Expectation &lExpectation : kExpectations)
            lCheck.Decode(lExpectation);
        lCheck.DecodeServicesChanged();
        lCheck.DecodeInput();
        lCheck.CopyAll();
    }
    return 0;
}
