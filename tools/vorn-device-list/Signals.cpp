#include "vorn-device-list/Signals.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>
#include <system_error>
#include <utility>

#include "foundation/Process.h"

namespace vorn::devicelisttool {
namespace {

sigset_t SetOf(std::initializer_list<int> signals) {
  sigset_t set;
  ::sigemptyset(&set);
  for (const int signal : signals) ::sigaddset(&set, signal);
  return set;
}

bool IsIgnored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t EndingSignals() {
  return IsIgnored(SIGHUP) ? SetOf({SIGINT, SIGTERM}) : SetOf({SIGINT, SIGTERM, SIGHUP});
}

FileDescriptor SignalDescriptor() {
  const sigset_t signals = EndingSignals();
  FileDescriptor descriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!descriptor) throw std::system_error(errno, std::generic_category(), "signalfd");
  return descriptor;
}

}  // namespace

void BlockSignals(bool drawsOnTerminal) {
  const sigset_t ending = EndingSignals();
  ::pthread_sigmask(SIG_BLOCK, &ending, nullptr);
  if (!drawsOnTerminal) return;
  // Without SIGTTOU, so that a write to the terminal from the background does not stop the program.
  const sigset_t terminal = SetOf({SIGWINCH, SIGTSTP, SIGCONT, SIGTTOU});
  ::pthread_sigmask(SIG_BLOCK, &terminal, nullptr);
}

EndSignals::EndSignals(std::chrono::milliseconds limit, std::function<int(int signal)> exitCodeOf,
                       std::function<void()> onSignal)
    : fLimit(limit),
      fExitCodeOf(std::move(exitCodeOf)),
      fOnSignal(std::move(onSignal)),
      fSignals(SignalDescriptor()) {
  fThread.Start("end signals", [this] { ThreadProc(); });
}

void EndSignals::ThreadProc() {
  pollfd descriptors[] = {{fSignals.Get(), POLLIN, 0}, {fThread.StopDescriptor(), POLLIN, 0}};
  for (;;) {
    ::poll(descriptors, 2, -1);
    if (descriptors[1].revents != 0) return;
    signalfd_siginfo signal{};
    if (::read(fSignals.Get(), &signal, sizeof signal) != sizeof signal) continue;
    fReceived = static_cast<int>(signal.ssi_signo);
    EndProcessAfter(fLimit, fExitCodeOf(fReceived));
    fOnSignal();
    return;
  }
}

FileDescriptor TerminalSignals() {
  const sigset_t signals = SetOf({SIGWINCH, SIGTSTP, SIGCONT});
  return FileDescriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

bool TakeTerminalSignals(const FileDescriptor& signals) {
  signalfd_siginfo signal{};
  bool stops = false;
  while (::read(signals.Get(), &signal, sizeof signal) == sizeof signal) stops |= signal.ssi_signo == SIGTSTP;
  return stops;
}

void StopAsTheSystemDoes() {
  const sigset_t stop = SetOf({SIGTSTP});
  ::kill(::getpid(), SIGTSTP);
  ::pthread_sigmask(SIG_UNBLOCK, &stop, nullptr);
  ::pthread_sigmask(SIG_BLOCK, &stop, nullptr);
}

}  // namespace vorn::devicelisttool
