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

void PrintHelp() {
  std::printf(
      "Usage: %s [--help | --version]\n"
      "Shows the Vorn units of the local network in the desktop's status bar and tells\n"
      "of new firmware. Started again, it shows the panel of the one that runs.\n",
      Identity::kProgram);
}

/// Whether an argument was answered here.
bool AnswerOptions(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--help" || argument == "-h") {
      PrintHelp();
      return true;
    }
    if (argument == "--version") {
      std::printf("%s %s\n", Identity::kProgram, Identity::kBundleVersion);
      return true;
    }
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (AnswerOptions(argc, argv)) return EXIT_SUCCESS;
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
