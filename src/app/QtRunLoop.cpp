#include "app/QtRunLoop.h"

#include <exception>
#include <utility>

#include "foundation/Log.h"

namespace vorn::app {
namespace {

void CallGuarded(const std::function<void()>& handler) {
  try {
    handler();
  } catch (const std::exception& error) {
    if (Log::kError >= Log::details::g_runtime_level) {
      Log::details::Log(Log::kError, __FILE__, __LINE__, __func__, "%s", error.what());
    }
  } catch (...) {
    if (Log::kError >= Log::details::g_runtime_level) {
      Log::details::Log(Log::kError, __FILE__, __LINE__, __func__, "unknown exception in an event handler");
    }
  }
}

}  // namespace

RunLoop::SourceId QtRunLoop::AddSource(int descriptor, std::function<void()> handler) {
  const SourceId id = fNextId++;
  auto notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
  // The connection owns the handler and outlives a removal from inside it.
  QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                   [call = std::move(handler)] { CallGuarded(call); });
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
