#include "platform/linux/files/UserFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <system_error>

namespace vorn {
namespace {

constexpr char kOwnFolder[] = "vorn-device-finder";
constexpr char kTrialVariable[] = "VORN_DEVICE_FINDER_TRIAL";

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

// The build folder that contains the running program; empty if it is installed. CMake keeps its own file
// there, and the build puts the programs into "bin".
std::filesystem::path BuildFolder() {
  auto folder = ProgramFolder().parent_path();
  std::error_code error;
  return std::filesystem::is_regular_file(folder / "CMakeCache.txt", error) ? folder
                                                                            : std::filesystem::path();
}

// As the system knows it, whatever the environment says.
std::filesystem::path RegisteredHomeFolder() {
  const passwd* entry = ::getpwuid(::getuid());
  return entry && entry->pw_dir ? entry->pw_dir : "";
}

bool IsWithin(const std::filesystem::path& path, const std::filesystem::path& folder) {
  const auto inside = path.lexically_normal().lexically_relative(folder.lexically_normal());
  return !inside.empty() && *inside.begin() != "..";
}

std::filesystem::path OwnFolder(const std::filesystem::path& inUserFolder) {
  auto trial = TrialFolder();
  if (!trial.empty() || inUserFolder.empty()) return trial;
  return inUserFolder / kOwnFolder;
}

}  // namespace

std::filesystem::path UserHomeFolder() {
  auto home = AbsoluteFromEnvironment("HOME");
  if (!home.empty()) return home;
  home = RegisteredHomeFolder();
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

std::filesystem::path TrialFolder() {
  if (const char* named = std::getenv(kTrialVariable)) return named;
  const auto build = BuildFolder();
  const bool isOwnHome = IsWithin(UserConfigFolder(), RegisteredHomeFolder());
  return build.empty() || !isOwnHome ? std::filesystem::path() : build / "trial";
}

std::filesystem::path OwnSettingsFolder() {
  return OwnFolder(UserConfigFolder());
}

std::filesystem::path OwnStateFolder() {
  return OwnFolder(UserStateFolder());
}

}  // namespace vorn
