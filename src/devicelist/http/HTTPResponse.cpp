#include "devicelist/http/HTTPResponse.h"

#include <algorithm>

#include "foundation/Strings.h"

namespace DeviceList {
namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

std::string_view WithoutLineEnd(std::string_view line) {
  if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

bool IsNameByte(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte > 0x20 && byte != 0x7f;
}

bool IsValueByte(char c) {
  return c != '\0' && c != '\r' && c != '\n';
}

}  // namespace

std::optional<HeaderFields::Field> HeaderFields::Parse(std::string_view line) {
  line = WithoutLineEnd(line);
  const auto colon = line.find(':');
  if (colon == std::string_view::npos || colon == 0) return {};
  const auto name = line.substr(0, colon);
  const auto value = vorn::Trimmed(line.substr(colon + 1));
  if (!std::all_of(name.begin(), name.end(), IsNameByte)) return {};
  if (!std::all_of(value.begin(), value.end(), IsValueByte)) return {};
  return Field{std::string(name), std::string(value)};
}

void HeaderFields::AddLine(std::string_view line) {
  if (!line.empty() && IsBlank(line.front())) {
    const auto more = vorn::Trimmed(WithoutLineEnd(line));
    if (!fCanFold || !std::all_of(more.begin(), more.end(), IsValueByte)) return;
    auto& value = fFields.back().value;
    if (!value.empty() && !more.empty()) value += ' ';
    value += more;
    return;
  }
  auto field = Parse(line);
  fCanFold = field.has_value();
  if (field) fFields.push_back(std::move(*field));
}

std::optional<std::string> HeaderFields::Find(std::string_view name) const {
  std::optional<std::string> found;
  for (const auto& field : fFields) {
    if (!vorn::EqualIgnoringASCIICase(field.name, name)) continue;
    if (found) {
      *found += ", ";
      *found += field.value;
    } else {
      found = field.value;
    }
  }
  return found;
}

void HeaderFields::Clear() noexcept {
  fFields.clear();
  fCanFold = false;
}

}  // namespace DeviceList
