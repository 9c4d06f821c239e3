#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "foundation/Clock.h"
#include "foundation/FileDescriptor.h"
#include "platform/ChildProcess.h"

namespace vorn {

/// Takes over children that nobody waits for any more, so that no zombie stays: children that finish by
/// themselves, and killed ones that have not ended yet (one that waits in a driver cannot end before the
/// driver answers). Any thread.
class ChildReaper {
 public:
  ChildReaper() = default;
  ChildReaper(const ChildReaper&) = delete;
  ChildReaper& operator=(const ChildReaper&) = delete;
  ~ChildReaper() { Sweep(); }

  void Adopt(pid_t child);

  /// Reaps those that have ended. Returns how many are left. Does not block.
  std::size_t Sweep();

 private:
  std::mutex fMutex;
  std::vector<pid_t> fChildren;  // guarded by fMutex
};

/// Our end of a pipe that a child writes to, and what came out of it so far. Belongs to one thread at a time.
class ChildStream {
 public:
  /// A stream without a pipe is at its end. The descriptor must not block.
  ChildStream(FileDescriptor pipe, std::size_t maximum);

  /// Reads what is there now, without blocking. It reads one buffer only, so that the caller can look at the
  /// clock during a flood. Bytes beyond the maximum are dropped. Closes the pipe at its end. Returns whether
  /// there may be more to read at once.
  bool Read();

  [[nodiscard]] bool IsAtEnd() const { return !fPipe; }
  [[nodiscard]] bool IsCut() const { return fCut; }
  [[nodiscard]] int Descriptor() const { return fPipe.Get(); }
  [[nodiscard]] std::string TakeText() { return std::move(fText); }
  void Close() { fPipe.Reset(); }

 private:
  FileDescriptor fPipe;
  std::size_t fMaximum;
  std::string fText;
  bool fCut = false;
};

/// A child that leads a session. A process descriptor watches it.
///
/// The leader is reaped only when its group needs no more signals. Until then its zombie keeps the group's
/// number, so that no other group gets it. Only this child is waited for, by its number, so other parts of
/// the program may have children too.
class ChildProcessLinux final : public ChildProcess {
 public:
  /// Takes over a child that leads a session. The reaper must live longer than it.
  ChildProcessLinux(pid_t leader, FileDescriptor output, FileDescriptor error, Wakeup wakeup,
                    ChildReaper& reaper);
  ~ChildProcessLinux() override;

  ChildOutput CollectUntil(Clock::time_point deadline) override;
  void Terminate() override;
  void AwaitEnd() override;
  void Release() override;

 private:
  [[nodiscard]] bool IsDone() const { return fEnded && fOutput.IsAtEnd() && fError.IsAtEnd(); }
  [[nodiscard]] bool IsCut() const { return fOutput.IsCut() || fError.IsCut(); }

  /// Waits for an event, at most until the deadline, and reads what is there.
  void ServeOnce(Clock::time_point deadline);

  /// Waits only for the leader's end.
  void AwaitLeader(Clock::time_point deadline);

  void WakeUp();
  void NoticeEnd();
  void EndGroup();
  void Reap();
  void ReadRest(ChildStream& stream);
  ChildOutput TakeOutput();

  const pid_t fLeader;
  ChildReaper& fReaper;
  FileDescriptor fProcess;  // none if the kernel has no process descriptors: then we check every few ms
  const Wakeup fWakeup;
  ChildStream fOutput;
  ChildStream fError;
  std::atomic<bool> fTerminate{false};
  std::atomic<bool> fReleased{false};
  bool fEnded = false;
  bool fReaped = false;
};

}  // namespace vorn
