#include "devicelist/UpdateServerSetting.h"

#include <cstddef>

#include "devicelist/UpdateServer.h"
#include "foundation/Console.h"

namespace DeviceList {
namespace {

constexpr std::size_t kLongestQuoted = 200;

}  // namespace

void ApplyUpdateServerSetting(const vorn::UserDefaults& defaults) {
  const auto root = defaults.GetString("updateServerRoot");
  if (!root || SetUpdateServerRoot(*root)) return;
  vorn::WriteToConsole(
      "The setting updateServerRoot is refused, since it is no http address that ends in /api/: " +
      root->substr(0, kLongestQuoted) + "; asking " + UpdateServerRoot() + " instead");
}

}  // namespace DeviceList
