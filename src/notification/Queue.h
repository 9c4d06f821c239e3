#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "foundation/Clock.h"
#include "platform/NotificationCenter.h"
#include "platform/NotificationServer.h"

namespace Notification {

/// A notification as it is kept across a restart of the program.
struct KeptNotification {
  vorn::UserNotification notification;
  std::uint32_t serverId = 0;  ///< under which it stands; 0: it waits
};

/// The bytes that a notification takes in memory or in a file, a little too many.
[[nodiscard]] std::size_t SizeOf(const vorn::UserNotification& notification);

/// The states of each notification from its announcement until it is closed: the rules of the centre without
/// a server. One slot for each subject:
///
///           Add            Take             Delivered
///   (none) ----> waiting -------> in flight ----------> standing
///                  ^  ^--------------'                    |
///                  |      Failed                          |
///                  '-- Add, beside what is in flight or --'
///                      stands, until the quiet time is over
///
/// A later notification replaces a waiting one, and a shown one. After a delivery, its subject is quiet for
/// the quiet time. kBurst notifications may go at once; after that, one in each pace. The next one is the
/// oldest of the source that had the fewest shown within the quiet time, so that no source makes others wait.
/// At most kMaxInFlight are in flight at a time, so that many updates do not flood a server.
///
/// If a server ends with a notification, that one is due again at once, a second time after the quiet time,
/// and it is given up after kMaxFailures. A refused notification waits until something is closed on the
/// server or the quiet time is over. If the server accepts a later one in the meantime, the refused one goes
/// to the end. If it refuses two in a row, it is full, and all wait. A server that has refused gets one
/// notification at a time until none waits.
///
/// At most kMaxNotifications are held, with kMaxSize bytes. Beyond that, the oldest notification of the
/// source that holds the most bytes is forgotten. If it is shown, a click on it then does nothing.
///
/// @threadsafety One object, one thread.
class Queue {
 public:
  using Answer = vorn::NotificationServer::Answer;
  using TimePoint = vorn::Clock::time_point;

  static constexpr std::size_t kMaxNotifications = 2048;
  static constexpr std::size_t kMaxSize = std::size_t{1} << 20U;  ///< of their SizeOf together
  static constexpr std::size_t kMaxInFlight = 8;
  static constexpr int kMaxFailures = 4;
  static constexpr int kBurst = 3;

  struct Timing {
    std::chrono::milliseconds quietTime{60000};
    std::chrono::milliseconds pace{3000};
  };

  /// What to send to the server.
  struct Sending {
    vorn::UserNotification notification;  ///< its identifier names the attempt
    std::uint32_t replacesId = 0;         ///< the server's id of the one to replace; 0: none
  };

  explicit Queue(Timing timing) : fTiming(timing) {}

  /// Takes a notification. False if others that waited were forgotten to make room for it.
  [[nodiscard]] bool Add(vorn::UserNotification notification, TimePoint now);

  /// Takes back what an earlier run kept, in its order; call it before any Add. Waiting ones are not sent
  /// before `due`. Shown ones still react to a click, and are shown once more, at once and in their old
  /// place, unless LeaveStanding comes first. This is not a new announcement: it costs neither quiet time nor
  /// pace.
  void Restore(std::vector<KeptNotification> kept, TimePoint due);

  /// What an earlier run showed stands as it is, and is not shown once more.
  void LeaveStanding();

  /// What an end of the program must not lose, oldest first.
  [[nodiscard]] std::vector<KeptNotification> Kept() const;

  /// Whether a notification waits or is in flight.
  [[nodiscard]] bool HasUnshown() const { return !fWaiting.empty() || !fInFlight.empty(); }

  /// The next notification that is due, now in flight. Empty if none is due, or if another answer must come
  /// first.
  [[nodiscard]] std::optional<Sending> Take(TimePoint now);

  /// When the next waiting notification is due, among those that only wait for a time; empty if there is
  /// none.
  [[nodiscard]] std::optional<TimePoint> NextDue() const;

  /// The server showed the notification under `serverId`; 0 if it gave no id. Returns the ids that must be
  /// closed: of a notification that was removed in the meantime, and of one that the server should have
  /// replaced but did not.
  [[nodiscard]] std::vector<std::uint32_t> Delivered(std::uint64_t identifier, std::uint32_t serverId,
                                                     TimePoint now);

