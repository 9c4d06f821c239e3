#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "foundation/Optional.h"
#include "platform/UserNotification.h"

namespace vorn {

/// What becomes of each notice between being announced and being closed; the
/// rules of the notification centre without the bus. One slot a subject:
///
///           Add            Take             Delivered
///   (none) ----> waiting -------> in flight ----------> standing
///                  ^  ^--------------'                    |
///                  |      Failed                          |
///                  '-- Add, beside what is in flight or --'
///                      stands, until the quiet time is over
///
/// A later notice takes the place of one that waits, and replaces one that
/// stands. After a delivery its subject is quiet for the quiet time. A notice
/// that the server took with it into its end is due again at once when the
/// server changed, a second time after the quiet time, and is given up after
/// kMaxFailures. At most kMaxSlots subjects are held: beyond that the notice
/// that stands longest is forgotten (a click on it then does nothing), and if
/// none stands, the new one.
///
/// @threadsafety One object, one thread.
class NoticeQueue {
 public:
  using Clock = std::chrono::steady_clock;
  using TimePoint = Clock::time_point;

  static constexpr std::size_t kMaxSlots = 4096;
  static constexpr int kMaxFailures = 4;

  /// What to send to the server.
  struct Sending {
    UserNotification notification;  ///< its identifier names the attempt
    std::uint32_t replacesId = 0;   ///< the server's id of the notice to replace; 0: none
  };

  enum class Failure {
    kNoServer,       ///< it never reached a server: due again at once, not counted
    kServerChanged,  ///< the server ended or was replaced before it answered
    kRefused,        ///< the server answered with an error
  };

  explicit NoticeQueue(std::chrono::milliseconds quietTime) : fQuietTime(quietTime) {}

  /// Takes a notice in. False when there is no room for it.
  [[nodiscard]] bool Add(UserNotification notification, TimePoint now);

  [[nodiscard]] bool HasWaiting() const { return !fWaiting.empty(); }

  /// The oldest notice that is due, now in flight; empty when none is.
  [[nodiscard]] optional<Sending> Take(TimePoint now);

  /// When the next waiting notice is due, of those that wait for the quiet time
  /// alone; empty when there is none.
  [[nodiscard]] optional<TimePoint> NextDue() const;

  /// The server showed the notice under `serverId`; 0 when the server has
  /// ended since. Returns the ids that must be closed: of a notice that was
  /// removed meanwhile, and of one that the server did not replace though asked to.
  [[nodiscard]] std::vector<std::uint32_t> Delivered(std::uint64_t identifier, std::uint32_t serverId,
                                                     TimePoint now);

  /// The notice was not shown. False when it is given up by this.
  [[nodiscard]] bool Failed(std::uint64_t identifier, Failure failure, TimePoint now);

  /// The server ended or was replaced: nothing stands any more, and its ids
  /// mean nothing.
  void ServerChanged();

  /// The notice that stands under `serverId`; null for ids that are not ours.
  /// Valid until the next call that changes the queue.
  [[nodiscard]] UserNotification* FindStanding(std::uint32_t serverId);

  /// The server closed the notice: it is forgotten, user info included.
  void Closed(std::uint32_t serverId);

  /// Takes a notice out in whatever state it is. Returns the server's id to
  /// close, 0 when there is nothing to close (yet).
  [[nodiscard]] std::uint32_t Remove(std::uint64_t identifier);

 private:
  struct Slot {
    optional<UserNotification> waiting;
    optional<UserNotification> inFlight;
    optional<UserNotification> standing;
    std::uint32_t serverId = 0;  ///< of `standing`
    bool removeWhenDelivered = false;
    int failures = 0;  ///< of deliveries in a row
    TimePoint quietUntil = TimePoint::min();

    [[nodiscard]] bool IsIdle() const { return !waiting && !inFlight && !standing; }
  };

  [[nodiscard]] Slot* FindInFlight(std::uint64_t identifier);
  [[nodiscard]] bool MakeRoom(TimePoint now);
  void SetWaiting(Slot& slot, UserNotification notification);
  void EndInFlight(Slot& slot);
  void Forget(std::uint32_t serverId);

  const std::chrono::milliseconds fQuietTime;
  std::uint64_t fLastIdentifier = 0;
  std::unordered_map<std::string, Slot> fSlots;              ///< by subject
  std::map<std::uint64_t, std::string> fWaiting;             ///< identifier to subject, oldest first
  std::map<std::uint64_t, std::string> fInFlight;            ///< identifier to subject
  std::unordered_map<std::uint32_t, std::string> fStanding;  ///< the server's id to subject
};

}  // namespace vorn
