#include "app/QtRunLoop.h"

#include <utility>

#include "platform/linux/dispatch/GuardedJob.h"

namespace vorn::app {

RunLoop::SourceId QtRunLoop::AddSource(int descriptor, std::function<void()> handler) {
  const SourceId id = fNextId++;
  auto notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
  // The connection owns the handler and outlives a removal from inside it.
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
  notifier->setEnabled(false);  // the descriptor may be closed from here on
  notifier->setParent(&fRetired);
  notifier->deleteLater();
}

}  // namespace vorn::app
