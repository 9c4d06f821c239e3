#include "app/QtRunLoop.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <system_error>
#include <utility>

#include "platform/linux/dispatch/GuardedJob.h"

namespace vorn::app {

RunLoop::SourceId QtRunLoop::AddSource(int descriptor, std::function<void()> handler) {
  const SourceId id = fNextId++;
  auto notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
  // The connection owns the handler, which so survives its own removal.
  QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                   [call = std::move(handler)] { RunGuarded(call); });
  fSources.emplace(id, std::move(notifier));
  return id;
}

void QtRunLoop::RemoveSource(SourceId source) {
  const auto found = fSources.find(source);
  if (found == fSources.end()) return;
  QSocketNotifier* notifier = found->second.release();
  fSources.erase(found);
  notifier->setEnabled(false);  // the descriptor may be closed from now on
  notifier->setParent(&fRetired);
  notifier->deleteLater();
}

namespace {

constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};

// With nohup, the program must survive the end of the terminal.
bool IsHangUpToIgnore(int signal) {
  struct sigaction action {};
  return signal == SIGHUP && ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

// Any thread may take a signal.
std::atomic<int> gWakeup = -1;
static_assert(std::atomic<int>::is_always_lock_free);

void HandleSignals(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  for (const int signal : kSignals) {
    if (!IsHangUpToIgnore(signal)) ::sigaction(signal, &action, nullptr);
  }
}

extern "C" void OnSignal(int) {
  const int savedError = errno;
  HandleSignals(SIG_DFL);  // the next one, whichever it is, ends the process
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto ignored = ::write(gWakeup, &one, sizeof one);
  errno = savedError;
}

// Never closed, because another thread may still be about to write to it.
int Wakeup() {
  if (gWakeup < 0) gWakeup = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (gWakeup < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
  std::uint64_t late = 0;
  [[maybe_unused]] const auto ignored = ::read(gWakeup, &late, sizeof late);
  return gWakeup;
}

}  // namespace

TerminationSignals::TerminationSignals(std::function<void()> onTerminate)
    : fNotifier(Wakeup(), QSocketNotifier::Read) {
  QObject::connect(&fNotifier, &QSocketNotifier::activated, &fNotifier,
                   [this, call = std::move(onTerminate)] {
                     fNotifier.setEnabled(false);
                     call();
                   });
  HandleSignals(OnSignal);
}

TerminationSignals::~TerminationSignals() {
  HandleSignals(SIG_DFL);
}

}  // namespace vorn::app
