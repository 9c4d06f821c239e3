#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "devicelist/ExtendedDeviceInfo.h"
#include "foundation/Clock.h"
#include "foundation/Console.h"
#include "vorn-device-list/ListForms.h"
#include "vorn-device-list/OpenMetrics.h"
#include "vorn-device-list/Options.h"
#include "vorn-device-list/TerminalScreen.h"

namespace vorn::devicelisttool {

/// Replaces the file with the text, readable for everybody; a link stays, and only a regular file is
/// replaced. Without a file, writes to standard output. The console says why it failed. Blocks on the disk or
/// while the reader does not read. Any thread.
[[nodiscard]] OutputResult WriteOutput(const std::string& file, std::string_view text);

/// Writes lists in the requested form, to the requested file or to standard output.
///
/// Without watching: once, when told. While watching, every list that differs from the last written one:
/// - JSON on standard output: each list at once, including the first one;
/// - a table on a terminal that allows drawing: at once, in the place of the earlier one, but only while the
///   program is in the foreground;
/// - everything else: at most once a second, and always the last one. An empty list is not written before the
///   options' wait is over.
/// A file is not replaced before the wait is over, because the first lists are not complete, nor by an empty
/// list before the program could look for units. Belongs to one thread. A write blocks while the reader does
/// not read.
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

  /// Says that the program can look for units at this time. OpenMetrics has the time, so it is a change
  /// there.
  [[nodiscard]] OutputResult SetLookedAt(std::chrono::system_clock::time_point now);

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
  [[nodiscard]] bool IsWithheld() const { return fToFile && !fLookedAt && Empty(); }
  [[nodiscard]] bool IsNew() const;
  [[nodiscard]] std::string Rendered() const;
  [[nodiscard]] std::string Picture() const;

  const Options fOptions;
  const Now fNow;
  const bool fToFile;
  const bool fInPlace;
  const bool fWritesEach;  ///< lists are lines, each written at once
  const bool fColor;
  const Clock::time_point fFirstWaitEnds;
  DeviceList::SharedUnits fUnits = std::make_shared<const Units>();
  std::string fNote;
  LookedAt fLookedAt;
  bool fHasList = false;   ///< a list was published
  bool fHadUnits = false;  ///< a list with units was published
  bool fWroteAny = false;
  Clock::time_point fWrittenAt{};
  std::string fWritten;  ///< what was written or drawn last
  TerminalScreen fScreen;
};

}  // namespace vorn::devicelisttool
