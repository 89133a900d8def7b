#include <failingallocations.h>
#include <logcapture.h>
#include <sandbox.h>
#include <zqhost.h>
#include <zqlog.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

/** What the operating system is made to answer. */
struct Answers
{
    const char *mHostName   = "zq-test.invalid";
    int         mHostResult = 0;
    const char *mDevice     = nullptr; // whose neighbours are meant: Linux wants one named
    bool        mNoSockets  = false;
};

Answers sAnswers;

} // namespace

extern "C" ZQ_EXPORT int gethostname(char *aName, size_t aLength) noexcept
{
    (void)strncpy(aName, sAnswers.mHostName, aLength);
    return sAnswers.mHostResult;
}

extern "C" ZQ_EXPORT int socket(int aDomain, int aType, int aProtocol) noexcept
{
    errno = EMFILE;
    return sAnswers.mNoSockets ? -1 : static_cast<int>(syscall(SYS_socket, aDomain, aType, aProtocol));
}

extern "C" ZQ_EXPORT int ioctl(int aDescriptor, unsigned long aRequest, ...) noexcept
{
    va_list lArguments;

    va_start(lArguments, aRequest);
    void *const lArgument = va_arg(lArguments, void *);
    va_end(lArguments);

    if (aRequest == SIOCGARP && sAnswers.mDevice != nullptr)
        (void)strcpy(static_cast<arpreq *>(lArgument)->arp_dev, sAnswers.mDevice);
    return static_cast<int>(syscall(SYS_ioctl, aDescriptor, aRequest, lArgument));
}

namespace
{

/** A network of loopback and a cable: zq0, whose one neighbour is 198.51.100.9. */
class Host : public testing::Test
{
protected:
    void SetUp() override
    {
        ZQ_REQUIRE_SANDBOX();
        for (const char *lCommand :
             { "link set lo up", "link add zq0 type veth peer name zq1", "link set zq0 address 02:00:00:00:ab:01",
               "address add 198.51.100.1/24 brd + dev zq0", "link set zq0 up",
               "neighbour add 198.51.100.9 lladdr 02:00:00:00:00:9f dev zq0" })
            ASSERT_TRUE(IP(lCommand)) << lCommand;
        sAnswers        = Answers();
        mNumDescriptors = CountDescriptors();
    }

    void TearDown() override
    {
        if (!InSandbox())
            return;
        EXPECT_EQ(CountDescriptors(), mNumDescriptors) << "a socket was left open";
        EXPECT_TRUE(IP("link delete zq0"));
    }

    static bool IP(const std::string &aCommand)
    {
        return system(("PATH=$PATH:/usr/sbin:/sbin ip " + aCommand).c_str()) == 0;
    }

    static std::ptrdiff_t CountDescriptors()
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    /** What is filled in by a function: name, MAC and IP address, "-" where it was left alone. */
    template <typename Function>
    static std::string Ask(int anExpected, Function aFunction, std::string aName)
    {
        zqNetworkInterface lInterface = { "-", "-", "-" };

        EXPECT_EQ(aFunction(lInterface, aName), anExpected) << aName;
        return (lInterface.mInterfaceName + " " + lInterface.mMACAddress + " " + lInterface.mIPAddress).GetAsUTFArray();
    }

    static std::string AskForHost(int anExpected, const char *aName)
    {
        return Ask(
            anExpected,
            [](auto &anInterface, auto &aText) { return mac_address_from_hostname(aText.data(), anInterface); }, aName);
    }

    /** An empty name is none. */
    static std::string AskFor(int anExpected, const char *aName)
    {
        return Ask(
            anExpected,
            [](auto &anInterface, auto &aText)
            { return zqGetInterfaceInfo(anInterface, aText.empty() ? nullptr : aText.c_str()); },
            aName);
    }

