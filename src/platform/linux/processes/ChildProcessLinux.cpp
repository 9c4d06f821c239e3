#include "platform/linux/processes/ChildProcessLinux.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "platform/linux/processes/StartProgram.h"

namespace vorn {
namespace {

using std::chrono::milliseconds;

// How long a group may take to end by itself, and how long the kernel may take to kill a process before the
// reaper takes it.
constexpr milliseconds kOrderlyEnd{100};
constexpr milliseconds kForcedEnd{1000};

// How often to look at a child if no event reports its end.
constexpr milliseconds kGlance{10};

milliseconds Until(Clock::time_point deadline) {
  const auto left = deadline - Clock::now();
  return std::clamp(std::chrono::ceil<milliseconds>(left), milliseconds(0), milliseconds(60'000));
}

}  // namespace

void ChildReaper::Adopt(pid_t child) {
  const std::lock_guard lock(fMutex);
  fChildren.push_back(child);
}

std::size_t ChildReaper::Sweep() {
  const std::lock_guard lock(fMutex);
  std::erase_if(fChildren, [](pid_t child) { return ::waitpid(child, nullptr, WNOHANG) != 0; });
  return fChildren.size();
}

ChildStream::ChildStream(FileDescriptor pipe, std::size_t maximum)
    : fPipe(std::move(pipe)), fMaximum(maximum) {}

bool ChildStream::Read() {
  if (!fPipe) return false;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): read() fills what is used
  std::array<char, 65536> buffer;
  const ssize_t count = ::read(fPipe.Get(), buffer.data(), buffer.size());
  if (count < 0 && errno == EINTR) return true;
  if (count < 0 && errno == EAGAIN) return false;
  if (count <= 0) {
    fPipe.Reset();
    return false;
  }
  const std::size_t read = static_cast<std::size_t>(count);
  const std::size_t kept = std::min(read, fMaximum - fText.size());
  fText.append(buffer.data(), kept);
  if (kept < read) fCut = true;
  return true;
}

ChildProcessLinux::ChildProcessLinux(pid_t leader, FileDescriptor output, FileDescriptor error, Wakeup wakeup,
                                     ChildReaper& reaper)
    : fLeader(leader),
      fReaper(reaper),
      fProcess(OpenProcess(leader)),
      fWakeup(std::move(wakeup)),
      fOutput(std::move(output), kMaximumOutput),
      fError(std::move(error), kMaximumOutput) {}

ChildProcessLinux::~ChildProcessLinux() {
  NoticeEnd();
  if (!fEnded && !fReleased) EndGroup();
  Reap();
}

ChildOutput ChildProcessLinux::CollectUntil(Clock::time_point deadline) {
  while (!IsDone() && !IsCut() && !fTerminate && Clock::now() < deadline) ServeOnce(deadline);
  NoticeEnd();
  const bool timedOut = !fEnded && !IsCut() && !fTerminate;
  if (!IsDone()) EndGroup();
  Reap();
  ChildOutput result = TakeOutput();
  result.timedOut = timedOut;
  return result;
}

void ChildProcessLinux::Terminate() {
  fTerminate = true;
  WakeUp();
}

void ChildProcessLinux::AwaitEnd() {
  NoticeEnd();
  while (!fEnded && !fReleased) ServeOnce(Clock::now() + std::chrono::hours(1));
}

void ChildProcessLinux::Release() {
  fReleased = true;
  WakeUp();
}

void ChildProcessLinux::WakeUp() {
  fWakeup.Set();
}

void ChildProcessLinux::ServeOnce(Clock::time_point deadline) {
  std::array<pollfd, 4> descriptors{{{fEnded ? -1 : fProcess.Get(), POLLIN, 0},
                                     {fOutput.Descriptor(), POLLIN, 0},
                                     {fError.Descriptor(), POLLIN, 0},
                                     {fWakeup.Descriptor(), POLLIN, 0}}};
  const bool glancing = !fEnded && !fProcess;
  const milliseconds timeout = glancing ? std::min(kGlance, Until(deadline)) : Until(deadline);
  if (::poll(descriptors.data(), descriptors.size(), static_cast<int>(timeout.count())) < 0) return;
  if (glancing || descriptors[0].revents != 0) NoticeEnd();
  if (descriptors[1].revents != 0) fOutput.Read();
  if (descriptors[2].revents != 0) fError.Read();
}

void ChildProcessLinux::AwaitLeader(Clock::time_point deadline) {
  NoticeEnd();
  while (!fEnded && Clock::now() < deadline) {
    pollfd process{fProcess.Get(), POLLIN, 0};
    const milliseconds timeout = fProcess ? Until(deadline) : kGlance;
    ::poll(&process, 1, static_cast<int>(timeout.count()));
    NoticeEnd();
  }
}

void ChildProcessLinux::NoticeEnd() {
  if (fEnded) return;
  siginfo_t info{};
  const int result = ::waitid(P_PID, static_cast<id_t>(fLeader), &info, WEXITED | WNOHANG | WNOWAIT);
  if (result == 0) fEnded = info.si_pid == fLeader;
  if (result < 0 && errno == ECHILD) fEnded = fReaped = true;  // SIGCHLD is ignored in this program
}

void ChildProcessLinux::EndGroup() {
  if (fReaped) return;
  ::kill(-fLeader, SIGTERM);
  ::kill(-fLeader, SIGCONT);
  AwaitLeader(Clock::now() + kOrderlyEnd);
  if (fReaped) return;
  ::kill(-fLeader, SIGKILL);  // also if the leader has gone, because others of its group may still run
  AwaitLeader(Clock::now() + kForcedEnd);
}

void ChildProcessLinux::Reap() {
  if (fReaped) return;
  fReaped = true;
  if (fEnded) {
    ::waitpid(fLeader, nullptr, 0);
  } else {
    fReaper.Adopt(fLeader);
  }
}

void ChildProcessLinux::ReadRest(ChildStream& stream) {
  while (!stream.IsCut() && stream.Read()) continue;
  stream.Close();
}

ChildOutput ChildProcessLinux::TakeOutput() {
  ReadRest(fOutput);
  ReadRest(fError);
  return {fOutput.TakeText(), fError.TakeText(), false, IsCut()};
}

}  // namespace vorn
