#include "platform/linux/notices/FreedesktopNotificationCenter.h"

#include <QtCore/QTimer>

#include <algorithm>
#include <utility>

#include "foundation/Console.h"
#include "platform/linux/dispatch/GuardedJob.h"
#include "platform/linux/notices/NoticeQueue.h"
#include "platform/linux/notices/NoticeStore.h"
#include "platform/linux/notices/NotificationServer.h"

namespace vorn {
namespace {

constexpr int kMaxInFlight = 8;  // calls at a time: a list of 2,000 updates must not flood the server
constexpr qsizetype kMaxTextLength = 1000;
constexpr qsizetype kMaxTokenLength = 1000;

// A stranger's bytes as text that the bus takes: its strings end at a NUL.
QString PresentableText(const std::string& bytes) {
  constexpr qsizetype kLongestCharacter = 4;  // bytes; what lies beyond is cut anyway
  const auto size = std::min(static_cast<qsizetype>(bytes.size()), (kMaxTextLength + 1) * kLongestCharacter);
  QString text = QString::fromUtf8(bytes.data(), size);
  text.replace(QChar(QChar::Null), QChar(QChar::ReplacementCharacter));
  if (text.size() > kMaxTextLength) text = text.left(kMaxTextLength - 1) + QChar(0x2026);
  return text;
}

}  // namespace

class FreedesktopNotificationCenter::Impl {
 public:
  Impl(const Identity& identity, Options options);
  ~Impl();
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  void Deliver(const UserNotification& notification);
  void Remove(const UserNotification& notification);
  void ForgetWaiting(const std::string& subject);
  void ForgetAllWaiting();
  [[nodiscard]] bool Synchronize();

  std::weak_ptr<Delegate> fDelegate;

 private:
  using Answer = NotificationServer::Answer;
  using TimePoint = NoticeQueue::TimePoint;

  [[nodiscard]] NotificationServer::Handlers MakeHandlers();
  void Pump();
  void AskCapabilities();
  void OnStarted(Answer answer);
  void OnCapabilities(Answer answer, const QStringList& capabilities);
  void Send(const NoticeQueue::Sending& sending);
  void OnNotified(std::uint64_t identifier, Answer answer, std::uint32_t serverId);
  void OnServerChanged();
  void OnClosed(std::uint32_t serverId);
  void OnAction(std::uint32_t serverId, const QString& key);
  void OnActivationToken(std::uint32_t serverId, const QString& token);
  void ArmTimer();
  void WakeAt(TimePoint due);
  void Keep();
  void KeepSoon() { fKeepTimer.start(0); }
  void TellGivenUp();

