#include "platform/linux/settings/IniUserDefaults.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "foundation/RunLoopTimer.h"
#include "foundation/Strings.h"
#include "platform/linux/dispatch/GuardedJob.h"
#include "platform/linux/files/UserFolders.h"
#include "platform/linux/settings/SavingMessages.h"
#include "platform/linux/settings/SavingThread.h"
#include "platform/linux/settings/SettingsFile.h"

namespace vorn {
namespace {

using namespace std::chrono_literals;
using Outcome = SettingsFile::Outcome;

constexpr auto kLockPatience = 200ms;  // of a caller who waits for the save
constexpr int kBusyPauses = 5;         // before the console says so: others have the lock for a moment

constexpr auto kLongAgo = Clock::time_point::min();
constexpr auto kNotDue = Clock::time_point::max();

std::optional<bool> ToBool(const std::string& text) {
  for (const char* word : {"true", "yes", "on", "1"}) {
    if (EqualIgnoringASCIICase(text, word)) return true;
  }
  for (const char* word : {"false", "no", "off", "0"}) {
    if (EqualIgnoringASCIICase(text, word)) return false;
  }
  return {};
}

// A handwritten text without quotes that contains a comma reads as an array.
std::string JoinedText(const IniDocument::Value& value) {
  std::string text = value.front();
  for (std::size_t i = 1; i < value.size(); ++i) text += "," + value[i];
  return text;
}

}  // namespace

class IniUserDefaults::Impl {
 public:
  Impl(std::filesystem::path path, Timing timing, SettingsFile::Access access,
       const std::shared_ptr<RunLoop>& loop, Now now)
      : fTiming(timing), fNow(std::move(now)), fFile(std::move(path), access) {
    if (loop) {
      fTimer.emplace(loop, kNever, [this] { RunGuarded([this] { Save(); }); });
      fThread.emplace(loop, [this] { RunGuarded([this] { Finish(); }); });
    }
    Synchronize(loop ? 0ms : kLockPatience);
  }

  /// An array without elements reads as nothing.
  [[nodiscard]] std::optional<IniDocument::Value> Find(const std::string& key) const {
    const auto unsaved = fUnsaved.find(key);
    auto value = unsaved != fUnsaved.end() ? unsaved->second : fDocument->Find(key);
    if (value && value->empty()) value.reset();
    return value;
  }

  void Set(const std::string& key, IniDocument::Value value) {
    // Do not compare with the document: the file may have another value by now.
    const auto unsaved = fUnsaved.find(key);
    if (unsaved != fUnsaved.end() && unsaved->second == value) return;
    fUnsaved[key] = std::move(value);
    SaveSoon();
  }

  void SaveSoon() {
    if (fUnsaved.empty()) return;
    if (!fTimer) {
      Synchronize(kLockPatience);
    } else if (fThread->IsRunning()) {
      fIsAgainDue = true;
    } else {
      SetDue(std::min(fDue, fLastSave + fTiming.pause));
    }
  }

  bool Synchronize(std::chrono::milliseconds patience) {
    if (fThread && fThread->Await()) TakeOver();
    fIsAgainDue = false;
    Prepare(fEarlier.save);
    fOutcome = fFile.Synchronize(fSaving, patience);
    return TakeOver();
  }

  void SaveAtEnd() {
    if (!Synchronize(fMessages.HasToldLost() ? 0ms : fTiming.atEnd)) fMessages.TellLost(fUnsaved);
  }

  [[nodiscard]] bool IsSaved() const { return fUnsaved.empty(); }
  [[nodiscard]] Condition StoreCondition() const { return fCondition; }

  std::map<std::string, bool> fRegisteredBools;
  Earlier fEarlier;
  std::string fHeldPrefix;  ///< the keys that are not saved before the earlier store
  std::function<void()> fAfterSaving;

 private:
  void Save() {
    if (fThread->IsRunning()) return;
    Prepare(fEarlier.isSaved);
    fThread->Start([this] { fOutcome = fFile.Synchronize(fSaving, 0ms); });
  }

  void Finish() {
    TakeOver();
    if (std::exchange(fIsAgainDue, false)) SaveSoon();
    if (fAfterSaving) fAfterSaving();
  }

  void Prepare(const std::function<bool()>& isEarlierSaved) {
    SetDue(kNotDue);
    fSaving = fUnsaved;
    if (isEarlierSaved && !isEarlierSaved()) {
      std::erase_if(fSaving, [this](const auto& change) { return change.first.starts_with(fHeldPrefix); });
    }
    if (!fSaving.empty()) fLastSave = fNow();
  }

