#include "tool.h"

#include <algorithm>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zq::Test
{

namespace
{

[[noreturn]] void Become(const Words &aWords, int anInput, int anOutput, int anErrors)
{
    std::vector<char *> lArguments = { const_cast<char *>(ZQ_NETCTL) };
    sigset_t            lNone;

    for (const std::string &lWord : aWords)
        lArguments.push_back(const_cast<char *>(lWord.c_str()));
    lArguments.push_back(nullptr);

    sigemptyset(&lNone);
    sigprocmask(SIG_SETMASK, &lNone, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(anInput, STDIN_FILENO);
    dup2(anOutput, STDOUT_FILENO);
    dup2(anErrors, STDERR_FILENO);
    execv(ZQ_NETCTL, lArguments.data());
    _exit(127);
}

bool Matches(const Json &anObject, const Json &aPattern)
{
    for (const auto &lEntry : aPattern.items())
        if (!anObject.contains(lEntry.key()) || anObject[lEntry.key()] != lEntry.value())
            return false;
    return true;
}

} // namespace

Tool::Tool(const Words &aWords, Standard aStandard)
{
    int lInput[2]  = { -1, -1 };
    int lOutput[2] = { -1, -1 };
    int lErrors[2] = { -1, -1 };

    if (aStandard == kTerminal)
    {
        EXPECT_EQ(openpty(&lInput[1], &lInput[0], nullptr, nullptr, nullptr), 0);
        lOutput[0] = dup(lInput[1]);
        lOutput[1] = dup(lInput[0]);
        lErrors[1] = dup(lInput[0]);
    }
    else
    {
        // Not for the next run of the tool, which would keep them open.
        for (int *lPipe : { lInput, lOutput, lErrors })
            EXPECT_EQ(pipe2(lPipe, O_CLOEXEC), 0);
    }

    mPid = fork();
    if (mPid == 0)
        Become(aWords, lInput[0], lOutput[1], lErrors[1]);

    close(lInput[0]);
    close(lOutput[1]);
    close(lErrors[1]);
    mInput              = lInput[1];
    mOutput.mDescriptor = lOutput[0];
    mErrors.mDescriptor = lErrors[0];
}

Tool::~Tool()
{
    if (mPid > 0)
    {
        Signal(SIGKILL);
        (void)waitpid(mPid, nullptr, 0);
    }

    EndInput();
    for (const int lDescriptor : { mOutput.mDescriptor, mErrors.mDescriptor })
        if (lDescriptor >= 0)
            close(lDescriptor);
}

const std::string &Tool::Read(Stream &aStream)
{
    struct pollfd lPoll = { aStream.mDescriptor, POLLIN, 0 };
    char          lBuffer[4096];
    ssize_t       lLength = 1;

    while (lLength > 0 && poll(&lPoll, 1, 0) > 0)
    {
        lLength = read(aStream.mDescriptor, lBuffer, sizeof lBuffer);
        aStream.mText.append(lBuffer, static_cast<std::size_t>(std::max<ssize_t>(lLength, 0)));
    }
    return aStream.mText;
}

void Tool::Write(const std::string &aText) const
{
    EXPECT_EQ(write(mInput, aText.data(), aText.size()), static_cast<ssize_t>(aText.size()));
}

void Tool::EndInput()
{
    if (mInput >= 0)
        close(mInput);
    mInput = -1;
}

void Tool::Signal(int aSignal) const
{
    (void)kill(mPid, aSignal);
}

int Tool::Wait()
{
    int        lStatus = 0;
    const auto lEnded  = [&]
    {
        // A full pipe would hold it up.
        (void)Read(mOutput);
        (void)Read(mErrors);
        return waitpid(mPid, &lStatus, WNOHANG) == mPid;
    };

    if (!WaitUntil(lEnded, 4 * gWaitLimit.load()))
        return -1;

    mPid = -1;
    return WIFEXITED(lStatus) ? WEXITSTATUS(lStatus) : -1;
}

Words Tool::GetLines() const
{
    const std::string lText = GetOutput();
    Words             lLines;

    for (std::size_t lStart = 0, lEnd = 0; (lEnd = lText.find('\n', lStart)) != std::string::npos; lStart = lEnd + 1)
        lLines.push_back(lText.substr(lStart, lEnd - lStart));
    return lLines;
}

bool Tool::WaitForOutput(const std::string &aText) const
{
    return WaitUntil([&] { return GetOutput().find(aText) != std::string::npos; });
}

std::vector<Json> Tool::GetObjects() const
{
    std::vector<Json> lObjects;

    for (const std::string &lLine : GetLines())
    {
        lObjects.push_back(Json::parse(lLine, nullptr, false));
        EXPECT_TRUE(lObjects.back().is_object()) << lLine;
    }
    return lObjects;
}

Json Tool::WaitForObject(const Json &aPattern) const
{
    Json lFound;

    (void)WaitUntil(
        [&]
        {
            for (const Json &lObject : GetObjects())
                if (Matches(lObject, aPattern))
                    lFound = lObject;
            return !lFound.is_null();
        });
    return lFound;
}

Result RunTool(const Words &aWords)
{
    Tool lTool(aWords);

    lTool.EndInput();
    const int lStatus = lTool.Wait();

    return { lStatus, lTool.GetOutput(), lTool.GetErrors() };
}

void RunRows(const std::vector<Row> &aRows, const Words &aFirst)
{
    for (const Row &lRow : aRows)
    {
        Words lWords = aFirst;

        lWords.insert(lWords.end(), lRow.mWords.begin(), lRow.mWords.end());
        SCOPED_TRACE(testing::PrintToString(lWords));
        const Result lResult = RunTool(lWords);

        EXPECT_EQ(lResult.mStatus, lRow.mStatus) << lResult.mErrors;
        EXPECT_TRUE(lRow.mOutput == Row::kAnything || lResult.mOutput == lRow.mOutput) << lResult.mOutput;
        EXPECT_NE(lResult.mErrors.find(lRow.mErrors), std::string::npos) << lResult.mErrors;
        EXPECT_TRUE(!(lRow.mIsAll || lRow.mErrors.empty()) || lResult.mErrors == lRow.mErrors) << lResult.mErrors;
    }
}

void ToolTest::SetUp()
{
    SystemBus();
    mConnMan.AddTechnology(kWiFi, FakeConnMan::Technology("wifi"));
    mConnMan.AddServices(
        { { kHome, FakeConnMan::WiFiService("home", { { "Favorite", "true" } }) },
          { kWired, FakeConnMan::EthernetServiceWithMTU(
                        { { "State", "'online'" }, { "IPv4", "{'Method': <'dhcp'>, 'Address': <'192.0.2.7'>}" } }) } });
    ASSERT_TRUE(mConnMan.Appear());
}

std::string ToolTest::GetLastArguments(const std::string &aMethod) const
{
    const auto lCalls = mConnMan.GetCalls(aMethod);

    return lCalls.empty() ? "" : lCalls.back().mArguments;
}

} // namespace zq::Test
