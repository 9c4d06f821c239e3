#include "vorn-device-list/ListOutput.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "devicelist/Entry.h"
#include "vorn-device-list/UnitJson.h"

namespace vorn::devicelisttool {
namespace {

bool IsDrawableTerminal() {
  const char* terminal = std::getenv("TERM");
  return ::isatty(STDOUT_FILENO) != 0 && terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
}

bool ColorWanted() {
  const char* noColor = std::getenv("NO_COLOR");
  return noColor == nullptr || *noColor == '\0';
}

winsize TerminalSize() {
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return {};
  return size;
}

}  // namespace

ListOutput::ListOutput(const Options& options)
    : fOptions(options), fTerminal(IsDrawableTerminal()), fColor(fTerminal && ColorWanted()) {}

OutputResult ListOutput::Publish(Units units) {
  if (!fOptions.showSwitches) {
    std::erase_if(units, [](const auto& unit) { return unit.type == DeviceList::kTypeSwitch; });
  }
  fUnits = std::move(units);
  if (!fOptions.watch || (fWroteAny && Rendered() == fWritten)) return OutputResult::kWritten;
  return WriteLast();
}

OutputResult ListOutput::WriteLast() {
  const std::string text = Rendered();
  std::string movement;
  if (fOptions.watch && !fOptions.json && fWroteAny) {
    if (fTerminal) {
      // To the first line of the last drawing, then everything below away.
      movement = "\033[" + std::to_string(fDrawnLines) + "A\r\033[J";
    } else {
      movement = "\n";
    }
  }
  fDrawnLines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  fWritten = text;
  fWroteAny = true;
  return WriteToStandardOutput(movement + text);
}

std::string ListOutput::Rendered() const {
  if (fOptions.json) return UnitJson(fUnits) + "\n";
  TableStyle style{fColor, 0, 0};
  if (fTerminal && fOptions.watch) {
    const winsize size = TerminalSize();
    style.width = size.ws_col;
    style.height = size.ws_row > 1 ? size.ws_row - 1U : 0U;
  }
  return UnitTable(fUnits, style);
}

}  // namespace vorn::devicelisttool
