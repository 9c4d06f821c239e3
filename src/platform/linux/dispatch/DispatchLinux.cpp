#include "platform/linux/dispatch/DispatchLinux.h"

#include <utility>

namespace vorn {

DispatchLinux::DispatchLinux(std::shared_ptr<RunLoop> mainLoop)
    : fMain(std::move(mainLoop)), fHigh("vorn-high", kThreadLimit), fDefault("vorn-default", kThreadLimit) {}

void DispatchLinux::AsyncMain(Job job) {
  fMain.Post(std::move(job));
}

void DispatchLinux::AsyncBackground(Priority priority, Job job) {
  (priority == Priority::kHigh ? fHigh : fDefault).Post(std::move(job));
}

}  // namespace vorn
