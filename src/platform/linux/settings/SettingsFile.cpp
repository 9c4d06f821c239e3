#include "platform/linux/settings/SettingsFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <utility>

#include "foundation/Console.h"
#include "platform/linux/files/WholeFile.h"

namespace vorn {
namespace {

using namespace std::chrono_literals;

constexpr auto kLockPatience = 200ms;
constexpr int kMaxAside = 1000;

// Why the file counts as damaged. Empty if the failure says nothing about the file and may pass by itself. No
// permission to open it, a circle of links, a socket and a dead device are the file's own fault.
std::string FaultOfTheFile(int error) {
  switch (error) {
    case EINVAL:
      return "it is no regular file";
    case EFBIG:
      return "it is too large";
    case EACCES:
    case ELOOP:
    case ENXIO:
    case ENODEV:
      return std::strerror(error);
    default:
      return {};
  }
}

}  // namespace

SettingsFile::SettingsFile(std::filesystem::path path, Access access)
    : fPath(std::move(path)), fAccess(access) {}

SettingsFile::Outcome SettingsFile::Synchronize(const Values& changes, Values& values) {
  fFailure.clear();
  if (fPath.empty()) {
    fCondition = Condition::kWhole;
    if (changes.empty()) return Outcome::kSaved;
    Fail("there is no home folder");
    return Outcome::kFailed;
  }
  return changes.empty() ? Read(values) : Write(changes, values);
}

SettingsFile::Outcome SettingsFile::Read(Values& values) {
  const auto now = CurrentStamp();
  if (fSeen && *fSeen == now) return Outcome::kSaved;
  const auto loading = Load(values);
  if (loading == Loading::kFailed) return Outcome::kFailed;
  if (loading == Loading::kDamaged && fAccess == Access::kReadOnly) {
    WriteToConsole(Unusable() + "; the file stays as it is and counts as empty");
    TakeNothing(values);
  } else if (loading == Loading::kDamaged) {
    // Only under the lock is it certain that nobody has put a good file in its place in the meantime.
    FileDescriptor lock;
    const auto outcome = Lock(lock);
    if (outcome != Outcome::kSaved) return outcome;
    if (!LoadOrSetAside(values)) return Outcome::kFailed;
  }
  fSeen = now;
  return Outcome::kSaved;
}

SettingsFile::Outcome SettingsFile::Write(const Values& changes, Values& values) {
  if (fAccess == Access::kReadOnly) {
    Fail("it is only read here");
    return Outcome::kFailed;
  }
  FileDescriptor lock;
  const auto outcome = Lock(lock);
  if (outcome != Outcome::kSaved) return outcome;
  if (!LoadOrSetAside(values)) return Outcome::kFailed;
  for (const auto& [key, value] : changes) fDocument.Set(key, value);
  auto content = fDocument.Text();
  if (content != fContent) {
    fContent = std::move(content);
    // The document belongs to no file until the file is replaced.
    fIsLoaded = Replace(fContent);
  }
  if (!fIsLoaded) return Outcome::kFailed;
  fSeen = CurrentStamp();
  return Outcome::kSaved;
}

SettingsFile::Stamp SettingsFile::CurrentStamp() const {
  struct stat status = {};
  if (::stat(fPath.c_str(), &status) != 0) return {};
  return {status.st_ino, status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_size};
}

// A missing file is an empty document. Unless the result is kLoaded, fFailure has the reason.
SettingsFile::Loading SettingsFile::Load(Values& values) {
  auto content = ReadFile(fPath, kMaxSize);
  const bool isMissing = !content && (errno == ENOENT || errno == ENOTDIR);
  if (isMissing) content.emplace();
  if (!content) {
    const int error = errno;
    const std::string fault = FaultOfTheFile(error);
    Fail(fault.empty() ? std::strerror(error) : fault);
    return fault.empty() ? Loading::kFailed : Loading::kDamaged;
  }
  if (fIsLoaded && *content == fContent) return Loading::kLoaded;
  auto document = IniDocument::Parse(*content);
  if (!document) {
    Fail("it is no settings file");
    return Loading::kDamaged;
  }
  Take(std::move(*document), std::move(*content), values);
  struct stat aside = {};
  // We write no file without a value, so a file without one has lost them.
  const bool isLost = isMissing ? ::lstat(AsideName(1).c_str(), &aside) == 0 : values.empty();
  fCondition = isLost || !fDocument.UnreadableLines().empty() ? Condition::kDamaged : Condition::kWhole;
  TellUnreadableLines();
  return Loading::kLoaded;
}

// Under the lock. False, with the reason in fFailure, if there is, or may be, a file that must not be
// overwritten.
bool SettingsFile::LoadOrSetAside(Values& values) {
  const auto loading = Load(values);
  if (loading == Loading::kLoaded) return true;
  if (loading == Loading::kFailed || !SetAside()) return false;
  TakeNothing(values);
  return true;
}

void SettingsFile::Take(IniDocument document, std::string content, Values& values) {
  values = document.ReadAll();
  fDocument = std::move(document);
  fContent = std::move(content);
  fIsLoaded = true;
}

void SettingsFile::TakeNothing(Values& values) {
  Take(IniDocument(), {}, values);
  fCondition = Condition::kDamaged;
}

void SettingsFile::TellUnreadableLines() {
  const auto& lines = fDocument.UnreadableLines();
  if (std::exchange(fUnreadableTold, !lines.empty()) || lines.empty()) return;
  const std::string others = lines.size() > 1 ? " and " + std::to_string(lines.size() - 1) + " more" : "";
  WriteToConsole(fPath.string() + ": line " + std::to_string(lines.front()) + others +
                 " cannot be read; the file stays as it is, and all other lines count");
}

std::string SettingsFile::AsideName(int n) const {
  return fPath.string() + ".damaged-" + std::to_string(n);
}

std::string SettingsFile::Unusable() const {
  return fPath.string() + " cannot be used (" + fFailure + ")";
}

bool SettingsFile::SetAside() {
  for (int n = 1; n <= kMaxAside; ++n) {
    const std::string aside = AsideName(n);
    if (::renameat2(AT_FDCWD, fPath.c_str(), AT_FDCWD, aside.c_str(), RENAME_NOREPLACE) == 0) {
      WriteToConsole(Unusable() + "; renamed to " + aside);
      return true;
    }
    if (errno == ENOENT) return true;  // another process was faster
    if (errno != EEXIST) break;
  }
  return Fail(fFailure + ", and it cannot be renamed");
}

SettingsFile::Outcome SettingsFile::Lock(FileDescriptor& lock) {
  if (MakePrivateFolder(fPath.parent_path())) {
    const std::string name = fPath.string() + ".lock";
    lock = FileDescriptor(::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (lock && LockFile(lock, kLockPatience)) return Outcome::kSaved;
    if (lock && errno == EWOULDBLOCK) return Outcome::kBusy;
  }
  Fail(std::strerror(errno));
  return Outcome::kFailed;
}

// Under the lock. The user may keep the file elsewhere, so a symbolic link stays one.
bool SettingsFile::Replace(const std::string& content) {
  if (content.size() > kMaxSize) return Fail("it would be too large to be read");
  return ReplaceFile(FileBehindLinks(fPath), content, Readers::kOwner) || Fail(std::strerror(errno));
}

bool SettingsFile::Fail(const std::string& reason) {
  fFailure = reason;
  return false;
}

}  // namespace vorn
