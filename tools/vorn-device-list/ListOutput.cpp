#include "vorn-device-list/ListOutput.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/linux/files/WholeFile.h"
#include "vorn-device-list/Translated.h"

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

// /dev/stdout and its like stand for open files, which others write too.
bool IsOpenFile(const std::filesystem::path& path) {
  const auto folder = path.lexically_normal().parent_path();
  return folder == "/dev" || folder == "/dev/fd" || folder.native().starts_with("/proc/");
}

// Why the file could not be replaced; empty if it was. Another kind of file stays: a device or a pipe would
// become a regular file.
std::string ReplaceIfRegular(const std::string& file, std::string_view text) {
  constexpr std::chrono::seconds kPatience{1};  // with other writers of the file
  std::error_code error;
  auto path = std::filesystem::absolute(file, error);
  if (error) return error.message();
  if (IsOpenFile(path)) return Translated("it is no regular file");
  path = FileBehindLinks(std::move(path));
  const auto status = std::filesystem::status(path, error);
  const bool isOther = std::filesystem::exists(status) && !std::filesystem::is_regular_file(status);
  if (isOther) return Translated("it is no regular file");
  return ReplaceFile(path, text, Readers::kEverybody, kPatience) ? "" : std::strerror(errno);
}

}  // namespace

OutputResult WriteOutput(const std::string& file, std::string_view text) {
  if (file.empty()) return WriteToStandardOutput(text);
  const std::string reason = ReplaceIfRegular(file, text);
  if (reason.empty()) return OutputResult::kWritten;
  WriteToConsole(Translated("cannot write to '%1': %2", {file, reason}));
  return OutputResult::kFailed;
}

bool ListOutput::DrawsInPlace(const Options& options) {
  return options.watch && options.form == Form::kTable && options.output.empty() &&
         TerminalScreen::IsAvailable();
}

ListOutput::ListOutput(const Options& options, Now now)
    : fOptions(options),
      fNow(std::move(now)),
      fToFile(!options.output.empty()),
      fInPlace(DrawsInPlace(options)),
      fWritesEach(options.form == Form::kJson && !fToFile),
      fColor(!fToFile && TerminalScreen::IsAvailable() && ColorWanted()),
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

OutputResult ListOutput::SetLookedAt(std::chrono::system_clock::time_point now) {
  fLookedAt = now;
  return WriteDue();
}

std::optional<Clock::time_point> ListOutput::NextDue() const {
  if (!fOptions.watch || (fWritesEach && !fHasList)) return {};
  if (fInPlace && !TerminalScreen::IsInForeground()) return {};
  const bool paced = !fWritesEach && !fInPlace;
  if (paced && !IsSettled()) return fFirstWaitEnds;
  if (paced && fWroteAny && fNow() < fWrittenAt + kPace) return fWrittenAt + kPace;
  if (IsWithheld()) return {};
  if (IsNew()) return fNow();
  if (fInPlace && !IsSettled()) return fFirstWaitEnds;
  return {};
}

OutputResult ListOutput::WriteDue() {
  const auto due = NextDue();
  return due && *due <= fNow() ? WriteLast() : OutputResult::kWritten;
}

OutputResult ListOutput::WriteLast() {
  if (IsWithheld()) return OutputResult::kWritten;
  const bool hasOwnEnd = fOptions.form == Form::kJson || fOptions.form == Form::kOpenMetrics;
  const bool follows = fOptions.watch && fWroteAny && !fToFile && !hasOwnEnd;
  fWritten = Rendered();
  fWroteAny = true;
  fWrittenAt = fNow();
  if (fInPlace) return fScreen.Draw(LinesOf(fWritten));
  return WriteOutput(fOptions.output, (follows ? "\n" : "") + fWritten);
}

OutputResult ListOutput::Finish() {
  if (!fOptions.watch || fWritesEach) return OutputResult::kWritten;
  if (!fInPlace) return IsSettled() && IsNew() ? WriteLast() : OutputResult::kWritten;
  const OutputResult left = fScreen.Leave();
  if (left != OutputResult::kWritten || !IsSettled()) return left;
  return WriteToStandardOutput(UnitTable(*fUnits, {fColor, TerminalScreen::CurrentSize().columns, 0}));
}

// Whether an empty list means that nothing can be found and, for a file, whether the list counts as complete.
bool ListOutput::IsSettled() const {
  return (fHadUnits && !fToFile) || fNow() >= fFirstWaitEnds;
}

bool ListOutput::IsNew() const {
  return !fWroteAny || (fInPlace && !fScreen.IsOurs()) || Rendered() != fWritten;
}

std::string ListOutput::Rendered() const {
  switch (fOptions.form) {
    case Form::kJson:
      return UnitJson(*fUnits) + "\n";
    case Form::kCSV:
      return UnitCSV(*fUnits);
    case Form::kOpenMetrics:
      return UnitMetrics(*fUnits, fLookedAt);
    case Form::kTable:
      break;
  }
  return fInPlace ? Picture() : UnitTable(*fUnits, {fColor, 0, 0});
}

std::string ListOutput::Picture() const {
  const auto [rows, columns] = TerminalScreen::CurrentSize();
  const std::string note = fNote.empty() ? "" : FittingLine(fNote, columns);
  if (!IsSettled()) return FittingLine(Translated("Looking for devices..."), columns) + note;
  const std::size_t height = note.empty() || rows < 2 ? rows : rows - 1;
  return UnitTable(*fUnits, {fColor, columns, height}) + note;
}

}  // namespace vorn::devicelisttool
