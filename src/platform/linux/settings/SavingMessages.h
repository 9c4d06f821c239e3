#pragma once

#include <set>
#include <string>

#include "platform/linux/settings/SettingsFile.h"

namespace vorn {

/// What the console says about reading and saving a settings file. It says a failure once, and the next
/// success after it.
///
/// @threadsafety One thread at a time, and none while another one uses the file.
class SavingMessages {
 public:
  /// The file must live longer.
  explicit SavingMessages(const SettingsFile& file) : fFile(file) {}

  void TellSuccess(bool isSaving);
  void TellFailure(bool isSaving);

  /// At the end: names the keys of the changes that were not saved, each key once.
  void TellLost(const SettingsFile::Changes& changes);
  [[nodiscard]] bool HasToldLost() const { return !fNamed.empty(); }

 private:
  const SettingsFile& fFile;
  std::set<std::string> fNamed;  ///< the keys that TellLost has named
  bool fFailureTold = false;     ///< until the next success
};

}  // namespace vorn
