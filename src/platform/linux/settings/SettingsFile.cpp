#include "platform/linux/settings/SettingsFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "foundation/Console.h"
#include "platform/linux/files/WholeFile.h"

namespace vorn {
namespace {

constexpr int kMaxAside = 1000;
constexpr char kMakeRoom[] =
    "to make room, quit the program and delete lines of units that are gone from this file";

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

SettingsFile::Outcome SettingsFile::Synchronize(const Changes& changes,
                                                std::chrono::milliseconds patience) noexcept {
  try {
    fFailure.clear();
    if (fPath.empty()) {
      fCondition = Condition::kWhole;
      if (changes.empty()) return Outcome::kSaved;
      Fail("there is no home folder");
      return Outcome::kFailed;
    }
    return changes.empty() ? Read(patience) : Write(changes, patience);
  } catch (const std::bad_alloc&) {
    fFailure = "no memory left";  // short enough to need none
    return Outcome::kFailed;
  }
}

SettingsFile::Outcome SettingsFile::Read(std::chrono::milliseconds patience) {
  const auto now = CurrentStamp();
  if (fSeen && *fSeen == now) return Outcome::kSaved;
  const auto loading = Load();
  if (loading == Loading::kFailed) return Outcome::kFailed;
  if (loading == Loading::kDamaged && fAccess == Access::kReadOnly) {
    WriteToConsole(Unusable() + "; the file stays as it is and counts as empty");
    TakeNothing();
  } else if (loading == Loading::kDamaged) {
    // Only under the lock is it certain that nobody has put a good file in its place in the meantime.
    FileDescriptor lock;
    const auto outcome = Lock(lock, patience);
    if (outcome != Outcome::kSaved) return outcome;
    if (!LoadOrSetAside()) return Outcome::kFailed;
  }
  fSeen = now;
  return Outcome::kSaved;
}

SettingsFile::Outcome SettingsFile::Write(const Changes& changes, std::chrono::milliseconds patience) {
  if (fAccess == Access::kReadOnly) {
    Fail("it is only read here");
    return Outcome::kFailed;
  }
  FileDescriptor lock;
  const auto outcome = Lock(lock, patience);
  if (outcome != Outcome::kSaved) return outcome;
  if (!LoadOrSetAside()) return Outcome::kFailed;
  auto content = fDocument->With(changes);
  if (content != fDocument->Text() && !Replace(std::move(content))) return Outcome::kFailed;
  fSeen = CurrentStamp();
  return Outcome::kSaved;
}

SettingsFile::Stamp SettingsFile::CurrentStamp() const {
  struct stat status = {};
  if (::stat(fPath.c_str(), &status) != 0) return {};
  return {status.st_ino, status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_size};
}

// A missing file is an empty document. Unless the result is kLoaded, fFailure has the reason.
SettingsFile::Loading SettingsFile::Load() {
  auto content = ReadFile(fPath, kMaxSize);
  const bool isMissing = !content && (errno == ENOENT || errno == ENOTDIR);
  if (isMissing) content.emplace();
  if (!content) {
    const int error = errno;
    const std::string fault = FaultOfTheFile(error);
    Fail(fault.empty() ? std::strerror(error) : fault);
    return fault.empty() ? Loading::kFailed : Loading::kDamaged;
  }
  if (fCondition != Condition::kUnread && *content == fDocument->Text()) return Loading::kLoaded;
  auto document = IniDocument::Parse(std::move(*content));
  if (!document) {
    Fail("it is no settings file");
    return Loading::kDamaged;
  }
  Take(std::move(*document));
  struct stat aside = {};
  // We write no file without a value, so a file without one has lost them.
  const bool isLost = isMissing ? ::lstat(AsideName(1).c_str(), &aside) == 0 : !fDocument->HasValues();
  fCondition = isLost || !fDocument->UnreadableLines().empty() ? Condition::kDamaged : Condition::kWhole;
  TellUnreadableLines();
  return Loading::kLoaded;
}

// Under the lock. False, with the reason in fFailure, if there is, or may be, a file that must not be
// overwritten.
bool SettingsFile::LoadOrSetAside() {
  const auto loading = Load();
  if (loading == Loading::kLoaded) return true;
  if (loading == Loading::kFailed || !SetAside()) return false;
  TakeNothing();
  return true;
}

void SettingsFile::Take(IniDocument document) {
  fDocument = std::make_shared<const IniDocument>(std::move(document));
  TellNearlyFull();
}

void SettingsFile::TakeNothing() {
  Take(IniDocument());
  fCondition = Condition::kDamaged;
}

void SettingsFile::TellNearlyFull() {
  if (fAccess == Access::kReadOnly || fDocument->Text().size() < kNearlyFull) return;
  if (std::exchange(fNearlyFullTold, true)) return;
  const auto inMiB = [](std::size_t size) { return std::to_string(size >> 20U); };
  WriteToConsole(fPath.string() + " is nearly full (" + inMiB(fDocument->Text().size()) + " of " +
                 inMiB(kMaxSize) + " MiB), and a full file takes no more changes; " + kMakeRoom);
}

void SettingsFile::TellUnreadableLines() {
  const auto& lines = fDocument->UnreadableLines();
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

SettingsFile::Outcome SettingsFile::Lock(FileDescriptor& lock, std::chrono::milliseconds patience) {
  if (MakePrivateFolder(fPath.parent_path())) {
    const std::string name = fPath.string() + ".lock";
    lock = FileDescriptor(::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (lock && LockFile(lock, patience)) return Outcome::kSaved;
    if (lock) {
      Fail("another program holds its lock");
      return Outcome::kBusy;
    }
  }
  Fail(std::strerror(errno));
  return Outcome::kFailed;
}

// Under the lock. The user may keep the file elsewhere, so a symbolic link stays one.
bool SettingsFile::Replace(std::string content) {
  if (content.size() > kMaxSize) return Fail(std::string("it is full; ") + kMakeRoom);
  if (!ReplaceFile(FileBehindLinks(fPath), content, Readers::kOwner)) return Fail(std::strerror(errno));
  auto document = IniDocument::Parse(std::move(content));
  if (!document) return Fail("it is no settings file");
  Take(std::move(*document));
  return true;
}

bool SettingsFile::Fail(const std::string& reason) {
  fFailure = reason;
  return false;
}

}  // namespace vorn
