#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <csignal>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>

#include "foundation/FileDescriptor.h"
#include "tests/support/OpenDescriptors.h"

namespace vorn {
namespace {

static_assert(!std::is_copy_constructible_v<FileDescriptor> && !std::is_copy_assignable_v<FileDescriptor>);
static_assert(std::is_nothrow_move_constructible_v<Wakeup>);

int OpenNull() {
  return ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool IsOpen(int descriptor) {
  return ::fcntl(descriptor, F_GETFD) >= 0;
}

bool IsReadable(const Wakeup& wakeup) {
  pollfd readable{wakeup.Descriptor(), POLLIN, 0};
  return ::poll(&readable, 1, 0) == 1;
}

TEST(FileDescriptorTest, ClosesWhatItOwnsOnce) {
  const int number = OpenNull();
  {
    FileDescriptor first(number);
    FileDescriptor second(std::move(first));
    EXPECT_EQ(second.Get(), number);
    EXPECT_TRUE(IsOpen(number));
  }
  EXPECT_FALSE(IsOpen(number));
}

TEST(FileDescriptorTest, NoneIsFalseAndMayBeReset) {
  FileDescriptor none;
  EXPECT_FALSE(none);
  none.Reset();
  EXPECT_EQ(none.Get(), -1);
}

TEST(FileDescriptorTest, AssignmentClosesWhatWasThereWithItsNewOwner) {
  const int number = OpenNull();
  FileDescriptor kept(number);
  kept = FileDescriptor(OpenNull());
  EXPECT_FALSE(IsOpen(number));
  EXPECT_TRUE(IsOpen(kept.Get()));
}

TEST(WakeupTest, IsReadableFromTheFirstSetUntilItIsCleared) {
  const Wakeup wakeup;
  EXPECT_FALSE(IsReadable(wakeup));
  wakeup.Set();
  wakeup.Set();
  EXPECT_TRUE(IsReadable(wakeup));
  wakeup.Clear();
  EXPECT_FALSE(IsReadable(wakeup));
  wakeup.Clear();  // with nothing to clear it does not block
}

TEST(WakeupTest, WakesAThreadThatWaits) {
  const Wakeup wakeup;
  std::thread setter([&] { wakeup.Set(); });
  pollfd readable{wakeup.Descriptor(), POLLIN, 0};
  EXPECT_EQ(::poll(&readable, 1, -1), 1);
  setter.join();
}

const Wakeup* gWakeup = nullptr;

TEST(WakeupTest, MayBeSetByASignalHandler) {
  const Wakeup wakeup;
  gWakeup = &wakeup;
  const auto before = std::signal(SIGUSR1, [](int) { gWakeup->Set(); });
  std::raise(SIGUSR1);
  std::signal(SIGUSR1, before);
  EXPECT_TRUE(IsReadable(wakeup));
}

TEST(WakeupTest, SaysSoWhereNoDescriptorIsLeft) {
  const testing::NoDescriptorsLeft none;
  EXPECT_THROW(const Wakeup wakeup, std::system_error);
}

}  // namespace
}  // namespace vorn
