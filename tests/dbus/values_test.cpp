#include "testbus.h"

#include <describe.h>
#include <failingallocations.h>

#include <filesystem>
#include <map>

#include <unistd.h>

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

std::string Text(const void *aValue)
{
    return *static_cast<const char *const *>(aValue);
}

std::string ToText(int anEvent, const void *aValue)
{
    static const std::map<int, std::string (*)(const void *)> sTexts = {
        { 's', Text },
        { 'o', Text },
        { 'g', Text },
        { 'e', Text },
        { 'b', Number<dbus_bool_t> },
        { 'y', Number<unsigned char> },
        { 'n', Number<dbus_int16_t> },
        { 'q', Number<dbus_uint16_t> },
        { 'i', Number<dbus_int32_t> },
        { 'u', Number<dbus_uint32_t> },
        { 'x', Number<dbus_int64_t> },
        { 't', Number<dbus_uint64_t> },
        { 'd', Number<double> },
        { zqDBusWalkArrayStart,
          [](const void *aType) { return std::string(1, static_cast<char>(*static_cast<const int *>(aType))); } },
    };
    const auto lFound = sTexts.find(anEvent);

    if (lFound != sTexts.end())
        return lFound->second(aValue);
    return aValue == nullptr ? "" : "unexpected";
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

int CountDescriptors()
{
    const std::filesystem::directory_iterator lDirectory("/proc/self/fd");

    return static_cast<int>(std::distance(begin(lDirectory), end(lDirectory)));
}

} // namespace

