#include "sandbox.h"
#include "tool.h"

#include <sys/stat.h>

using namespace zq::Test;

class ProvisionTest : public ToolTest
{
protected:
    static constexpr const char *kDirectory = "/var/lib/connman";
    static constexpr const char *kFile      = "/var/lib/connman/quil.config";
    static constexpr const char *kHeader    = "[global]\nName=quil\nDescription=Quil network service provisions\n\n";

    void SetUp() override
    {
        ZQ_REQUIRE_SANDBOX();
        EmptyDirectory(kDirectory);
        ToolTest::SetUp();
    }

    static void Create()
    {
        RunRows({ { { "provision", "create", "ProvisionIdentifier=service_home", "Type=wifi", "Name=home",
                      "Passphrase=opensesame", "ExtendedPANID=18446744073709551615" },
                    0,
                    "" } });
    }

    static constexpr const char *kRecord =
        "[service_home]\nType=wifi\nPassphrase=opensesame\nName=home\nExtendedPANID=18446744073709551615\n\n";
};

TEST_F(ProvisionTest, ARecordsLifeIsSeenInTheFile)
{
    Create();
    EXPECT_EQ(ReadFile(kFile), std::string(kHeader) + kRecord);

    EXPECT_EQ(RunTool({ "provision", "set", "service_home", "Name", "a=b" }).mStatus, 0);
    EXPECT_NE(ReadFile(kFile).find("\nName=a=b\n"), std::string::npos);

    EXPECT_EQ(RunTool({ "provision", "clear", "service_home", "Passphrase" }).mStatus, 0);
    EXPECT_EQ(ReadFile(kFile).find("opensesame"), std::string::npos);

    EXPECT_EQ(RunTool({ "provision", "remove", "service_home" }).mStatus, 0);
    EXPECT_EQ(ReadFile(kFile), kHeader);

    Create();
    EXPECT_EQ(RunTool({ "provision", "remove-all" }).mStatus, 0);
    EXPECT_EQ(ReadFile(kFile), kHeader);
}

TEST_F(ProvisionTest, ListsMaskSecretsAndPrintAll64BitsOfAnExtendedPanId)
{
    Create();

    for (const Words &lWords : { Words{ "--json", "provisions" }, Words{ "--json", "provision", "list" } })
    {
        Tool lTool(lWords);

        EXPECT_EQ(lTool.Wait(), 0);
        EXPECT_EQ(lTool.GetObjects(), std::vector<Json>{ Json::parse(
                                          R"({"path":"service_home","properties":{"Type":"wifi","Name":"home",)"
                                          R"("Passphrase":"********","ExtendedPANID":18446744073709551615}})") });
    }

    EXPECT_EQ(RunTool({ "provisions" }).mOutput, "IDENTIFIER    TYPE  NAME  SSID  SECURITY  PASSPHRASE\n"
                                                 "service_home  wifi  home  -     -         ********\n");
}

TEST_F(ProvisionTest, ASecretCanBeGivenWithoutStandingInTheListOfProcesses)
{
    Tool lTool({ "provision", "create", "ProvisionIdentifier=service_home", "Type=wifi", "Passphrase=-" },
               Tool::kTerminal);

    ASSERT_TRUE(lTool.WaitForOutput("Passphrase: ")) << lTool.GetOutput();
    lTool.Write("opensesame\n");
    EXPECT_EQ(lTool.Wait(), 0);
    EXPECT_EQ(lTool.GetOutput().find("opensesame"), std::string::npos);
    EXPECT_NE(ReadFile(kFile).find("\nPassphrase=opensesame\n"), std::string::npos);
}

TEST_F(ProvisionTest, BadRecordsAreRefusedAndTheFileIsNotTouched)
{
    const std::pair<Words, int> kCases[] = {
        { { "provision", "create", "Type=wifi" }, 2 },
        { { "provision", "create", "ProvisionIdentifier=home", "Type=wifi" }, 2 },
        { { "provision", "create", "ProvisionIdentifier=service_", "Type=wifi" }, 2 },
        { { "provision", "create", "ProvisionIdentifier=service_x", "Type" }, 2 },
        { { "provision", "create", "ProvisionIdentifier=service_x", "Type=wifi", "ExtendedPANID=-1" }, 2 },
        { { "provision", "create", "ProvisionIdentifier=service_x", "Name=x" }, 1 },
        { { "provision", "create", "ProvisionIdentifier=service_x", "Type=wifi", "Name=a\n[service_b]" }, 1 },
        { { "provision", "set", "service_y", "Name", "x" }, 1 },
        { { "provision", "set", "service_home", "ExtendedPANID", "18446744073709551616" }, 2 },
        { { "provision", "remove", "service_y" }, 1 },
        { { "provision", "clear", "service_home", "Name" }, 1 },
    };

    Create();
    const std::string lBefore = ReadFile(kFile);

    for (const auto &lCase : kCases)
    {
        EXPECT_EQ(RunTool(lCase.first).mStatus, lCase.second) << lCase.first.back();
        EXPECT_EQ(ReadFile(kFile), lBefore) << lCase.first.back();
    }
}

TEST_F(ProvisionTest, AFileThatCannotBeWrittenIsAFailure)
{
    Create();
    ASSERT_EQ(mkdir("/var/lib/connman/quil.tmp", 0700), 0);

    RunRows({ { { "provision", "set", "service_home", "Name", "other" },
                1,
                Row::kAnything,
                "zqnetctl: provision set service_home: " } });
    EXPECT_EQ(ReadFile(kFile), std::string(kHeader) + kRecord);

    // Nor is one that may not be read an empty one; what needs no stored network goes on.
    ASSERT_EQ(chmod(kFile, 0), 0);
    RunRows({ { { "provisions" }, 1, "", "zqnetctl: provisions: permission denied (-19)\n" },
              { { "provision", "create", "ProvisionIdentifier=service_new", "Type=wifi" },
                1,
                "",
                "zqnetctl: provision create service_new: permission denied (-19)\n" },
              { { "services" }, 0, Row::kAnything } });
}
