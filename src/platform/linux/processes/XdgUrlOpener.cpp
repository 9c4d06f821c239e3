#include "platform/linux/processes/XdgUrlOpener.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QObject>
#include <QtCore/QSocketNotifier>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string_view>
#include <vector>

#include "foundation/Console.h"
#include "foundation/FileDescriptor.h"
#include "platform/linux/dispatch/GuardedJob.h"

namespace vorn {
namespace {

using Clock = std::chrono::steady_clock;

constexpr char kProgram[] = "xdg-open";
constexpr std::chrono::seconds kOpening{30};  // what ends later had opened the page

bool IsSafeArgument(const std::string& text) {
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; };
  return !text.empty() && text.front() != '-' && std::none_of(text.begin(), text.end(), isControl);
}

std::vector<std::string> BrowserEnvironment(const std::string& activationToken) {
  constexpr std::string_view kOurs[] = {
      "XDG_ACTIVATION_TOKEN=", "DESKTOP_STARTUP_ID=", "DBUS_STARTER_ADDRESS=", "DBUS_STARTER_BUS_TYPE="};
  std::vector<std::string> environment;
  for (char** variable = environ; variable && *variable; ++variable) {
    const std::string_view text = *variable;
    const auto leads = [text](std::string_view name) { return text.starts_with(name); };
    if (std::none_of(std::begin(kOurs), std::end(kOurs), leads)) environment.emplace_back(text);
  }
  if (IsSafeArgument(activationToken)) {
    environment.push_back("XDG_ACTIVATION_TOKEN=" + activationToken);
    environment.push_back("DESKTOP_STARTUP_ID=" + activationToken);  // the same thing to X11 programs
  }
  return environment;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (auto& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// What the child does between being made and becoming the program.
class SpawnPlan {
 public:
  SpawnPlan() {
    ::posix_spawnattr_init(&fAttributes);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    ::posix_spawnattr_setsigmask(&fAttributes, &none);
    ::posix_spawnattr_setsigdefault(&fAttributes, &all);
    ::posix_spawnattr_setflags(&fAttributes,
                               POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    ::posix_spawn_file_actions_init(&fActions);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      ::posix_spawn_file_actions_addopen(&fActions, stream, "/dev/null", O_RDWR, 0);
    }
    ::posix_spawn_file_actions_addclosefrom_np(&fActions, STDERR_FILENO + 1);
    const QByteArray home = QFile::encodeName(QDir::homePath());
    if (QDir(QDir::homePath()).exists()) ::posix_spawn_file_actions_addchdir_np(&fActions, home.constData());
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;
  ~SpawnPlan() {
    ::posix_spawn_file_actions_destroy(&fActions);
    ::posix_spawnattr_destroy(&fAttributes);
  }

  /// The error number; 0: it runs.
  [[nodiscard]] int Spawn(std::vector<std::string> words, std::vector<std::string> environment,
                          pid_t& process) const {
    return ::posix_spawnp(&process, words.front().c_str(), &fActions, &fAttributes, Pointers(words).data(),
                          Pointers(environment).data());
  }

 private:
  posix_spawn_file_actions_t fActions{};
  posix_spawnattr_t fAttributes{};
};

// What the program's own manual says of its exit status.
std::string Reason(int status) {
  if (!WIFEXITED(status)) return "ended by signal " + std::to_string(WTERMSIG(status));
  const int code = WEXITSTATUS(status);
  std::string text = "exited with " + std::to_string(code);
  if (code == 3) text += ", a program that it needs is missing";
  if (code == 4) text += ", no program could open the page";
  return text;
}

}  // namespace

struct XdgUrlOpener::Child {
  const Clock::time_point started = Clock::now();
  FileDescriptor process;  ///< none where the kernel has no process descriptors
  std::unique_ptr<QSocketNotifier> ended;
};

XdgUrlOpener::XdgUrlOpener() : fContext(std::make_unique<QObject>()) {}

XdgUrlOpener::~XdgUrlOpener() = default;

void XdgUrlOpener::Open(const std::string& url, const std::string& activationToken) {
  if (!IsSafeArgument(url)) {
    WriteToConsole("Not an address, not opened: " + Excerpt(url));
    return;
  }
  for (auto child = fChildren.begin(); child != fChildren.end();) OnEnded((child++)->first);
  fHasFailed = false;  // what the user is told concerns the page asked for last
  pid_t process = 0;
  const int error = SpawnPlan().Spawn({kProgram, url}, BrowserEnvironment(activationToken), process);
  if (error != 0) {
    Fail(std::string("could not be started (") + std::strerror(error) + ")");
  } else {
    Watch(process);
  }
}

void XdgUrlOpener::Watch(pid_t process) {
  auto child = std::make_unique<Child>();
  child->process = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
  if (child->process) {
    child->ended = std::make_unique<QSocketNotifier>(child->process.Get(), QSocketNotifier::Read);
    // Queued, as the notifier must not go while it tells.
    QObject::connect(
        child->ended.get(), &QSocketNotifier::activated, fContext.get(),
        [this, process] { RunGuarded([&] { OnEnded(process); }); }, Qt::QueuedConnection);
  }
  fChildren[process] = std::move(child);
}

void XdgUrlOpener::OnEnded(pid_t process) {
  const auto found = fChildren.find(process);
  if (found == fChildren.end()) return;
  int status = 0;
  const pid_t ended = ::waitpid(process, &status, WNOHANG);
  if (ended == 0) return;
  const bool wasOpening = Clock::now() - found->second->started < kOpening;
  fChildren.erase(found);
  if (ended == process && status != 0 && wasOpening) Fail(Reason(status));
}

void XdgUrlOpener::Fail(const std::string& reason) {
  WriteToConsole(std::string("Cannot open the page: ") + kProgram + " " + reason);
  fHasFailed = true;
}

}  // namespace vorn
