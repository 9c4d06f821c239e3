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
  EXPECT_EQ(options.form, Form::kTable);
  EXPECT_EQ(options.output, "");
  EXPECT_TRUE(options.showSwitches);
  EXPECT_FALSE(options.offline);
  EXPECT_EQ(options.wait, milliseconds(5000));
}

TEST(OptionsTest, EachSwitchSetsItsOwn) {
  EXPECT_TRUE(Parsed({"--watch"}).watch);
  EXPECT_EQ(Parsed({"--json"}).form, Form::kJson);
  EXPECT_EQ(Parsed({"--output", "units.csv"}).output, "units.csv");
  EXPECT_FALSE(Parsed({"--no-switches"}).showSwitches);
  EXPECT_TRUE(Parsed({"--offline"}).offline);
  EXPECT_EQ(Parsed({"--help"}).action, Options::Action::kHelp);
  EXPECT_EQ(Parsed({"-h"}).action, Options::Action::kHelp);
  EXPECT_EQ(Parsed({"--version"}).action, Options::Action::kVersion);
  EXPECT_EQ(Parsed({"-V"}).action, Options::Action::kVersion);
  EXPECT_EQ(Parsed({"--interfaces"}).action, Options::Action::kInterfaces);
}

TEST(OptionsTest, OptionsCombineInAnyOrder) {
  const Options options = Parsed({"--json", "--wait", "2", "--no-switches", "--watch"});
  EXPECT_TRUE(options.form == Form::kJson && options.watch && !options.showSwitches);
  EXPECT_EQ(options.wait, milliseconds(2000));
}

TEST(OptionsTest, WaitTakesSecondsInBothForms) {
  EXPECT_EQ(Parsed({"--wait", "10"}).wait, milliseconds(10000));
  EXPECT_EQ(Parsed({"--wait=10"}).wait, milliseconds(10000));
  EXPECT_EQ(Parsed({"--wait", "0"}).wait, milliseconds(0));
  EXPECT_EQ(Parsed({"--wait", "0.25"}).wait, milliseconds(250));
  EXPECT_EQ(Parsed({"--wait", "86400"}).wait, milliseconds(86'400'000));
}

TEST(OptionsTest, FormatTakesOneOfFourWords) {
  EXPECT_EQ(Parsed({"--format", "table"}).form, Form::kTable);
  EXPECT_EQ(Parsed({"--format=json"}).form, Form::kJson);
  EXPECT_EQ(Parsed({"--format=csv"}).form, Form::kCSV);
  EXPECT_EQ(Parsed({"--format", "openmetrics"}).form, Form::kOpenMetrics);
  for (const std::string word : {"", "JSON", "js", "xml", "csv "}) {
    EXPECT_EQ(ErrorOf({"--format=" + word}),
              "--format takes table, json, csv or openmetrics, not '" + word + "'");
  }
  EXPECT_EQ(ErrorOf({"--format"}), "a format must follow '--format'");
}

TEST(OptionsTest, TwoFormatsExcludeEachOther) {
  EXPECT_EQ(Parsed({"--json", "--format=json"}).form, Form::kJson);
  EXPECT_EQ(Parsed({"--format=csv", "--format", "csv"}).form, Form::kCSV);
  EXPECT_EQ(ErrorOf({"--json", "--format=csv"}), "the formats json and csv exclude each other");
  EXPECT_EQ(ErrorOf({"--format=openmetrics", "--json"}),
            "the formats openmetrics and json exclude each other");
  EXPECT_EQ(ErrorOf({"--format=table", "--format=csv"}), "the formats table and csv exclude each other");
}

TEST(OptionsTest, InterfacesHaveNoMetrics) {
  for (const char* word : {"table", "json", "csv"}) {
    EXPECT_EQ(Parsed({"--interfaces", "--format", word}).action, Options::Action::kInterfaces);
  }
  EXPECT_EQ(ErrorOf({"--format=openmetrics", "--interfaces"}), "--interfaces has no format openmetrics");
  EXPECT_EQ(Parsed({"--format=openmetrics", "--interfaces", "--help"}).action, Options::Action::kHelp);
}

