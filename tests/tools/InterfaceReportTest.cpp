#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <clocale>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/linux/processes/ChildProcessLauncherLinux.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/virtualentity/Scripted.h"
#include "vorn-device-list/InterfaceReport.h"

namespace vorn::devicelisttool {
namespace {

using namespace std::chrono_literals;
using Answer = AVBCapability::Answer;
using Entity = Interface::Entity;
using nlohmann::json;
using ::testing::HasSubstr;

class InterfaceReportTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }

  InterfaceReportTest() {
    fServices.fServices = std::vector<NetworkService>{
        {"Studio \u00e9", "en0"}, {"Stage: left", "en5"}, {"en6", "en6"}, {"Wi-Fi", "wl0"}, {"gone", "en9"}};
    fCapability.fAnswers = {{"en0", Answer::kCapable},
                            {"en5", Answer::kTooFewTransmitQueues},
                            {"en6", Answer::kNoHardwareTimeStamping},
                            {"wl0", Answer::kWireless},
                            {"en9", Answer::kNoSuchInterface}};
    fLauncher.SetAnswer({"en0\n", "", false, false});
  }

  std::string Print(Form form, int expectedStatus = 0) {
    Options options;
    options.form = form;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(PrintInterfaces(options, fServices, fCapability, fLauncher), expectedStatus);
    return ::testing::internal::GetCapturedStdout();
  }

  static json Interfaces(const std::string& text) { return json::parse(text)["interfaces"]; }

  ScriptedLauncher fLauncher;
  ScriptedServices fServices;
  ScriptedCapability fCapability;
};

TEST_F(InterfaceReportTest, ListsEveryInterfaceInATable) {
  EXPECT_EQ(Print(Form::kTable),
            "NAME         INTERFACE  AVB                            VIRTUAL ENTITY\n"
            "Studio \u00e9     en0        capable                        enabled\n"
            "Stage: left  en5        no: too few transmit queues    not enabled\n"
            "en6          en6        no: no hardware time stamping  not enabled\n"
            "Wi-Fi        wl0        no: wireless                   not enabled\n"
            "gone         en9        no: no such interface          not enabled\n");
}

TEST_F(InterfaceReportTest, ListsEveryInterfaceInOneJsonObjectOnOneLine) {
  const std::string text = Print(Form::kJson);
  EXPECT_EQ(text.find('\n'), text.size() - 1);
  for (const char c : text) EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~'));
  EXPECT_EQ(json::parse(text).size(), 1U);
  const json list = Interfaces(text);
  EXPECT_EQ(list[0], json::parse(R"({"name": "Studio \u00e9", "interface": "en0", "capable": true,
                                     "reason": null, "virtualEntity": "enabled"})"));
  EXPECT_EQ(list[1], json::parse(R"({"name": "Stage: left", "interface": "en5", "capable": false,
                                     "reason": "too few transmit queues", "virtualEntity": "not enabled"})"));
  EXPECT_EQ(list[2]["reason"], "no hardware time stamping");
  EXPECT_EQ(list[3]["reason"], "wireless");
  EXPECT_EQ(list[4]["reason"], "no such interface");
  EXPECT_EQ(list.size(), 5U);
}

TEST_F(InterfaceReportTest, ReportsTheInterfacesWhereTheToolIsMissing) {
  fLauncher.SetAnswer({"", "sh: 1: avbutil: not found\n", false, false});
  const json list = Interfaces(Print(Form::kJson));
  EXPECT_EQ(list.size(), 5U);
  for (const auto& entry : list) EXPECT_EQ(entry["virtualEntity"], "unknown");
  EXPECT_EQ(list[0]["capable"], true);
}

TEST_F(InterfaceReportTest, ReportsTheInterfacesWhereTheShellIsMissingOrRefused) {
  fLauncher.fRefuse = true;
  EXPECT_EQ(Interfaces(Print(Form::kJson))[0]["virtualEntity"], "unknown");
  fLauncher.fMissing.insert("/bin/sh");
  EXPECT_EQ(Interfaces(Print(Form::kJson))[0]["virtualEntity"], "unknown");
}

