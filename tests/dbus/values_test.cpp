#include "testbus.h"

#include <describe.h>
#include <failingallocations.h>

namespace zq::Test
{

namespace
{

/** A message as it comes off the wire, from the text of its body. */
class Message
{
public:
    explicit Message(const std::string &aBody)
    {
        GDBusMessage *const lMessage = g_dbus_message_new_signal("/", "a.b", "C");
        gsize               lSize    = 0;

        g_dbus_message_set_serial(lMessage, 1);
        g_dbus_message_set_body(lMessage, ParseValue(aBody));

        guchar *const lBytes = g_dbus_message_to_blob(lMessage, &lSize, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);

        mMessage = dbus_message_demarshal(reinterpret_cast<const char *>(lBytes), static_cast<int>(lSize), nullptr);
        (void)dbus_message_iter_init(mMessage, &mIterator);
        g_free(lBytes);
        g_object_unref(lMessage);
    }
    ~Message() { dbus_message_unref(mMessage); }

    DBusMessageIter *GetIterator() { return &mIterator; }

private:
    DBusMessage    *mMessage;
    DBusMessageIter mIterator;
};

template <typename T>
std::string Number(const void *aValue)
{
    return std::to_string(*static_cast<const T *>(aValue));
}

std::string ToText(int anEvent, const void *aValue)
{
    switch (anEvent)
    {
    case 's':
    case 'o':
    case 'e':
        return *static_cast<const char *const *>(aValue);
    case 'b':
        return Number<dbus_bool_t>(aValue);
    case 'y':
        return Number<unsigned char>(aValue);
    case 'q':
        return Number<dbus_uint16_t>(aValue);
    case 'i':
        return Number<dbus_int32_t>(aValue);
    case 't':
        return Number<dbus_uint64_t>(aValue);
    case zqDBusWalkArrayStart:
        return std::string(1, static_cast<char>(*static_cast<const int *>(aValue)));
    default:
        return aValue == nullptr ? "" : "unexpected";
    }
}

/** Writes the events down, one after the other: "EVENT[NAME]=VALUE". */
struct Transcript
{
    std::string mText;
    int         mLeft = -1; ///< after so many events, refuse one

