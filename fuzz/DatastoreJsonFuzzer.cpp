// Answers of a unit's datastore, compared with the JSON library's own document of them.

#include "devicelist/Datastore.h"
#include "fuzz/Bytes.h"
#include "fuzz/JsonModel.h"
#include "fuzz/Require.h"
#include "fuzz/Utf8.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using vorn::fuzzing::Require;
  const std::string body(vorn::fuzzing::AsText(data, size));
  const auto value = DeviceList::GetDatastoreValue(body);
  Require(value == vorn::fuzzing::TextMember(vorn::fuzzing::ParseWhole(body), "value"),
          "the value is the member's text");
  Require(!value || vorn::fuzzing::IsUtf8(*value), "the value is UTF-8");

  // Any text that JSON can contain is read.
  if (vorn::fuzzing::IsUtf8(body)) {
    const std::string carried = nlohmann::json{{"value", body}}.dump();
    Require(DeviceList::GetDatastoreValue(carried) ==
                vorn::optional<std::string>(body.substr(0, body.find('\0'))),
            "a text comes through as it was");
  }
  return 0;
}
