#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "app/Identity.h"
#include "foundation/Console.h"
#include "platform/linux/UserFolders.h"

namespace {

/// Becomes the application, which learns from its environment that it was
/// started by the login and not by a person. Returns only on failure.
int StartApplication() {
  const std::string program = (vorn::ProgramFolder() / Identity::kProgram).string();
  ::setenv(Identity::kAtLoginVariable, "1", 1);
  ::execl(program.c_str(), Identity::kProgram, nullptr);
  vorn::WriteToConsole("cannot start " + program + ": " + std::strerror(errno));
  return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 1) return StartApplication();
  const std::string option = argv[1];
  if (argc == 2 && option == "--version") {
    std::printf("%s %s\n", Identity::kLauncherProgram, Identity::kBundleVersion);
    return EXIT_SUCCESS;
  }
  const bool isHelp = argc == 2 && option == "--help";
  std::fprintf(isHelp ? stdout : stderr,
               "Usage: %s [--help | --version]\n"
               "Starts %s without showing its panel. Meant for the desktop's login.\n",
               Identity::kLauncherProgram, Identity::kName);
  return isHelp ? EXIT_SUCCESS : 2;
}
