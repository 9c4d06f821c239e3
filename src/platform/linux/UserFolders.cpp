#include "platform/linux/UserFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <system_error>

namespace vorn {
namespace {

std::filesystem::path AbsoluteFromEnvironment(const char* variable) {
  const char* value = std::getenv(variable);
  std::filesystem::path path = value ? value : "";
  return path.is_absolute() ? path : std::filesystem::path();
}

std::filesystem::path HomeFolder() {
  auto home = AbsoluteFromEnvironment("HOME");
  if (!home.empty()) return home;
  const passwd* entry = ::getpwuid(::getuid());
  return entry && entry->pw_dir ? entry->pw_dir : "";
}

}  // namespace

std::filesystem::path UserConfigFolder() {
  auto folder = AbsoluteFromEnvironment("XDG_CONFIG_HOME");
  if (!folder.empty()) return folder;
  const auto home = HomeFolder();
  return home.is_absolute() ? home / ".config" : std::filesystem::path();
}

std::filesystem::path ProgramFolder() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::filesystem::path() : program.parent_path();
}

}  // namespace vorn
