#include "message.h"

#include <climits>
#include <cstdlib>
#include <iterator>
#include <string>

namespace
{

/** Null: any. The one of two arguments comes twice: it has the most ways to be. */
const char *const kForms[] = { "a{sv}", "sv", "a(oa{sv})", "a(oa{sv})ao", "a(oa{sv})ao", "oa{sv}", nullptr };

const char *const kNames[] = {
#define ZQ_BOTH(aName, aText) aText,
#define ZQ_MANAGER_ONLY(aName, aText) aText,
#define ZQ_CLIENT_ONLY(aName, aText) aText,
#include <zqnetworkmanager-vocabulary.def>
#undef ZQ_BOTH
#undef ZQ_MANAGER_ONLY
#undef ZQ_CLIENT_ONLY
    "Requirement",
    "Alternates",
    "Value",
    "mandatory",
};

/** What variants mostly hold; null: any type. */
const char *const kTypes[] = { "s",     "b",     "y",     "q",  "o", "as",    "a{sv}", "a{sv}",
                               "a{ss}", "a{xv}", "a(sv)", "av", "h", nullptr, nullptr, nullptr };

const char kBasicTypes[] = "sbyqnuixtdogh";

constexpr int kMaxTypeDepth    = 3; // four such types are less than the 255 bytes of a signature
constexpr int kMaxVariantDepth = 8; // in which arrays and structures stay below the 32 of libdbus

class Bytes
{
public:
    Bytes(const std::uint8_t *aData, std::size_t aSize) : mNext(aData), mEnd(aData + aSize) {}

    std::uint8_t Take() { return mNext != mEnd ? *mNext++ : std::uint8_t{ 0 }; }
    bool         TakeMore() { return Take() % 4 != 0; }

    template <std::size_t Count>
    const char *TakeOne(const char *const (&aChoices)[Count])
    {
        return aChoices[Take() % Count];
    }

    template <typename T>
    T TakeNumber()
    {
        T lNumber = 0;

        for (std::size_t lByte = 0; lByte < sizeof lNumber; ++lByte)
            lNumber = static_cast<T>(static_cast<std::uint64_t>(lNumber) << 8 | Take());
        return lNumber;
    }

private:
    const std::uint8_t *mNext;
    const std::uint8_t *mEnd;
};

/** Marshals values, from a multiple of 8 on. */
class Writer
{
public:
    explicit Writer(bool aIsBig) : mIsBig(aIsBig) {}

    void Align(std::size_t aSize) { mBytes.resize((mBytes.size() + aSize - 1) / aSize * aSize); }

    template <typename T>
    void Number(T aNumber)
    {
        Align(sizeof aNumber);
        mBytes.resize(mBytes.size() + sizeof aNumber);
        Put(mBytes.size() - sizeof aNumber, aNumber);
    }

    void Text(const std::string &aText)
    {
        Number(static_cast<std::uint32_t>(aText.size()));
        PutText(aText);
    }

    void Signature(const std::string &aSignature)
    {
        Number(static_cast<std::uint8_t>(aSignature.size()));
        PutText(aSignature);
    }

    /** @param[in]  aWriteElements  Is called to write them, if there are any. */
    template <typename F>
    void Array(std::size_t aAlignment, F aWriteElements)
    {
        Number(std::uint32_t{ 0 });

        const std::size_t lLength = mBytes.size() - sizeof(std::uint32_t);

        Align(aAlignment);

        const std::size_t lBegin = mBytes.size();

        aWriteElements();
        Put(lLength, static_cast<std::uint32_t>(mBytes.size() - lBegin));
    }

    std::vector<std::uint8_t> mBytes;

private:
    template <typename T>
    void Put(std::size_t aPosition, T aNumber)
    {
        for (std::size_t lByte = 0; lByte < sizeof aNumber; ++lByte)
        {
            const std::size_t lShift = mIsBig ? sizeof aNumber - 1 - lByte : lByte;

            mBytes[aPosition + lByte] = static_cast<std::uint8_t>(static_cast<std::uint64_t>(aNumber) >> lShift * 8);
        }
    }

