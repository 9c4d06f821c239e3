// Answers of the update server, compared with the JSON library's own document of them.

#include "devicelist/Datastore.h"
#include "fuzz/Bytes.h"
#include "fuzz/JsonModel.h"
#include "fuzz/Require.h"
#include "fuzz/Utf8.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using vorn::fuzzing::Require;
  const std::string body(vorn::fuzzing::AsText(data, size));
  const auto version = DeviceList::GetFirstReleaseVersion(body);
  const auto document = vorn::fuzzing::ParseWhole(body);
  vorn::optional<std::string> expected;
  if (document.is_array() && !document.empty())
    expected = vorn::fuzzing::TextMember(document.front(), "version");
  Require(version == expected, "the version is the first release's");
  Require(!version || vorn::fuzzing::IsUtf8(*version), "the version is UTF-8");
  return 0;
}
