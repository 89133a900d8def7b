#include <failingallocations.h>

#include <zqlog.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

#define ZQ_LOG_COMPONENT "room"
#define ZQ_LOG_FILE "zqroom"

using zq::Test::FailingAllocations;

namespace
{

/** Keeps the lines of one thread as "level component text"; the default handler is back afterwards. */
class Log : public testing::Test
{
protected:
    ~Log() override { zqLogSetHandler(nullptr, nullptr, zqLogLevel_Notice); }

    void Capture(int aLevel) { zqLogSetHandler(&Keep, this, aLevel); }

    static void Keep(void *aContext, const char *aComponent, int aLevel, const char *aText)
    {
        static_cast<Log *>(aContext)->mLines.push_back(std::to_string(aLevel) + " " + aComponent + " " + aText);
        errno = EBADF;
    }

    std::vector<std::string> mLines;
};

TEST_F(Log, ALineOfAnyLengthIsReportedWholeAndLeavesErrnoAlone)
{
    static std::size_t sLength;

    Capture(zqLogLevel_Detail);
    for (const std::size_t lLength : { 0U, 511U, 512U, 513U, 300000U })
    {
        const std::string lText(lLength, 'x');

        mLines.clear();
        errno = EAGAIN;
        ZQ_LOG(zqLogLevel_Detail, "%s", lText.c_str());
        EXPECT_EQ(errno, EAGAIN);
        EXPECT_EQ(mLines, std::vector<std::string>{ "1 room " + lText });
    }

    // Without memory its beginning is.
    const std::string lText(5000, 'x');
    zqLogSetHandler([](void *, const char *, int, const char *aText) { sLength = std::string_view(aText).size(); },
                    nullptr, zqLogLevel_Detail);
    {
        const FailingAllocations lNoMemory;
        ZQ_LOG(zqLogLevel_Detail, "%s", lText.c_str());
    }
    EXPECT_GT(sLength, 100U);
    EXPECT_LT(sLength, lText.size());
}

TEST_F(Log, TheDefaultHandlerWritesEachLineAtOnceAndEndsIt)
{
    const std::string lLong(2000, 'x');
    const int         lSaved        = dup(STDERR_FILENO);
    int               lNumEvaluated = 0;
    int               lSockets[2]; // they keep the borders between writes
    char              lBuffer[4096];

    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, lSockets), 0);
    Capture(zqLogLevel_Detail);
    zqLogSetHandler(nullptr, nullptr, zqLogLevel_Notice);
    ASSERT_EQ(dup2(lSockets[1], STDERR_FILENO), STDERR_FILENO);
    ZQ_LOG(zqLogLevel_Information, "%d", ++lNumEvaluated); // too low
    ZQ_LOG(zqLogLevel_Notice, "connman: no break");
    ZQ_LOG(zqLogLevel_Error, "connman: break\n");
    ZQ_LOG(zqLogLevel_Error, "%s", lLong.c_str());
    ZQ_LOG(zqLogLevel_Error, "%s", "");
    ASSERT_EQ(dup2(lSaved, STDERR_FILENO), STDERR_FILENO);

    for (const std::string &lWritten : { std::string("connman: no break\n"), std::string("connman: break\n"),
                                         lLong + "\n", std::string("\n"), std::string() })
    {
        const ssize_t lLength = recv(lSockets[0], lBuffer, sizeof(lBuffer), MSG_DONTWAIT);
        EXPECT_EQ(std::string(lBuffer, static_cast<std::size_t>(std::max<ssize_t>(lLength, 0))), lWritten);
    }
    EXPECT_TRUE(mLines.empty());
    EXPECT_EQ(lNumEvaluated, 0);
    for (const int lDescriptor : { lSaved, lSockets[0], lSockets[1] })
        (void)close(lDescriptor);
}

std::atomic<int> sNumMixed{ 0 };
std::atomic<int> sNumCalls[2];

template <int Index>
void Expect(void *aContext, const char *, int, const char *)
{
    if (aContext != &sNumCalls[Index])
        ++sNumMixed;
    ++sNumCalls[Index];
}

TEST_F(Log, AHandlerNeverSeesTheContextOfAnother)
{
    std::atomic<bool> lEnd{ false };
    const auto        lLog = [&lEnd]()
    {
        while (!lEnd)
            ZQ_LOG(zqLogLevel_Detail, "line %d", 1);
    };

    zqLogSetHandler(&Expect<0>, &sNumCalls[0], zqLogLevel_Detail);
    std::thread lFirst(lLog), lSecond(lLog);
    for (int lSwap = 0; lSwap < 20000 || sNumCalls[0] < 1000 || sNumCalls[1] < 1000; ++lSwap)
    {
        zqLogSetHandler(&Expect<1>, &sNumCalls[1], zqLogLevel_Detail);
        zqLogSetHandler(&Expect<0>, &sNumCalls[0], zqLogLevel_Detail);
    }
    lEnd = true;
    lFirst.join();
    lSecond.join();

    EXPECT_EQ(sNumMixed, 0);
}

} // namespace