  /// The notification was not shown, for a reason other than kOk. After kNoServer it is due again at once,
  /// without being counted. False if it is now given up.
  [[nodiscard]] bool Failed(std::uint64_t identifier, Answer answer, TimePoint now);

  /// The server ended or was replaced: nothing is shown any more, its ids have no meaning, and unanswered
  /// calls are lost. Returns how many notifications are now given up.
  [[nodiscard]] std::size_t ServerChanged(TimePoint now);

  /// The notification that is shown under `serverId`; null for ids that are not ours. Valid until the next
  /// call that changes the queue.
  [[nodiscard]] vorn::UserNotification* FindStanding(std::uint32_t serverId);

  /// The server closed a notification. If it is ours, it is forgotten, with its user info. In any case there
  /// is room for another one.
  void Closed(std::uint32_t serverId);

  /// Removes a notification in any state. Returns the server's id to close, or 0 if there is nothing to close
  /// (yet).
  [[nodiscard]] std::uint32_t Remove(std::uint64_t identifier);

  /// Forgets what of this subject, or of any, has not been shown. What stands
  /// is left alone; what is in flight is closed once it is delivered. False
  /// where there is nothing of the subject to forget.
  bool ForgetWaiting(const std::string& subject);
  void ForgetAllWaiting();

 private:
  /// A notification that an earlier run showed is shown and waits at once, under one identifier.
  struct Slot {
    std::optional<vorn::UserNotification> waiting;
    std::optional<vorn::UserNotification> inFlight;
    std::optional<vorn::UserNotification> standing;
    std::string source;          ///< of the latest one
    std::uint32_t serverId = 0;  ///< of `standing`
    bool removeWhenDelivered = false;
    int losses = 0;  ///< of deliveries in a row
    TimePoint quietUntil = TimePoint::min();

    [[nodiscard]] bool IsIdle() const { return !waiting && !inFlight && !standing; }
    [[nodiscard]] bool HasUnshown() const { return waiting || (inFlight && !removeWhenDelivered); }
    [[nodiscard]] bool Stands(const vorn::UserNotification& notification) const {
      return standing && standing->identifier == notification.identifier;
    }
  };

  /// What an end of the program must not lose.
  struct Held {
    const vorn::UserNotification* notification;
    std::uint32_t serverId;  ///< as in KeptNotification
  };
  using Waiting = std::map<std::uint64_t, std::string>;  ///< identifier to subject, oldest first

  [[nodiscard]] std::vector<Held> AllHeld() const;
  [[nodiscard]] const Held* OldestOfFullestSource(const std::vector<Held>& held) const;
  [[nodiscard]] bool MakeRoom(std::size_t size);
  void DropIdleSlots(TimePoint now);
  [[nodiscard]] Waiting::iterator NextInTurn(TimePoint now);
  [[nodiscard]] Slot* FindInFlight(std::uint64_t identifier);
  /// The next answer comes before the next notification.
  [[nodiscard]] bool IsHeldBack() const { return fInFlight.size() >= (fIsCautious ? 1 : kMaxInFlight); }
  [[nodiscard]] TimePoint NobodyBefore() const;
  [[nodiscard]] bool NoteFailure(Slot& slot, Answer answer, TimePoint now);
  void EndRefusals();
  void PutRefusedLast();
  void SetWaiting(Slot& slot, vorn::UserNotification notification);
  void SetStanding(Slot& slot, vorn::UserNotification notification, std::uint32_t serverId);
  void DropWaiting(Slot& slot);
  void ForgetUnshown(Slot& slot);
  void EndInFlight(Slot& slot);
  void EndStanding(Slot& slot);

  const Timing fTiming;
  std::uint64_t fLastIdentifier = 0;
  TimePoint fPaidUntil = TimePoint::min();       ///< a pace for each one sent, from the time of sending
  TimePoint fFullUntil = TimePoint::min();       ///< the server takes no more
  bool fIsCautious = false;                      ///< the server has refused
  std::set<std::string> fRefused;                ///< subjects, since the server last accepted or closed one
  std::unordered_map<std::string, Slot> fSlots;  ///< by subject
  Waiting fWaiting;
  std::map<std::uint64_t, std::string> fInFlight;            ///< identifier to subject
  std::unordered_map<std::uint32_t, std::string> fStanding;  ///< the server's id to subject
};

}  // namespace Notification
