#include "platform/linux/SettingsFile.h"

#include <QtCore/QFile>
#include <QtCore/QLockFile>
#include <QtCore/QSettings>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <utility>

#include "foundation/Console.h"
#include "foundation/FileDescriptor.h"
#include "platform/linux/SettingsKey.h"

namespace vorn {
namespace {

using namespace std::chrono_literals;

constexpr auto kLockPatience = 200ms;
constexpr std::uintmax_t kMaxFileSize = 64U << 20U;  // some 100,000 records; more is none of ours
constexpr int kMaxAside = 1000;

QString ToQString(const std::filesystem::path& path) {
  return QFile::decodeName(path.c_str());
}

QVariant ToVariant(const SettingsFile::Value& value) {
  QStringList texts;
  for (const auto& text : value) texts.append(QString::fromStdString(text));
  return texts.size() == 1 ? QVariant(texts.front()) : QVariant(texts);
}

// Nothing for a value of a kind that we never write.
optional<SettingsFile::Value> FromVariant(const QVariant& variant) {
  if (variant.typeId() != QMetaType::QString && variant.typeId() != QMetaType::QStringList) return {};
  SettingsFile::Value value;
  const QStringList texts = variant.toStringList();
  for (const auto& text : texts) value.push_back(text.toStdString());
  return value;
}

// Ours are the keys outside of any group; the others are kept unread.
SettingsFile::Values ReadAll(const QSettings& settings) {
  SettingsFile::Values values;
  const QStringList keys = settings.childKeys();
  values.reserve(static_cast<std::size_t>(keys.size()));
  for (const auto& encoded : keys) {
    auto key = DecodeSettingsKey(encoded.toStdString());
    if (!key) continue;
    if (auto value = FromVariant(settings.value(encoded))) values[std::move(*key)] = std::move(*value);
  }
  return values;
}

bool HoldsNul(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  char buffer[1U << 14U];
  while (file.read(buffer, sizeof buffer), file.gcount() > 0) {
    if (std::memchr(buffer, '\0', static_cast<std::size_t>(file.gcount()))) return true;
  }
  return false;
}

// Why the file can be no settings file, as far as its kind and bytes tell;
// empty when it may be one, or when there is none.
std::string DamageOf(const std::filesystem::path& path) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (!std::filesystem::exists(status)) return {};
  if (!std::filesystem::is_regular_file(status)) return "it is no regular file";
  if (::access(path.c_str(), R_OK) != 0) return std::strerror(errno);
  if (std::filesystem::file_size(path, error) > kMaxFileSize) return "it is too large";
  // Zeros are what some file systems leave in a file after a loss of power.
  return HoldsNul(path) ? "it holds binary data" : "";
}

bool MakeFolder(const std::filesystem::path& folder) {
  if (::mkdir(folder.c_str(), S_IRWXU) == 0 || errno == EEXIST) return true;
  if (errno != ENOENT || !folder.has_relative_path()) return false;
  return MakeFolder(folder.parent_path()) && (::mkdir(folder.c_str(), S_IRWXU) == 0 || errno == EEXIST);
}

// The library gives a new file the mask's permissions but keeps those of one
// that it replaces, so the file is made, or narrowed, before it writes.
bool MakePrivateFile(const std::filesystem::path& path) {
  const FileDescriptor file(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK, S_IRUSR | S_IWUSR));
  if (!file) return false;
  struct stat status = {};
  if (::fstat(file.Get(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    return ::fchmod(file.Get(), S_IRUSR | S_IWUSR) == 0;
  }
  return true;
}

}  // namespace

SettingsFile::SettingsFile(std::filesystem::path path) : fPath(std::move(path)) {}

SettingsFile::Outcome SettingsFile::Synchronize(const Values& changes, Values& values) {
  fFailure.clear();
  if (fPath.empty()) {
    fFailure = "there is no home folder";
    return changes.empty() ? Outcome::kSaved : Outcome::kFailed;
  }
  if (!fSeen || !(*fSeen == CurrentStamp())) {
    const auto damage = DamageOf(fPath);
    if (!damage.empty() && !SetAside(damage)) return Outcome::kFailed;
  }
  if (!changes.empty()) {
    const auto outcome = PrepareToWrite();
    if (outcome != Outcome::kSaved) return outcome;
  }
  const auto settings = OpenReadable();
  if (!settings) return Outcome::kFailed;
  if (settings->status() != QSettings::NoError) {
    fFailure = "the file cannot be read or replaced";
    return Outcome::kFailed;
  }
  const auto before = CurrentStamp();
  if (!fSeen || !(*fSeen == before)) values = ReadAll(*settings);
  fSeen = before;
  if (changes.empty()) return Outcome::kSaved;

  for (const auto& [key, value] : changes) {
    settings->setValue(QString::fromStdString(EncodeSettingsKey(key)), ToVariant(value));
  }
  settings->sync();
  if (settings->status() != QSettings::NoError) {
    fFailure = "the file cannot be replaced";
    return Outcome::kFailed;
  }
  fSeen = CurrentStamp();
  return Outcome::kSaved;
}

SettingsFile::Stamp SettingsFile::CurrentStamp() const {
  struct stat status = {};
  if (::stat(fPath.c_str(), &status) != 0) return {};
  return {status.st_ino, status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_size};
}

std::unique_ptr<QSettings> SettingsFile::OpenReadable() {
  const auto open = [this] { return std::make_unique<QSettings>(ToQString(fPath), QSettings::IniFormat); };
  auto settings = open();
  if (settings->status() != QSettings::FormatError) return settings;
  settings.reset();
  return SetAside("it is no settings file") ? open() : nullptr;
}

bool SettingsFile::SetAside(const std::string& reason) {
  const std::string what = "Settings file " + fPath.string() + " cannot be used (" + reason + ")";
  for (int n = 1; n <= kMaxAside; ++n) {
    const std::string aside = fPath.string() + ".damaged-" + std::to_string(n);
    if (::renameat2(AT_FDCWD, fPath.c_str(), AT_FDCWD, aside.c_str(), RENAME_NOREPLACE) == 0) {
      WriteToConsole(what + "; set aside as " + aside + ", defaults stand in");
      return true;
    }
    if (errno == ENOENT) return true;  // another process was faster
    if (errno != EEXIST) break;
  }
  fFailure = reason + ", and it cannot be set aside";
  return false;
}

SettingsFile::Outcome SettingsFile::PrepareToWrite() {
  const auto failed = [this] {
    fFailure = std::strerror(errno);
    return Outcome::kFailed;
  };
  if (!MakeFolder(fPath.parent_path())) return failed();
  // The library would wait for this lock without a bound, so it is tried first.
  QLockFile lock(ToQString(fPath) + ".lock");
  if (!lock.tryLock(static_cast<int>(kLockPatience.count()))) {
    if (lock.error() == QLockFile::LockFailedError) return Outcome::kBusy;
    fFailure = "the folder cannot be written";
    return Outcome::kFailed;
  }
  return MakePrivateFile(fPath) ? Outcome::kSaved : failed();
}

}  // namespace vorn
