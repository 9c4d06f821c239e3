#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "AVB/Util/SystemDNSSD.h"
#include "app/Identity.h"
#include "devicelist/FirmwarePoller.h"
#include "devicelist/http/CurlTransfer.h"
#include "foundation/Console.h"
#include "foundation/Log.h"
#include "foundation/Process.h"
#include "platform/linux/files/UserFolders.h"
#include "platform/linux/network/AVBCapabilityLinux.h"
#include "platform/linux/network/NetworkServicesLinux.h"
#include "platform/linux/processes/ChildProcessLauncherLinux.h"
#include "platform/linux/settings/IniUserDefaults.h"
#include "vorn-device-list/InterfaceReport.h"
#include "vorn-device-list/ListOutput.h"
#include "vorn-device-list/ListProgram.h"
#include "vorn-device-list/Options.h"
#include "vorn-device-list/Signals.h"
#include "vorn-device-list/Translated.h"

namespace {

using vorn::devicelisttool::Options;
using vorn::devicelisttool::Print;
using vorn::devicelisttool::Translated;

// What every form of output and every message needs.
void PrepareOutput() {
  vorn::OccupyClosedStandardDescriptors();
  std::setlocale(LC_CTYPE, "C.UTF-8");  // for the width of characters, whatever the user's own locale is
  vorn::devicelisttool::UseLanguageOfUser(vorn::ProgramFolder() / Identity::kCatalogueFolder);
  ::signal(SIGPIPE, SIG_IGN);  // if nobody reads any more, a write fails
}

// What must happen before any thread starts.
void PrepareProcess(const Options& options) {
  vorn::KeepHeapSmall();
  Log::details::gFile = stderr;
  Log::details::s_use_color = ::isatty(STDERR_FILENO) != 0;
  vorn::RaiseDescriptorLimit();
  vorn::devicelisttool::BlockSignals(vorn::devicelisttool::ListOutput::DrawsInPlace(options));
  vorn::SystemDNSSD::Instance();
  DeviceList::InitHTTP();
}

int ListInterfaces(const Options& options) {
  vorn::NetworkServicesLinux services;
  vorn::AVBCapabilityLinux capability;
  vorn::ChildProcessLauncherLinux launcher;
  return vorn::devicelisttool::PrintInterfaces(options, services, capability, launcher);
}

int ListUnits(Options options) {
  PrepareProcess(options);
  if (!vorn::TrialFolder().empty()) {
    vorn::WriteToConsole(
        Translated("Trial run: settings are read from %1", {vorn::UserSettingsPath().string()}));
  }
  auto settings = vorn::IniUserDefaults::ReadOnly(vorn::UserSettingsPath());
  options.offline = options.offline || !DeviceList::UpdateServer::MayBeAsked(settings);
  return vorn::devicelisttool::RunList(options, DeviceList::UpdateServer::FromSettings(settings));
}

int RunAction(const Options& options) {
  switch (options.action) {
    case Options::Action::kHelp:
      return Print(vorn::devicelisttool::HelpText());
    case Options::Action::kVersion:
      return Print(std::string("vorn-device-list ") + Identity::kBundleVersion + "\n");
    case Options::Action::kInterfaces:
      return ListInterfaces(options);
    case Options::Action::kList:
      return ListUnits(options);
  }
  return vorn::devicelisttool::kBadUsage;
}

}  // namespace

int main(int argc, char** argv) {
  int exitCode = vorn::devicelisttool::kFailed;
  try {
    PrepareOutput();
    const auto parsed = vorn::devicelisttool::ParseOptions(std::vector<std::string>(argv + 1, argv + argc));
    if (parsed.error) {
      vorn::WriteToConsole(Translated("%1; see --help", {*parsed.error}));
      return vorn::devicelisttool::kBadUsage;
    }
    exitCode = RunAction(parsed.options);
  } catch (const std::exception& error) {
    vorn::WriteToConsole(error.what());
  }
  // A thread stuck in the responder's library must not meet static destructors.
  if (vorn::SystemDNSSD::Instance().AbandonedThreads() > 0) ::_exit(exitCode);
  return exitCode;
}
