#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string_view>

#include "AVB/Util/ZeroConf.h"
#include "app/Identity.h"
#include "app/ProcessSetup.h"
#include "app/Startup.h"
#include "foundation/Console.h"

namespace {

constexpr int kBadUsage = 2;

constexpr char kHelp[] =
    "Usage: %s [--help | --version]\n"
    "Shows the Vorn units of the local network in the desktop's status bar and tells\n"
    "of new firmware. Started again, it shows the panel of the one that runs.\n";

/// The exit status for arguments, all of which ask for something else than the
/// program itself.
int AnswerArguments(int argc, char** argv) {
  const std::string_view only = argc == 2 ? argv[1] : "";
  if (only == "--help" || only == "-h") {
    std::printf(kHelp, Identity::kProgram);
  } else if (only == "--version") {
    std::printf("%s %s\n", Identity::kProgram, Identity::kBundleVersion);
  } else {
    vorn::WriteToConsole("Unknown argument; see --help");
    return kBadUsage;
  }
  return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) return AnswerArguments(argc, argv);
  int status = EXIT_FAILURE;
  try {
    vorn::app::PrepareProcess();
    status = vorn::app::RunProgram(argc, argv);
  } catch (const std::exception& error) {
    vorn::WriteToConsole(error.what());
  }
  // A thread stuck in the responder's library must not meet static destructors.
  if (vorn::ZeroConfEngine::AbandonedThreads() > 0) ::_exit(status);
  return status;
}
