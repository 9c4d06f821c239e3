// The control with a real tool: scripts in a folder at the front of the PATH.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>

#include "foundation/RunLoop.h"
#include "platform/linux/dispatch/DispatchLinux.h"
#include "platform/linux/processes/ChildProcessLauncherLinux.h"
#include "tests/support/Eventually.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/virtualentity/Scripted.h"
#include "virtualentity/MacVirtualEntity.h"

namespace {

using namespace std::chrono_literals;
using vorn::testing::Eventually;
using Clock = std::chrono::steady_clock;
using testing::ElementsAre;
using Items = vorn::MacVirtualEntity::Items;

// Whether the process whose id a script wrote down, if it came so far, has gone.
bool IsGone(const std::string& process) {
  return process.empty() || Eventually([&] { return !IsAlive(std::stoi(process)); });
}

class RealAVBToolTest : public testing::Test {
 protected:
  RealAVBToolTest() {
    fTool.path = fFolder.Path() / "avbutil";
    fTool.environment["PATH"] = fFolder.Path().string() + ":/usr/bin:/bin";
    fTool.environment["FOLDER"] = fFolder.Path().string();
    fTool.patience = 3s;  // for busy machines; if the tool is late anyway, tests shorten it
    fServices.fServices = std::vector<vorn::NetworkService>{{"Ethernet", "en0"}, {"Stage", "en5"}};
    fCapability.fAnswers = {{"en0", vorn::AVBCapability::Answer::kCapable},
                            {"en5", vorn::AVBCapability::Answer::kCapable}};
  }
  ~RealAVBToolTest() override {
    fDispatch.reset();
    // A toggle that was left to finish by itself is reaped by a later launch.
    EXPECT_TRUE(Eventually([this] {
      fLauncher.Launch({"/bin/true", {}, {}, {}}).reset();
      return !HasAnyChild();
    }));
  }

  void Script(const std::string& body) {
    std::ofstream(fTool.path) << "#!/bin/sh\n" << body << "\n";
    std::filesystem::permissions(fTool.path, std::filesystem::perms::owner_all);
  }

  std::unique_ptr<vorn::MacVirtualEntity> Make() {
    return std::make_unique<vorn::MacVirtualEntity>(*fDispatch, fLauncher, fServices, fCapability, fTool);
  }