  const Options fOptions;
  NoticeQueue fQueue;
  optional<QStringList> fCapabilities;  ///< of the server on the bus; empty: not asked, or none there
  bool fIsAsking = false;
  bool fIsStarting = false;  ///< the bus is, a server
  int fInFlight = 0;
  bool fToldNoBus = false;
  bool fToldRefusal = false;
  TimePoint fDoNotAskBefore{};  ///< after an attempt that found no server
  QTimer fTimer;                ///< the next notice, or question, that is due
  QTimer fKeepTimer;            ///< once for all changes of one turn of the event loop
  NoticeStore fStore;
  NotificationServer fServer;  ///< last: its answers use all of the above
};

FreedesktopNotificationCenter::Impl::Impl(const Identity& identity, Options options)
    : fOptions(std::move(options)),
      fQueue(fOptions.timing),
      fStore(fOptions.state),
      fServer(fOptions.busAddress,
              {PresentableText(identity.applicationName), PresentableText(identity.desktopEntry),
               PresentableText(identity.iconName)},
              MakeHandlers()) {
  fTimer.setSingleShot(true);
  QObject::connect(&fTimer, &QTimer::timeout, &fTimer, [this] { RunGuarded([this] { Pump(); }); });
  fKeepTimer.setSingleShot(true);
  QObject::connect(&fKeepTimer, &QTimer::timeout, &fKeepTimer, [this] { RunGuarded([this] { Keep(); }); });
  fQueue.Restore(fStore.Read(fServer.Identity()), fOptions.now() + fOptions.settleTime);
  ArmTimer();
}

FreedesktopNotificationCenter::Impl::~Impl() {
  RunGuarded([this] { Keep(); });
}

NotificationServer::Handlers FreedesktopNotificationCenter::Impl::MakeHandlers() {
  return {
      .onChanged = [this] { OnServerChanged(); },
      .onAction = [this](std::uint32_t id, const QString& key) { OnAction(id, key); },
      .onActivationToken = [this](std::uint32_t id, const QString& token) { OnActivationToken(id, token); },
      .onClosed = [this](std::uint32_t id) { OnClosed(id); },
  };
}

void FreedesktopNotificationCenter::Impl::Deliver(const UserNotification& notification) {
  if (!fServer.IsConnected() && !std::exchange(fToldNoBus, true)) {
    WriteToConsole("There is no session bus: notices wait until the program is started with one");
  }
  UserNotification bounded = notification;  // thousands may wait
  bounded.title = PresentableText(notification.title).toStdString();
  bounded.informativeText = PresentableText(notification.informativeText).toStdString();
  if (!fQueue.Add(std::move(bounded), fOptions.now())) {
    WriteToConsole("Too many notices, not shown: " + Excerpt(notification.title));
    return;
  }
  KeepSoon();
  Pump();
}

void FreedesktopNotificationCenter::Impl::Remove(const UserNotification& notification) {
  const std::uint32_t serverId = fQueue.Remove(notification.identifier);
  if (serverId != 0) fServer.CloseNotification(serverId);
  KeepSoon();
}

void FreedesktopNotificationCenter::Impl::ForgetWaiting(const std::string& subject) {
  if (fQueue.ForgetWaiting(subject)) KeepSoon();
}

void FreedesktopNotificationCenter::Impl::ForgetAllWaiting() {
  fQueue.ForgetAllWaiting();
  KeepSoon();
}

void FreedesktopNotificationCenter::Impl::Keep() {
  fKeepTimer.stop();
  fStore.Write(fQueue.Kept(), fServer.Identity());
}

bool FreedesktopNotificationCenter::Impl::Synchronize() {
  if (fKeepTimer.isActive()) Keep();
  const bool isSaved = !fOptions.state || fOptions.state->Synchronize();
  return isSaved || !fQueue.HasUnshown();
}

void FreedesktopNotificationCenter::Impl::Pump() {
  if (!fServer.IsConnected()) return;
  if (!fCapabilities) {
    AskCapabilities();
    return;
  }
  while (fCapabilities && fInFlight < kMaxInFlight) {
    const auto sending = fQueue.Take(fOptions.now());
    if (!sending) break;
    Send(*sending);
  }
  ArmTimer();
}

// Asked only when there is something to show: the question may start a server.
void FreedesktopNotificationCenter::Impl::AskCapabilities() {
  const auto next = fQueue.NextDue();
  if (fIsAsking || !next) return;
  const auto due = std::max(*next, fDoNotAskBefore);
  if (fOptions.now() < due) {
    WakeAt(due);
    return;
  }
  if (!fServer.IsThere()) {
    if (!std::exchange(fIsStarting, true)) fServer.Start([this](Answer answer) { OnStarted(answer); });
    return;
  }
  fIsAsking = true;
  fServer.GetCapabilities(
      [this](Answer answer, const QStringList& capabilities) { OnCapabilities(answer, capabilities); });
}

void FreedesktopNotificationCenter::Impl::OnStarted(Answer answer) {
  fIsStarting = false;
  // One that is started by others announces itself on the bus.
  if (answer == Answer::kOk && fServer.IsThere()) return;
  fDoNotAskBefore = fOptions.now() + fOptions.timing.quietTime;
  Pump();
}

void FreedesktopNotificationCenter::Impl::OnCapabilities(Answer answer, const QStringList& capabilities) {
  fIsAsking = false;
  if (answer != Answer::kOk && answer != Answer::kError) return;  // its end is known in a moment
  fCapabilities = capabilities;  // none, from a server that does not know the question
  Pump();
}

void FreedesktopNotificationCenter::Impl::Send(const NoticeQueue::Sending& sending) {
  const auto& notification = sending.notification;
  NotificationServer::Notice notice;
  notice.replacesId = sending.replacesId;
  notice.summary = QString::fromStdString(notification.title);
  notice.body = QString::fromStdString(notification.informativeText);
  if (fCapabilities->contains(QLatin1String("body-markup"))) notice.body = notice.body.toHtmlEscaped();
  notice.hasSound = notification.playsDefaultSound && fCapabilities->contains(QLatin1String("sound"));
  fServer.Notify(notice, [this, identifier = notification.identifier](Answer answer, std::uint32_t serverId) {
    OnNotified(identifier, answer, serverId);
  });
  ++fInFlight;  // the answer comes through the event loop, never before
}

void FreedesktopNotificationCenter::Impl::OnNotified(std::uint64_t identifier, Answer answer,
                                                     std::uint32_t serverId) {
  --fInFlight;
  const auto now = fOptions.now();
  using Failure = NoticeQueue::Failure;
  bool isKept = true;
  switch (answer) {
    case Answer::kOk:
      for (const auto id : fQueue.Delivered(identifier, serverId, now)) fServer.CloseNotification(id);
      break;
    case Answer::kNoServer:
      isKept = fQueue.Failed(identifier, Failure::kNoServer, now);
      break;
    case Answer::kLost:
      fCapabilities.reset();  // nothing more is sent before the next server answers
      isKept = fQueue.Failed(identifier, Failure::kLost, now);
      break;
    case Answer::kError:
      isKept = fQueue.Failed(identifier, Failure::kRefused, now);
      if (!std::exchange(fToldRefusal, true)) {
        WriteToConsole("The notification server takes no more notices just now; they wait");
      }
      break;
  }
  if (!isKept) TellGivenUp();
  KeepSoon();
  Pump();
}

void FreedesktopNotificationCenter::Impl::OnServerChanged() {
  if (fQueue.ServerChanged(fOptions.now()) > 0) TellGivenUp();
  fInFlight = 0;
  fIsAsking = false;
  fCapabilities.reset();
  // One that cannot live is not started over and over.
  fDoNotAskBefore = fServer.IsThere() ? TimePoint() : fOptions.now() + fOptions.timing.pace;
  KeepSoon();
  Pump();
}

void FreedesktopNotificationCenter::Impl::TellGivenUp() {
  WriteToConsole(
      "The notification server ended each time it got one of our notifications; this one is given up");
}

void FreedesktopNotificationCenter::Impl::OnClosed(std::uint32_t serverId) {
  fQueue.Closed(serverId);
  KeepSoon();
  Pump();
}

void FreedesktopNotificationCenter::Impl::OnAction(std::uint32_t serverId, const QString& key) {
  const auto* standing = fQueue.FindStanding(serverId);
  if (!standing || key != QLatin1String("default")) return;
  const UserNotification activated = *standing;  // the delegate may change the queue
  if (const auto delegate = fDelegate.lock()) delegate->DidActivateNotification(activated);
}

void FreedesktopNotificationCenter::Impl::OnActivationToken(std::uint32_t serverId, const QString& token) {
  auto* standing = fQueue.FindStanding(serverId);
  if (standing && token.size() <= kMaxTokenLength) standing->activationToken = token.toStdString();
}

void FreedesktopNotificationCenter::Impl::ArmTimer() {
  // With as many in flight, the next answer comes first.
  const auto due = fInFlight < kMaxInFlight ? fQueue.NextDue() : optional<NoticeQueue::TimePoint>();
  fTimer.stop();
  if (due) WakeAt(*due);
}

void FreedesktopNotificationCenter::Impl::WakeAt(TimePoint due) {
  const auto now = fOptions.now();
  fTimer.start(std::chrono::ceil<std::chrono::milliseconds>(std::max(due, now) - now));
}

FreedesktopNotificationCenter::FreedesktopNotificationCenter(const Identity& identity)
    : FreedesktopNotificationCenter(identity, Options()) {}

FreedesktopNotificationCenter::FreedesktopNotificationCenter(const Identity& identity, Options options)
    : fImpl(std::make_unique<Impl>(identity, std::move(options))) {}

FreedesktopNotificationCenter::~FreedesktopNotificationCenter() = default;

void FreedesktopNotificationCenter::SetDelegate(std::weak_ptr<Delegate> delegate) {
  fImpl->fDelegate = std::move(delegate);
}

void FreedesktopNotificationCenter::DeliverNotification(const UserNotification& notification) {
  fImpl->Deliver(notification);
}

void FreedesktopNotificationCenter::RemoveDeliveredNotification(const UserNotification& notification) {
  fImpl->Remove(notification);
}

void FreedesktopNotificationCenter::ForgetWaitingNotification(const std::string& subject) {
  fImpl->ForgetWaiting(subject);
}

void FreedesktopNotificationCenter::ForgetWaitingNotifications() {
  fImpl->ForgetAllWaiting();
}

bool FreedesktopNotificationCenter::Synchronize() {
  return fImpl->Synchronize();
}

}  // namespace vorn
