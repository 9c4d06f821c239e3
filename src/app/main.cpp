#include <unistd.h>

#include <QCoreApplication>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "AVB/Util/SystemDNSSD.h"
#include "app/Identity.h"
#include "app/Startup.h"
#include "devicelist/http/CurlTransfer.h"
#include "foundation/Console.h"
#include "foundation/Log.h"
#include "foundation/Process.h"
#include "ui/Translations.h"

namespace {

constexpr int kBadUsage = 2;

std::string HelpText() {
  return QCoreApplication::translate(
             "main",
             "Usage: %1 [-h | --help | -V | --version]\n"
             "Shows the Vorn units of the local network in the desktop's status bar and\n"
             "announces new firmware. If it already runs, a second start opens its panel.\n")
      .arg(QLatin1String(Identity::kProgram))
      .toStdString();
}

std::string VersionText() {
  return std::string(Identity::kProgram) + " " + Identity::kBundleVersion + "\n";
}

int Print(const std::string& text) {
  return vorn::WriteToStandardOutput(text) == vorn::OutputResult::kFailed ? EXIT_FAILURE : EXIT_SUCCESS;
}

/// The exit status for arguments that ask for something else than the program itself.
int AnswerArguments(int argc, char** argv) {
  const std::string first = argv[1];
  const bool isHelp = first == "--help" || first == "-h";
  const bool isVersion = first == "--version" || first == "-V";
  if (argc == 2 && isHelp) {
    const QCoreApplication application(argc, argv);
    vorn::ui::useLanguageOfUser();
    return Print(HelpText());
  }
  if (argc == 2 && isVersion) return Print(VersionText());
  const std::string unknown = isHelp || isVersion ? argv[2] : first;
  vorn::WriteToConsole("Unknown argument '" + vorn::Excerpt(unknown) + "'; see --help");
  return kBadUsage;
}

// We use a handler and do not ignore the signal, because programs that we start inherit ignored signals.
void SurviveClosedPipes() {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  ::sigaction(SIGPIPE, &action, nullptr);
}

/// First of all, before any other thread: one small heap, as many descriptors as the system allows (units
/// need three each), a logger to standard error, a quiet DNS-SD library, no death by a closed pipe, HTTP
/// ready.
void PrepareProcess() {
  vorn::KeepHeapSmall();
  vorn::RaiseDescriptorLimit();
  SurviveClosedPipes();
  Log::details::gFile = stderr;
  Log::details::s_use_color = ::isatty(STDERR_FILENO) == 1;
  vorn::SystemDNSSD::Instance();
  DeviceList::InitHTTP();
}

}  // namespace

int main(int argc, char** argv) {
  vorn::OccupyClosedStandardDescriptors();
  if (argc > 1) return AnswerArguments(argc, argv);
  int status = EXIT_FAILURE;
  try {
    PrepareProcess();
    status = vorn::app::RunProgram(argc, argv);
  } catch (const std::exception& error) {
    vorn::WriteToConsole(error.what());
  }
  // A thread stuck in the responder's library must not meet static destructors.
  if (vorn::SystemDNSSD::Instance().AbandonedThreads() > 0) ::_exit(status);
  return status;
}
