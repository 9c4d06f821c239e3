#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/UserDefaults.h"

namespace vorn::testing {

/// A store in memory. Tests can see and change its values.
class FakeUserDefaults final : public UserDefaults {
 public:
  void RegisterBool(const std::string& key, bool value) override { fRegisteredBools[key] = value; }

  [[nodiscard]] bool GetBool(const std::string& key) const override {
    if (fBools.contains(key)) return fBools.at(key);
    return fRegisteredBools.contains(key) && fRegisteredBools.at(key);
  }
  [[nodiscard]] std::optional<std::string> GetString(const std::string& key) const override {
    if (fStrings.contains(key)) return fStrings.at(key);
    return {};
  }
  [[nodiscard]] std::optional<std::vector<std::string>> GetStringArray(
      const std::string& key) const override {
    if (fArrays.contains(key)) return fArrays.at(key);
    return {};
  }

  void SetBool(const std::string& key, bool value) override { fBools[key] = value; }
  void SetString(const std::string& key, const std::string& value) override { fStrings[key] = value; }
  void SetStringArray(const std::string& key, const std::vector<std::string>& value) override {
    fArrays[key] = value;
    if (fOnArrayStored) fOnArrayStored();
  }
  [[nodiscard]] Condition StoreCondition() const override { return fCondition; }
  [[nodiscard]] bool IsSaved() const override { return fCanSave; }
  bool Synchronize() override { return fCanSave; }

  std::map<std::string, bool> fBools;
  std::map<std::string, std::string> fStrings;
  std::map<std::string, std::vector<std::string>> fArrays;
  std::function<void()> fOnArrayStored;
  Condition fCondition = Condition::kWhole;
  bool fCanSave = true;

 private:
  std::map<std::string, bool> fRegisteredBools;
};

}  // namespace vorn::testing
