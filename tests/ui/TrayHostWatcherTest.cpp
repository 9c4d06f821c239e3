#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <atomic>
#include <memory>

#include "ui/TrayHostWatcher.h"

namespace vorn::ui {
namespace {

using namespace std::chrono_literals;

constexpr int kDeadline = 10000;

/// The object behind org.kde.StatusNotifierWatcher.
class ScriptedNotifierWatcher : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
  Q_PROPERTY(bool IsStatusNotifierHostRegistered READ isHostRegistered)

 public:
  bool isHostRegistered() {
    ++fAsked;
    return fHost;
  }
  void registerHost() {
    fHost = true;
    emit StatusNotifierHostRegistered();
  }

  std::atomic<int> fAsked = 0;
  std::atomic<bool> fHost = false;

 signals:
  void StatusNotifierHostRegistered();
};

// Waits until a timer fires that starts now, and so after every running timer of the same interval.
void awaitTimer(std::chrono::milliseconds interval) {
  QTimer timer;
  QSignalSpy fired(&timer, &QTimer::timeout);
  timer.setSingleShot(true);
  timer.start(interval);
  ASSERT_TRUE(QTest::qWaitFor([&] { return !fired.empty(); }, kDeadline));
}

/// A private bus for a test, with a desktop side and a program side.
class TrayHostWatcherTest : public testing::Test {
 protected:
  void SetUp() override {
    fDaemon.start("dbus-daemon", {"--session", "--nofork", "--nopidfile", "--print-address"});
    ASSERT_TRUE(fDaemon.waitForStarted(kDeadline));
    while (!fDaemon.canReadLine()) ASSERT_TRUE(fDaemon.waitForReadyRead(kDeadline));
    const QString address = QString::fromUtf8(fDaemon.readLine()).trimmed();
    fDesktop = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(address, "desktop"));
    fProgram = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(address, "program"));
    ASSERT_TRUE(fDesktop->isConnected());
    ASSERT_TRUE(fProgram->isConnected());
  }

  void TearDown() override {
    fDesktop.reset();
    fProgram.reset();
    QDBusConnection::disconnectFromBus("desktop");
    QDBusConnection::disconnectFromBus("program");
    fDaemon.kill();
    fDaemon.waitForFinished(kDeadline);
  }

  void startDesktop() {
    ASSERT_TRUE(
        fDesktop->registerObject("/StatusNotifierWatcher", &fNotifierWatcher,
                                 QDBusConnection::ExportAllProperties | QDBusConnection::ExportAllSignals));
    ASSERT_TRUE(fDesktop->registerService("org.kde.StatusNotifierWatcher"));
  }
  std::unique_ptr<TrayHostWatcher> watcher(TrayHostWatcher::OlderTrayProbe olderTray = nullptr,
                                           TrayHostWatcher::Timing timing = {60s, 60s}) {
    auto made = std::make_unique<TrayHostWatcher>(*fProgram, std::move(olderTray), timing);
    QObject::connect(made.get(), &TrayHostWatcher::hostFound,
                     [this](TrayForm form) { fFound.push_back(form); });
    return made;
  }
  // Waits until the program has handled everything that was sent to it before: answers of one connection keep
  // their order.
  void awaitAnswer(const QString& service) {
    const QDBusPendingCallWatcher ping(fProgram->asyncCall(
        QDBusMessage::createMethodCall(service, "/", "org.freedesktop.DBus.Peer", "Ping")));
    QSignalSpy finished(&ping, &QDBusPendingCallWatcher::finished);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !finished.empty(); }, kDeadline));
  }
  bool findsHost() {
    return QTest::qWaitFor([this] { return !fFound.empty(); }, kDeadline);
  }

  QProcess fDaemon;
  std::unique_ptr<QDBusConnection> fDesktop;
  std::unique_ptr<QDBusConnection> fProgram;
  ScriptedNotifierWatcher fNotifierWatcher;
  std::vector<TrayForm> fFound;
};

