#include "vorn-device-list/EndSignals.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "foundation/EndProcessAfter.h"

namespace vorn::devicelisttool {
namespace {

bool IsIgnored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

FileDescriptor Checked(int descriptor, const char* call) {
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), call);
  return FileDescriptor(descriptor);
}

FileDescriptor SignalDescriptor() {
  const sigset_t signals = EndingSignals();
  return Checked(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd");
}

}  // namespace

sigset_t EndingSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGINT);
  ::sigaddset(&signals, SIGTERM);
  if (!IsIgnored(SIGHUP)) ::sigaddset(&signals, SIGHUP);
  return signals;
}

EndSignals::EndSignals(std::chrono::milliseconds limit, std::function<int(int signal)> exitCodeOf,
                       std::function<void()> onSignal)
    : fLimit(limit),
      fExitCodeOf(std::move(exitCodeOf)),
      fOnSignal(std::move(onSignal)),
      fSignals(SignalDescriptor()),
      fStop(Checked(::eventfd(0, EFD_CLOEXEC), "eventfd")),
      fThread([this] { ThreadProc(); }) {}

EndSignals::~EndSignals() {
  ::eventfd_write(fStop.Get(), 1);
  fThread.join();
}

void EndSignals::ThreadProc() {
  pollfd descriptors[] = {{fSignals.Get(), POLLIN, 0}, {fStop.Get(), POLLIN, 0}};
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

}  // namespace vorn::devicelisttool
