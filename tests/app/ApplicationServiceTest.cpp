#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QDBusPendingCall>
#include <QDBusVirtualObject>
#include <QTest>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/ApplicationService.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/ScopedEnvironment.h"
#include "ui/TrayPress.h"

namespace vorn::app {
namespace {

using ::testing::SizeIs;

constexpr char kName[] = "example.vorn.Test";
constexpr char kPath[] = "/example/vorn/Test";
constexpr int kDeadlineMilliseconds = 30000;

/// The service on a private bus, and another program on that bus.
class ApplicationServiceTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    gBus = std::make_unique<testing::PrivateBus>();
    gAddress.emplace("DBUS_SESSION_BUS_ADDRESS", gBus->Address());
    static int count = 1;
    static char program[] = "test";
    static char* arguments[] = {program, nullptr};
    gApplication = std::make_unique<QCoreApplication>(count, arguments);
    ui::HandedOverPlace::listen();  // as with a status item; each call then takes longer inside the toolkit
    // A new connection keeps incoming calls back until the event loop turns, and a call at that moment may
    // come first. These tests are not about that order.
    (void)QDBusConnection::sessionBus();
    QCoreApplication::processEvents();
  }
  static void TearDownTestSuite() {
    QDBusConnection::disconnectFromBus(QStringLiteral("asker"));
    gApplication.reset();
    gAddress.reset();
    gBus.reset();
  }

  void SetUp() override { ASSERT_EQ(fService.claimName(), ApplicationService::Claim::Owner); }

  QDBusPendingCall Ask(const char* method, const QVariantList& arguments) {
    auto call =
        QDBusMessage::createMethodCall(QLatin1String(kName), QLatin1String(kPath),
                                       QStringLiteral("org.freedesktop.Application"), QLatin1String(method));
    call.setArguments(arguments);
    return fAsker.asyncCall(call, kDeadlineMilliseconds);
  }
  QDBusPendingCall Activate(const QVariantMap& platformData) { return Ask("Activate", {platformData}); }
  QDBusPendingCall ActivateWithToken(const QString& token) {
    return Activate({{QStringLiteral("activation-token"), token}});
  }
  QDBusPendingCall OpenPage(const QString& address) {
    return Ask("ActivateAction",
               {QLatin1String(ActivationRequest::kOpenPageAction), QVariantList{address}, QVariantMap{}});
  }

  /// Whether earlier requests have reached the service: it reads calls in order, and refuses this one at
  /// once.
  bool ReachedTheService() { return IsRefused(Ask("NoSuchMethod", {}), QDBusError::InvalidArgs); }