TEST_F(InterfaceReportTest, DoesNotWaitOnceTheToolHasAnswered) {
  const testing::TemporaryFolder folder;
  const auto path = folder.Path() / "avbutil";
  std::ofstream(path) << "#!/bin/sh\nprintf 'interface\\nen5\\n'\n";
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  ChildProcessLauncherLinux launcher;
  AVBTool tool;
  tool.environment["PATH"] = folder.Path().string() + ":/usr/bin:/bin";
  tool.patience = 1h;
  const auto interfaces = CollectInterfaces(fServices, fCapability, launcher, tool);
  ASSERT_TRUE(interfaces);
  EXPECT_EQ((*interfaces)[0].entity, Entity::kNotEnabled);
  EXPECT_EQ((*interfaces)[1].entity, Entity::kEnabled);
}

TEST_F(InterfaceReportTest, ListsEveryInterfaceAsARecordOfCSV) {
  fServices.fServices = std::vector<NetworkService>{{"Stage, left", "en5"}, {"", "en0"}, {"a\x1b\n", "wl0"}};
  EXPECT_EQ(Print(Form::kCSV),
            "name,interface,capable,reason,virtual_entity\r\n"
            "\"Stage, left\",en5,false,too few transmit queues,not enabled\r\n"
            ",en0,true,,enabled\r\n"
            "\"a\uFFFD\n\",wl0,false,wireless,not enabled\r\n");
}

TEST_F(InterfaceReportTest, WritesIntoTheFileIfOneIsGiven) {
  const testing::TemporaryFolder folder;
  Options options;
  options.form = Form::kCSV;
  options.output = folder.Path() / "interfaces.csv";
  const std::string expected = Print(Form::kCSV);
  EXPECT_EQ(PrintInterfaces(options, fServices, fCapability, fLauncher), 0);
  std::ostringstream content;
  content << std::ifstream(options.output, std::ios::binary).rdbuf();
  EXPECT_EQ(content.str(), expected);
  options.output = folder.Path() / "none" / "interfaces.csv";
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(PrintInterfaces(options, fServices, fCapability, fLauncher), 1);
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("No such file or directory"));
}

TEST_F(InterfaceReportTest, FailsWhenTheServicesCannotBeListed) {
  fServices.fServices = {};
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(Print(Form::kJson, 1), "");
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("cannot be listed"));
}

TEST_F(InterfaceReportTest, WritesAHeadingOrAnEmptyListWithoutInterfaces) {
  fServices.fServices = std::vector<NetworkService>{};
  EXPECT_EQ(Print(Form::kTable), "NAME  INTERFACE  AVB  VIRTUAL ENTITY\n");
  EXPECT_EQ(Print(Form::kJson), "{\"interfaces\":[]}\n");
}

TEST_F(InterfaceReportTest, IsSafeWithNamesThatAreHostile) {
  fServices.fServices = std::vector<NetworkService>{{"a\x1b]0;x\x07\n\u202eb\xff", "e\n0"}};
  const std::string table = Print(Form::kTable);
  EXPECT_NE(table.find("a\uFFFD]0;x\uFFFD\uFFFD\uFFFDb\uFFFD  e\uFFFD0 "), std::string::npos) << table;
  const std::string text = Print(Form::kJson);
  for (const char c : text) EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~'));
  EXPECT_FALSE(json::parse(text, nullptr, false).is_discarded());
}

TEST_F(InterfaceReportTest, ShowsMarkupThatNobodySeesAsReplacementCharacters) {
  fServices.fServices =
      std::vector<NetworkService>{{"a\uFEFF\U000E0041\U000E007F\u206A\uFFF9\u200B\u061C", "en0"}};
  const std::string table = Print(Form::kTable);
  EXPECT_NE(table.find("a\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD  en0 "), std::string::npos) << table;
}

TEST_F(InterfaceReportTest, AlignsColumnsByCellsNotCharacters) {
  fServices.fServices = std::vector<NetworkService>{
      {"\u673a\u67b6", "en0"}, {"e\u0301tude", "en5"}, {"\U0001F3B8", "en6"}, {"plain", "wl0"}};
  EXPECT_EQ(Print(Form::kTable),
            "NAME   INTERFACE  AVB                            VIRTUAL ENTITY\n"
            "\u673a\u67b6   en0        capable                        enabled\n"
            "e\u0301tude  en5        no: too few transmit queues    not enabled\n"
            "\U0001F3B8     en6        no: no hardware time stamping  not enabled\n"
            "plain  wl0        no: wireless                   not enabled\n");
}

}  // namespace
}  // namespace vorn::devicelisttool
