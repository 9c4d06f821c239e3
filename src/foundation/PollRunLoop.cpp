#include "foundation/PollRunLoop.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

namespace vorn {

std::shared_ptr<PollRunLoop> PollRunLoop::Current() {
  auto loop = std::dynamic_pointer_cast<PollRunLoop>(RunLoop::Current());
  if (!loop) throw std::logic_error("this thread's run loop is not a PollRunLoop");
  return loop;
}

PollRunLoop::PollRunLoop() : fWakeup(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!fWakeup) throw std::system_error(errno, std::generic_category(), "eventfd");
}

RunLoop::SourceId PollRunLoop::AddSource(int descriptor, std::function<void()> handler) {
  const SourceId id = fNextId++;
  fSources.emplace(id, Source{descriptor, std::make_shared<std::function<void()>>(std::move(handler))});
  return id;
}

void PollRunLoop::RemoveSource(SourceId source) {
  fSources.erase(source);
}

void PollRunLoop::Run() {
  while (!fStop.exchange(false)) RunOnce(std::chrono::milliseconds(-1));
}

bool PollRunLoop::RunOnce(std::chrono::milliseconds timeout) {
  std::vector<pollfd> descriptors{{fWakeup.Get(), POLLIN, 0}};
  std::vector<SourceId> ids{0};
  for (const auto& [id, source] : fSources) {
    descriptors.push_back({source.descriptor, POLLIN, 0});
    ids.push_back(id);
  }
  const auto limit =
      std::clamp<std::chrono::milliseconds::rep>(timeout.count(), -1, std::numeric_limits<int>::max());
  if (::poll(descriptors.data(), descriptors.size(), static_cast<int>(limit)) <= 0) return false;

  if (descriptors[0].revents != 0) {
    eventfd_t ignored = 0;
    ::eventfd_read(fWakeup.Get(), &ignored);
  }
  bool ran = false;
  for (std::size_t i = 1; i < descriptors.size() && !fStop; ++i) {
    if (descriptors[i].revents == 0) continue;
    const auto found = fSources.find(ids[i]);
    if (found == fSources.end()) continue;  // removed by an earlier handler of this pass
    const auto handler = found->second.handler;
    (*handler)();
    ran = true;
  }
  return ran;
}

void PollRunLoop::Stop() {
  fStop = true;
  ::eventfd_write(fWakeup.Get(), 1);
}

}  // namespace vorn
