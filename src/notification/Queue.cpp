#include "notification/Queue.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace Notification {

std::size_t SizeOf(const vorn::UserNotification& notification) {
  constexpr std::size_t kMore = 64;  // its place, whether it has a sound, and what separates the texts
  std::size_t size = kMore + notification.subject.size() + notification.source.size() +
                     notification.title.size() + notification.informativeText.size();
  for (const auto& [key, value] : notification.userInfo) size += key.size() + value.size();
  return size;
}

bool Queue::Add(vorn::UserNotification notification, TimePoint now) {
  if (const auto found = fSlots.find(notification.subject); found != fSlots.end()) DropWaiting(found->second);
  const bool lostNone = MakeRoom(SizeOf(notification));
  DropIdleSlots(now);
  notification.identifier = ++fLastIdentifier;
  notification.activationToken.clear();
  Slot& slot = fSlots[notification.subject];
  SetWaiting(slot, std::move(notification));
  return lostNone;
}

void Queue::Restore(std::vector<KeptNotification> kept, TimePoint due) {
  for (KeptNotification& each : kept) {
    vorn::UserNotification& notification = each.notification;
    if (!fSlots.contains(notification.subject) && fSlots.size() >= kMaxNotifications) continue;
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

void Queue::LeaveStanding() {
  for (auto& [subject, slot] : fSlots) {
    if (slot.waiting && slot.Stands(*slot.waiting)) DropWaiting(slot);
  }
}

std::vector<KeptNotification> Queue::Kept() const {
  std::vector<KeptNotification> kept;
  for (const Held& held : AllHeld()) kept.push_back({*held.notification, held.serverId});
  std::sort(kept.begin(), kept.end(), [](const KeptNotification& one, const KeptNotification& other) {
    return one.notification.identifier < other.notification.identifier;
  });
  return kept;
}

std::vector<Queue::Held> Queue::AllHeld() const {
  std::vector<Held> held;
  for (const auto& [subject, slot] : fSlots) {
    if (slot.standing) held.push_back({&*slot.standing, slot.serverId});
    const auto* unshown = slot.waiting ? &*slot.waiting : nullptr;
    if (!unshown && slot.inFlight && !slot.removeWhenDelivered) unshown = &*slot.inFlight;
    if (unshown && !slot.Stands(*unshown)) held.push_back({unshown, 0});
  }
  return held;
}

std::optional<Queue::Sending> Queue::Take(TimePoint now) {
  if (IsHeldBack() || NobodyBefore() > now) return {};
  if (fFullUntil != TimePoint::min()) EndRefusals();
  const auto next = NextInTurn(now);
  if (next == fWaiting.end()) return {};
  Slot& slot = fSlots.at(next->second);
  if (!slot.Stands(*slot.waiting)) fPaidUntil = std::max(fPaidUntil, now) + fTiming.pace;
  fRefused.erase(next->second);
  slot.inFlight = std::move(slot.waiting);
  slot.waiting.reset();
  slot.removeWhenDelivered = false;
  fInFlight.insert(*next);
  fWaiting.erase(next);
  return Sending{*slot.inFlight, slot.serverId};
}

// A subject's own time tells whether it was shown lately.
Queue::Waiting::iterator Queue::NextInTurn(TimePoint now) {
  struct Turn {
    Waiting::iterator oldest;
    std::size_t shown = 0;
  };
  std::map<std::string_view, Turn> turns;  // by source
  const auto isDue = [now](const Slot& slot) { return !slot.inFlight && slot.quietUntil <= now; };
  for (auto waiting = fWaiting.begin(); waiting != fWaiting.end(); ++waiting) {
    const Slot& slot = fSlots.at(waiting->second);
    if (isDue(slot)) turns.try_emplace(slot.source, Turn{waiting});
  }
  if (turns.empty()) return fWaiting.end();
  if (turns.size() == 1) return turns.begin()->second.oldest;
  for (const auto& [subject, slot] : fSlots) {
    const auto turn = turns.find(slot.source);
    if (turn != turns.end() && !isDue(slot)) ++turn->second.shown;
  }
  const auto next = std::min_element(turns.begin(), turns.end(), [](const auto& one, const auto& other) {
    return std::pair(one.second.shown, one.second.oldest->first) <
           std::pair(other.second.shown, other.second.oldest->first);
  });
  return next->second.oldest;
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
  if (!slot->Stands(*slot->inFlight)) slot->quietUntil = now + fTiming.quietTime;
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
      if (!slot.Stands(*slot.inFlight)) fPaidUntil -= fTiming.pace;  // nobody has seen it
      return true;
    case Answer::kRefused:
      if (!slot.Stands(*slot.inFlight)) fPaidUntil -= fTiming.pace;
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
    const bool stands = slot.Stands(notification);
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

// False if what had to go still waited.
bool Queue::MakeRoom(std::size_t size) {
  bool lostNone = true;
  for (;;) {
    const auto held = AllHeld();
    std::size_t all = size;
    for (const Held& each : held) all += SizeOf(*each.notification);
    if (held.size() < kMaxNotifications && all <= kMaxSize) return lostNone;
    const Held* oldest = OldestOfFullestSource(held);
    if (!oldest) return lostNone;
    Slot& slot = fSlots.at(oldest->notification->subject);
    lostNone = lostNone && oldest->serverId != 0;
    if (oldest->serverId != 0) {
      EndStanding(slot);
    } else {
      DropWaiting(slot);
    }
  }
}

// Leaves out what the server has to answer for. Null if nothing else is held.
const Queue::Held* Queue::OldestOfFullestSource(const std::vector<Held>& held) const {
  std::map<std::string_view, std::size_t> sizes;  // by source
  for (const Held& each : held) sizes[each.notification->source] += SizeOf(*each.notification);
  const auto isBefore = [&sizes](const Held& one, const Held& other) {
    const auto size = sizes[one.notification->source];
    const auto otherSize = sizes[other.notification->source];
    return size != otherSize ? size > otherSize
                             : one.notification->identifier < other.notification->identifier;
  };
  const Held* first = nullptr;
  for (const Held& each : held) {
    if (fSlots.at(each.notification->subject).inFlight) continue;
    if (!first || isBefore(each, *first)) first = &each;
  }
  return first;
}

// Only their quiet time was worth keeping them.
void Queue::DropIdleSlots(TimePoint now) {
  if (fSlots.size() < kMaxNotifications) return;
  std::erase_if(fSlots, [now, this](const auto& entry) {
    return entry.second.IsIdle() && entry.second.quietUntil <= now && !fRefused.contains(entry.first);
  });
}

// The first moment at which anything may be sent at all.
Queue::TimePoint Queue::NobodyBefore() const {
  if (fPaidUntil == TimePoint::min()) return fFullUntil;
  return std::max(fFullUntil, fPaidUntil - (kBurst - 1) * fTiming.pace);
}

void Queue::SetWaiting(Slot& slot, vorn::UserNotification notification) {
  DropWaiting(slot);
  fWaiting[notification.identifier] = notification.subject;
  slot.source = notification.source;
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
