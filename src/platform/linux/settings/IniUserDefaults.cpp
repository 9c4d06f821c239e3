#include "platform/linux/settings/IniUserDefaults.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "foundation/Console.h"
#include "foundation/RunLoopTimer.h"
#include "foundation/Strings.h"
#include "platform/linux/dispatch/GuardedJob.h"
#include "platform/linux/files/UserFolders.h"
#include "platform/linux/settings/SettingsFile.h"

namespace vorn {
namespace {

std::optional<bool> ToBool(const std::string& text) {
  for (const char* word : {"true", "yes", "on", "1"}) {
    if (EqualIgnoringASCIICase(text, word)) return true;
  }
  for (const char* word : {"false", "no", "off", "0"}) {
    if (EqualIgnoringASCIICase(text, word)) return false;
  }
  return {};
}

double Seconds(std::chrono::milliseconds duration) {
  return std::chrono::duration<double>(duration).count();
}

// A handwritten text without quotes that contains a comma reads as an array.
std::string JoinedText(const SettingsFile::Value& value) {
  std::string text = value.front();
  for (std::size_t i = 1; i < value.size(); ++i) text += "," + value[i];
  return text;
}

}  // namespace

class IniUserDefaults::Impl {
 public:
  Impl(std::filesystem::path path, Timing timing, SettingsFile::Access access,
       const std::shared_ptr<RunLoop>& loop)
      : fTiming(timing), fFile(std::move(path), access) {
    if (loop) fTimer.emplace(loop, kNever, [this] { RunGuarded([this] { Synchronize(); }); });
    Synchronize();
  }

  [[nodiscard]] const SettingsFile::Value* Find(const std::string& key) const {
    const auto found = fValues.find(key);
    return found == fValues.end() || found->second.empty() ? nullptr : &found->second;
  }

  void Set(const std::string& key, SettingsFile::Value value) {
    // Do not compare with fValues: the file may have another value by now.
    const auto unsaved = fUnsaved.find(key);
    if (unsaved != fUnsaved.end() && unsaved->second == value) return;
    fUnsaved[key] = value;
    fValues[key] = std::move(value);
    SaveSoon();
  }

  bool Synchronize() {
    SetDue(kNever);
    const auto changes = ChangesToSave();
    const bool isSaving = !changes.empty();
    if (isSaving) fLastSave = AbsoluteTimeGetCurrent();
    const auto outcome = fFile.Synchronize(changes, fValues);
    for (const auto& [key, value] : fUnsaved) fValues[key] = value;
    if (outcome == SettingsFile::Outcome::kSaved) {
      std::erase_if(fUnsaved, [&changes](const auto& change) { return changes.contains(change.first); });
      TellSuccess(isSaving);
      if (fUnsaved.empty()) return true;
    }
    if (outcome == SettingsFile::Outcome::kFailed) TellFailure();
    const auto wait = outcome == SettingsFile::Outcome::kBusy ? fTiming.pause : fTiming.retryAfter;
    SetDue(AbsoluteTimeGetCurrent() + Seconds(wait));
    return false;
  }

  [[nodiscard]] Condition StoreCondition() const { return fFile.FileCondition(); }

  std::unordered_map<std::string, bool> fRegisteredBools;
  std::function<bool()> fBeforeSaving;
  std::string fHeldPrefix;  ///< the keys that are not saved while it answers false

 private:
  void SaveSoon() {
    if (fTimer) {
      SetDue(std::min(fDue, fLastSave + Seconds(fTiming.pause)));
    } else {
      Synchronize();
    }
  }

  void SetDue(AbsoluteTime date) {
    if (std::exchange(fDue, date) == date) return;
    if (fTimer) fTimer->SetNextFireDate(date);
  }

  [[nodiscard]] SettingsFile::Values ChangesToSave() const {
    auto changes = fUnsaved;
    if (fBeforeSaving && !fBeforeSaving()) {
      std::erase_if(changes, [this](const auto& change) { return change.first.starts_with(fHeldPrefix); });
    }
    return changes;
  }

