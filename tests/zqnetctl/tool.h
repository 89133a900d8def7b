/**
 *  @file
 *    The tool as a program that runs, and the daemon that it meets.
 */

#ifndef ZQ_TEST_TOOL_H
#define ZQ_TEST_TOOL_H

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/types.h>

#include <fakeconnman.h>
#include <privatebus.h>
#include <waituntil.h>

namespace zq::Test
{

using namespace Mock;

using Json  = nlohmann::json;
using Words = std::vector<std::string>;

/** One run of zqnetctl. */
class Tool
{
public:
    enum Standard
    {
        kPipes,
        kTerminal ///< input, output and errors are one terminal, all of it among the lines
    };

    explicit Tool(const Words &aWords, Standard aStandard = kPipes);
    ~Tool();

    Tool(const Tool &)            = delete;
    Tool &operator=(const Tool &) = delete;

    void Write(const std::string &aText) const;
    void EndInput();
    void Signal(int aSignal) const;

    /** The exit status; -1 when it does not end by itself in time. */
    int Wait();

    std::string GetOutput() const { return Read(mOutput); }
    std::string GetErrors() const { return Read(mErrors); }
    Words       GetLines() const;

    bool WaitForOutput(const std::string &aText) const;

    /** The lines of standard output, which must all be JSON objects. */
    std::vector<Json> GetObjects() const;

    /** The first object that has all the entries of this one, when it comes; null otherwise. */
    Json WaitForObject(const Json &aPattern) const;

private:
    /** What the tool writes: read whenever somebody looks. */
    struct Stream
    {
        int         mDescriptor = -1;
        std::string mText;
    };

    static const std::string &Read(Stream &aStream);

    pid_t          mPid   = -1;
    int            mInput = -1;
    mutable Stream mOutput;
    mutable Stream mErrors;
};

/** What one run leaves. */
struct Result
{
    int         mStatus;
    std::string mOutput;
    std::string mErrors;
};

Result RunTool(const Words &aWords);

/** What a run is to leave. */
struct Row
{
    Words       mWords;
    int         mStatus = 0;
    std::string mOutput = kAnything;
    std::string mErrors = "";    ///< which are among it; empty: none at all
    bool        mIsAll  = false; ///< the errors are these alone

    static constexpr const char *kAnything = "\x01";
};

/** Run the tool for each, with these words before its own. */
void RunRows(const std::vector<Row> &aRows, const Words &aFirst = {});

/** A private bus with a fake ConnMan that has Wi-Fi, with the network "home", and a wire. */
class ToolTest : public testing::Test
{
protected:
    static constexpr const char *kHome  = "/net/connman/service/wifi_home";
    static constexpr const char *kWired = "/net/connman/service/ethernet_cable";
    static constexpr const char *kWiFi  = "/net/connman/technology/wifi";

    void SetUp() override;

    /** The arguments of the call of a method that came last, as text with types; empty without one. */
    std::string GetLastArguments(const std::string &aMethod) const;

    FakeConnMan mConnMan;
};

} // namespace zq::Test

#endif // ZQ_TEST_TOOL_H
