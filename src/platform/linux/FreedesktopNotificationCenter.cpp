#include "platform/linux/FreedesktopNotificationCenter.h"

#include <QtCore/QTimer>

#include <algorithm>
#include <utility>

#include "foundation/Console.h"
#include "platform/linux/GuardedJob.h"
#include "platform/linux/NoticeQueue.h"
#include "platform/linux/NotificationServer.h"

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

  void Deliver(const UserNotification& notification);
  void Remove(const UserNotification& notification);

  std::weak_ptr<Delegate> fDelegate;

 private:
  using Answer = NotificationServer::Answer;

  [[nodiscard]] NotificationServer::Handlers MakeHandlers();
  void Pump();
  void AskCapabilities();
  void OnCapabilities(Answer answer, const QStringList& capabilities);
  void Send(const NoticeQueue::Sending& sending);
  void OnNotified(std::uint64_t identifier, Answer answer, std::uint32_t serverId);
  void OnServerChanged();
  void OnAction(std::uint32_t serverId, const QString& key);
  void OnActivationToken(std::uint32_t serverId, const QString& token);
  void ArmTimer();

  const Options fOptions;
  NoticeQueue fQueue;
  optional<QStringList> fCapabilities;  ///< of the server on the bus; empty: not asked, or none there
  bool fIsAsking = false;
  bool fChangedWhileAsking = false;
  int fInFlight = 0;
  bool fToldNoBus = false;
  std::chrono::steady_clock::time_point fDoNotAskBefore{};  ///< after an attempt that found no server
  QTimer fTimer;                                            ///< the next notice, or question, that is due
  NotificationServer fServer;                               ///< last: its answers use all of the above
};

FreedesktopNotificationCenter::Impl::Impl(const Identity& identity, Options options)
    : fOptions(std::move(options)),
      fQueue(fOptions.quietTime),
      fServer(fOptions.busAddress,
              {PresentableText(identity.applicationName), PresentableText(identity.desktopEntry),
               PresentableText(identity.iconName)},
              MakeHandlers()) {
  fTimer.setSingleShot(true);
  QObject::connect(&fTimer, &QTimer::timeout, &fTimer, [this] { RunGuarded([this] { Pump(); }); });
}

NotificationServer::Handlers FreedesktopNotificationCenter::Impl::MakeHandlers() {
  return {
      .onChanged = [this] { OnServerChanged(); },
      .onAction = [this](std::uint32_t id, const QString& key) { OnAction(id, key); },
      .onActivationToken = [this](std::uint32_t id, const QString& token) { OnActivationToken(id, token); },
      .onClosed = [this](std::uint32_t id) { fQueue.Closed(id); },
  };
}

void FreedesktopNotificationCenter::Impl::Deliver(const UserNotification& notification) {
  if (!fServer.IsConnected()) {
    if (!std::exchange(fToldNoBus, true)) {
      WriteToConsole("There is no session bus: notices cannot be shown");
    }
    return;
  }
  UserNotification bounded = notification;  // thousands may wait
  bounded.title = PresentableText(notification.title).toStdString();
  bounded.informativeText = PresentableText(notification.informativeText).toStdString();
  if (!fQueue.Add(std::move(bounded), fOptions.now())) {
    WriteToConsole("Too many notices, not shown: " + Excerpt(notification.title));
    return;
  }
  Pump();
}

void FreedesktopNotificationCenter::Impl::Remove(const UserNotification& notification) {
  const std::uint32_t serverId = fQueue.Remove(notification.identifier);
  if (serverId != 0) fServer.CloseNotification(serverId);
}

void FreedesktopNotificationCenter::Impl::Pump() {
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
  if (fIsAsking || !fQueue.HasWaiting() || fOptions.now() < fDoNotAskBefore) return;
  fIsAsking = true;
  fServer.GetCapabilities(
      [this](Answer answer, const QStringList& capabilities) { OnCapabilities(answer, capabilities); });
}

void FreedesktopNotificationCenter::Impl::OnCapabilities(Answer answer, const QStringList& capabilities) {
  fIsAsking = false;
  if (std::exchange(fChangedWhileAsking, false)) {
    Pump();  // the answer may be that of a server which is gone
    return;
  }
  if (answer == Answer::kOk || answer == Answer::kError) {
    fCapabilities = capabilities;  // none, from a server that does not know the question
    Pump();
    return;
  }
  // The next server announces itself on the bus.
  fDoNotAskBefore = fOptions.now() + fOptions.quietTime;
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
      fCapabilities.reset();
      isKept = fQueue.Failed(identifier, Failure::kNoServer, now);
      break;
    case Answer::kLost:
      isKept = fQueue.Failed(identifier, Failure::kServerChanged, now);
      break;
    case Answer::kError:
      isKept = fQueue.Failed(identifier, Failure::kRefused, now);
      break;
  }
  if (!isKept) WriteToConsole("The notification server does not show a notice of ours; given up");
  Pump();
}

void FreedesktopNotificationCenter::Impl::OnServerChanged() {
  fQueue.ServerChanged();
  fCapabilities.reset();
  fDoNotAskBefore = {};
  fChangedWhileAsking = fIsAsking;
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
  if (!due) {
    fTimer.stop();
    return;
  }
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(*due - fOptions.now());
  fTimer.start(std::max(wait, std::chrono::milliseconds(0)));
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

}  // namespace vorn