  void TellSuccess(bool isSaving) {
    if (!std::exchange(fFailureTold, false)) return;
    WriteToConsole(fFile.Path().string() + (isSaving ? " is saved again" : " can be read again"));
  }

  void TellFailure() {
    if (std::exchange(fFailureTold, true)) return;
    const bool isSaving = !fUnsaved.empty();
    WriteToConsole(
        (isSaving ? "Cannot save " : "Cannot read ") + fFile.Path().string() + " (" + fFile.Failure() +
        (isSaving ? "); changes are kept in memory until it works" : "); it counts as empty until it works"));
  }

  Timing fTiming;
  SettingsFile fFile;
  SettingsFile::Values fValues;        ///< what is read: the file's values under the unsaved ones
  SettingsFile::Values fUnsaved;       ///< changes that the file does not have yet
  AbsoluteTime fLastSave = 0;          ///< long ago, so that the first change need not wait
  AbsoluteTime fDue = kNever;          ///< of the next save
  bool fFailureTold = false;           ///< until the next success
  std::optional<RunLoopTimer> fTimer;  ///< last: saves when a save is due; none without a run loop
};

std::filesystem::path UserSettingsPath() {
  const auto folder = UserConfigFolder();
  return folder.empty() ? folder : folder / "vorn-device-finder" / "settings.conf";
}

IniUserDefaults::IniUserDefaults(const std::filesystem::path& path)
    : IniUserDefaults(path, nullptr, Timing()) {}

IniUserDefaults::IniUserDefaults(const std::filesystem::path& path, const std::shared_ptr<RunLoop>& loop,
                                 Timing timing)
    : fImpl(std::make_unique<Impl>(path, timing, SettingsFile::Access::kReadWrite, loop)) {}

IniUserDefaults::IniUserDefaults(std::unique_ptr<Impl> impl) : fImpl(std::move(impl)) {}

IniUserDefaults IniUserDefaults::ReadOnly(const std::filesystem::path& path) {
  return IniUserDefaults(std::make_unique<Impl>(path, Timing(), SettingsFile::Access::kReadOnly, nullptr));
}

IniUserDefaults::~IniUserDefaults() {
  RunGuarded([this] { fImpl->Synchronize(); });
}

void IniUserDefaults::RegisterBool(const std::string& key, bool value) {
  fImpl->fRegisteredBools[key] = value;
}

bool IniUserDefaults::GetBool(const std::string& key) const {
  if (const auto* value = fImpl->Find(key)) {
    if (const auto stored = ToBool(value->front())) return *stored;
  }
  const auto registered = fImpl->fRegisteredBools.find(key);
  return registered != fImpl->fRegisteredBools.end() && registered->second;
}

std::optional<std::string> IniUserDefaults::GetString(const std::string& key) const {
  const auto* value = fImpl->Find(key);
  if (!value) return {};
  return JoinedText(*value);
}

std::optional<std::vector<std::string>> IniUserDefaults::GetStringArray(const std::string& key) const {
  const auto* value = fImpl->Find(key);
  if (!value) return {};
  return *value;
}

void IniUserDefaults::SetBool(const std::string& key, bool value) {
  fImpl->Set(key, {value ? "true" : "false"});
}

void IniUserDefaults::SetString(const std::string& key, const std::string& value) {
  fImpl->Set(key, {value});
}

void IniUserDefaults::SetStringArray(const std::string& key, const std::vector<std::string>& value) {
  fImpl->Set(key, value);
}

UserDefaults::Condition IniUserDefaults::StoreCondition() const {
  return fImpl->StoreCondition();
}

bool IniUserDefaults::Synchronize() {
  return fImpl->Synchronize();
}

void IniUserDefaults::SetBeforeSaving(std::function<bool()> call, std::string keyPrefix) {
  fImpl->fBeforeSaving = std::move(call);
  fImpl->fHeldPrefix = std::move(keyPrefix);
}

}  // namespace vorn