  // The result of a save. Whether nothing is unsaved.
  bool TakeOver() {
    fDocument = fFile.Document();
    fCondition = fFile.FileCondition();
    const auto now = fNow();
    fBusySince = fOutcome == Outcome::kBusy ? std::min(fBusySince, now) : kNotDue;
    const bool isBusy = fOutcome == Outcome::kBusy && now - fBusySince < kBusyPauses * fTiming.pause;
    if (fOutcome == Outcome::kSaved) {
      std::erase_if(fUnsaved, [this](const auto& change) {
        const auto saved = fSaving.find(change.first);
        return saved != fSaving.end() && saved->second == change.second;
      });
      fMessages.TellSuccess(!fSaving.empty());
      if (fUnsaved.empty()) return true;
    } else if (!isBusy) {
      fMessages.TellFailure(!fUnsaved.empty());
    }
    SetDue(std::min(fDue, now + (isBusy ? fTiming.pause : fTiming.retryAfter)));
    return false;
  }

  void SetDue(Clock::time_point due) {
    fDue = due;
    if (!fTimer) return;
    if (due == kNotDue) return fTimer->SetNextFireDate(kNever);
    const auto now = fNow();
    fTimer->FireAfter(std::max(due, now) - now);  // `due` may be long ago
  }

  const Timing fTiming;
  const Now fNow;
  SettingsFile fFile;             ///< while fThread runs, only it may use this and the next two
  SettingsFile::Changes fSaving;  ///< the changes that are, or were last, to be saved
  Outcome fOutcome = Outcome::kFailed;
  std::shared_ptr<const IniDocument> fDocument;  ///< the file as it was after the last save
  Condition fCondition = Condition::kUnread;     ///< the same
  SettingsFile::Changes fUnsaved;                ///< changes that the file does not have yet
  SavingMessages fMessages{fFile};               ///< never speaks while fThread runs
  Clock::time_point fLastSave = kLongAgo;        ///< so that the first change need not wait
  Clock::time_point fDue = kNotDue;              ///< of the next save
  bool fIsAgainDue = false;                      ///< after the save that runs
  Clock::time_point fBusySince = kNotDue;        ///< the first of the last tries, if all met a held lock
  std::optional<RunLoopTimer> fTimer;            ///< saves when a save is due; none without a run loop
  std::optional<SavingThread> fThread;           ///< last, because it uses the above; none without a run loop
};

std::filesystem::path UserSettingsPath() {
  const auto folder = OwnSettingsFolder();
  return folder.empty() ? folder : folder / "settings.conf";
}

IniUserDefaults::IniUserDefaults(const std::filesystem::path& path)
    : IniUserDefaults(path, nullptr, Timing()) {}

IniUserDefaults::IniUserDefaults(const std::filesystem::path& path, const std::shared_ptr<RunLoop>& loop,
                                 Timing timing, Now now)
    : fImpl(std::make_unique<Impl>(path, timing, SettingsFile::Access::kReadWrite, loop, std::move(now))) {}

IniUserDefaults::IniUserDefaults(std::unique_ptr<Impl> impl) : fImpl(std::move(impl)) {}

IniUserDefaults IniUserDefaults::ReadOnly(const std::filesystem::path& path) {
  return IniUserDefaults(
      std::make_unique<Impl>(path, Timing(), SettingsFile::Access::kReadOnly, nullptr, Clock::now));
}

IniUserDefaults::~IniUserDefaults() {
  RunGuarded([this] { fImpl->SaveAtEnd(); });
}

void IniUserDefaults::RegisterBool(const std::string& key, bool value) {
  fImpl->fRegisteredBools[key] = value;
}

bool IniUserDefaults::GetBool(const std::string& key) const {
  if (const auto value = fImpl->Find(key)) {
    if (const auto stored = ToBool(value->front())) return *stored;
  }
  const auto registered = fImpl->fRegisteredBools.find(key);
  return registered != fImpl->fRegisteredBools.end() && registered->second;
}

std::optional<std::string> IniUserDefaults::GetString(const std::string& key) const {
  const auto value = fImpl->Find(key);
  if (!value) return {};
  return JoinedText(*value);
}

std::optional<std::vector<std::string>> IniUserDefaults::GetStringArray(const std::string& key) const {
  return fImpl->Find(key);
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

bool IniUserDefaults::IsSaved() const {
  return fImpl->IsSaved();
}

bool IniUserDefaults::Synchronize() {
  return fImpl->Synchronize(kLockPatience);
}

void IniUserDefaults::SaveAtEnd() {
  fImpl->SaveAtEnd();
}

void IniUserDefaults::SetEarlier(Earlier earlier, std::string keyPrefix) {
  fImpl->fEarlier = std::move(earlier);
  fImpl->fHeldPrefix = std::move(keyPrefix);
}

void IniUserDefaults::SetAfterSaving(std::function<void()> call) {
  fImpl->fAfterSaving = std::move(call);
}

void IniUserDefaults::SaveSoon() {
  fImpl->SaveSoon();
}

}  // namespace vorn
