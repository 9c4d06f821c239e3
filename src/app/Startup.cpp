#include "app/Startup.h"

#include <QApplication>
#include <QIcon>
#include <QSessionManager>
#include <chrono>
#include <memory>
#include <optional>

#include "app/AppDelegate.h"
#include "app/ApplicationService.h"
#include "app/DesktopEnvironment.h"
#include "app/Identity.h"
#include "app/QtRunLoop.h"
#include "app/StartReason.h"
#include "app/TerminationSignals.h"
#include "foundation/Console.h"
#include "foundation/EndProcessAfter.h"

namespace vorn::app {
namespace {

using Claim = ApplicationService::Claim;
using namespace std::chrono_literals;

// The message for whose sake the bus starts us is there in a moment. A program
// that merely inherited the bus's mark from its terminal waits in vain.
constexpr auto kFirstRequestGrace = 300ms;
constexpr auto kFirstRequestGraceWithoutDisplay = 3000ms;

// A little before the second is over, for the system's own part of the exit.
constexpr auto kTeardownLimit = 900ms;

constexpr int kBadUsage = 2;

/// Makes the toolkit's loop the main thread's run loop for a while.
class MainRunLoop {
 public:
  MainRunLoop() { RunLoop::SetCurrent(std::make_shared<QtRunLoop>()); }
  ~MainRunLoop() { RunLoop::SetCurrent(nullptr); }
  MainRunLoop(const MainRunLoop&) = delete;
  MainRunLoop& operator=(const MainRunLoop&) = delete;
};

int LeaveToTheOther(ApplicationService& service, const StartReason& reason) {
  if (!reason.atLogin && !service.askOwnerToShow(reason.activationToken)) {
    WriteToConsole("Another one is running but does not answer");
  }
  return 0;
}

int OpenPageAndLeave(const ActivationRequest& notice) {
  DesktopEnvironment environment;
  AppDelegate delegate(environment);
  delegate.applicationDidFinishLaunching(&notice);
  return 0;
}

/// What can be done without a display, on behalf of the bus above all; the
/// exit status, or empty where the program is to go on with its windows.
/// `first` becomes the bus's request.
std::optional<int> RunWithoutWindows(int& argc, char** argv, const StartReason& reason,
                                     ApplicationService& service, std::optional<ActivationRequest>& first) {
  const bool hasDisplay = HasDisplay();
  if (hasDisplay && !reason.byBus) return {};
  const QCoreApplication application(argc, argv);
  const auto claim = service.claimName();
  if (claim == Claim::AnotherRuns) return LeaveToTheOther(service, reason);
  if (claim == Claim::Owner && reason.byBus) {
    first = service.takeFirstRequest(hasDisplay ? kFirstRequestGrace : kFirstRequestGraceWithoutDisplay);
  }
  if (first && first->kind == ActivationRequest::Kind::OpenPage) return OpenPageAndLeave(*first);
  if (hasDisplay) return {};
  WriteToConsole("There is no display to show the status item on");
  return 1;
}

void SetUpToolkit() {
  QApplication::setApplicationName(QString::fromLatin1(Identity::kProgram));
  QApplication::setApplicationDisplayName(QString::fromUtf8(Identity::kName));
  QApplication::setApplicationVersion(QString::fromLatin1(Identity::kBundleVersion));
  QApplication::setDesktopFileName(QString::fromLatin1(Identity::kIdentifier));
  QApplication::setWindowIcon(QIcon::fromTheme(QString::fromLatin1(Identity::kIdentifier)));
  QApplication::setQuitOnLastWindowClosed(false);  // the panel comes and goes
  // The login item starts us; a session that restores us too would start us
  // twice, and the second start would look like a person's.
  QObject::connect(
      qApp, &QGuiApplication::saveStateRequest, qApp,
      [](QSessionManager& session) { session.setRestartHint(QSessionManager::RestartNever); },
      Qt::DirectConnection);
}

/// Lets the panel take the focus on the asker's behalf, where focus is given
/// by token: the toolkit looks for it in the environment when a window shows.
void UseActivationToken(const std::string& token) {
  if (token.empty() || !QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) return;
  qputenv("XDG_ACTIVATION_TOKEN", QByteArray::fromStdString(token));
}

void HandleRequest(AppDelegate& delegate, const ActivationRequest& request) {
  if (request.kind == ActivationRequest::Kind::OpenPage) {
    delegate.handleActivation(request);
    return;
  }
  UseActivationToken(request.activationToken);
  delegate.handleActivation(request);
  qunsetenv("XDG_ACTIVATION_TOKEN");  // good for one use
}

int RunStatusItem(ApplicationService& service, const std::optional<ActivationRequest>& first) {
  const MainRunLoop mainRunLoop;
  DesktopEnvironment environment;
  AppDelegate delegate(environment);
  const TerminationSignals termination([&environment] { environment.terminate(); });
  delegate.applicationDidFinishLaunching();
  if (first && first->kind == ActivationRequest::Kind::ShowDevices) HandleRequest(delegate, *first);
  service.setHandler([&delegate](const ActivationRequest& request) { HandleRequest(delegate, request); });

  const int status = QApplication::exec();
  service.release();  // whoever starts now is to be the program, not to ask us
  environment.standardUserDefaults().Synchronize();
  EndProcessAfter(kTeardownLimit, status);
  return status;
}

}  // namespace

int RunProgram(int& argc, char** argv) {
  const StartReason reason = TakeStartReason();
  ApplicationService service(QString::fromLatin1(Identity::kIdentifier),
                             QString::fromLatin1(Identity::kObjectPath));
  std::optional<ActivationRequest> first;
  if (const auto status = RunWithoutWindows(argc, argv, reason, service, first)) return *status;

  const QApplication application(argc, argv);
  if (QCoreApplication::arguments().size() > 1) {
    WriteToConsole("Unknown argument; see --help");
    return kBadUsage;
  }
  SetUpToolkit();
  if (service.claimName() == Claim::AnotherRuns) return LeaveToTheOther(service, reason);
  return RunStatusItem(service, first);
}

}  // namespace vorn::app
