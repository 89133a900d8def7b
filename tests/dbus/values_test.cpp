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

    DBusMessage     *GetMessage() const { return mMessage; }
    DBusMessageIter *GetIterator() { return &mIterator; }

private:
    DBusMessage    *mMessage;
    DBusMessageIter mIterator;
};

/** Writes the events down, one after the other: "EVENT[NAME]". */
struct Transcript
{
    std::string mText;
    int         mLeft = -1; ///< after so many events, refuse one

    static zqError Walk(void *aContext, int anEvent, const char *aName, const void * /* aValue */)
    {
        auto *const lTranscript = static_cast<Transcript *>(aContext);

        if (lTranscript->mLeft-- == 0)
            return zqError_NotSupported;

        if (anEvent > 0xff)
            lTranscript->mText += static_cast<char>(anEvent >> 8);
        lTranscript->mText += static_cast<char>(anEvent & 0xff);
        lTranscript->mText += aName != nullptr ? "[" + std::string(aName) + "] " : " ";

        return 0;
    }
};

} // namespace

TEST(WalkTest, EveryElementIsReportedInOrderUntilOneIsRefused)
{
    Message     lMessage("([({'A': <{'B': <'b'>}>, 'C': <'c'>}, 'd')],)");
    std::string lText;

    for (int lEvent = 0; lText.empty(); lEvent++)
    {
        Transcript lTranscript;

        (void)dbus_message_iter_init(lMessage.GetMessage(), lMessage.GetIterator());
        lTranscript.mLeft = lEvent;
        if (zqDBus::WalkDBusMsgIter(lMessage.GetIterator(), Transcript::Walk, &lTranscript) == 0)
            lText = lTranscript.mText;
        else
            ASSERT_EQ(-1, lTranscript.mLeft) << "nothing may follow event " << lEvent;
    }
    EXPECT_EQ("as rs as e[A] v[A] as[A] e[B] v[B] s[B] ae[A] e[C] v[C] s[C] ae s re ae ", lText);
    EXPECT_EQ(zqError_InvalidArgument, zqDBus::WalkDBusMsgIter(nullptr, Transcript::Walk, &lText));
    EXPECT_EQ(zqError_InvalidArgument, zqDBus::WalkDBusMsgIter(lMessage.GetIterator(), nullptr, &lText));
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
