#pragma once

#include <functional>
#include <string>

#include "foundation/Clock.h"
#include "foundation/Console.h"
#include "foundation/Optional.h"
#include "vorn-device-list/ListForms.h"
#include "vorn-device-list/Options.h"
#include "vorn-device-list/TerminalScreen.h"

namespace vorn::devicelisttool {

/// Writes lists to standard output in the form that was asked for.
///
/// Without watching: once, when told. While watching, what differs from what
/// was written before:
/// - JSON: each list at once, the first included;
/// - a table on a terminal that can be drawn on: at once, in the place of the
///   one before, but only while the program is in the foreground;
/// - a table elsewhere: at most once a second, and always the last one. An
///   empty list is not written before the options' wait is over.
/// Belongs to one thread. Whatever writes blocks while the reader does not read.
class ListOutput {
 public:
  using Now = std::function<AbsoluteTime()>;

  /// Whether the output is drawn in place on a terminal.
  [[nodiscard]] static bool DrawsInPlace(const Options& options);

  explicit ListOutput(const Options& options, Now now = &AbsoluteTimeGetCurrent);

  /// Takes a published list, and writes it if it is watched and due; kWritten
  /// too when nothing was due.
  [[nodiscard]] OutputResult Publish(Units units);

  /// Takes a line that stands below the table where that is drawn in place;
  /// empty: none.
  [[nodiscard]] OutputResult SetNote(std::string note);

  /// When WriteDue has something to do next; empty: not before the next list
  /// or, in the background of a terminal, before the foreground.
  [[nodiscard]] optional<AbsoluteTime> NextDue() const;
  [[nodiscard]] OutputResult WriteDue();

  /// Writes the list of now, whatever was written before.
  [[nodiscard]] OutputResult WriteLast();

  /// Ends a watch: gives the terminal back and writes what was drawn last on
  /// it, or writes what was not due yet.
  [[nodiscard]] OutputResult Finish();

  /// Gives the terminal back until the next drawing.
  [[nodiscard]] OutputResult Suspend() { return fScreen.Leave(); }

  [[nodiscard]] bool Empty() const { return fUnits.empty(); }

 private:
  [[nodiscard]] bool IsSettled() const;
  [[nodiscard]] bool IsNew() const;
  [[nodiscard]] std::string Rendered() const;
  [[nodiscard]] std::string Picture() const;

  const Options fOptions;
  const Now fNow;
  const bool fInPlace;
  const bool fColor;
  const AbsoluteTime fFirstWaitEnds;
  Units fUnits;
  std::string fNote;
  bool fHasList = false;   ///< one was published
  bool fHadUnits = false;  ///< one with units was
  bool fWroteAny = false;
  AbsoluteTime fWrittenAt = 0;
  std::string fWritten;  ///< what was written or drawn last
  TerminalScreen fScreen;
};

}  // namespace vorn::devicelisttool
