#include "vorn-device-list/ListProgram.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <memory>
#include <set>
#include <utility>

#include "devicelist/DiscoveryStatus.h"
#include "devicelist/SupervisedDeviceList.h"
#include "foundation/Console.h"
#include "foundation/FileDescriptor.h"
#include "foundation/Process.h"
#include "foundation/RunLoop.h"
#include "foundation/RunLoopTimer.h"
#include "vorn-device-list/ListOutput.h"
#include "vorn-device-list/Signals.h"
#include "vorn-device-list/Translated.h"

namespace vorn::devicelisttool {
namespace {

using DeviceList::DiscoveryHint;

constexpr std::chrono::milliseconds kTeardownLimit{700};

// Between two checks of what nothing reports.
constexpr std::chrono::seconds kScreenPace{1};
constexpr std::chrono::seconds kReportPace{15};

std::string ReasonText(DiscoveryHint hint) {
  switch (hint) {
    case DiscoveryHint::kResponderAbsent:
      return Translated("no DNS-SD responder is running (is avahi-daemon installed and started?)");
    case DiscoveryHint::kResponderSilent:
      return Translated("the DNS-SD responder (avahi-daemon) does not answer");
    case DiscoveryHint::kNoNetwork:
      return Translated("there is no network connection");
    case DiscoveryHint::kNone:
    case DiscoveryHint::kStillLooking:
      break;
  }
  return "";
}

bool IsPipe(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode);
}

// A descriptor that the thread's run loop watches while this lives.
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

// One run of the program, from the first look to the decision to exit.
class ListRun {
 public:
  ListRun(const Options& options, DeviceList::UpdateServer server)
      : fOptions(options),
        fServer(std::move(server)),
        fInPlace(ListOutput::DrawsInPlace(options)),
        fReports(!options.output.empty() || options.form == Form::kOpenMetrics),
        fOutput(options),
        fLoop(PollRunLoop::Current()),
        fDueTimer(fLoop, kNever, [this] { HandleDue(); }),
        fSurroundingsTimer(fLoop, kNever, [this] { HandleSurroundings(); }) {}

  int Run() {
    const EndSignals endSignals(
        kTeardownLimit, [this](int signal) { return ExitCodeOf(signal); }, [this] { fLoop->Stop(); });
    const FileDescriptor terminal = fInPlace ? TerminalSignals() : FileDescriptor();
    std::unique_ptr<WatchedDescriptor> terminalWatch;
    if (terminal) {
      terminalWatch = std::make_unique<WatchedDescriptor>(terminal.Get(),
                                                          [this, &terminal] { HandleTerminal(terminal); });
    }
    std::unique_ptr<WatchedDescriptor> readerWatch;
    if (fOptions.output.empty() && IsPipe(STDOUT_FILENO)) {
      // It only becomes readable with an error: nobody reads any more.
      readerWatch = std::make_unique<WatchedDescriptor>(STDOUT_FILENO, [this] { Leave(kListed); });
    }
    RunLoopTimer waitTimer(fLoop, kNever, [this] { HandleTimeUp(); });
    if (!fOptions.watch) {
      waitTimer.FireAfter(fOptions.wait);
    }
    DeviceList::SupervisedDeviceList list([this](Units units) { HandleList(std::move(units)); },
                                          [this](auto state) { HandleResponder(state); }, fServer);
    list.CheckForUpdates(!fOptions.offline);
    HandleDue();
    if (fInPlace || (fOptions.watch && fReports)) HandleSurroundings();
    fLoop->Run();
    if (endSignals.Received() == 0) EndProcessAfter(kTeardownLimit, fExitCode);
    EndWatch();
    return endSignals.Received() != 0 ? ExitCodeOf(endSignals.Received()) : fExitCode;
  }

 private:
  // After the decision to exit, open events change nothing.
  void Leave(int exitCode) {
    if (std::exchange(fLeaves, true)) return;
    fExitCode = exitCode;
    fLoop->Stop();
  }