    static zqError Walk(void *aContext, int anEvent, const char *aName, const void *aValue)
    {
        auto *const lTranscript = static_cast<Transcript *>(aContext);

        if (lTranscript->mLeft-- == 0)
            return zqError_NotSupported;

        const std::string lValue = ToText(anEvent, aValue);
        std::string       lEvent = anEvent > 0xff ? std::string(1, static_cast<char>(anEvent >> 8)) : std::string();

        lEvent += static_cast<char>(anEvent & 0xff);
        lTranscript->mText += lTranscript->mText.empty() ? "" : " ";
        lTranscript->mText += lEvent + (aName != nullptr ? "[" + std::string(aName) + "]" : std::string()) +
                              (lValue.empty() ? "" : "=" + lValue);

        return 0;
    }
};

} // namespace

TEST(WalkTest, EveryElementIsReportedInOrder)
{
    const std::pair<const char *, const char *> kRows[] = {
        { "('text', objectpath '/path', true, byte 200, uint16 65535, -4, uint64 18446744073709551615)",
          "s=text o=/path b=1 y=200 q=65535 i=-4 t=18446744073709551615" },
        { "(@as [], @a{sv} {})", "as=s ae as=e ae" },
        { "(['a', 'b'], 'c')", "as=s s=a s=b ae s=c" },
        { "('State', <'online'>)", "s=State v s=online" },
        { "({'A': <true>, 'B': <byte 7>},)", "as=e e[A]=A v[A] b[A]=1 e[B]=B v[B] y[B]=7 ae" },
        { "({'List': <['x', 'y']>},)", "as=e e[List]=List v[List] as[List]=s s[List]=x s[List]=y ae[List] ae" },
        { "({'Outer': <{'Inner': <'deep'>}>, 'Next': <'flat'>},)",
          "as=e e[Outer]=Outer v[Outer] as[Outer]=e e[Inner]=Inner v[Inner] s[Inner]=deep ae[Outer] "
          "e[Next]=Next v[Next] s[Next]=flat ae" },
        { "([(objectpath '/service', {'Name': <'home'>})], @ao ['/gone'])",
          "as=r rs o=/service as=e e[Name]=Name v[Name] s[Name]=home ae re ae as=o o=/gone ae" },
    };

    for (const auto &lRow : kRows)
    {
        Message    lMessage(lRow.first);
        Transcript lTranscript;

        EXPECT_EQ(0, zqDBus::WalkDBusMsgIter(lMessage.GetIterator(), Transcript::Walk, &lTranscript));
        EXPECT_EQ(lRow.second, lTranscript.mText) << lRow.first;
    }
}

TEST(WalkTest, WalkEndsAtAnyEventThatIsRefused)
{
    for (int lEvent = 0; lEvent < 9; lEvent++)
    {
        Message    lMessage("([({'A': <'b'>}, 'c')],)");
        Transcript lTranscript;

        lTranscript.mLeft = lEvent;
        EXPECT_EQ(zqError_NotSupported,
                  zqDBus::WalkDBusMsgIter(lMessage.GetIterator(), Transcript::Walk, &lTranscript));
        EXPECT_EQ(-1, lTranscript.mLeft) << "nothing may follow event " << lEvent;
        EXPECT_EQ(zqError_InvalidArgument, zqDBus::WalkDBusMsgIter(nullptr, Transcript::Walk, &lTranscript));
        EXPECT_EQ(zqError_InvalidArgument, zqDBus::WalkDBusMsgIter(lMessage.GetIterator(), nullptr, &lTranscript));
    }
}

TEST(ValuesTest, EveryTypeBecomesItsNaturalValue)
{
    const std::pair<const char *, const char *> kRows[] = {
        { "('text', 'second')", "'text'" },
        { "(objectpath '/path',)", "'/path'" },
        { "(false,)", "false" },
        { "(byte 255,)", "2:255" },
        { "(int16 -2,)", "2:-2" },
        { "(uint16 65535,)", "3:65535" },
        { "(int32 -4,)", "3:-4" },
        { "(uint32 4294967295,)", "4:4294967295" },
        { "(int64 -6,)", "4:-6" },
        { "(uint64 18446744073709551615,)", "4:-1" },
        { "(1.5,)", "13:1.500000" },
        { "([byte 1, 255],)", "<1, 255>" },
        { "(@as [],)", "[]" },
        { "(('a', 1),)", "['a', 3:1]" },
        { "(@a{sv} {},)", "{}" },
        { "({'A': <true>, 'B': <{'C': <@ay [7]>}>},)", "{'A': true, 'B': {'C': <7>}}" },
    };

    for (const auto &lRow : kRows)
    {
        Message lMessage(lRow.first);

        EXPECT_EQ(lRow.second, Describe(zqDBus::CopyValue(lMessage.GetIterator()).Get(), true)) << lRow.first;
    }
}

TEST(ValuesTest, ValueIsTheCallersAndWholeOrNull)
{
    Message                 lMessage("({'A name that is not short': <'a text that is not short at all'>},)");
    CFUSharedRef<CFTypeRef> lValue;
    const auto              lCopy = [&]
    {
        lValue = zqDBus::CopyValue(lMessage.GetIterator());
        return lValue ? zqError_None : zqError_NoResources;
    };

    EXPECT_GT(Starve({ zqError_NoResources }, lCopy), 2);
    EXPECT_EQ("{A name that is not short: a text that is not short at all}", Describe(lValue.Get()));
    EXPECT_EQ(1, CFGetRetainCount(lValue.Get()));
    EXPECT_EQ(nullptr, zqDBus::CopyValue(nullptr).Get());

    (void)dbus_message_iter_next(lMessage.GetIterator());
    EXPECT_EQ(nullptr, zqDBus::CopyValue(lMessage.GetIterator()).Get()) << "at the end";
}

} // namespace zq::Test
