#include "app/TerminationSignals.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <system_error>
#include <utility>

namespace vorn::app {
namespace {

constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};

volatile std::sig_atomic_t gWakeup = -1;

void HandleSignals(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  for (const int signal : kSignals) ::sigaction(signal, &action, nullptr);
}

extern "C" void OnSignal(int) {
  const int savedError = errno;
  HandleSignals(SIG_DFL);  // the next one, whichever it is, ends the process
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto ignored = ::write(gWakeup, &one, sizeof one);
  errno = savedError;
}

FileDescriptor MakeWakeup() {
  FileDescriptor wakeup(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!wakeup) throw std::system_error(errno, std::generic_category(), "eventfd");
  return wakeup;
}

}  // namespace

TerminationSignals::TerminationSignals(std::function<void()> onTerminate)
    : fWakeup(MakeWakeup()), fNotifier(fWakeup.Get(), QSocketNotifier::Read) {
  QObject::connect(&fNotifier, &QSocketNotifier::activated, &fNotifier,
                   [this, call = std::move(onTerminate)] {
                     fNotifier.setEnabled(false);
                     call();
                   });
  gWakeup = fWakeup.Get();
  HandleSignals(OnSignal);
}

TerminationSignals::~TerminationSignals() {
  HandleSignals(SIG_DFL);
  gWakeup = -1;
}

}  // namespace vorn::app
