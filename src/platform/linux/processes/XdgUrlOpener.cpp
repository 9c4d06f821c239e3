#include "platform/linux/processes/XdgUrlOpener.h"

#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <system_error>

#include "foundation/Clock.h"
#include "foundation/Console.h"
#include "foundation/FileDescriptor.h"
#include "foundation/RunLoop.h"
#include "platform/linux/files/UserFolders.h"
#include "platform/linux/processes/StartProgram.h"

namespace vorn {
namespace {

constexpr char kProgram[] = "xdg-open";
constexpr std::chrono::seconds kOpening{30};  // if it ends later, it had opened the page

bool IsSafeArgument(const std::string& text) {
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; };
  return !text.empty() && text.front() != '-' && std::none_of(text.begin(), text.end(), isControl);
}

ProgramStart BrowserStart(const std::string& url, const std::string& activationToken) {
  std::optional<std::string> token;
  if (IsSafeArgument(activationToken)) token = activationToken;
  ProgramStart start;
  start.words = {kProgram, url};
  start.onSearchPath = true;
  start.environment = ChangedEnvironment({{"XDG_ACTIVATION_TOKEN", token},
                                          {"DESKTOP_STARTUP_ID", token},  // the same for X11 programs
                                          {"DBUS_STARTER_ADDRESS", {}},
                                          {"DBUS_STARTER_BUS_TYPE", {}}});
  std::error_code none;
  const auto home = UserHomeFolder();
  if (std::filesystem::is_directory(home, none)) start.folder = home;
  return start;
}

// The meaning of its exit status, from the program's own manual.
std::string Reason(int status) {
  if (!WIFEXITED(status)) return "ended by signal " + std::to_string(WTERMSIG(status));
  const int code = WEXITSTATUS(status);
  std::string text = "exited with " + std::to_string(code);
  if (code == 3) text += ", a program that it needs is missing";
  if (code == 4) text += ", no program could open the page";
  return text;
}

}  // namespace

/// A started program, which the run loop watches as long as this lives.
class XdgUrlOpener::Child {
 public:
  Child(pid_t process, std::function<void()> onEnded) : fProcess(OpenProcess(process)) {
    if (!fProcess) return;  // the next call of Open looks for its end
    fLoop = RunLoop::Current();
    fSource = fLoop->AddSource(fProcess.Get(), std::move(onEnded));
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    if (fLoop) fLoop->RemoveSource(fSource);
  }

  [[nodiscard]] bool IsOpening() const { return Clock::now() - fStarted < kOpening; }

 private:
  const Clock::time_point fStarted = Clock::now();
  FileDescriptor fProcess;
  std::shared_ptr<RunLoop> fLoop;
  RunLoop::SourceId fSource = 0;
};

XdgUrlOpener::XdgUrlOpener() = default;

XdgUrlOpener::~XdgUrlOpener() = default;

void XdgUrlOpener::Open(const std::string& url, const std::string& activationToken) {
  if (!IsSafeArgument(url)) {
    WriteToConsole("Not an address, not opened: " + Excerpt(url));
    return;
  }
  TakeEnded();
  fHasFailed = false;  // the user only hears about the page that was requested last
  pid_t process = 0;
  const int error = StartProgram(BrowserStart(url, activationToken), process);
  if (error != 0) {
    Fail(std::string("could not be started (") + std::strerror(error) + ")");
    return;
  }
  fChildren[process] = std::make_unique<Child>(process, [this, process] { OnEnded(process); });
}

void XdgUrlOpener::OnEnded(pid_t process) {
  const auto found = fChildren.find(process);
  if (found == fChildren.end()) return;
  int status = 0;
  const pid_t ended = ::waitpid(process, &status, WNOHANG);
  if (ended == 0) return;
  const bool wasOpening = found->second->IsOpening();
  fChildren.erase(found);
  if (ended == process && status != 0 && wasOpening) Fail(Reason(status));
}

void XdgUrlOpener::TakeEnded() {
  for (auto child = fChildren.begin(); child != fChildren.end();) OnEnded((child++)->first);
}

bool XdgUrlOpener::IsOpening() {
  TakeEnded();
  return std::any_of(fChildren.begin(), fChildren.end(),
                     [](const auto& child) { return child.second->IsOpening(); });
}

void XdgUrlOpener::Fail(const std::string& reason) {
  WriteToConsole(std::string("Cannot open the page: ") + kProgram + " " + reason);
  fHasFailed = true;
}

}  // namespace vorn