  std::string Read(const std::string& name) {
    std::ifstream file(fFolder.Path() / name);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  vorn::testing::TemporaryFolder fFolder;
  vorn::AVBTool fTool;
  vorn::ChildProcessLauncherLinux fLauncher;
  ScriptedServices fServices;
  ScriptedCapability fCapability;
  std::unique_ptr<vorn::DispatchLinux> fDispatch =
      std::make_unique<vorn::DispatchLinux>(vorn::PollRunLoop::Current());
};

TEST_F(RealAVBToolTest, ShowsWhatTheToolLists) {
  Script(R"([ "$*" = "--virtual-audio list" ] || exit 9
printf 'AVB tool 1.0\nEnabled on interface\n\ten0\n\n en7 \n')");
  const auto entity = Make();
  const auto enabled = entity->DetermineActiveVirtualEntities();
  ASSERT_TRUE(enabled);
  EXPECT_THAT(*enabled, ElementsAre("en0", "", "en7"));
  const auto items = entity->EnumerateAVBInterfaces();
  ASSERT_TRUE(items);
  EXPECT_EQ(*items, (Items{{"Ethernet:en0", true}, {"Stage:en5", false}}));
}

TEST_F(RealAVBToolTest, TakesAnAnswerWithoutAHeadingForAnEmptyOne) {
  Script("echo en0");
  const auto items = Make()->EnumerateAVBInterfaces();
  ASSERT_TRUE(items);
  EXPECT_EQ(*items, (Items{{"Ethernet:en0", false}, {"Stage:en5", false}}));
}

TEST_F(RealAVBToolTest, RefusesAnAnswerWithAComplaint) {
  Script("printf 'interface\\nen0\\n'; echo warning >&2");
  EXPECT_FALSE(Make()->EnumerateAVBInterfaces());
}

TEST_F(RealAVBToolTest, RefusesAMissingTool) {
  EXPECT_FALSE(Make()->EnumerateAVBInterfaces());
}

TEST_F(RealAVBToolTest, RefusesAMissingShellAtOnce) {
  fTool.shell = "/nonexistent/sh";
  fTool.patience = 1h;
  EXPECT_FALSE(Make()->EnumerateAVBInterfaces());
}

TEST_F(RealAVBToolTest, EndsAToolThatHangs) {
  Script("echo $$ >$FOLDER/pid; printf 'interface\\nen0\\n'; sleep 1000");
  fTool.patience = 1s;
  EXPECT_FALSE(Make()->EnumerateAVBInterfaces());
  EXPECT_TRUE(IsGone(Read("pid")));
}

TEST_F(RealAVBToolTest, EndsAToolThatClosedItsOutputButLivesOn) {
  Script("printf 'interface\\nen0\\n'; exec >&- 2>&-; exec sleep 1000");
  fTool.patience = 1s;
  EXPECT_FALSE(Make()->EnumerateAVBInterfaces());
}

TEST_F(RealAVBToolTest, EndsAToolWhoseOffspringHoldsItsOutput) {
  Script("printf 'interface\\nen0\\n'; sleep 1000 2>/dev/null & echo $! >$FOLDER/pid");
  fTool.patience = 1s;
  EXPECT_FALSE(Make()->EnumerateAVBInterfaces());
  EXPECT_TRUE(IsGone(Read("pid")));
}

TEST_F(RealAVBToolTest, TakesTheAnswerOfAToolWhoseOffspringHoldsItsErrorStream) {
  Script("printf 'interface\\nen0\\n'; sleep 1000 >/dev/null &");
  const auto enabled = Make()->DetermineActiveVirtualEntities();
  ASSERT_TRUE(enabled);
  EXPECT_THAT(*enabled, ElementsAre("en0"));
}

TEST_F(RealAVBToolTest, RefusesAFlood) {
  Script("echo interface; exec yes en0");
  const auto start = Clock::now();
  EXPECT_FALSE(Make()->EnumerateAVBInterfaces());
  EXPECT_GE(Clock::now() - start, fTool.patience);
}

TEST_F(RealAVBToolTest, RunsTwoTogglesAtOnce) {
  // Each waits until both have begun.
  Script(R"(echo "$*" >>$FOLDER/calls
while [ $(wc -l <$FOLDER/calls) -lt 2 ]; do sleep 0.01; done
echo done >>$FOLDER/ends)");
  const auto entity = Make();
  entity->EnableDisableVirtualAudio("Ethernet:en0", true);
  entity->EnableDisableVirtualAudio("Stage:en5", false);
  EXPECT_TRUE(Eventually([&] { return Read("ends") == "done\ndone\n"; }));
  const std::string calls = Read("calls");
  EXPECT_NE(calls.find("--virtual-audio enable en0\n"), std::string::npos) << calls;
  EXPECT_NE(calls.find("--virtual-audio disable en5\n"), std::string::npos) << calls;
}

// Waits for permission, writes more than anybody would keep, and only then takes effect.
constexpr const char* kSlowTool = R"(echo $$ >$FOLDER/pid
while ! [ -e $FOLDER/go ]; do sleep 0.01; done
head -c 3000000 /dev/zero && echo "$*" >$FOLDER/end)";

TEST_F(RealAVBToolTest, TogglesWithoutATimeLimitWhateverTheToolWrites) {
  Script(kSlowTool);
  fTool.patience = 0ms;
  const auto entity = Make();
  entity->EnableDisableVirtualAudio("Ethernet:en0", true);
  EXPECT_TRUE(Eventually([&] { return Read("pid").ends_with('\n'); }));
  std::ofstream(fFolder.Path() / "go") << "go";
  EXPECT_TRUE(Eventually([&] { return Read("end") == "--virtual-audio enable en0\n"; }));
}

TEST_F(RealAVBToolTest, LeavesAToggleUnderWayToFinishByItself) {
  Script(kSlowTool);
  auto entity = Make();
  const auto before = CountOpenDescriptors();
  entity->EnableDisableVirtualAudio("Ethernet:en0", true);
  ASSERT_TRUE(Eventually([&] { return Read("pid").ends_with('\n'); }));
  entity.reset();  // neither waits for the tool nor ends it
  EXPECT_TRUE(IsAlive(std::stoi(Read("pid"))));
  EXPECT_EQ(CountOpenDescriptors(), before);
  std::ofstream(fFolder.Path() / "go") << "go";
  EXPECT_TRUE(Eventually([&] { return Read("end") == "--virtual-audio enable en0\n"; }));
  EXPECT_TRUE(IsGone(Read("pid")));
}

TEST_F(RealAVBToolTest, AToggleUnderWayOutlivesTheProgram) {
  Script(kSlowTool);
  const pid_t program = ::fork();
  if (program == 0) {
    auto entity = Make();
    entity->EnableDisableVirtualAudio("Ethernet:en0", true);
    const bool begun = Eventually([&] { return Read("pid").ends_with('\n'); });
    entity.reset();
    fDispatch.reset();
    ::_exit(begun ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(program, &status, 0), program);
  ASSERT_EQ(status, 0);
  EXPECT_TRUE(IsAlive(std::stoi(Read("pid"))));
  std::ofstream(fFolder.Path() / "go") << "go";
  EXPECT_TRUE(Eventually([&] { return Read("end") == "--virtual-audio enable en0\n"; }));
  EXPECT_TRUE(IsGone(Read("pid")));
}

TEST_F(RealAVBToolTest, EndsAListingThatHangsWhenListingsAreStopped) {
  Script("echo $$ >$FOLDER/pid; exec sleep 1000");
  fTool.patience = 1h;
  const auto entity = Make();
  auto listing = std::async(std::launch::async, [&] { return entity->EnumerateAVBInterfaces(); });
  EXPECT_TRUE(Eventually([&] { return Read("pid").ends_with('\n'); }));
  entity->StopListings();
  EXPECT_FALSE(listing.get());
  EXPECT_TRUE(IsGone(Read("pid")));
}

// Half of them give the tool a moment to answer, half end it right away.
TEST_F(RealAVBToolTest, LeaksNoDescriptorAndNoProcessOverAThousandEnumerations) {
  Script("printf 'interface\\nen0\\n'");
  const auto patient = Make();  // whose enumeration is certainly answered
  std::vector<std::unique_ptr<vorn::MacVirtualEntity>> entities;
  for (const auto patience : {100ms, 0ms}) {
    fTool.patience = patience;
    entities.push_back(Make());
  }
  const auto before = CountOpenDescriptors();
  std::vector<std::future<void>> callers;
  for (int caller = 0; caller < 8; ++caller) {
    callers.push_back(std::async(std::launch::async, [&] {
      for (int i = 0; i < 125; ++i) {
        static_cast<void>(entities[static_cast<std::size_t>(i % 2)]->EnumerateAVBInterfaces());
      }
    }));
  }
  for (auto& caller : callers) caller.get();
  EXPECT_TRUE(patient->EnumerateAVBInterfaces());
  EXPECT_FALSE(HasAnyChild());
  EXPECT_EQ(CountOpenDescriptors(), before);
}

}  // namespace
