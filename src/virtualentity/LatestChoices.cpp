#include "virtualentity/LatestChoices.h"

namespace vorn {

LatestChoices::Moment LatestChoices::Ask() {
  const std::lock_guard lock(fMutex);
  return ++fNow;
}

std::shared_ptr<const void> LatestChoices::Begin(const std::string& title, bool on) {
  const std::lock_guard lock(fMutex);
  fLatest = ++fNow;
  Choice& choice = fUnderWay[title];
  choice.on = on;
  ++choice.tools;
  return {this, [self = shared_from_this(), title](const void*) { self->Finish(title); }};
}

bool LatestChoices::Accept(Moment asked, MenuDescription* menu) {
  const std::lock_guard lock(fMutex);
  if (asked < fLatest) return false;
  if (menu == nullptr) return true;
  for (auto& item : menu->items) {
    const auto choice = fUnderWay.find(item.title);
    if (choice != fUnderWay.end()) item.on = choice->second.on;
  }
  return true;
}

void LatestChoices::Finish(const std::string& title) {
  const std::lock_guard lock(fMutex);
  fLatest = ++fNow;
  const auto choice = fUnderWay.find(title);
  if (--choice->second.tools == 0) fUnderWay.erase(choice);
}

}  // namespace vorn
