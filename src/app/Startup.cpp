#include "app/Startup.h"

#include <QApplication>
#include <QSessionManager>
#include <QTimer>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "app/AppDelegate.h"
#include "app/ApplicationService.h"
#include "app/Desktop.h"
#include "app/Identity.h"
#include "app/QtRunLoop.h"
#include "app/StartConditions.h"
#include "foundation/Console.h"
#include "foundation/Process.h"
#include "notification/Notifier.h"
#include "platform/linux/files/UserFolders.h"
#include "ui/Translations.h"

namespace vorn::app {
namespace {

using Claim = ApplicationService::Claim;
using namespace std::chrono_literals;

// A little less than a second, because the system needs some time for the exit.
constexpr auto kTeardownLimit = 900ms;

/// Makes the toolkit's loop the main thread's run loop for a while.
class MainRunLoop {
 public:
  MainRunLoop() { RunLoop::SetCurrent(std::make_shared<QtRunLoop>()); }
  ~MainRunLoop() { RunLoop::SetCurrent(nullptr); }
  MainRunLoop(const MainRunLoop&) = delete;
  MainRunLoop& operator=(const MainRunLoop&) = delete;
};

/// Becomes the program, or, if another process has the name, asks that one for its panel. At login nobody
/// waits for a panel, but a silent owner keeps us from running too. The exit status, if this start ends here.
std::optional<int> ExitStatusBesideAnother(ApplicationService& service, const StartReason& reason) {
  using Reply = ApplicationService::Reply;
  if (service.claimName() != Claim::AnotherRuns) return {};
  const auto reply = !reason.atLogin          ? service.askOwnerToShow(reason.activationToken)
                     : service.ownerReplies() ? Reply::Accepted
                                              : Reply::None;
  if (reply == Reply::Accepted) return EXIT_SUCCESS;
  if (service.claimName() != Claim::AnotherRuns) return {};  // the other one was about to end
  WriteToConsole(reply == Reply::Refused ? "The program is already running but refuses to show its panel"
                                         : "The program is already running but does not answer");
  return EXIT_FAILURE;
}

void OpenPage(Desktop& desktop, const ActivationRequest& request) {
  Notification::HandleNotificationActivation(request.address, request.activationToken, desktop.UrlOpener());
}

/// Turns the event loop until each page is opened or has failed, so that a failure goes to the console.
void AwaitPages(XdgUrlOpener& opener) {
  QTimer look;  // nothing else ends the wait for a browser that continues to run
  look.start(1s);
  while (opener.IsOpening()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

/// Opens the page for which the bus started us, and pages that were requested in the meantime. Empty if that
/// was all. Otherwise the request for the program itself, the panel first.
std::optional<ActivationRequest> OpenPages(ApplicationService& service, Desktop& desktop,
                                           const ActivationRequest& first) {
  // Without the name, so that a start from now on becomes the program.
  const auto others = service.releaseAndTakeWaiting();
  OpenPage(desktop, first);
  std::optional<ActivationRequest> more;
  for (const ActivationRequest& other : others) {
    if (other.kind == ActivationRequest::Kind::OpenPage) {
      OpenPage(desktop, other);
    } else if (!more || other.kind == ActivationRequest::Kind::ShowDevices) {
      more = other;
    }
  }
  return more;
}

/// The request for which the bus started us. Empty if the bus did not start us, or if we only inherited the
/// bus's mark from our terminal.
std::optional<ActivationRequest> FirstRequest(ApplicationService& service, const StartReason& reason) {
  if (!reason.byBus) return {};
  return service.takeFirstRequest();
}

void SetUpToolkit() {
  const auto name = QString::fromUtf8(Identity::kName);
  QApplication::setApplicationName(name);  // the toolkit makes it the title of the status item
  QApplication::setApplicationDisplayName(name);
  QApplication::setApplicationVersion(QString::fromLatin1(Identity::kBundleVersion));
  QApplication::setDesktopFileName(QString::fromLatin1(Identity::kIdentifier));
  ui::useLanguageOfUser();
  QApplication::setQuitOnLastWindowClosed(false);  // the panel comes and goes
  // The login item starts us. If a session restored us too, we would start twice, and the second start would
  // look like a person's.
  QObject::connect(
      qApp, &QGuiApplication::saveStateRequest, qApp,
      [](QSessionManager& session) { session.setRestartHint(QSessionManager::RestartNever); },
      Qt::DirectConnection);
}

/// Lets the panel take the focus for the program that asked, if the desktop gives focus by token: the toolkit
/// looks for the token in the environment when a window shows.
void UseActivationToken(const std::string& token) {
  if (token.empty() || !QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) return;
  qputenv(kActivationTokenVariable, QByteArray::fromStdString(token));
}

void HandleRequest(Desktop& desktop, AppDelegate& delegate, const ActivationRequest& request) {
  if (request.kind == ActivationRequest::Kind::OpenPage) {
    OpenPage(desktop, request);
    return;
  }
  UseActivationToken(request.activationToken);
  delegate.setPanelVisible(true);
  qunsetenv(kActivationTokenVariable);  // good for one use
}

int RunStatusItem(ApplicationService& service, Desktop& desktop,
                  const std::optional<ActivationRequest>& first) {
  AppDelegate delegate(desktop.Makers());
  const TerminationSignals termination([&desktop] { desktop.Terminate(); });
  delegate.applicationDidFinishLaunching();
  const auto handle = [&](const ActivationRequest& request) { HandleRequest(desktop, delegate, request); };
  if (first && first->kind == ActivationRequest::Kind::ShowDevices) handle(*first);
  service.setHandler(handle);

  // Without the bus there is no icon and no notification, and a second start becomes a second program.
  service.watchBus([] {
    WriteToConsole("The session bus has ended");
    QApplication::exit(EXIT_FAILURE);
  });

  const int status = QApplication::exec();
  service.release();  // a start from now on must become the program, and not ask us
  desktop.Settings().SaveAtEnd();
  EndProcessAfter(kTeardownLimit, status);
  return status;
}

/// A trial run has a name of its own on the bus, so that it is a program beside the installed one.
ApplicationService MakeService(ApplicationService::Offer offer) {
  auto name = QString::fromLatin1(Identity::kIdentifier);
  if (!TrialFolder().empty()) name += QStringLiteral(".Trial");
  return {name, QString::fromLatin1(Identity::kObjectPath), offer};
}

int RunWithDisplay(int& argc, char** argv, const StartReason& reason, std::optional<Display> display) {
  const QApplication application(argc, argv);
  display.reset();  // the toolkit has its own connection
  SetUpToolkit();
  const MainRunLoop mainRunLoop;
  Desktop desktop;
  auto service = MakeService(ApplicationService::Offer::Everything);
  if (const auto status = ExitStatusBesideAnother(service, reason)) return *status;
  auto first = FirstRequest(service, reason);
  if (first && first->kind == ActivationRequest::Kind::OpenPage) {
    first = OpenPages(service, desktop, *first);
    if (!first) {
      AwaitPages(desktop.UrlOpener());
      return 0;
    }
    if (const auto status = ExitStatusBesideAnother(service, reason)) return *status;
  }
  return RunStatusItem(service, desktop, first);
}

/// What can be done without a display: ask the running program, and open pages.
int RunWithoutDisplay(int& argc, char** argv, const StartReason& reason) {
  const QCoreApplication application(argc, argv);
  const MainRunLoop mainRunLoop;
  auto service = MakeService(ApplicationService::Offer::Pages);
  if (const auto status = ExitStatusBesideAnother(service, reason)) return *status;
  if (const auto first = FirstRequest(service, reason)) {
    Desktop desktop;
    OpenPages(service, desktop, *first);
    AwaitPages(desktop.UrlOpener());
    return 0;
  }
  WriteToConsole("There is no display to show the status item on");
  return 1;
}

}  // namespace

int RunProgram(int& argc, char** argv) {
  const StartReason reason = TakeStartReason();
  if (const auto trial = TrialFolder(); !trial.empty()) {
    WriteToConsole("Trial run: settings and notifications are kept in " + trial.string());
  }
  std::optional<Display> display(std::in_place);
  if (!display->Answers()) return RunWithoutDisplay(argc, argv, reason);
  return RunWithDisplay(argc, argv, reason, std::move(display));
}

}  // namespace vorn::app
