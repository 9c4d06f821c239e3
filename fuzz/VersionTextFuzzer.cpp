// Firmware versions as units and the update server write them.

#include <string>

#include "foundation/FirmwareVersion.h"
#include "foundation/Strings.h"
#include "fuzz/Bytes.h"
#include "fuzz/Require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using vorn::FirmwareVersion;
  using vorn::fuzzing::Require;
  const std::string text(vorn::fuzzing::AsText(data, size));
  const auto version = vorn::SlowConvertFromStringAllowRemainder<FirmwareVersion>(text);
  if (!version) return 0;
  const std::string printed = vorn::SlowConvertToString(*version);
  const auto again = vorn::SlowConvertFromStringAllowRemainder<FirmwareVersion>(printed);
  Require(again.has_value(), "what is printed can be read");
  Require(*again == *version, "what is printed reads as the same version");
  Require(vorn::SlowConvertToString(*again) == printed, "one version has one text");
  Require(printed.find_first_not_of("0123456789.+") == std::string::npos,
          "the text is digits and separators");
  Require(!(*version < *again), "no version is older than itself");
  const auto longer = vorn::SlowConvertFromStringAllowRemainder<FirmwareVersion>(printed + " beta");
  Require(longer == version, "what follows the build number is ignored");
  return 0;
}
