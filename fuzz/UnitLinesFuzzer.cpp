// From units as their pollers know them to the published list and the lines of the terminal program. The
// input is two bytes for the table's width and height, then a row of units: a byte of flags (kind, what is
// known), then name, uid, model, firmware version and newest version, each with a length byte.

#include <nlohmann/json.hpp>

#include <clocale>
#include <string>
#include <vector>

#include "devicelist/Entry.h"
#include "devicelist/ExtendedDeviceInfo.h"
#include "foundation/Strings.h"
#include "fuzz/Bytes.h"
#include "fuzz/Require.h"
#include "fuzz/Utf8.h"
#include "vorn-device-list/ListForms.h"

namespace {

using DeviceList::ExtendedDeviceInfo;
using vorn::devicelisttool::Units;
using vorn::fuzzing::ByteReader;
using vorn::fuzzing::Require;

ExtendedDeviceInfo ReadUnit(ByteReader& reader) {
  constexpr const char* kKinds[] = {DeviceList::kTypeDevice, DeviceList::kTypeHost, DeviceList::kTypeSwitch,
                                    DeviceList::kTypeDevice};
  const unsigned flags = reader.Byte();
  ExtendedDeviceInfo unit;
  unit.type = kKinds[flags & 3U];
  unit.name = reader.Text();
  unit.uid = reader.Text();
  unit.url = "http://" + unit.uid + ".local/";
  const std::string model = reader.Text();
  if ((flags & 4U) != 0) unit.modelID = model;
  using Version = vorn::FirmwareVersion;
  unit.firmwareVersion = vorn::SlowConvertFromStringAllowRemainder<Version>(reader.Text());
  unit.latestVersion = vorn::SlowConvertFromStringAllowRemainder<Version>(reader.Text());
  return unit;
}

void CheckPublished(const Units& collected, const Units& published) {
  std::size_t hosts = 0;
  for (const auto& unit : collected) hosts += unit.type == DeviceList::kTypeHost ? 1 : 0;
  Require(published.size() <= collected.size() && published.size() + hosts >= collected.size(),
          "nothing but host records is dropped");
  for (std::size_t i = 1; i < published.size(); ++i) {
    Require(!DeviceList::NamePrecedes(*published[i].name, *published[i - 1].name), "the list is sorted");
  }
}

void CheckTable(const Units& units, const vorn::devicelisttool::TableStyle& style) {
  const std::string table = vorn::devicelisttool::UnitTable(units, style);
  std::size_t lines = 0;
  for (const char c : table) {
    lines += c == '\n' ? 1 : 0;
    Require(c == '\n' || (static_cast<unsigned char>(c) >= 0x20 && c != 0x7F),
            "a table without control characters");
  }
  Require(vorn::fuzzing::IsUtf8(table), "a table in UTF-8");
  Require(style.height == 0 ? lines == (units.empty() ? 1 : units.size() + 1) : lines <= units.size() + 2,
          "a unit takes one line");
}

void CheckJson(const Units& units) {
  const std::string line = vorn::devicelisttool::UnitJson(units);
  for (const char c : line) Require(c >= 0x20 && c < 0x7F, "a line of printable ASCII");
  const auto document = nlohmann::json::parse(line, nullptr, false);
  Require(document.is_object() && document.size() == 1, "an object");
  const auto list = document.find("units");
  Require(list != document.end() && list->is_array() && list->size() == units.size(), "all the units");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  Require(std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr, "there is a UTF-8 locale");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteReader reader(vorn::fuzzing::AsText(data, size));
  vorn::devicelisttool::TableStyle style;
  style.width = reader.Byte();
  style.height = reader.Byte();
  Units collected;
  while (!reader.AtEnd()) collected.push_back(ReadUnit(reader));
  const Units published = DeviceList::FilterAndSort(collected);
  CheckPublished(collected, published);
  CheckTable(published, style);
  CheckTable(published, {});
  CheckJson(published);
  return 0;
}
