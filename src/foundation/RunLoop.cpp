#include "foundation/RunLoop.h"

#include <utility>

#include "foundation/PollRunLoop.h"

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

}  // namespace vorn
