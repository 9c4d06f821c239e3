#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "devicelist/ExtendedDeviceInfo.h"
#include "foundation/Clock.h"
#include "foundation/Console.h"
#include "vorn-device-list/ListForms.h"
#include "vorn-device-list/Options.h"
#include "vorn-device-list/TerminalScreen.h"

namespace vorn::devicelisttool {

/// Writes lists to standard output in the requested form.
///
/// Without watching: once, when told. While watching, every list that differs from the last written one:
/// - JSON: each list at once, including the first one;
/// - a table on a terminal that allows drawing: at once, in the place of the earlier one, but only while the
///   program is in the foreground;
/// - a table elsewhere: at most once a second, and always the last one. An empty list is not written before
///   the options' wait is over. Belongs to one thread. A write blocks while the reader does not read.
class ListOutput {
 public:
  /// Whether the output is drawn in place on a terminal.
  [[nodiscard]] static bool DrawsInPlace(const Options& options);

  explicit ListOutput(const Options& options, Now now = Clock::now);

  /// Takes a published list, and writes it if it is watched and due. The result is kWritten also if nothing
  /// was due.
  [[nodiscard]] OutputResult Publish(Units units);

  /// Sets the line below the table, if the table is drawn in place; empty: none.
  [[nodiscard]] OutputResult SetNote(std::string note);

  /// When WriteDue must act next; empty: not before the next list or, in the background of a terminal, not
  /// before the foreground.
  [[nodiscard]] std::optional<Clock::time_point> NextDue() const;
  [[nodiscard]] OutputResult WriteDue();

  /// Writes the current list, whatever was written before.
  [[nodiscard]] OutputResult WriteLast();

  /// Ends a watch: releases the terminal and writes what was drawn last on it, or writes what was not due
  /// yet.
  [[nodiscard]] OutputResult Finish();

  /// Releases the terminal until the next drawing.
  [[nodiscard]] OutputResult Suspend() { return fScreen.Leave(); }

  [[nodiscard]] bool Empty() const { return fUnits->empty(); }

 private:
  [[nodiscard]] bool IsSettled() const;
  [[nodiscard]] bool IsNew() const;
  [[nodiscard]] std::string Rendered() const;
  [[nodiscard]] std::string Picture() const;

  const Options fOptions;
  const Now fNow;
  const bool fInPlace;
  const bool fColor;
  const Clock::time_point fFirstWaitEnds;
  DeviceList::SharedUnits fUnits = std::make_shared<const Units>();
  std::string fNote;
  bool fHasList = false;   ///< a list was published
  bool fHadUnits = false;  ///< a list with units was published
  bool fWroteAny = false;
  Clock::time_point fWrittenAt{};
  std::string fWritten;  ///< what was written or drawn last
  TerminalScreen fScreen;
};

}  // namespace vorn::devicelisttool
