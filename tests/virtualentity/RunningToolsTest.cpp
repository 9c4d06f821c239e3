#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

#include "tests/virtualentity/Scripted.h"
#include "virtualentity/RunningTools.h"

namespace {

using namespace std::chrono_literals;

class FailingLauncher final : public vorn::ChildProcessLauncher {
 public:
  bool IsExecutableFile(const std::string&) override { return true; }
  std::unique_ptr<vorn::ChildProcess> Launch(const vorn::ChildProcessRequest&) override {
    return std::make_unique<Child>();
  }

 private:
  class Child final : public vorn::ChildProcess {
   public:
    vorn::ChildOutput CollectUntil(std::chrono::steady_clock::time_point) override {
      throw std::runtime_error("out of something");
    }
    void AwaitEnd() override { throw std::runtime_error("out of something"); }
    void Terminate() override {}
    void Release() override {}
  };
};

TEST(RunningToolsTest, ForgetsAChildWhoseCollectionFails) {
  FailingLauncher launcher;
  vorn::RunningTools tools;
  EXPECT_THROW(tools.Run(launcher, {}), std::runtime_error);
  EXPECT_THROW((void)tools.Watch(launcher.Launch({}), std::chrono::steady_clock::now()), std::runtime_error);
  tools.Stop();  // neither waits for it nor calls it
}

TEST(RunningToolsTest, StartsNothingOnceItWasStopped) {
  ScriptedLauncher launcher;
  vorn::RunningTools tools;
  tools.Stop();
  tools.Run(launcher, {});
  EXPECT_TRUE(launcher.Requests().empty());
  EXPECT_FALSE(tools.Watch(launcher.Launch({}), std::chrono::steady_clock::now() + 1h));
}

}  // namespace
