#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "virtualentity/MenuDescription.h"

namespace vorn {

/// The user's latest choices, by which the tool's answers are judged: an answer
/// may be older than a choice, or than what the tool does about one. Any thread.
class LatestChoices : public std::enable_shared_from_this<LatestChoices> {
 public:
  /// Orders questions and choices; a later one is greater.
  using Moment = std::uint64_t;

  /// The moment of a question that is about to be asked.
  [[nodiscard]] Moment Ask();

  /// The user chose this for the item of the title. The tool counts as running
  /// until the last copy of the returned pointer is gone.
  [[nodiscard]] std::shared_ptr<const void> Begin(const std::string& title, bool on);

  /// Whether an answer still counts: nothing was chosen since its question, and
  /// no tool has finished since. Then the items that a tool is still at, if
  /// there is a menu, get the marks that were chosen for them.
  [[nodiscard]] bool Accept(Moment asked, MenuDescription* menu);

 private:
  struct Choice {
    bool on = false;
    int tools = 0;  // that run for this choice
  };

  void Finish(const std::string& title);

  std::mutex fMutex;  // guards the rest
  Moment fNow = 0;
  Moment fLatest = 0;  // of a choice, or of a tool's end
  std::map<std::string, Choice> fUnderWay;
};

}  // namespace vorn
