#include "vorn-device-list/TerminalScreen.h"

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace vorn::devicelisttool {
namespace {

constexpr char kEnter[] = "\033[?1049h\033[?25l";
constexpr char kLeave[] = "\033[?25h\033[?1049l";

// Returns whether the terminal echoed before.
bool SetEcho(bool wanted) {
  termios modes{};
  if (::tcgetattr(STDOUT_FILENO, &modes) != 0) return false;
  const bool echoed = (modes.c_lflag & ECHO) != 0;
  if (echoed == wanted) return echoed;
  modes.c_lflag = wanted ? modes.c_lflag | ECHO : modes.c_lflag & ~static_cast<tcflag_t>(ECHO);
  ::tcsetattr(STDOUT_FILENO, TCSANOW, &modes);
  return echoed;
}

}  // namespace

bool TerminalScreen::IsAvailable() {
  const char* terminal = std::getenv("TERM");
  return ::isatty(STDOUT_FILENO) != 0 && terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
}

bool TerminalScreen::IsInForeground() {
  const pid_t foreground = ::tcgetpgrp(STDOUT_FILENO);
  return foreground == -1 || foreground == ::getpgrp();
}

TerminalScreen::Size TerminalScreen::CurrentSize() {
  winsize size{};
  const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row != 0 && size.ws_col != 0;
  return known ? Size{size.ws_row, size.ws_col} : Size{24, 80};
}

TerminalScreen::~TerminalScreen() {
  (void)Leave();
}

OutputResult TerminalScreen::Draw(const std::vector<std::string>& lines) {
  if (!IsInForeground()) {
    fOurs = false;
    return OutputResult::kWritten;
  }
  const std::size_t rows = CurrentSize().rows;
  const std::size_t count = std::min(lines.size(), rows);
  std::string picture = TakeOver() + "\033[H";
  for (std::size_t i = 0; i < count; ++i) {
    // Cleared before it is written: after a full line the cursor is still on its last cell.
    picture += (i == 0 ? "\033[K" : "\r\n\033[K") + lines[i];
  }
  if (count < rows) picture += count == 0 ? "\033[J" : "\r\n\033[J";
  return WriteToStandardOutput(picture);
}

OutputResult TerminalScreen::Leave() {
  if (!std::exchange(fOurs, false) || !IsInForeground()) return OutputResult::kWritten;
  if (std::exchange(fEchoed, false)) SetEcho(true);
  ::tcflush(STDOUT_FILENO, TCIFLUSH);
  return WriteToStandardOutput(kLeave);
}

std::string TerminalScreen::TakeOver() {
  if (fOurs) return {};
  fEchoed |= SetEcho(false);  // set again later if another job took the terminal in between
  fOurs = true;
  return kEnter;
}

}  // namespace vorn::devicelisttool
