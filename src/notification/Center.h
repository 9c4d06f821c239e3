#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "foundation/Clock.h"
#include "foundation/RunLoopTimer.h"
#include "notification/Allowance.h"
#include "notification/KeptNotifications.h"
#include "notification/Queue.h"
#include "platform/NotificationCenter.h"
#include "platform/NotificationServer.h"
#include "platform/UserDefaults.h"

namespace Notification {

/// The notification centre in front of a desktop's server.
///
/// The centre uses a server that starts late, restarts or is replaced. If a server ended before its answer,
/// the notification is delivered again. A hung server is waited for as long as it lives, because it shows the
/// notification when it continues. So a notification without an answer is not sent again, and only later ones
/// of its subject wait for it. A server that leaves several unanswered gets no more until it answers or ends.
/// Notifications on a server that ended are forgotten, because they were shown and the next server may use
/// the same ids. Queue has the rules of one notification for each subject, one a minute, and many at once.
/// Allowance has those of how many are taken. Signals about other programs' notifications, which some servers
/// send to everybody, are ignored.
///
/// `state` (KeptNotifications) keeps what waits and what is shown, and the next start reads it. It sends
/// waiting notifications. Shown ones still react to a click if their server is the same. They are shown once
/// more, silently and in their old place: some servers report clicks only to the connection that sent the
/// notification, and no server can say what happened while the program did not run. So a click in that time
/// opened nothing. Without a session bus, every notification waits for a start with one, and the console says
/// so once.
///
/// @threadsafety The main thread only. Its run loop must be set before.
class Center final : public vorn::NotificationCenter {
 public:
  using TimePoint = Queue::TimePoint;

  struct Options {
    vorn::UserDefaults* state = nullptr;  ///< must outlive the centre; null: nothing outlives it
    Queue::Timing timing{};
    /// How long the notifications of an earlier run wait for the list of units, which may withdraw them.
    std::chrono::milliseconds settleTime{5000};
    std::chrono::milliseconds allowancePeriod{60000};
  };

  /// Throws std::system_error if no descriptor is left.
  Center(std::unique_ptr<vorn::NotificationServer> server, Options options, vorn::Now now = vorn::Clock::now);
  ~Center() override;

  void SetDelegate(std::weak_ptr<Delegate> delegate) override { fDelegate = std::move(delegate); }
  [[nodiscard]] bool DeliverNotification(const vorn::UserNotification& notification) override;
  void SetOnRoom(std::function<void()> onRoom) override { fOnRoom = std::move(onRoom); }
  void RemoveDeliveredNotification(const vorn::UserNotification& notification) override;
  void ForgetWaitingNotification(const std::string& subject) override;
  void ForgetWaitingNotifications() override;

  /// Whether every waiting notification is on disk, for the next start. The store saves it soon, so ask again
  /// before saving anything that depends on it. Does not block.
  [[nodiscard]] bool IsSaved();
  /// The same, but saves first. Blocks for the disk: for the end of the program.
  [[nodiscard]] bool Synchronize();

 private:
  using Answer = vorn::NotificationServer::Answer;

  [[nodiscard]] vorn::NotificationServer::Handlers MakeHandlers();
  [[nodiscard]] bool TakesMoreFrom(const std::string& source);
  void TellRoom();
  void Pump();
  void Prepare();
  void OnStarted(Answer answer);
  void OnCapabilities(Answer answer);
  void OnNotified(std::uint64_t identifier, Answer answer, std::uint32_t serverId);
  void OnServerChanged();
  void OnClosed(std::uint32_t serverId);
  void OnAction(std::uint32_t serverId, const std::string& key);
  void OnActivationToken(std::uint32_t serverId, const std::string& token);
  void FireAt(vorn::RunLoopTimer& timer, TimePoint due);
  void Keep();
  void KeepSoon();

  const Options fOptions;
  const vorn::Now fNow;
  Allowance fAllowance;
  Queue fQueue;
  KeptNotifications fKept;
  std::weak_ptr<Delegate> fDelegate;
  std::function<void()> fOnRoom;
  std::optional<TimePoint> fRoomAt;  ///< after a refusal
  bool fIsReady = false;             ///< the present server has said what it can show
  bool fIsAsking = false;            ///< it is asked just now
  bool fIsStarting = false;          ///< somebody is starting one
  bool fToldNoBus = false;
  bool fToldRefusal = false;
  bool fToldTooMany = false;
  bool fToldForgotten = false;
  bool fIsKeepDue = false;        ///< the queue has changed since it was last written
  TimePoint fDoNotAskBefore{};    ///< after an attempt that found no server
  vorn::RunLoopTimer fTimer;      ///< the next notification, or question, that is due
  vorn::RunLoopTimer fKeepTimer;  ///< once for all changes of one turn of the run loop
  vorn::RunLoopTimer fRoomTimer;
  std::unique_ptr<vorn::NotificationServer> fServer;  ///< last: its answers use all of the above
};

}  // namespace Notification
