#include "devicelist/HostAlias.h"

#include <algorithm>

#include "foundation/Hex.h"

namespace DeviceList {
namespace {

bool IsASCII(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

}  // namespace

std::string HostAliasOf(const std::string& host) {
  if (host.front() != '-' && std::all_of(host.begin(), host.end(), IsASCII)) return host;
  std::string alias = "alias";
  for (const char c : host) {
    if (IsASCII(c)) {
      alias += c;
    } else {
      alias += '-';
      vorn::AppendHex(alias, c, vorn::kSmallHexDigits);
    }
  }
  return alias;
}

}  // namespace DeviceList
