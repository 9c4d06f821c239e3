#include "foundation/RunLoop.h"

#include <poll.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace vorn {
namespace {

thread_local std::shared_ptr<RunLoop> tCurrent;

}  // namespace

std::shared_ptr<RunLoop> RunLoop::Current() {
  if (!tCurrent) tCurrent = std::make_shared<PollRunLoop>();
  return tCurrent;
}

void RunLoop::SetCurrent(std::shared_ptr<RunLoop> loop) {
  tCurrent = std::move(loop);
}

std::shared_ptr<PollRunLoop> PollRunLoop::Current() {
  auto loop = std::dynamic_pointer_cast<PollRunLoop>(RunLoop::Current());
  if (!loop) throw std::logic_error("this thread's run loop is not a PollRunLoop");
  return loop;
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
  std::vector<pollfd> descriptors{{fWakeup.Descriptor(), POLLIN, 0}};
  std::vector<SourceId> ids{0};
  for (const auto& [id, source] : fSources) {
    descriptors.push_back({source.descriptor, POLLIN, 0});
    ids.push_back(id);
  }
  const auto limit =
      std::clamp<std::chrono::milliseconds::rep>(timeout.count(), -1, std::numeric_limits<int>::max());
  if (::poll(descriptors.data(), descriptors.size(), static_cast<int>(limit)) <= 0) return false;

  if (descriptors[0].revents != 0) fWakeup.Clear();
  bool ran = false;
  for (std::size_t i = 1; i < descriptors.size() && !fStop; ++i) {
    if (descriptors[i].revents == 0) continue;
    const auto found = fSources.find(ids[i]);
    if (found == fSources.end()) continue;  // an earlier handler of this pass removed it
    const auto handler = found->second.handler;
    (*handler)();
    ran = true;
  }
  return ran;
}

void PollRunLoop::Stop() {
  fStop = true;
  fWakeup.Set();
}

}  // namespace vorn
