#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "foundation/Console.h"

namespace vorn::devicelisttool {

/// The terminal on standard output as a page to draw on: its alternate screen, without cursor and without the
/// echo of keys. It leaves no trace in the scroll-back. In the background, where the terminal belongs to
/// another job, it neither draws nor sets anything. Belongs to one thread. Blocks while the terminal accepts
/// no output.
class TerminalScreen {
 public:
  struct Size {
    std::size_t rows;
    std::size_t columns;
  };

  /// Whether standard output is a terminal that can be drawn on.
  [[nodiscard]] static bool IsAvailable();

  /// Whether the terminal lets this program draw now: not while it has another job in the foreground. A
  /// terminal without job control always does.
  [[nodiscard]] static bool IsInForeground();

  /// The current size; 24 rows of 80 if the terminal does not say.
  [[nodiscard]] static Size CurrentSize();

  TerminalScreen() = default;
  TerminalScreen(const TerminalScreen&) = delete;
  TerminalScreen& operator=(const TerminalScreen&) = delete;
  ~TerminalScreen();

  /// Shows these lines and nothing else, each at most as wide as the terminal. Takes the terminal if it is
  /// not ours. In the background it shows nothing, and the terminal is no longer ours.
  [[nodiscard]] OutputResult Draw(const std::vector<std::string>& lines);

  /// Restores the terminal as it was; the next drawing takes it again. Keys that were pressed in between are
  /// forgotten.
  [[nodiscard]] OutputResult Leave();

  /// Whether the terminal is taken and not restored.
  [[nodiscard]] bool IsOurs() const { return fOurs; }

 private:
  [[nodiscard]] std::string TakeOver();

  bool fOurs = false;
  bool fEchoed = false;  ///< before it was ours, to restore it
};

}  // namespace vorn::devicelisttool
