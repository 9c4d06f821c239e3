#include "platform/linux/login/AutostartLoginItems.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "platform/linux/files/UserFolders.h"
#include "platform/linux/files/WholeFile.h"
#include "platform/linux/login/DesktopEntry.h"

namespace vorn {
namespace {

constexpr std::size_t kLargestEntry = std::size_t{64} * 1024;

/// Keys by which desktops switch an entry off without hiding it.
constexpr std::array kEnableKeys = {"X-GNOME-Autostart-enabled", "X-MATE-Autostart-enabled"};

/// The path of the identifier's entry, existing or not. Empty if the identifier is no file name or there is
/// no folder for it.
std::filesystem::path EntryPath(const std::string& identifier) {
  const auto config = UserConfigFolder();
  const bool isFileName = !identifier.empty() && identifier.front() != '.' &&
                          identifier.find('/') == std::string::npos &&
                          identifier.find('\0') == std::string::npos;
  if (!isFileName || config.empty()) return {};
  return config / "autostart" / (identifier + ".desktop");
}

/// Whether the user wants the program of this entry to start.
bool IsSwitchedOn(const std::string& entry) {
  const auto command = DesktopEntryValue(entry, "Exec");
  if (!command || command->empty() || DesktopEntryIsTrue(entry, "Hidden")) return false;
  const auto isOff = [&entry](const char* key) { return DesktopEntryIsFalse(entry, key); };
  return std::none_of(kEnableKeys.begin(), kEnableKeys.end(), isOff);
}

/// Whether the desktop finds the program of this entry. A bare name counts as found, because the session
/// looks it up in its own PATH.
bool IsProgramThere(const std::string& entry) {
  const auto isThere = [](const std::string& program) {
    return program.find('/') == std::string::npos || IsExecutableFile(program);
  };
  const auto command = DesktopEntryValue(entry, "Exec");
  const auto needed = DesktopEntryValue(entry, "TryExec");
  return (!command || isThere(ProgramOfDesktopEntryExec(*command))) &&
         (!needed || isThere(TextOfDesktopEntryString(*needed)));
}

std::string EntryText(const AutostartLoginItems::Program& program, const std::string& command) {
  std::string text = "[Desktop Entry]\nType=Application\nVersion=1.4\n";
  text += "Name=" + DesktopEntryString(program.name) + "\n";
  text += "Comment=" + DesktopEntryString(program.comment) + "\n";
  text += "Icon=" + DesktopEntryString(program.icon) + "\n";
  text += "Exec=" + command + "\n";
  text += "TryExec=" + DesktopEntryString(program.path.string()) + "\n";
  return text + "Terminal=false\nStartupNotify=false\nX-GNOME-Autostart-enabled=true\n";
}

}  // namespace

AutostartLoginItems::AutostartLoginItems(Program program) : fProgram(std::move(program)) {}

bool AutostartLoginItems::SetEnabled(const std::string& identifier, bool enabled) {
  const auto path = EntryPath(identifier);
  if (path.empty()) return false;
  if (enabled) return WriteEntry(path);
  return ::unlink(path.c_str()) == 0 || errno == ENOENT || errno == ENOTDIR;
}

std::optional<LoginJob> AutostartLoginItems::JobLabelled(const std::string& identifier) const {
  const auto path = EntryPath(identifier);
  struct stat status {};
  if (path.empty() || ::lstat(path.c_str(), &status) != 0) return {};
  const auto entry = ReadFile(path, kLargestEntry);
  return LoginJob{identifier, entry && IsSwitchedOn(*entry) && IsProgramThere(*entry)};
}

bool AutostartLoginItems::Repair(const std::string& identifier) {
  const auto path = EntryPath(identifier);
  if (path.empty()) return true;
  const auto entry = ReadFile(path, kLargestEntry);
  if (!entry || !IsSwitchedOn(*entry) || IsProgramThere(*entry)) return true;
  const auto command = Command();
  if (!command) return false;
  const auto repaired = WithDesktopEntryValue(*entry, "Exec", *command);
  return ReplaceFile(path,
                     WithDesktopEntryValue(repaired, "TryExec", DesktopEntryString(fProgram.path.string())),
                     Readers::kAll);
}

std::optional<std::string> AutostartLoginItems::Command() const {
  if (!fProgram.path.is_absolute() || !IsExecutableFile(fProgram.path)) return {};
  return DesktopEntryExec(fProgram.path.string());
}

bool AutostartLoginItems::WriteEntry(const std::filesystem::path& path) const {
  const auto command = Command();
  if (!command) return false;
  return MakePrivateFolder(path.parent_path()) &&
         ReplaceFile(path, EntryText(fProgram, *command), Readers::kAll);
}

}  // namespace vorn
