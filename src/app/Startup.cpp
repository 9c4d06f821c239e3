#include "app/Startup.h"

#include <QApplication>
#include <QSessionManager>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "app/AppDelegate.h"
#include "app/ApplicationService.h"
#include "app/DesktopEnvironment.h"
#include "app/Identity.h"
#include "app/QtRunLoop.h"
#include "app/StartConditions.h"
#include "foundation/Console.h"
#include "foundation/Process.h"

namespace vorn::app {
namespace {

using Claim = ApplicationService::Claim;
using namespace std::chrono_literals;

// A little before the second is over, for the system's own part of the exit.
constexpr auto kTeardownLimit = 900ms;

/// Makes the toolkit's loop the main thread's run loop for a while.
class MainRunLoop {
 public:
  MainRunLoop() { RunLoop::SetCurrent(std::make_shared<QtRunLoop>()); }
  ~MainRunLoop() { RunLoop::SetCurrent(nullptr); }
  MainRunLoop(const MainRunLoop&) = delete;
  MainRunLoop& operator=(const MainRunLoop&) = delete;
};

/// Asks for the name, and where another has it, for that one's panel.
Claim ClaimOrAskTheOther(ApplicationService& service, const StartReason& reason) {
  const auto claim = service.claimName();
  if (claim != Claim::AnotherRuns || reason.atLogin) return claim;
  if (service.askOwnerToShow(reason.activationToken)) return claim;
  const auto again = service.claimName();  // the other may have been about to end
  if (again == Claim::AnotherRuns) WriteToConsole("Another one is running but does not answer");
  return again;
}

void OpenPage(const ActivationRequest& notice) {
  DesktopEnvironment environment;
  AppDelegate delegate(environment);
  delegate.applicationDidFinishLaunching(&notice);
}

/// Opens the page that the bus started us for, and those that were asked for
/// meanwhile. Empty when that was all; otherwise what somebody wants of the
/// program itself, the panel before anything else.
std::optional<ActivationRequest> OpenPages(ApplicationService& service, const ActivationRequest& first) {
  // Without the name, so that a start from now on becomes the program.
  const auto others = service.releaseAndTakeWaiting();
  OpenPage(first);
  std::optional<ActivationRequest> more;
  for (const ActivationRequest& other : others) {
    if (other.kind == ActivationRequest::Kind::OpenPage) {
      OpenPage(other);
    } else if (!more || other.kind == ActivationRequest::Kind::ShowDevices) {
      more = other;
    }
  }
  return more;
}

/// The request for whose sake the bus started us; empty where it did not, and
/// where we merely inherited the bus's mark from our terminal.
std::optional<ActivationRequest> FirstRequest(ApplicationService& service, Claim claim,
                                              const StartReason& reason) {
  if (claim != Claim::Owner || !reason.byBus) return {};
  return service.takeFirstRequest();
}

void SetUpToolkit() {
  QApplication::setApplicationName(QString::fromLatin1(Identity::kProgram));
  QApplication::setApplicationDisplayName(QString::fromUtf8(Identity::kName));
  QApplication::setApplicationVersion(QString::fromLatin1(Identity::kBundleVersion));
  QApplication::setDesktopFileName(QString::fromLatin1(Identity::kIdentifier));
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
  qputenv(kActivationTokenVariable, QByteArray::fromStdString(token));
}

void HandleRequest(AppDelegate& delegate, const ActivationRequest& request) {
  if (request.kind == ActivationRequest::Kind::OpenPage) {
    delegate.handleActivation(request);
    return;
  }
  UseActivationToken(request.activationToken);
  delegate.handleActivation(request);
  qunsetenv(kActivationTokenVariable);  // good for one use
}

int RunStatusItem(ApplicationService& service, const std::optional<ActivationRequest>& first) {
  const MainRunLoop mainRunLoop;
  DesktopEnvironment environment;
  AppDelegate delegate(environment);
  const TerminationSignals termination([&environment] { environment.terminate(); });
  delegate.applicationDidFinishLaunching();
  if (first && first->kind == ActivationRequest::Kind::ShowDevices) HandleRequest(delegate, *first);
  service.setHandler([&delegate](const ActivationRequest& request) { HandleRequest(delegate, request); });

  // Without the bus there is no icon, no notice, and a second start becomes a second program.
  service.watchBus([] {
    WriteToConsole("The session bus has ended");
    QApplication::exit(EXIT_FAILURE);
  });

  const int status = QApplication::exec();
  service.release();  // whoever starts now is to be the program, not to ask us
  environment.standardUserDefaults().Synchronize();
  EndProcessAfter(kTeardownLimit, status);
  return status;
}

ApplicationService MakeService(ApplicationService::Offer offer) {
  return {QString::fromLatin1(Identity::kIdentifier), QString::fromLatin1(Identity::kObjectPath), offer};
}

int RunWithDisplay(int& argc, char** argv, const StartReason& reason, std::optional<Display> display) {
  const QApplication application(argc, argv);
  display.reset();  // the toolkit has its own connection
  SetUpToolkit();
  auto service = MakeService(ApplicationService::Offer::Everything);
  auto claim = ClaimOrAskTheOther(service, reason);
  auto first = FirstRequest(service, claim, reason);
  if (first && first->kind == ActivationRequest::Kind::OpenPage) {
    first = OpenPages(service, *first);
    if (!first) return 0;
    claim = ClaimOrAskTheOther(service, reason);
  }
  if (claim == Claim::AnotherRuns) return 0;
  return RunStatusItem(service, first);
}

/// What can be done without a display: ask the one that runs, and open pages.
int RunWithoutDisplay(int& argc, char** argv, const StartReason& reason) {
  const QCoreApplication application(argc, argv);
  auto service = MakeService(ApplicationService::Offer::Pages);
  const auto claim = ClaimOrAskTheOther(service, reason);
  if (claim == Claim::AnotherRuns) return 0;
  if (const auto first = FirstRequest(service, claim, reason)) {
    OpenPages(service, *first);
    return 0;
  }
  WriteToConsole("There is no display to show the status item on");
  return 1;
}

}  // namespace

int RunProgram(int& argc, char** argv) {
  const StartReason reason = TakeStartReason();
  std::optional<Display> display(std::in_place);
  if (!display->Answers()) return RunWithoutDisplay(argc, argv, reason);
  return RunWithDisplay(argc, argv, reason, std::move(display));
}

}  // namespace vorn::app
