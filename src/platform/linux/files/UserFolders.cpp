#include "platform/linux/files/UserFolders.h"

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

// The folder that the variable names, otherwise the one in the home folder.
std::filesystem::path UserFolder(const char* variable, const char* inHome) {
  auto folder = AbsoluteFromEnvironment(variable);
  if (!folder.empty()) return folder;
  const auto home = UserHomeFolder();
  return home.empty() ? home : home / inHome;
}

}  // namespace

std::filesystem::path UserHomeFolder() {
  auto home = AbsoluteFromEnvironment("HOME");
  if (!home.empty()) return home;
  const passwd* entry = ::getpwuid(::getuid());
  home = entry && entry->pw_dir ? entry->pw_dir : "";
  return home.is_absolute() ? home : std::filesystem::path();
}

std::filesystem::path UserConfigFolder() {
  return UserFolder("XDG_CONFIG_HOME", ".config");
}

std::filesystem::path UserStateFolder() {
  return UserFolder("XDG_STATE_HOME", ".local/state");
}

std::filesystem::path ProgramFolder() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::filesystem::path() : program.parent_path();
}

}  // namespace vorn
