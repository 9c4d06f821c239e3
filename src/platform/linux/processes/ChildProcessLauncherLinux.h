#pragma once

#include <memory>
#include <string>

#include "platform/ChildProcess.h"
#include "platform/linux/processes/ChildProcessLinux.h"

namespace vorn {

/// Starts children with posix_spawn. A child gets a separate session, so that neither our end nor the end of
/// a terminal reaches it. It gets only the standard descriptors, no blocked or ignored signal, and /dev/null
/// as input. The launcher must live longer than the children that it returns.
class ChildProcessLauncherLinux final : public ChildProcessLauncher {
 public:
  [[nodiscard]] bool IsExecutableFile(const std::string& path) override;
  [[nodiscard]] std::unique_ptr<ChildProcess> Launch(const ChildProcessRequest& request) override;

 private:
  ChildReaper fReaper;
};

}  // namespace vorn
