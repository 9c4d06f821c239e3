#include "notification/Queue.h"

#include <algorithm>
#include <utility>

namespace Notification {

bool Queue::Add(vorn::UserNotification notification, TimePoint now) {
  if (!fSlots.contains(notification.subject) && fSlots.size() >= kMaxSlots && !MakeRoom(now)) return false;
  notification.identifier = ++fLastIdentifier;
  notification.activationToken.clear();
  Slot& slot = fSlots[notification.subject];
  SetWaiting(slot, std::move(notification));
  return true;
}

void Queue::Restore(std::vector<KeptNotification> kept, TimePoint due) {
  for (KeptNotification& each : kept) {
    vorn::UserNotification& notification = each.notification;
    if (!fSlots.contains(notification.subject) && fSlots.size() >= kMaxSlots) continue;
    notification.identifier = ++fLastIdentifier;
    Slot& slot = fSlots[notification.subject];
    if (each.serverId == 0) {
      slot.quietUntil = due;
    } else {
      SetStanding(slot, notification, each.serverId);
      notification.playsDefaultSound = false;  // it has been heard
    }
    SetWaiting(slot, std::move(notification));
  }
}

std::vector<KeptNotification> Queue::Kept() const {
  std::vector<KeptNotification> kept;
  for (const auto& [subject, slot] : fSlots) {
    if (slot.standing) kept.push_back({*slot.standing, slot.serverId});
    const auto* waiting = slot.waiting ? &*slot.waiting : nullptr;
    if (!waiting && slot.inFlight && !slot.removeWhenDelivered) waiting = &*slot.inFlight;
    const bool stands = waiting && slot.standing && slot.standing->identifier == waiting->identifier;
    if (waiting && !stands) kept.push_back({*waiting, 0});
  }
  std::sort(kept.begin(), kept.end(), [](const KeptNotification& one, const KeptNotification& other) {
    return one.notification.identifier < other.notification.identifier;
  });
  return kept;
}

std::optional<Queue::Sending> Queue::Take(TimePoint now) {
  if (IsHeldBack() || NobodyBefore() > now) return {};
  if (fFullUntil != TimePoint::min()) EndRefusals();
  for (const auto& [identifier, subject] : fWaiting) {
    Slot& slot = fSlots[subject];
    if (slot.inFlight || slot.quietUntil > now) continue;
    fPaidUntil = std::max(fPaidUntil, now) + fTiming.pace;
    fRefused.erase(subject);
    slot.inFlight = std::move(slot.waiting);
    slot.waiting.reset();
    slot.removeWhenDelivered = false;
    fInFlight[identifier] = subject;
    fWaiting.erase(identifier);
    return Sending{*slot.inFlight, slot.serverId};
  }
  return {};
}

std::optional<Queue::TimePoint> Queue::NextDue() const {
  std::optional<TimePoint> next;
  if (IsHeldBack()) return next;
  for (const auto& [identifier, subject] : fWaiting) {
    const Slot& slot = fSlots.at(subject);
    if (!slot.inFlight && (!next || slot.quietUntil < *next)) next = slot.quietUntil;
  }
  if (next) next = std::max(*next, NobodyBefore());
  return next;
}

std::vector<std::uint32_t> Queue::Delivered(std::uint64_t identifier, std::uint32_t serverId, TimePoint now) {
  Slot* slot = FindInFlight(identifier);
  if (!slot) return {};
  std::vector<std::uint32_t> toClose;
  if (slot->serverId != 0 && slot->serverId != serverId) toClose.push_back(slot->serverId);
  PutRefusedLast();
  if (fWaiting.empty()) fIsCautious = false;
  slot->losses = 0;
  slot->quietUntil = now + fTiming.quietTime;
  const vorn::UserNotification shown = *slot->inFlight;
  const bool isUnwanted = std::exchange(slot->removeWhenDelivered, false);
  EndInFlight(*slot);
  EndStanding(*slot);
  if (serverId != 0 && isUnwanted) toClose.push_back(serverId);
  if (serverId != 0 && !isUnwanted) SetStanding(*slot, shown, serverId);
  return toClose;
}

bool Queue::Failed(std::uint64_t identifier, Answer answer, TimePoint now) {
  Slot* slot = FindInFlight(identifier);
  if (!slot) return true;
  const bool isGivenUp = !NoteFailure(*slot, answer, now);
  // What was announced since is newer, and what was removed is not wanted.
  const bool waitsAgain = !isGivenUp && !slot->waiting && !slot->removeWhenDelivered;
  if (waitsAgain) SetWaiting(*slot, *slot->inFlight);
  EndInFlight(*slot);
  return !isGivenUp;
}

// False if the notification must be given up.
bool Queue::NoteFailure(Slot& slot, Answer answer, TimePoint now) {
  switch (answer) {
    case Answer::kOk:
      return true;  // no failure
    case Answer::kNoServer:
      fPaidUntil -= fTiming.pace;  // nobody has seen it
      return true;
    case Answer::kRefused:
      fPaidUntil -= fTiming.pace;
      slot.quietUntil = now + fTiming.quietTime;
      fIsCautious = true;
      fRefused.insert(slot.inFlight->subject);
      if (fRefused.size() > 1) fFullUntil = slot.quietUntil;
      return true;
    case Answer::kLost:
      break;
  }
  if (++slot.losses > 1) slot.quietUntil = now + fTiming.quietTime;
  if (slot.losses < kMaxFailures) return true;
  slot.losses = 0;
  return false;
}

// What was refused may be tried at once.
void Queue::EndRefusals() {
  for (const auto& subject : fRefused) fSlots.at(subject).quietUntil = TimePoint::min();
  fRefused.clear();
  fFullUntil = TimePoint::min();
}

// The server takes others, so these are refused for what they are.
void Queue::PutRefusedLast() {
  for (const auto& subject : fRefused) {
    Slot& slot = fSlots.at(subject);
    if (!slot.waiting) continue;
    vorn::UserNotification notification = *slot.waiting;
    const bool stands = slot.standing && slot.standing->identifier == notification.identifier;
    notification.identifier = ++fLastIdentifier;
    if (stands) slot.standing->identifier = notification.identifier;  // the two stay one notification
    SetWaiting(slot, std::move(notification));
  }
  fRefused.clear();
  fFullUntil = TimePoint::min();
}

std::size_t Queue::ServerChanged(TimePoint now) {
  EndRefusals();
  fIsCautious = false;
  for (auto& [subject, slot] : fSlots) EndStanding(slot);
  std::size_t givenUp = 0;
  while (!fInFlight.empty()) {
    if (!Failed(fInFlight.begin()->first, Answer::kLost, now)) ++givenUp;
  }
  return givenUp;
}

vorn::UserNotification* Queue::FindStanding(std::uint32_t serverId) {
  const auto found = fStanding.find(serverId);
  return found == fStanding.end() ? nullptr : fSlots.at(found->second).standing.operator->();
}

void Queue::Closed(std::uint32_t serverId) {
  EndRefusals();
  const auto found = fStanding.find(serverId);
  if (found != fStanding.end()) EndStanding(fSlots.at(found->second));
}

std::uint32_t Queue::Remove(std::uint64_t identifier) {
  for (const auto& [serverId, subject] : fStanding) {
    Slot& slot = fSlots.at(subject);
    if (slot.standing->identifier != identifier) continue;
    const std::uint32_t toClose = serverId;
    EndStanding(slot);
    return toClose;
  }
  const auto waiting = fWaiting.find(identifier);
  if (waiting != fWaiting.end()) {
    DropWaiting(fSlots.at(waiting->second));
  } else if (Slot* slot = FindInFlight(identifier)) {
    slot->removeWhenDelivered = true;
  }
  return 0;
}

bool Queue::ForgetWaiting(const std::string& subject) {
  const auto found = fSlots.find(subject);
  if (found == fSlots.end() || !found->second.HasUnshown()) return false;
  ForgetUnshown(found->second);
  return true;
}

void Queue::ForgetAllWaiting() {
  for (auto& [subject, slot] : fSlots) ForgetUnshown(slot);
}

Queue::Slot* Queue::FindInFlight(std::uint64_t identifier) {
  const auto found = fInFlight.find(identifier);
  return found == fInFlight.end() ? nullptr : &fSlots.at(found->second);
}

bool Queue::MakeRoom(TimePoint now) {
  std::erase_if(fSlots, [now, this](const auto& entry) {
    return entry.second.IsIdle() && entry.second.quietUntil <= now && !fRefused.contains(entry.first);
  });
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
  fRefused.erase(oldest->first);  // it names only subjects that are held
  fSlots.erase(oldest);
  return true;
}

// The first moment at which anything may be sent at all.
Queue::TimePoint Queue::NobodyBefore() const {
  if (fPaidUntil == TimePoint::min()) return fFullUntil;
  return std::max(fFullUntil, fPaidUntil - (kBurst - 1) * fTiming.pace);
}

void Queue::SetWaiting(Slot& slot, vorn::UserNotification notification) {
  DropWaiting(slot);
  fWaiting[notification.identifier] = notification.subject;
  slot.waiting = std::move(notification);
}

void Queue::SetStanding(Slot& slot, vorn::UserNotification notification, std::uint32_t serverId) {
  EndStanding(slot);
  // If the server gives an id twice, it means the later notification.
  const auto other = fStanding.find(serverId);
  if (other != fStanding.end()) EndStanding(fSlots.at(other->second));
  fStanding[serverId] = notification.subject;
  slot.serverId = serverId;
  slot.standing = std::move(notification);
}

void Queue::DropWaiting(Slot& slot) {
  if (slot.waiting) fWaiting.erase(slot.waiting->identifier);
  slot.waiting.reset();
}

void Queue::ForgetUnshown(Slot& slot) {
  DropWaiting(slot);
  slot.removeWhenDelivered = slot.inFlight.has_value();
}

void Queue::EndInFlight(Slot& slot) {
  fInFlight.erase(slot.inFlight->identifier);
  slot.inFlight.reset();
  slot.removeWhenDelivered = false;
}

// With what stands ends also what was to bring it up once more.
void Queue::EndStanding(Slot& slot) {
  if (!slot.standing) return;
  const auto identifier = slot.standing->identifier;
  fStanding.erase(slot.serverId);
  slot.standing.reset();
  slot.serverId = 0;
  if (slot.waiting && slot.waiting->identifier == identifier) DropWaiting(slot);
  if (slot.inFlight && slot.inFlight->identifier == identifier) slot.removeWhenDelivered = true;
}

}  // namespace Notification
