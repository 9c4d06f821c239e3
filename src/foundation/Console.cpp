#include "foundation/Console.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/SafeText.h"
#include "foundation/Strings.h"

namespace vorn {
namespace {

constexpr std::size_t kLongestLine = 4096;

// systemd sets the variable. A program that was started with another standard error has it all the same.
bool NamesStandardError(const char* journalStream) noexcept {
  struct stat status {};
  if (journalStream == nullptr || ::fstat(STDERR_FILENO, &status) != 0) return false;
  char name[64];
  std::snprintf(name, sizeof name, "%ju:%ju", std::uintmax_t{status.st_dev}, std::uintmax_t{status.st_ino});
  return std::strcmp(journalStream, name) == 0;
}

// Read before any thread can change the environment.
const bool kIsJournal = NamesStandardError(std::getenv("JOURNAL_STREAM"));

void WaitUntilWritable() {
  pollfd output{STDOUT_FILENO, POLLOUT, 0};
  ::poll(&output, 1, -1);
}

}  // namespace

std::string Excerpt(const std::string& text) {
  constexpr std::size_t kLongest = 200;
  return text.substr(0, kLongest);
}

void WriteToConsole(std::string_view message) noexcept {
  std::array<char, kLongestLine> line{};
  const auto last = line.end() - 1;
  auto end = line.begin();
  const auto append = [&end, last](std::string_view text) {
    while (!text.empty()) {
      const char* const bytes = text.data();
      const auto character = TakeCharacter(text);
      const bool isShown = character && !IsUnsafe(*character);
      const std::string_view shown(isShown ? bytes : "?",
                                   isShown ? static_cast<std::size_t>(text.data() - bytes) : 1);
      if (static_cast<std::size_t>(last - end) < shown.size()) return;
      end = std::copy(shown.begin(), shown.end(), end);
    }
  };
  if (kIsJournal) append("<4>");  // a warning, as syslog.h numbers it
  append(program_invocation_short_name);
  append(": ");
  append(message);
  *end++ = '\n';
  std::fwrite(line.data(), 1, static_cast<std::size_t>(end - line.begin()), stderr);
}

OutputResult WriteToStandardOutput(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      WaitUntilWritable();
    } else if (errno == EPIPE) {
      return OutputResult::kNobodyReads;
    } else if (errno != EINTR) {
      WriteToConsole(std::string("cannot write to standard output: ") + std::strerror(errno));
      return OutputResult::kFailed;
    }
  }
  return OutputResult::kWritten;
}

}  // namespace vorn
