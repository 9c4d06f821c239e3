#include "notification/Center.h"

#include <algorithm>
#include <exception>
#include <string_view>
#include <utility>

#include "foundation/Console.h"
#include "foundation/Strings.h"

namespace Notification {
namespace {

constexpr std::size_t kMaxTextLength = 1000;  // characters
constexpr std::size_t kMaxTokenLength = 1000;
constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kEllipsis = 0x2026;

// A stranger's bytes as text that every server accepts: strings on a bus are UTF-8 and end at a NUL.
std::string PresentableText(std::string_view bytes) {
  std::u32string text;
  while (!bytes.empty() && text.size() <= kMaxTextLength) {
    const auto character = vorn::TakeCharacter(bytes);
    text.push_back(character && *character != 0 ? *character : kReplacement);
  }
  if (text.size() > kMaxTextLength) {
    text.resize(kMaxTextLength);
    text.back() = kEllipsis;
  }
  return vorn::ToUTF8(text);
}

void TellGivenUp() {
  vorn::WriteToConsole(
      "The notification server ended each time it got one of our notifications; this one is given up");
}

}  // namespace

Center::Center(std::unique_ptr<vorn::NotificationServer> server, Options options, vorn::Now now)
    : fOptions(options),
      fNow(std::move(now)),
      fAllowance(fOptions.allowancePeriod),
      fQueue(fOptions.timing),
      fKept(fOptions.state),
      fTimer(vorn::RunLoop::Current(), vorn::kNever, [this] { Pump(); }),
      fKeepTimer(vorn::RunLoop::Current(), vorn::kNever, [this] { Keep(); }),
      fRoomTimer(vorn::RunLoop::Current(), vorn::kNever, [this] { TellRoom(); }),
      fServer(std::move(server)) {
  fServer->SetHandlers(MakeHandlers());
  fQueue.Restore(fKept.Read(fServer->PresentServer()), fNow() + fOptions.settleTime);
  if (const auto due = fQueue.NextDue()) FireAt(fTimer, *due);
}

Center::~Center() {
  try {
    Keep();
  } catch (const std::exception& error) {
    vorn::WriteToConsole(error.what());
  }
}

vorn::NotificationServer::Handlers Center::MakeHandlers() {
  return {
      .onChanged = [this] { OnServerChanged(); },
      .onAction = [this](std::uint32_t id, const std::string& key) { OnAction(id, key); },
      .onActivationToken = [this](std::uint32_t id,
                                  const std::string& token) { OnActivationToken(id, token); },
      .onClosed = [this](std::uint32_t id) { OnClosed(id); },
  };
}

bool Center::DeliverNotification(const vorn::UserNotification& notification) {
  if (!fServer->IsConnected() && !std::exchange(fToldNoBus, true)) {
    vorn::WriteToConsole("There is no session bus: notifications wait until the program is started with one");
  }
  if (!TakesMoreFrom(notification.source)) return false;
  vorn::UserNotification bounded = notification;  // thousands may wait
  bounded.title = PresentableText(notification.title);
  bounded.informativeText = PresentableText(notification.informativeText);
  if (!fQueue.Add(std::move(bounded), fNow()) && !std::exchange(fToldForgotten, true)) {
    vorn::WriteToConsole(
        "Too many notifications wait: the oldest ones of the unit address that causes the most are given up");
  }
  KeepSoon();
  Pump();
  return true;
}

bool Center::TakesMoreFrom(const std::string& source) {
  if (fAllowance.Take(source, fNow())) return true;
  if (!std::exchange(fToldTooMany, true)) {
    vorn::WriteToConsole("There are too many new releases within a minute: some are announced later");
  }
  const auto due = fAllowance.NextFor(source);
  if (fRoomAt && *fRoomAt <= due) return false;
  fRoomAt = due;
  FireAt(fRoomTimer, due);
  return false;
}

void Center::TellRoom() {
  fRoomAt.reset();
  if (fOnRoom) fOnRoom();
}

void Center::RemoveDeliveredNotification(const vorn::UserNotification& notification) {
  const std::uint32_t serverId = fQueue.Remove(notification.identifier);
  if (serverId != 0) fServer->CloseNotification(serverId);
  KeepSoon();
}

void Center::ForgetWaitingNotification(const std::string& subject) {
  if (fQueue.ForgetWaiting(subject)) KeepSoon();
}

void Center::ForgetWaitingNotifications() {
  fQueue.ForgetAllWaiting();
  KeepSoon();
}

void Center::KeepSoon() {
  if (!std::exchange(fIsKeepDue, true)) fKeepTimer.SetNextFireDate(0);
}

void Center::Keep() {
  fIsKeepDue = false;
  fKept.Write(fQueue.Kept(), fServer->PresentServer());
}

bool Center::IsSaved() {
  if (fIsKeepDue) Keep();
  return fKept.IsSaved() || !fQueue.HasUnshown();
}

bool Center::Synchronize() {
  if (fIsKeepDue) Keep();
  return fKept.Synchronize() || !fQueue.HasUnshown();
}

void Center::Pump() {
  if (!fServer->IsConnected()) return;
  if (!fIsReady) {
    Prepare();
    return;
  }
  while (const auto sending = fQueue.Take(fNow())) {
    fServer->Notify(sending->notification, sending->replacesId,
                    [this, identifier = sending->notification.identifier](Answer answer, std::uint32_t id) {
                      OnNotified(identifier, answer, id);
                    });
  }
  const auto due = fQueue.NextDue();
  fTimer.SetNextFireDate(vorn::kNever);
  if (due) FireAt(fTimer, *due);
}

// Asked only when there is something to show: the question may start a server.
void Center::Prepare() {
  const auto next = fQueue.NextDue();
  if (fIsAsking || !next) return;
  const auto due = std::max(*next, fDoNotAskBefore);
  if (fNow() < due) {
    FireAt(fTimer, due);
    return;
  }
  if (!fServer->IsThere()) {
    if (!std::exchange(fIsStarting, true)) fServer->Start([this](Answer answer) { OnStarted(answer); });
    return;
  }
  fIsAsking = true;
  fServer->AskCapabilities([this](Answer answer) { OnCapabilities(answer); });
}

void Center::OnStarted(Answer answer) {
  fIsStarting = false;
  // One that is started by others announces itself on the bus.
  if (answer == Answer::kOk && fServer->IsThere()) return;
  fDoNotAskBefore = fNow() + fOptions.timing.quietTime;
  Pump();
}

void Center::OnCapabilities(Answer answer) {
  fIsAsking = false;
  if (answer != Answer::kOk && answer != Answer::kRefused) return;  // its end is known in a moment
  fIsReady = true;
  if (!fServer->BindsToSender()) fQueue.LeaveStanding();
  Pump();
}

void Center::OnNotified(std::uint64_t identifier, Answer answer, std::uint32_t serverId) {
  const auto now = fNow();
  if (answer == Answer::kOk) {
    for (const auto id : fQueue.Delivered(identifier, serverId, now)) fServer->CloseNotification(id);
  } else if (!fQueue.Failed(identifier, answer, now)) {
    TellGivenUp();
  }
  if (answer == Answer::kLost) fIsReady = false;  // nothing more is sent before the next server answers
  if (answer == Answer::kRefused && !std::exchange(fToldRefusal, true)) {
    vorn::WriteToConsole("The notification server accepts no more notifications at the moment; they wait");
  }
  KeepSoon();
  Pump();
}

void Center::OnServerChanged() {
  if (fQueue.ServerChanged(fNow()) > 0) TellGivenUp();
  fIsAsking = false;
  fIsReady = false;
  // One that cannot live is not started over and over.
  fDoNotAskBefore = fServer->IsThere() ? TimePoint() : fNow() + fOptions.timing.pace;
  KeepSoon();
  Pump();
}

void Center::OnClosed(std::uint32_t serverId) {
  fQueue.Closed(serverId);
  KeepSoon();
  Pump();
}

void Center::OnAction(std::uint32_t serverId, const std::string& key) {
  const auto* standing = fQueue.FindStanding(serverId);
  if (!standing || key != vorn::NotificationServer::kDefaultAction) return;
  const vorn::UserNotification activated = *standing;  // the delegate may change the queue
  if (const auto delegate = fDelegate.lock()) delegate->DidActivateNotification(activated);
}

void Center::OnActivationToken(std::uint32_t serverId, const std::string& token) {
  auto* standing = fQueue.FindStanding(serverId);
  if (standing && token.size() <= kMaxTokenLength) standing->activationToken = token;
}

void Center::FireAt(vorn::RunLoopTimer& timer, TimePoint due) {
  const auto now = fNow();
  timer.FireAfter(std::max(due, now) - now);  // `due` may be the clock's least value
}

}  // namespace Notification
