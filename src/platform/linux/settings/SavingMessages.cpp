#include "platform/linux/settings/SavingMessages.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "foundation/Console.h"

namespace vorn {
namespace {

constexpr std::size_t kMaxKeysNamed = 10;

}  // namespace

void SavingMessages::TellSuccess(bool isSaving) {
  if (!std::exchange(fFailureTold, false)) return;
  WriteToConsole(fFile.Path().string() + (isSaving ? " is saved again" : " can be read again"));
}

void SavingMessages::TellFailure(bool isSaving) {
  if (std::exchange(fFailureTold, true)) return;
  WriteToConsole(
      (isSaving ? "Cannot save " : "Cannot read ") + fFile.Path().string() + " (" + fFile.Failure() +
      (isSaving ? "); changes are kept in memory until it works" : "); it counts as empty until it works"));
}

void SavingMessages::TellLost(const SettingsFile::Changes& changes) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : changes) {
    if (fNamed.insert(key).second) keys.push_back(Excerpt(key));
  }
  if (keys.empty()) return;
  fFailureTold = true;  // a later success must be told too
  const auto& failure = fFile.Failure();
  std::string text = "Not saved in " + fFile.Path().string() + " (" +
                     (failure.empty() ? "another file must be saved before" : failure) + "): " + keys.front();
  const auto count = std::min(keys.size(), kMaxKeysNamed);
  for (std::size_t i = 1; i < count; ++i) text += ", " + keys[i];
  if (count < keys.size()) text += " and " + std::to_string(keys.size() - count) + " more";
  WriteToConsole(text);
}

}  // namespace vorn
