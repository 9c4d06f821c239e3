#pragma once

#include <QtCore/QVariantMap>
#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusVirtualObject>

#include <set>
#include <string>
#include <vector>

namespace vorn::testing {

/// A notification server that follows the test's script, on a separate connection. For everybody else, its
/// destruction is its death.
class ScriptedNotificationServer final : public QDBusVirtualObject {
 public:
  struct Shown {
    std::uint32_t id = 0;
    std::uint32_t replacesId = 0;
    QString application, icon, summary, body;
    QStringList actions;
    QVariantMap hints;
    int timeout = 0;
  };

  enum class Mood {
    kAnswers,  ///< shows notifications
    kSilent,   ///< takes Notify and answers it only with AnswerHeld
    kRefuses,  ///< answers Notify with an error
  };

  explicit ScriptedNotificationServer(const std::string& address, QStringList capabilities = {"body"})
      : fCapabilities(std::move(capabilities)),
        fName(QStringLiteral("scripted-server-%1").arg(++Count())),
        fConnection(QDBusConnection::connectToBus(QString::fromStdString(address), fName)) {
    fConnection.registerVirtualObject("/org/freedesktop/Notifications", this);
    fIsThere = fConnection.registerService("org.freedesktop.Notifications");
  }
  ~ScriptedNotificationServer() override {
    fConnection.unregisterObject("/org/freedesktop/Notifications");
    fConnection = QDBusConnection("none");
    QDBusConnection::disconnectFromBus(fName);
  }

  [[nodiscard]] QString introspect(const QString&) const override { return {}; }

  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    const QString member = message.member();
    if (member == "GetCapabilities") {
      ++fQuestions;
      if (fHoldsQuestions) fHeld.push_back(message.createReply(QVariant(fCapabilities)));
      if (fHoldsQuestions) return true;
      if (fKnowsCapabilities) return connection.send(message.createReply(QVariant(fCapabilities)));
      return connection.send(message.createErrorReply(QDBusError::UnknownMethod, "no such thing"));
    }
    if (member == "GetServerInformation" && !fProgram.isEmpty()) {
      return connection.send(message.createReply({fProgram, "vendor", "1", "1.2"}));
    }
    if (member == "CloseNotification") {
      fClosed.push_back(message.arguments().value(0).toUInt());
      return connection.send(message.createReply());
    }
    if (member != "Notify") return false;
    return OnNotify(message, connection);
  }

  void Emit(const char* signal, std::uint32_t id, const QVariant& argument) {
    auto message =
        QDBusMessage::createSignal("/org/freedesktop/Notifications", "org.freedesktop.Notifications", signal);
    message.setArguments({QVariant::fromValue<uint>(id), argument});
    fConnection.send(message);
  }
  void Click(std::uint32_t id, const char* key = "default") { Emit("ActionInvoked", id, QString(key)); }
  void Close(std::uint32_t id) {
    fStanding.erase(id);
    Emit("NotificationClosed", id, QVariant::fromValue<uint>(2));
  }

  /// Sends the first `count` of the answers that were held back.
  void AnswerHeld(std::size_t count = SIZE_MAX) {
    for (; count > 0 && !fHeld.empty(); --count) {
      fConnection.send(fHeld.front());
      fHeld.erase(fHeld.begin());
    }
  }

  Mood fMood = Mood::kAnswers;
  bool fHoldsQuestions = false;  ///< GetCapabilities is answered only with AnswerHeld
  QString fRefusal = "org.example.Error.TooMany";
  bool fKnowsCapabilities = true;
  std::uint32_t fNextId = 1;
  QStringList fCapabilities;
  QString fProgram = "scripted";  ///< empty: GetServerInformation is not known
  bool fIsThere = false;
  int fQuestions = 0;
  std::vector<Shown> fShown;
  std::vector<std::uint32_t> fClosed;
  std::set<std::uint32_t> fStanding;
  std::size_t fLimit = SIZE_MAX;  ///< no more than these stand at a time
  int fRefused = 0;

 private:
  static int& Count() {
    static int count = 0;
    return count;
  }

  bool OnNotify(const QDBusMessage& message, const QDBusConnection& connection) {
    const auto arguments = message.arguments();
    Shown notification;
    notification.application = arguments.value(0).toString();
    notification.replacesId = arguments.value(1).toUInt();
    notification.icon = arguments.value(2).toString();
    notification.summary = arguments.value(3).toString();
    notification.body = arguments.value(4).toString();
    notification.actions = arguments.value(5).toStringList();
    notification.hints = qdbus_cast<QVariantMap>(arguments.value(6));
    notification.timeout = arguments.value(7).toInt();
    notification.id = notification.replacesId != 0 ? notification.replacesId : fNextId++;
    fShown.push_back(notification);
    if (fMood == Mood::kSilent) {
      fHeld.push_back(message.createReply(QVariant::fromValue<uint>(notification.id)));
      return true;
    }
    const bool isFull = !fStanding.contains(notification.id) && fStanding.size() >= fLimit;
    if (isFull) fShown.pop_back();
    if (fMood == Mood::kRefuses || isFull) {
      ++fRefused;
      return connection.send(message.createErrorReply(fRefusal, "no more"));
    }
    fStanding.insert(notification.id);
    return connection.send(message.createReply(QVariant::fromValue<uint>(notification.id)));
  }

  const QString fName;
  QDBusConnection fConnection;
  std::vector<QDBusMessage> fHeld;
};

}  // namespace vorn::testing
