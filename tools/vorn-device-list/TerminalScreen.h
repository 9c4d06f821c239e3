#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "foundation/Console.h"

namespace vorn::devicelisttool {

/// The terminal on standard output as a page to draw on: its alternate screen,
/// which leaves no trace in the scroll-back, without cursor and without the echo
/// of keys. In the background, where the terminal belongs to another job, it
/// neither draws nor sets anything. Belongs to one thread; blocks while the
/// terminal does not take what is written.
class TerminalScreen {
 public:
  struct Size {
    std::size_t rows;
    std::size_t columns;
  };

  /// Whether standard output is a terminal that can be drawn on.
  [[nodiscard]] static bool IsAvailable();

  /// Whether the terminal lets this program draw now: not while it has another
  /// job in the foreground. A terminal that controls no jobs always does.
  [[nodiscard]] static bool IsInForeground();

  /// The size as of now; 24 rows of 80 where the terminal does not say.
  [[nodiscard]] static Size CurrentSize();

  TerminalScreen() = default;
  TerminalScreen(const TerminalScreen&) = delete;
  TerminalScreen& operator=(const TerminalScreen&) = delete;
  ~TerminalScreen();

  /// Shows these lines and nothing else, each at most as wide as the terminal.
  /// Takes the terminal over if it is not ours. In the background it shows
  /// nothing, and the terminal is not ours any more.
  [[nodiscard]] OutputResult Draw(const std::vector<std::string>& lines);

  /// Gives the terminal back as it was found; the next drawing takes it over
  /// anew. Keys that were pressed meanwhile are forgotten.
  [[nodiscard]] OutputResult Leave();

  /// Whether the terminal has been taken over and not been given back.
  [[nodiscard]] bool IsOurs() const { return fOurs; }

 private:
  [[nodiscard]] std::string TakeOver();

  bool fOurs = false;
  bool fEchoed = false;  ///< before it was ours, and to be set again
};

}  // namespace vorn::devicelisttool
