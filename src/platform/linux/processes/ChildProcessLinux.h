#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>

#include "foundation/FileDescriptor.h"
#include "platform/ChildProcess.h"
#include "platform/linux/processes/ChildReaper.h"
#include "platform/linux/processes/ChildStream.h"

namespace vorn {

/// A child that leads a session, watched through a process descriptor.
///
/// The leader is reaped only once the group need no longer be signalled: until
/// then its zombie keeps the group's number from being given to strangers. It
/// alone is waited for, by its own number, so other parts of the program may
/// have children as well.
class ChildProcessLinux final : public ChildProcess {
 public:
  /// Takes over a child that leads its own session. The reaper must outlive it.
  ChildProcessLinux(pid_t leader, FileDescriptor output, FileDescriptor error, FileDescriptor wakeup,
                    ChildReaper& reaper);
  ~ChildProcessLinux() override;

  ChildOutput CollectUntil(std::chrono::steady_clock::time_point deadline) override;
  void Terminate() override;
  void AwaitEnd() override;
  void Release() override;

 private:
  using Clock = std::chrono::steady_clock;

  [[nodiscard]] bool IsDone() const { return fEnded && fOutput.IsAtEnd() && fError.IsAtEnd(); }
  [[nodiscard]] bool IsCut() const { return fOutput.IsCut() || fError.IsCut(); }

  /// Waits for an event, at most until the deadline, and reads what is there.
  void ServeOnce(Clock::time_point deadline);

  /// Waits for the leader's end alone.
  void AwaitLeader(Clock::time_point deadline);

  void WakeUp();
  void NoticeEnd();
  void EndGroup();
  void Reap();
  void ReadRest(ChildStream& stream);
  ChildOutput TakeOutput();

  const pid_t fLeader;
  ChildReaper& fReaper;
  FileDescriptor fProcess;  // none where the kernel has no process descriptors: then we look every few ms
  FileDescriptor fWakeup;
  ChildStream fOutput;
  ChildStream fError;
  std::atomic<bool> fTerminate{false};
  std::atomic<bool> fReleased{false};
  bool fEnded = false;
  bool fReaped = false;
};

}  // namespace vorn
