#pragma once

#include <memory>
#include <string>

#include "platform/ChildProcess.h"
#include "platform/linux/processes/ChildProcessLinux.h"

namespace vorn {

/// Starts children with posix_spawn. A child gets a session of its own, so that
/// neither our end nor that of a terminal reaches it; no descriptor beside the
/// standard ones, no blocked or ignored signal, and /dev/null to read from. The
/// launcher outlives what it returns.
class ChildProcessLauncherLinux final : public ChildProcessLauncher {
 public:
  [[nodiscard]] bool IsExecutableFile(const std::string& path) override;
  [[nodiscard]] std::unique_ptr<ChildProcess> Launch(const ChildProcessRequest& request) override;

 private:
  ChildReaper fReaper;
};

}  // namespace vorn