TEST_F(TrayHostWatcherTest, FindsAHostThatIsThereAlready) {
  fNotifierWatcher.fHost = true;
  startDesktop();
  const auto tested = watcher();
  tested->start();
  EXPECT_TRUE(fFound.empty());
  ASSERT_TRUE(findsHost());
  EXPECT_EQ(fFound.front(), TrayForm::Button);
}

TEST_F(TrayHostWatcherTest, FindsAHostThatComesWithItsWatcherLater) {
  const auto tested = watcher();
  tested->start();
  awaitAnswer("org.freedesktop.DBus");
  fNotifierWatcher.fHost = true;
  startDesktop();
  ASSERT_TRUE(findsHost());
  EXPECT_EQ(fFound.front(), TrayForm::Button);
}

TEST_F(TrayHostWatcherTest, AWatcherWithoutAHostIsNotEnough) {
  startDesktop();
  const auto tested = watcher();
  tested->start();
  ASSERT_TRUE(QTest::qWaitFor([this] { return fNotifierWatcher.fAsked > 0; }, kDeadline));
  awaitAnswer("org.kde.StatusNotifierWatcher");
  EXPECT_TRUE(fFound.empty());
  fNotifierWatcher.registerHost();
  ASSERT_TRUE(findsHost());
  EXPECT_EQ(fFound.front(), TrayForm::Button);
}

TEST_F(TrayHostWatcherTest, SpeaksOnce) {
  fNotifierWatcher.fHost = true;
  startDesktop();
  const auto tested = watcher([] { return true; }, {1ms, 1ms});
  tested->start();
  tested->start();
  ASSERT_TRUE(findsHost());
  fNotifierWatcher.registerHost();
  awaitAnswer("org.kde.StatusNotifierWatcher");
  awaitTimer(1ms);
  EXPECT_EQ(fFound.size(), 1U);
}

TEST_F(TrayHostWatcherTest, TakesTheOlderTrayOnlyAfterTheGracePeriod) {
  const auto tested = watcher([] { return true; }, {150ms, 10ms});
  const auto begin = std::chrono::steady_clock::now();
  tested->start();
  ASSERT_TRUE(findsHost());
  EXPECT_EQ(fFound.front(), TrayForm::View);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, 140ms);
}

TEST_F(TrayHostWatcherTest, FindsAnOlderTrayThatComesLater) {
  int looks = 0;
  const auto tested = watcher([&] { return ++looks >= 3; }, {10ms, 10ms});
  tested->start();
  ASSERT_TRUE(findsHost());
  EXPECT_EQ(fFound.front(), TrayForm::View);
  EXPECT_EQ(looks, 3);
}

TEST_F(TrayHostWatcherTest, StillTakesTheNewerHostAfterTheGracePeriod) {
  int looks = 0;
  const auto tested = watcher(
      [&] {
        ++looks;
        return false;
      },
      {10ms, 10ms});
  tested->start();
  ASSERT_TRUE(QTest::qWaitFor([&] { return looks > 1; }, kDeadline));
  fNotifierWatcher.fHost = true;
  startDesktop();
  ASSERT_TRUE(findsHost());
  EXPECT_EQ(fFound.front(), TrayForm::Button);
}

TEST(TrayHostWatcherWithoutBusTest, LooksForTheOlderTrayAtOnce) {
  TrayHostWatcher tested(QDBusConnection("no such connection"), [] { return true; }, {60s, 60s});
  QSignalSpy found(&tested, &TrayHostWatcher::hostFound);
  tested.start();
  EXPECT_EQ(found.count(), 0);
  EXPECT_TRUE(QTest::qWaitFor([&] { return found.count() == 1; }, kDeadline));
}

TEST(TrayHostWatcherWithoutBusTest, WithoutX11FindsNothingAndDoesNotPoll) {
  TrayHostWatcher tested(QDBusConnection("no such connection"), nullptr, {1ms, 1ms});
  QSignalSpy found(&tested, &TrayHostWatcher::hostFound);
  tested.start();
  awaitTimer(1ms);
  EXPECT_EQ(found.count(), 0);
}

}  // namespace
}  // namespace vorn::ui

#include "TrayHostWatcherTest.moc"
