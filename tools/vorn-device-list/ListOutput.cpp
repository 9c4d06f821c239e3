#include "vorn-device-list/ListOutput.h"

#include <chrono>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace vorn::devicelisttool {
namespace {

constexpr std::chrono::seconds kPace{1};  // between two tables

bool ColorWanted() {
  const char* noColor = std::getenv("NO_COLOR");
  return noColor == nullptr || *noColor == '\0';
}

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

}  // namespace

bool ListOutput::DrawsInPlace(const Options& options) {
  return options.watch && !options.json && TerminalScreen::IsAvailable();
}

ListOutput::ListOutput(const Options& options, Now now)
    : fOptions(options),
      fNow(std::move(now)),
      fInPlace(DrawsInPlace(options)),
      fColor(TerminalScreen::IsAvailable() && ColorWanted()),
      fFirstWaitEnds(fNow() + options.wait) {}

OutputResult ListOutput::Publish(Units units) {
  fUnits = DeviceList::UnitsToShow(std::make_shared<const Units>(std::move(units)), fOptions.showSwitches);
  fHasList = true;
  fHadUnits |= !fUnits->empty();
  return WriteDue();
}

OutputResult ListOutput::SetNote(std::string note) {
  fNote = std::move(note);
  return WriteDue();
}

std::optional<Clock::time_point> ListOutput::NextDue() const {
  if (!fOptions.watch || (fOptions.json && !fHasList)) return {};
  if (fInPlace && !TerminalScreen::IsInForeground()) return {};
  const bool paced = !fOptions.json && !fInPlace;
  if (paced && !IsSettled()) return fFirstWaitEnds;
  if (paced && fWroteAny && fNow() < fWrittenAt + kPace) return fWrittenAt + kPace;
  if (IsNew()) return fNow();
  if (fInPlace && !IsSettled()) return fFirstWaitEnds;
  return {};
}

OutputResult ListOutput::WriteDue() {
  const auto due = NextDue();
  return due && *due <= fNow() ? WriteLast() : OutputResult::kWritten;
}

OutputResult ListOutput::WriteLast() {
  const bool follows = fOptions.watch && !fOptions.json && fWroteAny;
  fWritten = Rendered();
  fWroteAny = true;
  fWrittenAt = fNow();
  if (fInPlace) return fScreen.Draw(LinesOf(fWritten));
  return WriteToStandardOutput((follows ? "\n" : "") + fWritten);
}

OutputResult ListOutput::Finish() {
  if (!fOptions.watch || fOptions.json) return OutputResult::kWritten;
  if (!fInPlace) return IsSettled() && IsNew() ? WriteLast() : OutputResult::kWritten;
  const OutputResult left = fScreen.Leave();
  if (left != OutputResult::kWritten || !IsSettled()) return left;
  return WriteToStandardOutput(UnitTable(*fUnits, {fColor, TerminalScreen::CurrentSize().columns, 0}));
}

// Whether an empty list means that nothing can be found.
bool ListOutput::IsSettled() const {
  return fHadUnits || fNow() >= fFirstWaitEnds;
}

bool ListOutput::IsNew() const {
  return !fWroteAny || (fInPlace && !fScreen.IsOurs()) || Rendered() != fWritten;
}

std::string ListOutput::Rendered() const {
  if (fOptions.json) return UnitJson(*fUnits) + "\n";
  return fInPlace ? Picture() : UnitTable(*fUnits, {fColor, 0, 0});
}

std::string ListOutput::Picture() const {
  const auto [rows, columns] = TerminalScreen::CurrentSize();
  const std::string note = fNote.empty() ? "" : FittingLine(fNote, columns);
  if (!IsSettled()) return FittingLine("Looking for devices...", columns) + note;
  const std::size_t height = note.empty() || rows < 2 ? rows : rows - 1;
  return UnitTable(*fUnits, {fColor, columns, height}) + note;
}

}  // namespace vorn::devicelisttool
