// The header of an answer, line by line as the HTTP client passes it on.

#include <string>
#include <string_view>
#include <vector>

#include "devicelist/http/ResponseCollector.h"
#include "fuzz/Bytes.h"
#include "fuzz/Require.h"

namespace {

using DeviceList::HeaderFields;
using vorn::fuzzing::Require;

std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size() - 1);
    lines.emplace_back(text.substr(0, end + 1));
    text.remove_prefix(end + 1);
  }
  return lines;
}

void CheckField(const HeaderFields::Field& field, const HeaderFields& header) {
  constexpr std::string_view kForbidden("\0\r\n", 3);
  Require(!field.name.empty() && field.name.find(':') == std::string::npos, "a field has a name");
  for (const char c : field.name)
    Require(static_cast<unsigned char>(c) > 0x20, "a name holds no control character");
  Require(field.value.find_first_of(kForbidden) == std::string::npos, "a value is of one line");
  const auto found = header.Find(field.name);
  Require(found.has_value(), "a field that was added is found");
  Require(found->find(field.value) != std::string::npos, "its value is in what is found");
  Require(found->find_first_of(kForbidden) == std::string::npos, "what is found is of one line");
  std::string shouted = field.name;
  for (char& c : shouted) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  Require(header.Find(shouted) == found, "case makes no difference");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::string> lines = LinesOf(vorn::fuzzing::AsText(data, size));
  HeaderFields header;
  DeviceList::ResponseCollector collector;
  for (const auto& line : lines) {
    header.AddLine(line);
    static_cast<void>(collector.AddHeaderLine(line));
  }
  std::size_t checked = 0;  // finding is linear, so checking every field of a long header is not
  for (const auto& line : lines) {
    const bool folded = line.front() == ' ' || line.front() == '\t';
    const auto field = HeaderFields::Parse(line);
    if (folded || !field || ++checked > 50) continue;
    CheckField(*field, header);
  }
  header.Clear();
  Require(!header.Find("ETag"), "a cleared header is empty");
  return 0;
}
