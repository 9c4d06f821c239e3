#pragma once

#include <memory>
#include <string>

#include "platform/ChildProcess.h"
#include "platform/linux/ChildReaper.h"

namespace vorn {

/// Starts children with posix_spawn. A child gets a process group of its own,
/// no descriptor beside the standard ones, no blocked or ignored signal, and
/// /dev/null to read from. The launcher outlives its children.
class ChildProcessLauncherLinux final : public ChildProcessLauncher {
 public:
  [[nodiscard]] bool IsExecutableFile(const std::string& path) override;
  [[nodiscard]] std::unique_ptr<ChildProcess> Launch(const ChildProcessRequest& request) override;

 private:
  ChildReaper fReaper;
};

}  // namespace vorn
