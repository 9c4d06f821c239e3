#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "foundation/FileDescriptor.h"
#include "platform/ChildProcess.h"

namespace vorn {

/// Takes over children that nobody waits for any more, so that none stays a
/// zombie for good: those that were left to finish by themselves, and killed
/// ones that the kernel has not let go yet (one that sits in a driver cannot end
/// before the driver answers). Any thread.
class ChildReaper {
 public:
  ChildReaper() = default;
  ChildReaper(const ChildReaper&) = delete;
  ChildReaper& operator=(const ChildReaper&) = delete;
  ~ChildReaper() { Sweep(); }

  void Adopt(pid_t child);

  /// Reaps those that have ended meanwhile; returns how many are left. Does
  /// not block.
  std::size_t Sweep();

 private:
  std::mutex fMutex;
  std::vector<pid_t> fChildren;  // guarded by fMutex
};

/// Our end of a pipe that a child writes to, and what came out of it so far.
/// Belongs to one thread at a time.
class ChildStream {
 public:
  /// A stream without a pipe is at its end. The descriptor must not block.
  ChildStream(FileDescriptor pipe, std::size_t maximum);

  /// Reads what is there now, without blocking: one buffer's worth, so that a
  /// flood leaves the caller time to look at the clock. What exceeds the
  /// maximum is dropped. Closes the pipe at its end. Returns whether there may
  /// be more to read at once.
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

/// A child that leads a session, watched through a process descriptor.
///
/// The leader is reaped only once the group need no longer be signalled: until
/// then its zombie keeps the group's number from being given to strangers. It
/// alone is waited for, by its own number, so other parts of the program may
/// have children as well.
class ChildProcessLinux final : public ChildProcess {
 public:
  /// Takes over a child that leads its own session. The reaper must outlive it.
  ChildProcessLinux(pid_t leader, FileDescriptor output, FileDescriptor error, Wakeup wakeup,
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
  const Wakeup fWakeup;
  ChildStream fOutput;
  ChildStream fError;
  std::atomic<bool> fTerminate{false};
  std::atomic<bool> fReleased{false};
  bool fEnded = false;
  bool fReaped = false;
};

}  // namespace vorn
