// The check with real tools: scripts that keep the contract or break it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "check-avbutil/Contract.h"
#include "platform/linux/processes/ChildProcessLauncherLinux.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tools/Program.h"

namespace vorn::checkavbutil {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using vorn::testing::Program;

// Keeps the names in a file beside it.
constexpr char kGoodTool[] = R"(touch $FOLDER/names
case "$*" in
  '--virtual-audio list') echo 'Virtual audio is enabled on these interfaces:'; cat $FOLDER/names ;;
  '--virtual-audio enable '*) echo $3 >>$FOLDER/names ;;
  '--virtual-audio disable '*) grep -vx $3 $FOLDER/names >$FOLDER/new; mv $FOLDER/new $FOLDER/names ;;
esac)";

class ContractTest : public ::testing::Test {
 protected:
  ContractTest() {
    fTool.path = fFolder.Path() / "avbutil";
    fTool.environment["PATH"] = fFolder.Path().string() + ":/usr/bin:/bin";
    fTool.environment["FOLDER"] = fFolder.Path().string();
    fTool.patience = 10s;  // for busy machines
  }

  void Script(const std::string& body) {
    std::ofstream(fTool.path) << "#!/bin/sh\n" << body << "\n";
    std::filesystem::permissions(fTool.path, std::filesystem::perms::owner_all);
  }

  Contract Make() {
    return {fLauncher, fTool,
            [this](bool isKept, const std::string& line) { (isKept ? fKept : fBroken).push_back(line); }};
  }
  bool CheckListing() { return Make().CheckListing(); }

  // That the listing breaks the contract with one line, which contains this.
  void ExpectBroken(const std::string& script, const std::string& line) {
    Script(script);
    fBroken.clear();
    EXPECT_FALSE(CheckListing()) << script;
    EXPECT_THAT(fBroken, ElementsAre(HasSubstr(line))) << script;
  }

  vorn::testing::TemporaryFolder fFolder;
  AVBTool fTool;
  ChildProcessLauncherLinux fLauncher;
  std::vector<std::string> fKept;
  std::vector<std::string> fBroken;
};

TEST_F(ContractTest, AToolThatKeepsTheContractIsAccepted) {
  Script(kGoodTool);
  std::ofstream(fFolder.Path() / "names") << "lo\n";
  EXPECT_TRUE(CheckListing());
  EXPECT_THAT(fBroken, IsEmpty());
  EXPECT_THAT(fKept, Contains("the entity is enabled on lo"));
}

TEST_F(ContractTest, AListingWithoutNamesIsAccepted) {
  Script(kGoodTool);
  EXPECT_TRUE(CheckListing());
  EXPECT_THAT(fKept, Contains("the entity is enabled on no interface"));
}

TEST_F(ContractTest, EachBreakOfTheListingIsNamed) {
  ExpectBroken("echo interface; echo warning >&2", "standard error: warning");
  ExpectBroken("echo lo", "\"interface\"");
  ExpectBroken("printf 'interface\\n\\nlo\\n'", "no line is blank");
  ExpectBroken("printf 'interface\\nnosuch0\\n'", "\"nosuch0\" is the name of an interface");
  ExpectBroken("printf 'interface\\n\\377\\n'", "UTF-8");
  ExpectBroken("echo interface; head -c 2000000 /dev/zero", "1 MiB");
  fTool.patience = 300ms;
  ExpectBroken("echo interface; sleep 1000", "within 300 ms");
}

TEST_F(ContractTest, AMissingToolIsNamed) {
  EXPECT_FALSE(CheckListing());
  EXPECT_THAT(fBroken, ElementsAre(fTool.path + " is an executable file"));
}

TEST_F(ContractTest, AToggleIsTriedOverAndBack) {
  Script(kGoodTool);
  EXPECT_TRUE(Make().CheckToggle("lo"));
  EXPECT_THAT(fKept, Contains("after \"--virtual-audio enable lo\" the listing names the interface"));
  EXPECT_THAT(fKept,
              Contains("after \"--virtual-audio disable lo\" the listing does not name the interface"));
  EXPECT_THAT(fBroken, IsEmpty());

  std::ofstream(fFolder.Path() / "names") << "lo\n";
  EXPECT_TRUE(Make().CheckToggle("lo"));
  std::ifstream names(fFolder.Path() / "names");
  std::string name;
  names >> name;
  EXPECT_EQ(name, "lo");
}

TEST_F(ContractTest, AToggleWithoutEffectIsNamed) {
  Script("echo interface");
  EXPECT_FALSE(Make().CheckToggle("lo"));
  EXPECT_THAT(fBroken, ElementsAre("after \"--virtual-audio enable lo\" the listing names the interface"));
}

TEST_F(ContractTest, TheProgramSaysHowItIsUsedAndExitsWithItsResult) {
  Program help(VORN_CHECK_AVBUTIL, {"--help"}, {});
  EXPECT_EQ(help.Wait(), 0);
  EXPECT_THAT(help.Output(), HasSubstr("Usage: check-avbutil PATH"));
  Program none(VORN_CHECK_AVBUTIL, {}, {});
  EXPECT_EQ(none.Wait(), 2);
  EXPECT_THAT(none.ErrorOutput(), HasSubstr("Usage: check-avbutil PATH"));
  Program missing(VORN_CHECK_AVBUTIL, {"/nonexistent/avbutil"}, {});
  EXPECT_EQ(missing.Wait(), 1);
  EXPECT_EQ(missing.Output(), "BROKEN  /nonexistent/avbutil is an executable file\n");
}

TEST_F(ContractTest, TheProgramCallsTheToolByItsNameAndLeavesNothingBehind) {
  Script("echo \"$0\" >>$CALLS; echo interface");
  Program::Setup setup;
  const std::string calls = fFolder.Path() / "calls";
  setup.environment = {"TMPDIR=" + fFolder.Path().string(), "CALLS=" + calls};
  Program program(VORN_CHECK_AVBUTIL, {fTool.path}, setup);
  program.Wait();
  EXPECT_THAT(program.Output(), HasSubstr("kept    " + fTool.path + " is an executable file"));
  std::vector<std::string> left;
  for (const auto& entry : std::filesystem::directory_iterator(fFolder.Path())) left.push_back(entry.path());
  EXPECT_THAT(left, ::testing::UnorderedElementsAre(fTool.path, calls));
  std::ifstream file(calls);
  const std::string called{std::istreambuf_iterator<char>(file), {}};
  EXPECT_THAT(called, HasSubstr(fTool.path + "\n"));
  EXPECT_THAT(called, ::testing::ContainsRegex("check-avbutil-[^/]*/avbutil\n"));
}

}  // namespace
}  // namespace vorn::checkavbutil
