#include "vorn-device-list/ListProgram.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <memory>
#include <utility>

#include "devicelist/SupervisedDeviceList.h"
#include "foundation/Console.h"
#include "foundation/EndProcessAfter.h"
#include "foundation/FileDescriptor.h"
#include "foundation/PollRunLoop.h"
#include "foundation/RunLoopTimer.h"
#include "vorn-device-list/EndSignals.h"
#include "vorn-device-list/ListOutput.h"

namespace vorn::devicelisttool {
namespace {

constexpr std::chrono::milliseconds kTeardownLimit{700};

sigset_t ResizeSignal() {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGWINCH);
  return signals;
}

bool IsPipe(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode);
}

// A descriptor watched by the thread's run loop, for as long as this lives.
class WatchedDescriptor {
 public:
  WatchedDescriptor(int descriptor, std::function<void()> handler)
      : fLoop(RunLoop::Current()), fSource(fLoop->AddSource(descriptor, std::move(handler))) {}
  WatchedDescriptor(const WatchedDescriptor&) = delete;
  WatchedDescriptor& operator=(const WatchedDescriptor&) = delete;
  ~WatchedDescriptor() { fLoop->RemoveSource(fSource); }

 private:
  std::shared_ptr<RunLoop> fLoop;
  RunLoop::SourceId fSource;
};

// One run of the program, from the first look to the decision to leave.
class ListRun {
 public:
  explicit ListRun(const Options& options)
      : fOptions(options), fOutput(options), fLoop(PollRunLoop::Current()), fExitCode(kListed) {}

  int Run() {
    const EndSignals endSignals(
        kTeardownLimit, [this](int signal) { return ExitCodeOf(signal); }, [this] { fLoop->Stop(); });
    const sigset_t signals = ResizeSignal();
    const FileDescriptor resizes(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    const WatchedDescriptor resizeWatch(resizes.Get(), [&] { HandleResize(resizes.Get()); });
    std::unique_ptr<WatchedDescriptor> readerWatch;
    if (IsPipe(STDOUT_FILENO)) {
      // Readable only in the sense of an error: the reader has gone.
      readerWatch = std::make_unique<WatchedDescriptor>(STDOUT_FILENO, [this] { Leave(kListed); });
    }
    RunLoopTimer waitTimer(fLoop, kNever, [this] { HandleTimeUp(); });
    if (!fOptions.watch) {
      waitTimer.SetNextFireDate(AbsoluteTimeGetCurrent() +
                                std::chrono::duration<double>(fOptions.wait).count());
    }
    DeviceList::SupervisedDeviceList list([this](Units units) { HandleList(std::move(units)); },
                                          [this](auto state) { HandleResponder(state); });
    fLoop->Run();
    if (endSignals.Received() != 0) return ExitCodeOf(endSignals.Received());
    EndProcessAfter(kTeardownLimit, fExitCode);
    return fExitCode;
  }

 private:
  // What is still to be handled once it is decided to leave changes nothing.
  void Leave(int exitCode) {
    if (std::exchange(fLeaves, true)) return;
    fExitCode = exitCode;
    fLoop->Stop();
  }

  // Leaves where there is no use in writing more.
  void LeaveUnlessWritten(OutputResult result) {
    if (result == OutputResult::kNobodyReads) Leave(kListed);
    if (result == OutputResult::kFailed) Leave(kFailed);
  }

  void HandleList(Units units) {
    if (!fLeaves) LeaveUnlessWritten(fOutput.Publish(std::move(units)));
  }

  void HandleTimeUp() {
    if (!fLeaves) LeaveUnlessWritten(fOutput.WriteLast());
    Leave(fOutput.Empty() ? kNoneFound : kListed);
  }

  void HandleResponder(DeviceList::SupervisedDeviceList::State state) {
    using State = vorn::ResponderMonitor::State;
    if (state != State::kAbsent && state != State::kSilent) return;
    if (std::exchange(fSaidNoResponder, true)) return;
    WriteToConsole("no DNS-SD responder can be reached (is avahi-daemon running?); waiting for one");
  }

  void HandleResize(int descriptor) {
    signalfd_siginfo signal{};
    while (::read(descriptor, &signal, sizeof signal) == sizeof signal) {
    }
    if (fOptions.watch && !fOptions.json && !fLeaves) LeaveUnlessWritten(fOutput.WriteLast());
  }

  // Any thread.
  [[nodiscard]] int ExitCodeOf(int signal) const { return fOptions.watch ? kListed : kInterrupted + signal; }

  const Options fOptions;
  ListOutput fOutput;
  std::shared_ptr<PollRunLoop> fLoop;
  int fExitCode;
  bool fLeaves = false;  ///< the exit code stands
  bool fSaidNoResponder = false;
};

}  // namespace

void BlockSignals() {
  for (const sigset_t& signals : {EndingSignals(), ResizeSignal()}) {
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  }
}

int RunList(const Options& options) {
  return ListRun(options).Run();
}

}  // namespace vorn::devicelisttool
