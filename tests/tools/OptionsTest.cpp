#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "vorn-device-list/Options.h"

namespace vorn::devicelisttool {
namespace {

using std::chrono::milliseconds;
using ::testing::HasSubstr;

using Arguments = std::vector<std::string>;

Options Parsed(const Arguments& arguments) {
  const ParsedOptions parsed = ParseOptions(arguments);
  EXPECT_FALSE(parsed.error) << *parsed.error;
  return parsed.options;
}

std::string ErrorOf(const Arguments& arguments) {
  const ParsedOptions parsed = ParseOptions(arguments);
  return parsed.error ? *parsed.error : "(none)";
}

TEST(OptionsTest, WithoutOptionsListsAllForFiveSecondsAsATable) {
  const Options options = Parsed({});
  EXPECT_EQ(options.action, Options::Action::kList);
  EXPECT_FALSE(options.watch);
  EXPECT_FALSE(options.json);
  EXPECT_TRUE(options.showSwitches);
  EXPECT_EQ(options.wait, milliseconds(5000));
}

TEST(OptionsTest, EachSwitchSetsItsOwn) {
  EXPECT_TRUE(Parsed({"--watch"}).watch);
  EXPECT_TRUE(Parsed({"--json"}).json);
  EXPECT_FALSE(Parsed({"--no-switches"}).showSwitches);
  EXPECT_EQ(Parsed({"--help"}).action, Options::Action::kHelp);
  EXPECT_EQ(Parsed({"-h"}).action, Options::Action::kHelp);
  EXPECT_EQ(Parsed({"--version"}).action, Options::Action::kVersion);
  EXPECT_EQ(Parsed({"--interfaces"}).action, Options::Action::kInterfaces);
}

TEST(OptionsTest, OptionsCombineInAnyOrder) {
  const Options options = Parsed({"--json", "--wait", "2", "--no-switches", "--watch"});
  EXPECT_TRUE(options.json && options.watch && !options.showSwitches);
  EXPECT_EQ(options.wait, milliseconds(2000));
}

TEST(OptionsTest, WaitTakesSecondsInBothForms) {
  EXPECT_EQ(Parsed({"--wait", "10"}).wait, milliseconds(10000));
  EXPECT_EQ(Parsed({"--wait=10"}).wait, milliseconds(10000));
  EXPECT_EQ(Parsed({"--wait", "0"}).wait, milliseconds(0));
  EXPECT_EQ(Parsed({"--wait", "0.25"}).wait, milliseconds(250));
  EXPECT_EQ(Parsed({"--wait", "86400"}).wait, milliseconds(86'400'000));
}

TEST(OptionsTest, LastWaitCounts) {
  EXPECT_EQ(Parsed({"--wait", "1", "--wait=2"}).wait, milliseconds(2000));
}

TEST(OptionsTest, WaitRefusesWhatIsNoNumberOfSeconds) {
  for (const char* text : {"", "-1", "86401", "abc", "5s", "1e3", "0x10", "inf", "nan", " 5", "5 ", "1,5",
                           "--json", "99999999999999999999999999"}) {
    EXPECT_THAT(ErrorOf({"--wait", text}), HasSubstr("--wait takes")) << text;
    EXPECT_THAT(ErrorOf({std::string("--wait=") + text}), HasSubstr("--wait takes")) << text;
  }
  EXPECT_THAT(ErrorOf({"--wait"}), HasSubstr("--wait takes"));
  EXPECT_THAT(ErrorOf({"--wait", std::string("5\0", 2)}), HasSubstr("--wait takes"));
}

TEST(OptionsTest, AnythingElseIsRefusedByName) {
  for (const char* text : {"--frobnicate", "units", "", "-", "--", "--Watch", "--watch=1", "-w"}) {
    EXPECT_EQ(ErrorOf({text}), "there is no option '" + std::string(text) + "'");
    EXPECT_NE(ErrorOf({"--help", text}), "(none)");
  }
}

TEST(OptionsTest, HelpNamesEveryOption) {
  const std::string help = HelpText();
  for (const char* option :
       {"--wait SECONDS", "--watch", "--json", "--no-switches", "--interfaces", "--help", "--version"}) {
    EXPECT_THAT(help, HasSubstr(option));
  }
  EXPECT_EQ(help.back(), '\n');
}

TEST(OptionsTest, HelpFitsATerminalAndTellsEveryExitStatus) {
  std::istringstream lines(HelpText());
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
  for (const char* status : {"with 0 when", "; 1 when", "; 2 when", "; 128 and"}) {
    EXPECT_THAT(HelpText(), HasSubstr(status));
  }
}

}  // namespace
}  // namespace vorn::devicelisttool
