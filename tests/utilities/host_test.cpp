#include <logcapture.h>
#include <sandbox.h>
#include <zqhost.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <dlfcn.h>
#include <ifaddrs.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

// What the operating system is made to answer.
const char *sHostName   = nullptr; // instead of its own
int         sHostResult = 0;
const char *sDevice     = nullptr; // the device whose neighbours are meant: Linux wants one named
bool        sNoSockets  = false;
bool        sNoList     = false;

} // namespace

extern "C" ZQ_EXPORT int gethostname(char *aName, size_t aLength) noexcept
{
    if (sHostName == nullptr || strlen(sHostName) >= aLength)
        return sHostName == nullptr ? sHostResult : -1;

    (void)strcpy(aName, sHostName);
    return sHostResult;
}

extern "C" ZQ_EXPORT int socket(int aDomain, int aType, int aProtocol) noexcept
{
    if (!sNoSockets)
        return static_cast<int>(syscall(SYS_socket, aDomain, aType, aProtocol));

    errno = EMFILE;
    return -1;
}

extern "C" ZQ_EXPORT int ioctl(int aDescriptor, unsigned long aRequest, ...) noexcept
{
    va_list lArguments;

    va_start(lArguments, aRequest);
    void *const lArgument = va_arg(lArguments, void *);
    va_end(lArguments);

    if (aRequest == SIOCGARP && sDevice != nullptr)
        (void)strcpy(static_cast<arpreq *>(lArgument)->arp_dev, sDevice);
    return static_cast<int>(syscall(SYS_ioctl, aDescriptor, aRequest, lArgument));
}

extern "C" ZQ_EXPORT int getifaddrs(ifaddrs **aList) noexcept
{
    static const auto sNext = reinterpret_cast<int (*)(ifaddrs **)>(dlsym(RTLD_NEXT, "getifaddrs"));

    return sNoList ? -1 : sNext(aList);
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
        ASSERT_TRUE(IP("link set lo up"));
        ASSERT_TRUE(IP("link add zq0 type veth peer name zq1"));
        ASSERT_TRUE(IP("link set zq0 address 02:00:00:00:ab:01"));
        ASSERT_TRUE(IP("address add 198.51.100.1/24 brd + dev zq0"));
        ASSERT_TRUE(IP("link set zq0 up"));
        ASSERT_TRUE(IP("neighbour add 198.51.100.9 lladdr 02:00:00:00:00:9f dev zq0"));
        sHostName   = "zq-test.invalid";
        sHostResult = 0;
        sDevice     = nullptr;
        sNoSockets = sNoList = false;
        mNumDescriptors      = CountDescriptors();
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

    /** Ask without a name; the fields are "name mac address" then, "-" where they were left alone. */
    static std::string Ask(int anExpected)
    {
        zqNetworkInterface lInterface = { "-", "-", "-" };

        EXPECT_EQ(zqGetInterfaceInfo(lInterface, nullptr), anExpected);
        return Describe(lInterface);
    }

    static std::string Describe(const zqNetworkInterface &anInterface)
    {
        return (anInterface.mInterfaceName + " " + anInterface.mMACAddress + " " + anInterface.mIPAddress)
            .GetAsUTFArray();
    }

    LogCapture     mLog;
    std::ptrdiff_t mNumDescriptors = 0;
};

const char kCable[]     = "zq0 02000000ab01 198.51.100.1";
const char kNeighbour[] = "- 02000000009f 198.51.100.9";

TEST_F(Host, AHostIsFoundAmongTheNeighboursByItsAddress)
{
    zqNetworkInterface lInterface = { "-", "-", "-" };
    char               lKnown[]   = "198.51.100.9";
    char               lUnknown[] = "198.51.100.8";
    char               lName[]    = "zq-test.invalid";

    EXPECT_EQ(mac_address_from_hostname(lKnown, lInterface), -4) << "no device is named";
    EXPECT_TRUE(mLog.Contains("zqHost: failed to lookup mac address using ioctl() (19)", 3)) << mLog.GetText();
    sDevice = "zq0";
    EXPECT_EQ(mac_address_from_hostname(lUnknown, lInterface), -4);
    EXPECT_TRUE(mLog.Contains("zqHost: failed to lookup mac address using ioctl() (6)", 3)) << mLog.GetText();
    EXPECT_EQ(mac_address_from_hostname(lName, lInterface), -4);
    EXPECT_TRUE(mLog.Contains("zqHost: failed to gethostbyname(zq-test.invalid) (-", 1)) << mLog.GetText();
    EXPECT_EQ(Describe(lInterface), "- - -");
    EXPECT_EQ(mac_address_from_hostname(lKnown, lInterface), 0);
    EXPECT_EQ(Describe(lInterface), kNeighbour);
    sNoSockets = true;
    EXPECT_EQ(mac_address_from_hostname(lKnown, lInterface), -7);
    EXPECT_TRUE(mLog.Contains("zqHost: failed to create socket for mac lookup", 4));
}

TEST_F(Host, AnInterfaceIsAskedByName)
{
    zqNetworkInterface lInterface = { "-", "-", "-" };

    EXPECT_EQ(zqGetInterfaceInfo(lInterface, "nowhere0"), -1);
    EXPECT_EQ(Describe(lInterface), "- - -");
    EXPECT_EQ(zqGetInterfaceInfo(lInterface, "zq0"), 0);
    EXPECT_EQ(Describe(lInterface), "zq0 02000000ab01 -");

    ASSERT_TRUE(IP("link set zq1 address 02:00:00:00:ab:02 name fifteen-letters"));
    EXPECT_EQ(zqGetInterfaceInfoFromName(lInterface, "fifteen-letters-and-more"), 0);
    EXPECT_EQ(Describe(lInterface), "fifteen-letters-and-more 02000000ab02 -") << "cut in the request alone";
    sNoSockets = true;
    EXPECT_EQ(zqGetInterfaceInfoFromName(lInterface, "zq0"), -7);
}

TEST_F(Host, TheDeviceIsTheNeighbourOfItsNameOtherwiseItsFirstInterface)
{
    EXPECT_EQ(Ask(0), kCable);
    EXPECT_TRUE(mLog.Contains("zqHost: failed to gethostbyname(zq-test.invalid.local) (-", 1));
    EXPECT_EQ(mLog.Count("zqHost: failed to get mac address from hostname (zq-test.invalid.local)", 3), 1U);

    sHostName = "198.51.100.9";
    EXPECT_EQ(Ask(0), kCable) << "no device is named";
    sDevice = "zq0";
    EXPECT_EQ(Ask(0), kNeighbour);
    sNoSockets = true;
    EXPECT_EQ(Ask(-7), "- - -") << "only what was not found goes on";
}

TEST_F(Host, WithoutAnInterfaceNothingIsFilledIn)
{
    ASSERT_TRUE(IP("link set zq0 down"));
    EXPECT_EQ(Ask(-4), "- - -") << "loopback is none";
    sNoList = true;
    EXPECT_EQ(Ask(-4), "- - -");
    EXPECT_TRUE(mLog.Contains("zqHost: failed to getifaddrs()", 4));
}

TEST_F(Host, AFailedHostNameEndsIt)
{
    char lName[8];

    EXPECT_EQ(zqGetHostName(lName, sizeof lName), -1) << "does not fit";
    sHostResult = -1;
    EXPECT_EQ(Ask(-1), "- - -");
    EXPECT_TRUE(mLog.Contains("zqHost: failed to get hostname (-1)", 4));
    sHostResult = 36;
    EXPECT_EQ(Ask(-6), "- - -");
}

} // namespace
