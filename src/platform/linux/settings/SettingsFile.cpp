#include "platform/linux/settings/SettingsFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <thread>
#include <utility>

#include "foundation/Console.h"
#include "platform/linux/files/WriteAll.h"

namespace vorn {
namespace {

using namespace std::chrono_literals;

constexpr auto kLockPatience = 200ms;
constexpr auto kLockRetry = 2ms;
constexpr int kMaxAside = 1000;
constexpr int kMaxLinks = 40;
constexpr ::mode_t kOwnerOnly = S_IRUSR | S_IWUSR;

bool MakeFolder(const std::filesystem::path& folder) {
  if (::mkdir(folder.c_str(), S_IRWXU) == 0 || errno == EEXIST) return true;
  if (errno != ENOENT || !folder.has_relative_path()) return false;
  return MakeFolder(folder.parent_path()) && (::mkdir(folder.c_str(), S_IRWXU) == 0 || errno == EEXIST);
}

// Whether the failure to open a file is the file's own fault, which does not
// pass by itself: no permission, a circle of links, a socket, a dead device.
bool IsOfTheFile(int error) {
  return error == EACCES || error == ELOOP || error == ENXIO || error == ENODEV;
}

// At most `size` bytes; false, with errno, when the reading fails.
bool ReadContent(const FileDescriptor& file, std::size_t size, std::string& content) {
  content.resize(size);
  std::size_t length = 0;
  while (length < size) {
    const auto count = ::read(file.Get(), &content[length], size - length);
    if (count < 0 && errno != EINTR) return false;
    if (count == 0) break;
    if (count > 0) length += static_cast<std::size_t>(count);
  }
  content.resize(length);
  return true;
}

// Where the links at `path` lead, whether or not there is a file.
std::filesystem::path Followed(std::filesystem::path path) {
  std::error_code none;
  for (int links = 0; links < kMaxLinks && std::filesystem::is_symlink(path, none); ++links) {
    path = path.parent_path() / std::filesystem::read_symlink(path, none);
  }
  return path;
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
    // Only under the lock can nobody have put a good file in its place meanwhile.
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
    // The document is that of no file until the file is replaced.
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

// A missing file is an empty document. Unless kLoaded, fFailure holds the reason.
SettingsFile::Loading SettingsFile::Load(Values& values) {
  const auto fail = [this](Loading loading, const char* reason) {
    Fail(reason);
    return loading;
  };
  // Not blocking: a FIFO of that name would wait for its writer.
  const FileDescriptor file(::open(fPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  const bool isMissing = !file && (errno == ENOENT || errno == ENOTDIR);
  std::string content;
  if (!isMissing) {
    struct stat status = {};
    if (!file) return fail(IsOfTheFile(errno) ? Loading::kDamaged : Loading::kFailed, std::strerror(errno));
    if (::fstat(file.Get(), &status) != 0) return fail(Loading::kFailed, std::strerror(errno));
    if (!S_ISREG(status.st_mode)) return fail(Loading::kDamaged, "it is no regular file");
    if (status.st_size > kMaxSize) return fail(Loading::kDamaged, "it is too large");
    const auto size = static_cast<std::size_t>(status.st_size);
    if (!ReadContent(file, size, content)) return fail(Loading::kFailed, std::strerror(errno));
  }
  if (fIsLoaded && content == fContent) return Loading::kLoaded;
  auto document = IniDocument::Parse(content);
  if (!document) return fail(Loading::kDamaged, "it is no settings file");
  Take(std::move(*document), std::move(content), values);
  struct stat aside = {};
  // We write no file without a value: one that has none has lost them.
  const bool isLost = isMissing ? ::lstat(AsideName(1).c_str(), &aside) == 0 : values.empty();
  fCondition = isLost || !fDocument.UnreadableLines().empty() ? Condition::kDamaged : Condition::kWhole;
  TellUnreadableLines();
  return Loading::kLoaded;
}

// Under the lock. False, with the reason in fFailure, when there is, or may be,
// a file that must not be overwritten.
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
  if (!MakeFolder(fPath.parent_path())) {
    Fail(std::strerror(errno));
    return Outcome::kFailed;
  }
  const std::string name = fPath.string() + ".lock";
  lock = FileDescriptor(::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kOwnerOnly));
  if (!lock) {
    Fail(std::strerror(errno));
    return Outcome::kFailed;
  }
  const auto end = std::chrono::steady_clock::now() + kLockPatience;
  while (::flock(lock.Get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) {
      Fail(std::strerror(errno));
      return Outcome::kFailed;
    }
    if (std::chrono::steady_clock::now() >= end) return Outcome::kBusy;
    std::this_thread::sleep_for(kLockRetry);
  }
  return Outcome::kSaved;
}

// Under the lock, so that the name beside the file is ours; what a killed
// writer left there is overwritten.
bool SettingsFile::Replace(const std::string& content) {
  if (content.size() > static_cast<std::size_t>(kMaxSize)) return Fail("it would be too large to be read");
  const auto target = Followed(fPath);  // a symbolic link stays one
  const std::string name = target.string() + ".new";
  const FileDescriptor file(
      ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, kOwnerOnly));
  if (!file) return Fail(std::strerror(errno));
  if (::fchmod(file.Get(), kOwnerOnly) != 0 || !WriteAll(file.Get(), content) || ::fsync(file.Get()) != 0 ||
      std::rename(name.c_str(), target.c_str()) != 0) {
    Fail(std::strerror(errno));
    ::unlink(name.c_str());
    return false;
  }
  return true;
}

bool SettingsFile::Fail(const std::string& reason) {
  fFailure = reason;
  return false;
}

}  // namespace vorn