TEST(WalkTest, EveryElementIsReportedInOrder)
{
    const std::pair<const char *, const char *> kRows[] = {
        { "('text', objectpath '/path', signature 'a{sv}', true)", "s=text o=/path g=a{sv} b=1" },
        { "(byte 200, int16 -2, uint16 65535, int32 -4, uint32 4294967295)", "y=200 n=-2 q=65535 i=-4 u=4294967295" },
        { "(int64 -6, uint64 18446744073709551615, 1.5)", "x=-6 t=18446744073709551615 d=1.500000" },
        { "(@as [],)", "as=s ae" },
        { "(@a{sv} {},)", "as=e ae" },
        { "(['a', 'b'], 'c')", "as=s s=a s=b ae s=c" },
        { "(b'ab',)", "as=y y=97 y=98 y=0 ae" },
        { "((1, ('in',)),)", "rs i=1 rs s=in re re" },
        { "(<'v'>,)", "v s=v" },
        { "(<<'twice'>>,)", "v v s=twice" },
        { "('State', <'online'>)", "s=State v s=online" },
        { "({'A': <true>, 'B': <byte 7>},)", "as=e e[A]=A v[A] b[A]=1 e[B]=B v[B] y[B]=7 ae" },
        { "({'List': <['x', 'y']>},)", "as=e e[List]=List v[List] as[List]=s s[List]=x s[List]=y ae[List] ae" },
        { "({'Outer': <{'Inner': <'deep'>}>, 'Next': <'flat'>},)",
          "as=e e[Outer]=Outer v[Outer] as[Outer]=e e[Inner]=Inner v[Inner] s[Inner]=deep ae[Outer] "
          "e[Next]=Next v[Next] s[Next]=flat ae" },
        { "({1: <'one'>},)", "as=e i=1 v s=one ae" },
        { "({objectpath '/key': 1},)", "as=e e[/key]=/key i[/key]=1 ae" },
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
    constexpr char kBody[]    = "([({'A': <'b'>}, 'c')],)";
    constexpr int  kNumEvents = 9;

    for (int lEvent = 0; lEvent < kNumEvents; lEvent++)
    {
        Message    lMessage(kBody);
        Transcript lTranscript;

        lTranscript.mLeft = lEvent;
        EXPECT_EQ(zqError_NotSupported,
                  zqDBus::WalkDBusMsgIter(lMessage.GetIterator(), Transcript::Walk, &lTranscript));
        EXPECT_EQ(-1, lTranscript.mLeft) << "nothing may follow event " << lEvent;
    }
}

TEST(WalkTest, DeepestMessageIsWalkedAndNothingIsRefused)
{
    std::string lBody(32, '(');

    lBody += "1";
    for (int lDepth = 0; lDepth < 32; lDepth++)
        lBody += ",)";

    Message    lMessage(lBody);
    Transcript lTranscript;

    EXPECT_EQ(0, zqDBus::WalkDBusMsgIter(lMessage.GetIterator(), Transcript::Walk, &lTranscript));
    EXPECT_NE(std::string::npos, lTranscript.mText.find("i=1"));
    EXPECT_EQ(zqError_InvalidArgument, zqDBus::WalkDBusMsgIter(nullptr, Transcript::Walk, &lTranscript));
    EXPECT_EQ(zqError_InvalidArgument, zqDBus::WalkDBusMsgIter(lMessage.GetIterator(), nullptr, &lTranscript));
}

TEST(ValuesTest, EveryTypeBecomesItsNaturalValue)
{
    const std::pair<const char *, const char *> kRows[] = {
        { "('text',)", "'text'" },
        { "(objectpath '/path',)", "'/path'" },
        { "(signature 'a{sv}',)", "'a{sv}'" },
        { "(true,)", "true" },
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
        { "(@ay [],)", "<>" },
        { "(@as [],)", "[]" },
        { "(['a', 'b'],)", "['a', 'b']" },
        { "(('a', 1),)", "['a', 3:1]" },
        { "(<<'v'>>,)", "'v'" },
        { "(@a{sv} {},)", "{}" },
        { "({'A': <true>, 'B': <{'C': <@ay [7]>}>},)", "{'A': true, 'B': {'C': <7>}}" },
        { "({1: 'one'},)", "{3:1: 'one'}" },
        { "([{'A': 1}, {'A': 2}],)", "[{'A': 3:1}, {'A': 3:2}]" },
        { "('first', 'second')", "'first'" },
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

TEST(ValuesTest, DescriptorsAreNeitherYieldedNorLeaked)
{
    DBusMessage *const lMessage = dbus_message_new_signal("/", "a.b", "C");
    DBusMessageIter    lIterator;
    DBusMessageIter    lArray;

    dbus_message_iter_init_append(lMessage, &lIterator);
    ASSERT_TRUE(dbus_message_iter_append_basic(&lIterator, DBUS_TYPE_UNIX_FD, &static_cast<const int &>(STDIN_FILENO)));
    ASSERT_TRUE(dbus_message_iter_open_container(&lIterator, DBUS_TYPE_ARRAY, "h", &lArray));
    ASSERT_TRUE(dbus_message_iter_append_basic(&lArray, DBUS_TYPE_UNIX_FD, &static_cast<const int &>(STDIN_FILENO)));
    ASSERT_TRUE(dbus_message_iter_close_container(&lIterator, &lArray));

    const int lBefore = CountDescriptors();

    // Often: other threads of the program open and close some, too.
    for (int lCount = 0; lCount < 100; lCount++)
    {
        Transcript lTranscript;

        ASSERT_TRUE(dbus_message_iter_init(lMessage, &lIterator));
        EXPECT_EQ(0, zqDBus::WalkDBusMsgIter(&lIterator, Transcript::Walk, &lTranscript));
        EXPECT_EQ("h as=h h ae", lTranscript.mText);
        EXPECT_EQ("null", Describe(zqDBus::CopyValue(&lIterator).Get(), true));
        (void)dbus_message_iter_next(&lIterator);
        EXPECT_EQ("[]", Describe(zqDBus::CopyValue(&lIterator).Get(), true));
    }

    EXPECT_LT(CountDescriptors(), lBefore + 100);

    dbus_message_unref(lMessage);
}

} // namespace zq::Test
