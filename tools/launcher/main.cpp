#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "app/Identity.h"
#include "foundation/Console.h"
#include "platform/linux/files/UserFolders.h"

namespace {

constexpr int kBadUsage = 2;

/// Becomes the application. The environment tells the application that the login started it, and not a
/// person. Returns only on failure.
int StartApplication() {
  const auto folder = vorn::ProgramFolder() / Identity::kProgramFolder;
  const std::string program = (folder / Identity::kProgram).lexically_normal().string();
  ::setenv(Identity::kAtLoginVariable, "1", 1);
  ::execl(program.c_str(), Identity::kProgram, nullptr);
  vorn::WriteToConsole("cannot start " + program + ": " + std::strerror(errno));
  return EXIT_FAILURE;
}

std::string HelpText() {
  return std::string("Usage: ") + Identity::kLauncherProgram + " [--help | --version]\n" + "Starts " +
         Identity::kName + " without showing its panel. Meant for the desktop's login.\n";
}

int Print(const std::string& text) {
  return vorn::WriteToStandardOutput(text) == vorn::OutputResult::kFailed ? EXIT_FAILURE : EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 1) return StartApplication();
  const std::string option = argc == 2 ? argv[1] : "";
  if (option == "--version") {
    return Print(std::string(Identity::kLauncherProgram) + " " + Identity::kBundleVersion + "\n");
  }
  if (option == "--help") return Print(HelpText());
  std::fputs(HelpText().c_str(), stderr);
  return kBadUsage;
}
