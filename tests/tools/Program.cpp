#include "tests/tools/Program.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>

#include "tests/support/Eventually.h"

namespace vorn::testing {
namespace {

struct Pipe {
  FileDescriptor read;
  FileDescriptor write;

  Pipe() {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) return;
    read = FileDescriptor(ends[0]);
    write = FileDescriptor(ends[1]);
    ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
  }
};

void ReadWhatIsThere(const FileDescriptor& descriptor, std::string& text) {
  char piece[4096];
  ssize_t length = 0;
  while (descriptor && (length = ::read(descriptor.Get(), piece, sizeof piece)) > 0) {
    text.append(piece, static_cast<std::size_t>(length));
  }
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Whether the process's main thread is in a write to standard output, or waits for only one descriptor; its
// run loop waits for several.
bool IsInOutput(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/syscall");
  long call = -1;
  unsigned long arguments[2] = {};
  if (!(file >> call >> std::hex >> arguments[0] >> arguments[1])) return false;  // it runs
#ifdef SYS_poll
  if (call == SYS_poll) return arguments[1] == 1;
#endif
  if (call == SYS_ppoll) return arguments[1] == 1;
  return call == SYS_write && arguments[0] == STDOUT_FILENO;
}

}  // namespace

Program::Program(const std::string& path, const std::vector<std::string>& arguments, const Setup& setup) {
  std::vector<std::string> words{path};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<std::string> environment = setup.environment;
  for (char** variable = environ; *variable != nullptr; ++variable) environment.emplace_back(*variable);
  const auto argv = Pointers(words);
  const auto envp = Pointers(environment);

  Pipe output;
  Pipe error;
  fProcess = ::fork();
  if (fProcess == 0) {
    ::dup2(setup.output >= 0 ? setup.output : output.write.Get(), STDOUT_FILENO);
    ::dup2(error.write.Get(), STDERR_FILENO);
    if (setup.beforeExec) setup.beforeExec();
    ::execve(path.c_str(), argv.data(), envp.data());
    ::_exit(127);
  }
  fOutput = std::move(output.read);
  fError = std::move(error.read);
}

Program::~Program() {
  if (fProcess <= 0) return;
  ::kill(fProcess, SIGKILL);
  ::waitpid(fProcess, nullptr, 0);
}

void Program::Signal(int signal) const {
  if (fProcess > 0) ::kill(fProcess, signal);
}

bool Program::WaitForErrorText(const std::string& text) {
  return Eventually([&] {
    ReadWhatIsThere(fError, fErrorText);
    return fErrorText.find(text) != std::string::npos;
  });
}

bool Program::WaitUntilItsOutputIsStuck() {
  return Eventually([this] { return IsInOutput(fProcess); });
}

int Program::Wait() {
  int status = 0;
  const bool ended = Eventually([&] {
    ReadWhatIsThere(fOutput, fOutputText);
    ReadWhatIsThere(fError, fErrorText);
    return ::waitpid(fProcess, &status, WNOHANG) == fProcess;
  });
  if (!ended) return -1;
  fProcess = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

std::string Program::Output() {
  ReadWhatIsThere(fOutput, fOutputText);
  return fOutputText;
}

std::string Program::ErrorOutput() {
  ReadWhatIsThere(fError, fErrorText);
  return fErrorText;
}

}  // namespace vorn::testing
