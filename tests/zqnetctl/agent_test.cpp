#include "tool.h"

using namespace zq::Test;

constexpr const char *kPassphrase = "'Passphrase': <{'Type': <'psk'>, 'Requirement': <'mandatory'>}>";

class AgentTest : public ToolTest
{
protected:
    /** Once the tool has its agent. */
    void Ask(const std::string &aFields)
    {
        ASSERT_TRUE(WaitUntil([&] { return !mConnMan.GetAgentOwner().empty(); }));
        mTicket =
            mConnMan.CallAgent("RequestInput", "(objectpath '" + std::string(kHome) + "', @a{sv} {" + aFields + "})");
    }

    /** A connect's daemon asks, and then waits for ReleaseHeld. */
    void AskDuringConnect()
    {
        ASSERT_TRUE(mConnMan.WaitForCall("Connect"));
        Ask(kPassphrase);
    }

    std::string GetAnswer()
    {
        FakePeer::Reply lReply;

        EXPECT_TRUE(mConnMan.WaitForReply(mTicket, lReply));
        return lReply.mErrorName + lReply.mBody;
    }

    std::uint32_t mTicket = 0;
};

TEST_F(AgentTest, EveryFieldThatMayBeAnsweredIsAskedForOnce)
{
    const std::string lWPS =
        "'Passphrase': <{'Type': <'psk'>, 'Requirement': <'mandatory'>, 'Alternates': <['WPS']>}>, "
        "'WPS': <{'Type': <'wpspin'>, 'Requirement': <'alternate'>}>";
    const struct
    {
        std::string mFields;
        const char *mInput;
        const char *mAnswer;
    } lCases[] = {
        { "'Identity': <{'Type': <'string'>, 'Requirement': <'mandatory'>}>, "
          "'Passphrase': <{'Type': <'passphrase'>, 'Requirement': <'mandatory'>}>",
          "me\nopensesame\n", "({'Identity': <'me'>, 'Passphrase': <'opensesame'>},)" },
        { lWPS, "\n12345670\n", "({'WPS': <'12345670'>},)" },
        { lWPS, "opensesame\n", "({'Passphrase': <'opensesame'>},)" },
        { "'Passphrase': <{'Type': <'psk'>, 'Requirement': <'mandatory'>}>, "
          "'PreviousPassphrase': <{'Type': <'psk'>, 'Requirement': <'informational'>, 'Value': <'old'>}>",
          "opensesame\n", "({'Passphrase': <'opensesame'>},)" },
    };

    Tool lTool({ "agent" });

    for (const auto &lCase : lCases)
    {
        Ask(lCase.mFields);
        lTool.Write(lCase.mInput);
        EXPECT_EQ(GetAnswer(), lCase.mAnswer) << lTool.GetErrors();
    }

    lTool.Signal(SIGINT);
    EXPECT_EQ(lTool.Wait(), 0);
    EXPECT_EQ(lTool.GetErrors(), "");
}

TEST_F(AgentTest, AQuestionIsDroppedWhenTheConnectionHasItsOutcome)
{
    mConnMan.Script("Connect", Answer::Held());
    Tool lTool({ "connect", "home" }, Tool::kTerminal);

    AskDuringConnect();
    EXPECT_TRUE(lTool.WaitForOutput("Passphrase for home: ")) << lTool.GetOutput();
    mConnMan.ReleaseHeld();
    EXPECT_EQ(lTool.Wait(), 0);
    EXPECT_NE(lTool.GetOutput().find("the request for credentials is over"), std::string::npos) << lTool.GetOutput();
}

TEST_F(AgentTest, ATerminalDoesNotEchoASecretButAnythingElse)
{
    Tool lTool({ "agent" }, Tool::kTerminal);

    Ask("'Identity': <{'Type': <'string'>, 'Requirement': <'mandatory'>}>, " + std::string(kPassphrase));
    ASSERT_TRUE(lTool.WaitForOutput("Identity for home: ")) << lTool.GetOutput();
    lTool.Write("visible\n");
    ASSERT_TRUE(lTool.WaitForOutput("Passphrase for home: ")) << lTool.GetOutput();
    lTool.Write("opensesame\n");

    EXPECT_EQ(GetAnswer(), "({'Identity': <'visible'>, 'Passphrase': <'opensesame'>},)");
    lTool.Signal(SIGINT);
    EXPECT_EQ(lTool.Wait(), 0);
    EXPECT_NE(lTool.GetOutput().find("visible"), std::string::npos);
    EXPECT_EQ(lTool.GetOutput().find("opensesame"), std::string::npos);
}

TEST_F(AgentTest, ServesADaemonThatComesLaterAndTellsItsErrors)
{
    mConnMan.Crash();
    Tool lTool({ "--json", "agent" });

    ASSERT_TRUE(mConnMan.Appear());
    ASSERT_TRUE(WaitUntil([&] { return !mConnMan.GetAgentOwner().empty(); }));
    mConnMan.CallAgent("ReportError", "(objectpath '" + std::string(kHome) + "', 'invalid-key')");
    EXPECT_EQ(lTool.WaitForObject({ { "event", "ServiceError" } })["error"], "invalid-key");
}

// An outcome that comes before its request has returned is not lost to the question in between either.
TEST_F(AgentTest, WhatComesDuringAQuestionIsTakenUpAfterIt)
{
    FakePeer::Reply lReply;
    Tool            lTool({ "--json", "agent" });

    Ask(kPassphrase);
    EXPECT_TRUE(mConnMan.WaitForReply(
        mConnMan.CallAgent("ReportError", "(objectpath '" + std::string(kWired) + "', 'dhcp-failed')"), lReply));
    lTool.Write("opensesame\n");
    EXPECT_EQ(GetAnswer(), "({'Passphrase': <'opensesame'>},)");
    EXPECT_FALSE(lTool.WaitForObject({ { "event", "ServiceError" }, { "service", kWired } }).is_null());
}