  // Call after anything that may have written: exits if there is no use in writing more, and plans the next
  // write.
  void Continue(OutputResult result) {
    if (result == OutputResult::kNobodyReads) Leave(kListed);
    if (result == OutputResult::kFailed) Leave(kFailed);
    const auto due = fOutput.NextDue();
    if (due && !fLeaves) {
      fDueTimer.FireAfter(*due - Clock::now());
    } else {
      fDueTimer.SetNextFireDate(kNever);
    }
  }

  void HandleDue() {
    if (!fLeaves) Continue(fOutput.WriteDue());
  }

  // Nothing tells that the network came or went, or that the program came to the foreground.
  void HandleSurroundings() {
    if (fLeaves) return;
    NoteLook();
    TellHint(fStatus.Hint());
    fSurroundingsTimer.FireAfter(fInPlace ? kScreenPace : kReportPace);
  }

  void NoteLook() {
    if (fLeaves || !fReports || CannotLook(fStatus.FinalHint())) return;
    Continue(fOutput.SetLookedAt(std::chrono::system_clock::now()));
  }

  void HandleList(Units units) {
    if (fLeaves) return;
    Continue(fOutput.Publish(std::move(units)));
    TellHint(fStatus.Hint());
  }

  void HandleResponder(DeviceList::SupervisedDeviceList::State state) {
    fStatus.SetResponderState(state);
    NoteLook();
    TellHint(fStatus.Hint());
  }

  // On a terminal that is drawn on, as long as the reason is true; otherwise each reason once.
  void TellHint(DiscoveryHint hint) {
    if (fLeaves) return;
    if (fInPlace) {
      Continue(fOutput.SetNote(ReasonText(hint)));
    } else if (CannotLook(hint) && fTold.insert(hint).second) {
      WriteToConsole(ReasonText(hint));
    }
  }

  void HandleTimeUp() {
    if (fLeaves) return;
    const DiscoveryHint hint = fStatus.FinalHint();
    const bool couldNotLook = fOutput.Empty() && CannotLook(hint);
    if (couldNotLook) TellHint(hint);
    NoteLook();
    Continue(fOutput.WriteLast());
    Leave(!fOutput.Empty() ? kListed : couldNotLook ? kCouldNotLook : kNoneFound);
  }

  void HandleTerminal(const FileDescriptor& signals) {
    const bool stops = TakeTerminalSignals(signals);
    if (fLeaves) return;
    if (stops) {
      Continue(fOutput.Suspend());
      StopAsTheSystemDoes();
    }
    if (!fLeaves) Continue(fOutput.WriteLast());
  }

  // Writes what was not written yet. On a terminal, also the reason, because its line disappears with the
  // page.
  void EndWatch() {
    if (fLeaves || !fOptions.watch) return;
    fCouldNotWrite = fOutput.Finish() == OutputResult::kFailed;
    const DiscoveryHint hint = fStatus.Hint();
    if (fInPlace && CannotLook(hint)) WriteToConsole(ReasonText(hint));
  }

  // Any thread.
  [[nodiscard]] int ExitCodeOf(int signal) const {
    if (!fOptions.watch) return kInterrupted + signal;
    return fCouldNotWrite ? kFailed : kListed;
  }

  const Options fOptions;
  const DeviceList::UpdateServer fServer;
  const bool fInPlace;
  const bool fReports;  ///< for readers that look now and then, and so must know how old it is
  ListOutput fOutput;
  DeviceList::DiscoveryStatus fStatus;
  std::set<DiscoveryHint> fTold;  ///< reasons that the console has already shown
  std::shared_ptr<PollRunLoop> fLoop;
  RunLoopTimer fDueTimer;
  RunLoopTimer fSurroundingsTimer;  ///< runs if a watch is drawn in place or reports
  int fExitCode = kListed;
  std::atomic<bool> fCouldNotWrite{false};  ///< at the end of a watch
  bool fLeaves = false;                     ///< the exit status is decided
};

}  // namespace

int Print(std::string_view text, const std::string& file) {
  return WriteOutput(file, text) == OutputResult::kFailed ? kFailed : kListed;
}

int RunList(const Options& options, DeviceList::UpdateServer server) {
  return ListRun(options, std::move(server)).Run();
}

}  // namespace vorn::devicelisttool
