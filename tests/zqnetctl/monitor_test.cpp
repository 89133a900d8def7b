#include "tool.h"

#include <csignal>
#include <functional>

using namespace zq::Test;

using MonitorTest = ToolTest;

TEST_F(MonitorTest, FirstTellsWhatIsThereInTheModelsOrder)
{
    for (const Words &lEnd : { Words{ "--count", "4" }, Words{ "--seconds", "0.2" } })
    {
        Tool  lTool({ "--json", "monitor", lEnd[0], lEnd[1] });
        Words lNames;

        EXPECT_EQ(lTool.Wait(), 0) << lTool.GetErrors();
        const auto lObjects = lTool.GetObjects();

        for (const Json &lObject : lObjects)
            lNames.push_back(lObject.value("event", ""));
        ASSERT_EQ(lNames, (Words{ "PropertiesChanged", "StateChanged", "ServicesAdded", "TechnologiesAdded" }));
        EXPECT_EQ(lObjects[1]["state"], "offline");
        EXPECT_EQ(lObjects[2]["services"][0]["path"], kHome);
        EXPECT_EQ(lObjects[3]["technologies"][0]["properties"]["Type"], "wifi");
    }
}

TEST_F(MonitorTest, EveryEventHasTheShapeThatConsumersRelyOn)
{
    const std::string lGuest  = FakeConnMan::ServicePath("wifi_guest");
    const std::string lFields = "@a{sv} {'PreviousPassphrase': <{'Type': <'psk'>, 'Requirement': <'informational'>, "
                                "'Value': <'opensesame'>}>}";
    const std::string lTech   = FakeConnMan::TechnologyPath("bluetooth");

    const struct
    {
        std::function<void()> mProvoke;
        Json                  mEvent;
    } lCases[] = {
        { [&] { mConnMan.SetManagerProperty("OfflineMode", "true"); },
          { { "event", "PropertiesChanged" }, { "properties", { { "OfflineMode", true } } } } },
        { [&] { mConnMan.SetManagerProperty("State", "'ready'"); },
          { { "event", "StateChanged" }, { "state", "ready" } } },
        { [&] { mConnMan.SetServiceProperty(kHome, "Strength", "byte 200"); },
          { { "event", "ServiceChanged" }, { "service", kHome }, { "properties", { { "Strength", 200 } } } } },
        { [&] { mConnMan.SetTechnologyProperty(kWiFi, "Connected", "true"); },
          { { "event", "TechnologyChanged" }, { "technology", kWiFi }, { "properties", { { "Connected", true } } } } },
        { [&] { mConnMan.CallAgent("ReportError", "(objectpath '" + std::string(kHome) + "', 'invalid-key')"); },
          { { "event", "ServiceError" }, { "service", kHome }, { "error", "invalid-key" } } },
        { [&] { mConnMan.CallAgent("RequestInput", "(objectpath '" + std::string(kHome) + "', " + lFields + ")"); },
          { { "event", "ServiceInput" },
            { "service", kHome },
            { "fields",
              { { "PreviousPassphrase",
                  { { "Type", "psk" }, { "Requirement", "informational" }, { "Value", "********" } } } } } } },
    };

    Tool lTool({ "--json", "monitor" });
    ASSERT_FALSE(lTool.WaitForObject({ { "event", "TechnologiesAdded" } }).is_null()) << lTool.GetErrors();

    for (const auto &lCase : lCases)
    {
        lCase.mProvoke();
        EXPECT_EQ(lTool.WaitForObject(lCase.mEvent), lCase.mEvent) << lTool.GetOutput();
    }

    mConnMan.AddService(lGuest, FakeConnMan::WiFiService("guest"));
    mConnMan.AddTechnology(lTech, FakeConnMan::Technology("bluetooth"));
    EXPECT_TRUE(lTool.WaitForOutput(R"("TechnologiesAdded","technologies":[{"path":")" + lTech));
    mConnMan.RemoveService(lGuest);
    mConnMan.RemoveTechnology(lTech);

    const Json lTechnologies = lTool.WaitForObject({ { "event", "TechnologiesRemoved" } });
    const Json lServices     = lTool.WaitForObject({ { "event", "ServicesRemoved" } });

    EXPECT_EQ(lTechnologies.value("/technologies/0/path"_json_pointer, ""), lTech);
    EXPECT_EQ(lServices.value("/services/0/properties/Name"_json_pointer, ""), "guest");

    lTool.Signal(SIGINT);
    EXPECT_EQ(lTool.Wait(), 0);
    EXPECT_EQ(lTool.GetOutput().find("opensesame"), std::string::npos);
}

TEST_F(MonitorTest, PlainLinesTellTheTimeAndOnlyWhatIsNew)
{
    Tool lTool({ "monitor" });

    EXPECT_TRUE(lTool.WaitForOutput("  ServicesAdded home (wifi, idle), Wired (ethernet, online)\n"));
    EXPECT_TRUE(lTool.WaitForOutput("  TechnologiesAdded WiFi (wifi, powered)\n"));
    mConnMan.SetServiceProperty(kHome, "Strength", "byte 61");
    mConnMan.SetServiceProperty(kHome, "Strength", "byte 61");
    EXPECT_TRUE(lTool.WaitForOutput("  ServiceChanged home Strength=61\n"));
    EXPECT_TRUE(lTool.WaitForOutput("  ServiceChanged home nothing new\n")) << lTool.GetOutput();
    mConnMan.RemoveService(kHome);
    EXPECT_TRUE(lTool.WaitForOutput("  ServicesRemoved home (wifi, idle)\n"));

    for (const std::string &lLine : lTool.GetLines())
        EXPECT_EQ(lLine.find_first_not_of("0123456789:."), 12U) << lLine;
}

TEST_F(MonitorTest, EndsWhenNobodyReadsAnyMore)
{
    // Nothing happens after the first lines, so it cannot be writing that tells.
    const std::string lCommand = std::string(ZQ_NETCTL) + " monitor | head -n 1 >/dev/null; exit ${PIPESTATUS[0]}";

    EXPECT_EQ(system(("timeout 30 bash -c '" + lCommand + "'").c_str()), 0);
}