    void PutText(const std::string &aText)
    {
        mBytes.insert(mBytes.end(), aText.begin(), aText.end());
        mBytes.push_back(0);
    }

    const bool mIsBig;
};

const char *SkipType(const char *aType)
{
    int lOpen = 0;

    do
    {
        lOpen += (*aType == '(' || *aType == '{') - (*aType == ')' || *aType == '}');
    } while (*aType++ == 'a' || lOpen > 0);
    return aType;
}

std::size_t GetAlignment(char aType)
{
    switch (aType)
    {
    case 'y':
    case 'g':
    case 'v':
        return 1;
    case 'n':
    case 'q':
        return 2;
    case 'x':
    case 't':
    case 'd':
    case '(':
    case '{':
        return 8;
    default:
        return 4;
    }
}

class Builder
{
public:
    Builder(Bytes &aBytes, Writer &aWriter) : mBytes(aBytes), mWriter(aWriter) {}

    void Values(const std::string &aSignature)
    {
        for (const char *lType = aSignature.c_str(); *lType != '\0'; lType = SkipType(lType))
            Value(lType);
    }

    /** Up to four types. */
    std::string TakeTypes()
    {
        std::string lTypes;

        for (int lCount = 0; lCount < 4 && mBytes.TakeMore(); ++lCount)
            lTypes += TakeType(kMaxTypeDepth);
        return lTypes;
    }

private:
    std::string TakeType(int aDepth)
    {
        const std::size_t lBasics = std::size(kBasicTypes) - 1;
        const std::size_t lChoice = mBytes.Take() % (lBasics + (aDepth > 0 ? 5 : 1));

        if (lChoice < lBasics)
            return { kBasicTypes[lChoice] };

        switch (lChoice - lBasics)
        {
        case 0:
            return "v";
        case 1:
            return 'a' + TakeType(aDepth - 1);
        case 2:
            return std::string("a{") + kBasicTypes[mBytes.Take() % lBasics] + TakeType(aDepth - 1) + '}';
        default:
        {
            std::string lMembers = TakeType(aDepth - 1);

            for (int lCount = 1; lCount < 3 && mBytes.TakeMore(); ++lCount)
                lMembers += TakeType(aDepth - 1);
            return '(' + lMembers + ')';
        }
        }
    }

    std::string TakeVariantType()
    {
        if (mVariantDepth >= kMaxVariantDepth)
            return "s";

        const char *const lType = mBytes.TakeOne(kTypes);

        return lType != nullptr ? lType : TakeType(kMaxTypeDepth);
    }

    std::string TakePath() { return "/net/connman/service/" + std::to_string(mBytes.Take() % 8); }

    std::string TakeText()
    {
        const std::size_t lChoice = mBytes.Take();
        std::string       lText;

        if (lChoice < std::size(kNames))
            return kNames[lChoice];

        for (std::size_t lLength = lChoice % 16; lLength > 0; --lLength)
        {
            const std::uint8_t lByte = mBytes.Take();

            if (lByte >= 0x80)
                lText += { static_cast<char>(0xC2 + lByte % 0x1E), static_cast<char>(lByte & 0xBF) }; // beyond ASCII
            else
                lText += lByte != 0 ? static_cast<char>(lByte) : ' ';
        }
        return lText;
    }

    void Array(const char *aElement)
    {
        mWriter.Array(GetAlignment(*aElement),
                      [&]
                      {
                          while (mBytes.TakeMore())
                              Value(aElement);
                      });
    }

    void Structure(const char *aMember)
    {
        mWriter.Align(8);
        for (; *aMember != ')' && *aMember != '}'; aMember = SkipType(aMember))
            Value(aMember);
    }

    void Variant()
    {
        const std::string lType = TakeVariantType();

        mWriter.Signature(lType);
        ++mVariantDepth;
        Value(lType.c_str());
        --mVariantDepth;
    }

    void Value(const char *aType)
    {
        switch (*aType)
        {
        case 'a':
            return Array(aType + 1);
        case '(':
        case '{':
            return Structure(aType + 1);
        case 'v':
            return Variant();
        case 's':
            return mWriter.Text(TakeText());
        case 'o':
            return mWriter.Text(TakePath());
        case 'g':
            return mWriter.Signature(TakeTypes());
        case 'b':
            return mWriter.Number(std::uint32_t{ mBytes.Take() } % 2);
        case 'h':
            return mWriter.Number(std::uint32_t{ 0 });
        default:
            return Number(GetAlignment(*aType));
        }
    }

