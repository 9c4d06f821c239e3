#pragma once

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "devicelist/Poller.h"
#include "devicelist/PollerImpl.h"

namespace DeviceList::testing {

/// The fake pollers alive, in the order of their making, and what became of
/// all: "made URL", "gone URL". Belongs to one thread.
struct PollerBoard {
  std::vector<class FakePoller*> alive;
  std::vector<std::string> events;

  /// The living poller of a unit; null if there is none.
  [[nodiscard]] FakePoller* Of(const std::string& url) const;
};

/// A poller without a thread: the test chooses what the unit says.
class FakePoller final : public Poller {
 public:
  FakePoller(Entry entry, PollerBoard& board) : FakePoller(new Impl(std::move(entry)), board) {}
  ~FakePoller() override {
    std::erase(fBoard.alive, this);
    fBoard.events.push_back("gone " + GetEntry().url);
  }
  FakePoller(const FakePoller&) = delete;
  FakePoller& operator=(const FakePoller&) = delete;

  void Answer();
  void SayName(vorn::optional<std::string> name);
  void SayFirmware(vorn::optional<std::string> version);
  void SayModel(vorn::optional<std::string> model);

 private:
  class Impl final : public Poller::Impl {
   public:
    explicit Impl(Entry entry) : Poller::Impl(std::move(entry), nullptr, std::chrono::seconds(1)) {}
    using Poller::Impl::NoteAnswer;
    using Poller::Impl::SetFirmwareVersion;
    using Poller::Impl::SetModelID;
    using Poller::Impl::SetName;
  };

  FakePoller(Impl* impl, PollerBoard& board)
      : Poller(std::unique_ptr<Poller::Impl>(impl)), fOwn(*impl), fBoard(board) {
    fBoard.alive.push_back(this);
    fBoard.events.push_back("made " + GetEntry().url);
  }

  Impl& fOwn;
  PollerBoard& fBoard;
};

inline void FakePoller::Answer() {
  fOwn.NoteAnswer();
}
inline void FakePoller::SayName(vorn::optional<std::string> name) {
  fOwn.SetName(std::move(name));
}
inline void FakePoller::SayFirmware(vorn::optional<std::string> version) {
  fOwn.SetFirmwareVersion(std::move(version));
}
inline void FakePoller::SayModel(vorn::optional<std::string> model) {
  fOwn.SetModelID(std::move(model));
}

inline FakePoller* PollerBoard::Of(const std::string& url) const {
  const auto found = std::find_if(alive.begin(), alive.end(),
                                  [&](const auto* poller) { return poller->GetEntry().url == url; });
  return found == alive.end() ? nullptr : *found;
}

}  // namespace DeviceList::testing