  /// Waits for an answer of the bus. It comes after all that the bus has sent this connection before.
  static bool BusAnswers(const QDBusConnection& connection) {
    return connection
               .call(QDBusMessage::createMethodCall(
                   QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                   QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId")))
               .type() == QDBusMessage::ReplyMessage;
  }
  /// Whether earlier requests have reached the bus.
  bool ReachedTheBus() { return BusAnswers(fAsker); }

  static bool IsAnswered(const QDBusPendingCall& call) {
    return QTest::qWaitFor([&call] { return call.isFinished(); }, kDeadlineMilliseconds) && !call.isError();
  }
  static bool IsRefused(const QDBusPendingCall& call, QDBusError::ErrorType why) {
    return QTest::qWaitFor([&call] { return call.isFinished(); }, kDeadlineMilliseconds) && call.isError() &&
           call.error().type() == why;
  }

  void TakeUpRequests() {
    fService.setHandler([this](const ActivationRequest& request) { fTaken.push_back(request); });
  }
  bool HaveTaken(std::size_t count) {
    return QTest::qWaitFor([this, count] { return fTaken.size() >= count; }, kDeadlineMilliseconds);
  }

  static std::unique_ptr<testing::PrivateBus> gBus;
  static std::optional<testing::ScopedEnvironment> gAddress;
  static std::unique_ptr<QCoreApplication> gApplication;

  ApplicationService fService{QLatin1String(kName), QLatin1String(kPath),
                              ApplicationService::Offer::Everything};
  QDBusConnection fAsker =
      QDBusConnection::connectToBus(QString::fromStdString(gBus->Address()), QStringLiteral("asker"));
  std::vector<ActivationRequest> fTaken;
};

std::unique_ptr<testing::PrivateBus> ApplicationServiceTest::gBus;
std::optional<testing::ScopedEnvironment> ApplicationServiceTest::gAddress;
std::unique_ptr<QCoreApplication> ApplicationServiceTest::gApplication;

TEST_F(ApplicationServiceTest, SixtyFourRequestsWaitInOrderAndTheNextIsRefused) {
  std::vector<QDBusPendingCall> waiting;
  for (int i = 0; i < 64; ++i) waiting.push_back(ActivateWithToken(QString::number(i)));
  EXPECT_TRUE(IsRefused(Activate({}), QDBusError::LimitsExceeded));
  for (const auto& call : waiting) EXPECT_FALSE(call.isFinished());

  TakeUpRequests();
  for (const auto& call : waiting) EXPECT_TRUE(IsAnswered(call));
  ASSERT_THAT(fTaken, SizeIs(64));
  for (std::size_t i = 0; i < 64; ++i) EXPECT_EQ(fTaken[i].activationToken, std::to_string(i));
  EXPECT_TRUE(IsAnswered(Activate({})));
}

TEST_F(ApplicationServiceTest, WaitingRequestsAreRefusedWhenTheProgramEnds) {
  const auto one = Activate({});
  const auto other = OpenPage(QStringLiteral("http://192.0.2.1/"));
  ASSERT_TRUE(ReachedTheService());
  fService.release();
  EXPECT_TRUE(IsRefused(one, QDBusError::ServiceUnknown));
  EXPECT_TRUE(IsRefused(other, QDBusError::ServiceUnknown));
}

TEST_F(ApplicationServiceTest, UnreadRequestsAreRefusedWhenTheProgramEnds) {
  const auto call = Activate({});
  ASSERT_TRUE(ReachedTheBus());
  fService.release();
  EXPECT_TRUE(IsRefused(call, QDBusError::ServiceUnknown));
}

TEST_F(ApplicationServiceTest, WaitingRequestsCanBeHandledWhenTheNameIsGivenBack) {
  const auto call = OpenPage(QStringLiteral("http://192.0.2.1/"));
  ASSERT_TRUE(ReachedTheBus());
  const auto taken = fService.releaseAndTakeWaiting();
  EXPECT_TRUE(IsAnswered(call));
  ASSERT_THAT(taken, SizeIs(1));
  EXPECT_EQ(taken[0].kind, ActivationRequest::Kind::OpenPage);
  EXPECT_EQ(taken[0].address, "http://192.0.2.1/");
}

TEST_F(ApplicationServiceTest, AnOwnerThatHasGoneIsNoRefusal) {
  ApplicationService late(QStringLiteral("example.vorn.Nobody"), QStringLiteral("/example/vorn/Nobody"),
                          ApplicationService::Offer::Everything);
  EXPECT_EQ(late.askOwnerToShow({}), ApplicationService::Reply::None);
  EXPECT_FALSE(late.ownerReplies());
}

TEST_F(ApplicationServiceTest, TheFirstRequestIsFoundIfThereIsOne) {
  EXPECT_FALSE(fService.takeFirstRequest());
  const auto one = OpenPage(QStringLiteral("http://192.0.2.1/"));
  const auto other = Activate({});
  ASSERT_TRUE(ReachedTheBus());
  const auto first = fService.takeFirstRequest();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->address, "http://192.0.2.1/");
  EXPECT_TRUE(IsAnswered(one));
  EXPECT_FALSE(other.isFinished());
}

TEST_F(ApplicationServiceTest, WithoutADisplayOnlyPagesAreOffered) {
  fService.release();
  ApplicationService service(QLatin1String(kName), QLatin1String(kPath), ApplicationService::Offer::Pages);
  ASSERT_EQ(service.claimName(), ApplicationService::Claim::Owner);
  EXPECT_TRUE(IsRefused(Activate({}), QDBusError::Failed));
  EXPECT_TRUE(IsRefused(Ask("Open", {QStringList(), QVariantMap()}), QDBusError::Failed));
  const auto page = OpenPage(QStringLiteral("http://192.0.2.1/"));
  EXPECT_TRUE(service.takeFirstRequest());
  EXPECT_TRUE(IsAnswered(page));
}

TEST_F(ApplicationServiceTest, TokensOfUpToAThousandCharactersCount) {
  const QString longest(1000, QLatin1Char('x'));
  const QString tooLong(1001, QLatin1Char('x'));
  const auto older = QStringLiteral("older");
  TakeUpRequests();
  (void)ActivateWithToken(longest);
  (void)ActivateWithToken(tooLong);
  (void)Activate(
      {{QStringLiteral("activation-token"), tooLong}, {QStringLiteral("desktop-startup-id"), older}});
  (void)Activate({{QStringLiteral("activation-token"), 7}, {QStringLiteral("desktop-startup-id"), longest}});
  ASSERT_TRUE(HaveTaken(4));
  EXPECT_EQ(fTaken[0].activationToken, longest.toStdString());
  EXPECT_EQ(fTaken[1].activationToken, "");
  EXPECT_EQ(fTaken[2].activationToken, "older");
  EXPECT_EQ(fTaken[3].activationToken, longest.toStdString());
}

/// An object on the bus that counts the calls that it gets.
class CallCounter final : public QDBusVirtualObject {
 public:
  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage&, const QDBusConnection&) override {
    ++fCalls;
    return true;
  }

  int fCalls = 0;
};

TEST_F(ApplicationServiceTest, CallsSentBeforeAreDeliveredFirst) {
  constexpr int kCalls = 50;
  CallCounter counter;
  const auto path = QStringLiteral("/counter");
  ASSERT_TRUE(QDBusConnection::sessionBus().registerVirtualObject(path, &counter));
  for (int i = 0; i < kCalls; ++i) {
    fAsker.send(QDBusMessage::createMethodCall(QLatin1String(kName), path, {}, QStringLiteral("Count")));
  }
  ASSERT_TRUE(ReachedTheBus());
  std::optional<int> delivered;
  ui::HandedOverPlace::onceDelivered(&counter, [&] { delivered = counter.fCalls; });
  // The answer to its first question waits too when the event loop begins to turn.
  ASSERT_TRUE(BusAnswers(QDBusConnection::sessionBus()));
  EXPECT_TRUE(QTest::qWaitFor([&] { return delivered.has_value(); }, kDeadlineMilliseconds));
  EXPECT_EQ(delivered, kCalls);
}

TEST_F(ApplicationServiceTest, AddressesAreCutAtTenThousandCharacters) {
  const QString longest(10000, QLatin1Char('x'));
  TakeUpRequests();
  (void)OpenPage(longest);
  (void)OpenPage(longest + QLatin1Char('y'));
  ASSERT_TRUE(HaveTaken(2));
  EXPECT_EQ(fTaken[0].address, longest.toStdString());
  EXPECT_EQ(fTaken[1].address, longest.toStdString());
}

}  // namespace
}  // namespace vorn::app