    void Number(std::size_t aSize)
    {
        switch (aSize)
        {
        case 1:
            return mWriter.Number(mBytes.Take());
        case 2:
            return mWriter.Number(mBytes.TakeNumber<std::uint16_t>());
        case 4:
            return mWriter.Number(mBytes.TakeNumber<std::uint32_t>());
        default:
            return mWriter.Number(mBytes.TakeNumber<std::uint64_t>());
        }
    }

    Bytes  &mBytes;
    Writer &mWriter;
    int     mVariantDepth = 0;
};

void AddField(Writer &aWriter, int aCode, const char *aType, const std::string &aText)
{
    aWriter.Align(8);
    aWriter.Number(static_cast<std::uint8_t>(aCode));
    aWriter.Signature(aType);
    if (*aType == 'g')
        aWriter.Signature(aText);
    else
        aWriter.Text(aText);
}

/** The header of a signal, and its arguments. */
std::vector<std::uint8_t> Assemble(bool aIsBig, const std::string &aSignature, const std::vector<std::uint8_t> &aBody)
{
    Writer lWriter(aIsBig);

    lWriter.Number(static_cast<std::uint8_t>(aIsBig ? DBUS_BIG_ENDIAN : DBUS_LITTLE_ENDIAN));
    lWriter.Number(std::uint8_t{ DBUS_MESSAGE_TYPE_SIGNAL });
    lWriter.Number(std::uint8_t{ 0 });
    lWriter.Number(std::uint8_t{ DBUS_MAJOR_PROTOCOL_VERSION });
    lWriter.Number(static_cast<std::uint32_t>(aBody.size()));
    lWriter.Number(std::uint32_t{ 1 });
    lWriter.Array(8,
                  [&]
                  {
                      AddField(lWriter, DBUS_HEADER_FIELD_PATH, "o", "/");
                      AddField(lWriter, DBUS_HEADER_FIELD_INTERFACE, "s", "net.connman.Manager");
                      AddField(lWriter, DBUS_HEADER_FIELD_MEMBER, "s", "ServicesChanged");
                      AddField(lWriter, DBUS_HEADER_FIELD_SIGNATURE, "g", aSignature);
                  });
    lWriter.Align(8);
    lWriter.mBytes.insert(lWriter.mBytes.end(), aBody.begin(), aBody.end());
    return lWriter.mBytes;
}

} // namespace

Message ParseMessage(const std::uint8_t *aData, std::size_t aSize)
{
    return Message(aSize > 0 && aSize <= INT_MAX
                       ? dbus_message_demarshal(reinterpret_cast<const char *>(aData), static_cast<int>(aSize), nullptr)
                       : nullptr);
}

std::vector<std::uint8_t> BuildMessage(const std::uint8_t *aData, std::size_t aSize)
{
    Bytes              lBytes(aData, aSize);
    const std::uint8_t lFirst = lBytes.Take();
    const bool         lIsBig = lFirst >= 0x80;
    const char *const  lForm  = kForms[(lFirst & 0x7F) % std::size(kForms)];
    Writer             lBody(lIsBig);
    Builder            lBuilder(lBytes, lBody);
    const std::string  lSignature = lForm != nullptr ? lForm : lBuilder.TakeTypes();

    lBuilder.Values(lSignature);
    return Assemble(lIsBig, lSignature, lBody.mBytes);
}

Message MakeMessage(const std::uint8_t *aData, std::size_t aSize)
{
    if (aSize > 0 && (*aData == DBUS_LITTLE_ENDIAN || *aData == DBUS_BIG_ENDIAN))
        return ParseMessage(aData, aSize);

    const std::vector<std::uint8_t> lBuilt   = BuildMessage(aData, aSize);
    Message                         lMessage = ParseMessage(lBuilt.data(), lBuilt.size());

    if (lMessage == nullptr)
        std::abort(); // of a fault above, not of the bytes
    return lMessage;
}
