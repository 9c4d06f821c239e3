// Says whether an AVB tool keeps the contract that the application relies on.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "check-avbutil/Contract.h"
#include "foundation/Console.h"
#include "foundation/Process.h"
#include "platform/linux/processes/ChildProcessLauncherLinux.h"

namespace {

constexpr int kBroken = 1;
constexpr int kBadUsage = 2;
constexpr char kHelp[] =
    "Usage: check-avbutil PATH [INTERFACE]\n"
    "Says whether the AVB tool at PATH keeps the contract in docs/packaging.md.\n"
    "With INTERFACE, also switches the virtual entity there over and back.\n"
    "Exits with 0 if the contract is kept, with 1 if it is broken.\n";

/// A folder where the tool has the name by which the application's listing calls it.
class NamedTool {
 public:
  explicit NamedTool(const std::filesystem::path& tool) {
    std::string folder = (std::filesystem::temp_directory_path() / "check-avbutil-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr) {
      throw std::filesystem::filesystem_error("mkdtemp", folder, {errno, std::generic_category()});
    }
    fFolder = folder;
    std::filesystem::create_symlink(tool, fFolder / "avbutil");
  }
  NamedTool(const NamedTool&) = delete;
  NamedTool& operator=(const NamedTool&) = delete;
  ~NamedTool() {
    std::error_code error;
    std::filesystem::remove_all(fFolder, error);
  }

  [[nodiscard]] std::string SearchPath() const {
    const char* const path = ::getenv("PATH");
    return fFolder.string() + ":" + (path == nullptr ? "/usr/bin:/bin" : path);
  }

 private:
  std::filesystem::path fFolder;
};

void Report(bool isKept, const std::string& line) {
  const std::string text = (isKept ? "kept    " : "BROKEN  ") + line + "\n";
  if (vorn::WriteToStandardOutput(text) == vorn::OutputResult::kFailed) throw std::runtime_error("stopped");
}

bool Check(const std::vector<std::string>& arguments) {
  vorn::AVBTool tool;
  tool.path = std::filesystem::absolute(arguments[0]).string();
  const NamedTool named(tool.path);
  tool.environment["PATH"] = named.SearchPath();
  vorn::ChildProcessLauncherLinux launcher;
  vorn::checkavbutil::Contract contract(launcher, tool, Report);
  if (!contract.CheckListing()) return false;
  return arguments.size() < 2 || contract.CheckToggle(arguments[1]);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    ::signal(SIGPIPE, SIG_IGN);
    vorn::OccupyClosedStandardDescriptors();
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments == std::vector<std::string>{"--help"}) {
      return vorn::WriteToStandardOutput(kHelp) == vorn::OutputResult::kFailed ? kBroken : EXIT_SUCCESS;
    }
    if (arguments.empty() || arguments.size() > 2 || arguments[0].starts_with("-")) {
      std::fputs(kHelp, stderr);
      return kBadUsage;
    }
    return Check(arguments) ? EXIT_SUCCESS : kBroken;
  } catch (const std::exception& error) {
    vorn::WriteToConsole(error.what());
    return kBroken;
  }
}
