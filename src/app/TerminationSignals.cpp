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

extern "C" void OnSignal(int) {
  const int savedError = errno;
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto ignored = ::write(gWakeup, &one, sizeof one);
  errno = savedError;
}

void HandleSignals(void (*handler)(int), int flags) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  for (const int signal : kSignals) ::sigaction(signal, &action, nullptr);
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
  HandleSignals(OnSignal, static_cast<int>(SA_RESETHAND));
}

TerminationSignals::~TerminationSignals() {
  HandleSignals(SIG_DFL, 0);
  gWakeup = -1;
}

}  // namespace vorn::app