TEST(OptionsTest, OutputTakesAFileNameOrADash) {
  EXPECT_EQ(Parsed({"--output=a", "--output", "b"}).output, "b");
  EXPECT_EQ(Parsed({"--output=a", "--output", "-"}).output, "");
  EXPECT_EQ(Parsed({"--output", "--json"}).output, "--json");
  EXPECT_EQ(ErrorOf({"--output="}), "--output takes a file name, not ''");
  EXPECT_EQ(ErrorOf({"--output"}), "a file name must follow '--output'");
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
  EXPECT_EQ(ErrorOf({"--wait", "soon"}), "--wait takes a number of seconds from 0 to 86400, not 'soon'");
  EXPECT_EQ(ErrorOf({"--wait"}), "a number of seconds must follow '--wait'");
  EXPECT_EQ(ErrorOf({"--json", "--wai"}), "a number of seconds must follow '--wai'");
}

TEST(OptionsTest, UniqueAbbreviationsCount) {
  EXPECT_TRUE(Parsed({"--wat"}).watch);
  EXPECT_EQ(Parsed({"--j"}).form, Form::kJson);
  EXPECT_EQ(Parsed({"--fo", "csv", "--ou=x"}).form, Form::kCSV);
  EXPECT_EQ(ErrorOf({"--o", "x"}), "the option '--o' is ambiguous");
  EXPECT_FALSE(Parsed({"--no"}).showSwitches);
  EXPECT_EQ(Parsed({"--int"}).action, Options::Action::kInterfaces);
  EXPECT_EQ(Parsed({"--wai", "3"}).wait, milliseconds(3000));
  EXPECT_EQ(Parsed({"--wai=3"}).wait, milliseconds(3000));
  EXPECT_EQ(ErrorOf({"--json", "--wa"}), "the option '--wa' is ambiguous");
  EXPECT_EQ(ErrorOf({"--wa=3"}), "the option '--wa=3' is ambiguous");
}

TEST(OptionsTest, TwoDashesEndTheOptions) {
  EXPECT_EQ(Parsed({"--json", "--"}).form, Form::kJson);
  EXPECT_EQ(ErrorOf({"--", "--json"}), "unexpected argument '--json'");
}

TEST(OptionsTest, AnythingElseIsRefusedByName) {
  for (const char* text : {"--frobnicate", "--Watch", "--watching", "-w", "-\xff"}) {
    EXPECT_EQ(ErrorOf({"--json", text}), "there is no option '" + std::string(text) + "'");
    EXPECT_NE(ErrorOf({"--help", text}), "(none)");
  }
  for (const char* text : {"units", "", "-"}) {
    EXPECT_EQ(ErrorOf({"--json", text, "--watch"}), "unexpected argument '" + std::string(text) + "'");
  }
  EXPECT_EQ(ErrorOf({"-hx", "--json"}), "there is no option '-hx'");
  EXPECT_EQ(ErrorOf({"--json", "--watch=1"}), "no value is allowed for the option '--watch=1'");
}

TEST(OptionsTest, HelpNamesEveryOption) {
  const std::string help = HelpText();
  for (const char* option : {"--wait SECONDS", "--watch", "--format FORMAT", "--json", "--output FILE",
                             "--no-switches", "--offline", "--interfaces", "-h, --help", "-V, --version"}) {
    EXPECT_THAT(help, HasSubstr(option));
  }
  EXPECT_EQ(help.back(), '\n');
}

TEST(OptionsTest, HelpFitsATerminalAndTellsEveryExitStatus) {
  std::istringstream lines(HelpText());
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
  for (const char* status : {"\n  0  ", "\n  1  ", "\n  2  ", "\n  3  ", "\n  128+N  "}) {
    EXPECT_THAT(HelpText(), HasSubstr(status));
  }
}

}  // namespace
}  // namespace vorn::devicelisttool
