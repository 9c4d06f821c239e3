#pragma once

#include <cstddef>
#include <string>

#include "foundation/StandardOutput.h"
#include "vorn-device-list/Options.h"
#include "vorn-device-list/UnitTable.h"

namespace vorn::devicelisttool {

/// Writes lists to standard output in the form that was asked for: once, or
/// while watching at each change of content; on a terminal a watched table is
/// redrawn in place. Belongs to one thread.
class ListOutput {
 public:
  explicit ListOutput(const Options& options);

  /// Takes a published list; writes it now if it is watched and its content
  /// differs from what was written before. kWritten too when nothing was due.
  /// Blocks while the reader does not read.
  [[nodiscard]] OutputResult Publish(Units units);

  /// Writes the last list, whatever was written before. Blocks likewise.
  [[nodiscard]] OutputResult WriteLast();

  [[nodiscard]] bool Empty() const { return fUnits.empty(); }

 private:
  [[nodiscard]] std::string Rendered() const;

  const Options fOptions;
  const bool fTerminal;  ///< standard output can be drawn on
  const bool fColor;
  Units fUnits;
  bool fWroteAny = false;
  std::string fWritten;         ///< what was written last, before cursor movements
  std::size_t fDrawnLines = 0;  ///< lines to go up for the next drawing in place
};

}  // namespace vorn::devicelisttool