    LogCapture     mLog;
    std::ptrdiff_t mNumDescriptors = 0;
};

const char kNothing[]   = "- - -";
const char kCable[]     = "zq0 02000000ab01 198.51.100.1";
const char kNeighbour[] = "- 02000000009f 198.51.100.9";

TEST_F(Host, AHostIsFoundAmongTheNeighbours)
{
    EXPECT_EQ(AskForHost(-4, "198.51.100.9"), kNothing) << "no device is named";
    EXPECT_TRUE(mLog.Contains("zqHost: failed to lookup mac address using ioctl() (19)", 3)) << mLog.GetText();
    sAnswers.mDevice = "zq0";
    EXPECT_EQ(AskForHost(-4, "198.51.100.8"), kNothing);
    EXPECT_TRUE(mLog.Contains("zqHost: failed to lookup mac address using ioctl() (6)", 3)) << mLog.GetText();
    EXPECT_EQ(AskForHost(-4, "zq-test.invalid"), kNothing);
    EXPECT_TRUE(mLog.Contains("zqHost: failed to gethostbyname(zq-test.invalid) (-", 1)) << mLog.GetText();
    EXPECT_EQ(AskForHost(0, "198.51.100.9"), kNeighbour);
    sAnswers.mNoSockets = true;
    EXPECT_EQ(AskForHost(-7, "198.51.100.9"), kNothing);
    EXPECT_TRUE(mLog.Contains("zqHost: failed to create socket for mac lookup", 4));
}

TEST_F(Host, AnInterfaceIsAskedByNameCutInTheRequestAlone)
{
    EXPECT_EQ(AskFor(-1, "nowhere0"), kNothing);
    EXPECT_EQ(AskFor(0, "zq0"), "zq0 02000000ab01 -");
    ASSERT_TRUE(IP("link set zq1 address 02:00:00:00:ab:02 name fifteen-letters"));
    EXPECT_EQ(AskFor(0, "fifteen-letters-and-more"), "fifteen-letters-and-more 02000000ab02 -");
    sAnswers.mNoSockets = true;
    EXPECT_EQ(AskFor(-7, "zq0"), kNothing);
}

TEST_F(Host, TheDeviceIsTheNeighbourOfItsNameOtherwiseItsFirstInterface)
{
    EXPECT_EQ(AskFor(0, ""), kCable);
    EXPECT_TRUE(mLog.Contains("zqHost: failed to gethostbyname(zq-test.invalid.local) (-", 1));
    EXPECT_EQ(mLog.Count("zqHost: failed to get mac address from hostname (zq-test.invalid.local)", 3), 1U);

    sAnswers.mHostName = "198.51.100.9";
    EXPECT_EQ(AskFor(0, ""), kCable) << "no device is named";
    sAnswers.mDevice = "zq0";
    EXPECT_EQ(AskFor(0, ""), kNeighbour);
    sAnswers.mNoSockets = true;
    EXPECT_EQ(AskFor(-7, ""), kNothing) << "only what was not found goes on";
    sAnswers.mHostResult = -1;
    EXPECT_EQ(AskFor(-1, ""), kNothing);
    EXPECT_TRUE(mLog.Contains("zqHost: failed to get hostname (-1)", 4));
    sAnswers.mHostResult = 36;
    EXPECT_EQ(AskFor(-6, ""), kNothing);

    sAnswers = Answers();
    ASSERT_TRUE(IP("link set zq0 down"));
    EXPECT_EQ(AskFor(-4, ""), kNothing) << "loopback is none";

    ASSERT_TRUE(IP("link set zq0 up"));
    zqLogSetHandler([](void *, const char *, int, const char *) {}, nullptr, 1);
    const zqNetworkInterface kNone = { "-", "-", "-" };
    EXPECT_GT(Starve({ -2 },
                     [&]
                     {
                         zqNetworkInterface lFound  = kNone;
                         const int          lError  = zqGetInterfaceInfo(lFound, nullptr);
                         const bool         isWhole = (*lFound.mMACAddress.GetAsUTFArray() == '-') ==
                                              (*lFound.mIPAddress.GetAsUTFArray() == '-');
                         return isWhole ? lError : -999;
                     }),
              2);
}

} // namespace
