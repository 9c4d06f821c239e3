#include "platform/linux/NoticeQueue.h"

#include <algorithm>
#include <utility>

namespace vorn {

bool NoticeQueue::Add(UserNotification notification, TimePoint now) {
  if (!fSlots.contains(notification.subject) && fSlots.size() >= kMaxSlots && !MakeRoom(now)) return false;
  notification.identifier = ++fLastIdentifier;
  notification.activationToken.clear();
  Slot& slot = fSlots[notification.subject];
  if (slot.waiting) fWaiting.erase(slot.waiting->identifier);
  SetWaiting(slot, std::move(notification));
  return true;
}

optional<NoticeQueue::Sending> NoticeQueue::Take(TimePoint now) {
  for (const auto& [identifier, subject] : fWaiting) {
    Slot& slot = fSlots[subject];
    if (slot.inFlight || slot.quietUntil > now) continue;
    slot.inFlight = std::move(slot.waiting);
    slot.removeWhenDelivered = false;
    fInFlight[identifier] = subject;
    fWaiting.erase(identifier);
    return Sending{*slot.inFlight, slot.serverId};
  }
  return {};
}

optional<NoticeQueue::TimePoint> NoticeQueue::NextDue() const {
  optional<TimePoint> next;
  for (const auto& [identifier, subject] : fWaiting) {
    const Slot& slot = fSlots.at(subject);
    if (!slot.inFlight && (!next || slot.quietUntil < *next)) next = slot.quietUntil;
  }
  return next;
}

std::vector<std::uint32_t> NoticeQueue::Delivered(std::uint64_t identifier, std::uint32_t serverId,
                                                  TimePoint now) {
  Slot* slot = FindInFlight(identifier);
  if (!slot) return {};
  std::vector<std::uint32_t> toClose;
  const std::uint32_t oldId = slot->serverId;
  if (oldId != 0 && oldId != serverId) toClose.push_back(oldId);
  Forget(oldId);
  Forget(serverId);  // an id that the server gives twice means the later notice
  slot->failures = 0;
  slot->quietUntil = now + fQuietTime;
  if (serverId != 0 && slot->removeWhenDelivered) toClose.push_back(serverId);
  if (serverId != 0 && !slot->removeWhenDelivered) {
    fStanding[serverId] = slot->inFlight->subject;
    slot->serverId = serverId;
    slot->standing = *slot->inFlight;
  }
  EndInFlight(*slot);
  return toClose;
}

bool NoticeQueue::Failed(std::uint64_t identifier, Failure failure, TimePoint now) {
  Slot* slot = FindInFlight(identifier);
  if (!slot) return true;
  if (failure != Failure::kNoServer) ++slot->failures;
  const bool isDueAtOnce =
      failure == Failure::kNoServer || (failure == Failure::kServerChanged && slot->failures == 1);
  if (!isDueAtOnce) slot->quietUntil = now + fQuietTime;
  const bool isGivenUp = slot->failures >= kMaxFailures;
  if (isGivenUp) slot->failures = 0;
  // What was announced since is newer, and what was removed is not wanted.
  if (!isGivenUp && !slot->waiting && !slot->removeWhenDelivered) SetWaiting(*slot, *slot->inFlight);
  EndInFlight(*slot);
  return !isGivenUp;
}

void NoticeQueue::ServerChanged() {
  fStanding.clear();
  for (auto& [subject, slot] : fSlots) {
    slot.standing.reset();
    slot.serverId = 0;
  }
}

UserNotification* NoticeQueue::FindStanding(std::uint32_t serverId) {
  const auto found = fStanding.find(serverId);
  return found == fStanding.end() ? nullptr : fSlots.at(found->second).standing.operator->();
}

void NoticeQueue::Closed(std::uint32_t serverId) {
  Forget(serverId);
}

std::uint32_t NoticeQueue::Remove(std::uint64_t identifier) {
  const auto waiting = fWaiting.find(identifier);
  if (waiting != fWaiting.end()) {
    fSlots.at(waiting->second).waiting.reset();
    fWaiting.erase(waiting);
    return 0;
  }
  if (Slot* slot = FindInFlight(identifier)) {
    slot->removeWhenDelivered = true;
    return 0;
  }
  for (const auto& [serverId, subject] : fStanding) {
    if (fSlots.at(subject).standing->identifier != identifier) continue;
    const std::uint32_t toClose = serverId;
    Forget(toClose);
    return toClose;
  }
  return 0;
}

NoticeQueue::Slot* NoticeQueue::FindInFlight(std::uint64_t identifier) {
  const auto found = fInFlight.find(identifier);
  return found == fInFlight.end() ? nullptr : &fSlots.at(found->second);
}

bool NoticeQueue::MakeRoom(TimePoint now) {
  std::erase_if(fSlots,
                [now](const auto& entry) { return entry.second.IsIdle() && entry.second.quietUntil <= now; });
  if (fSlots.size() < kMaxSlots) return true;
  auto oldest = fSlots.end();
  for (auto slot = fSlots.begin(); slot != fSlots.end(); ++slot) {
    if (!slot->second.standing || slot->second.waiting || slot->second.inFlight) continue;
    if (oldest == fSlots.end() || slot->second.standing->identifier < oldest->second.standing->identifier) {
      oldest = slot;
    }
  }
  if (oldest == fSlots.end()) return false;
  fStanding.erase(oldest->second.serverId);
  fSlots.erase(oldest);
  return true;
}

void NoticeQueue::SetWaiting(Slot& slot, UserNotification notification) {
  fWaiting[notification.identifier] = notification.subject;
  slot.waiting = std::move(notification);
}

void NoticeQueue::EndInFlight(Slot& slot) {
  fInFlight.erase(slot.inFlight->identifier);
  slot.inFlight.reset();
  slot.removeWhenDelivered = false;
}

void NoticeQueue::Forget(std::uint32_t serverId) {
  const auto found = fStanding.find(serverId);
  if (found == fStanding.end()) return;
  Slot& slot = fSlots.at(found->second);
  slot.standing.reset();
  slot.serverId = 0;
  fStanding.erase(found);
}

}  // namespace vorn
