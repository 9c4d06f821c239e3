#include "devicelist/UpdateServerSetting.h"

#include "devicelist/UpdateServer.h"
#include "foundation/Console.h"

namespace DeviceList {

void ApplyUpdateServerSetting(const vorn::UserDefaults& defaults) {
  const auto root = defaults.GetString("updateServerRoot");
  if (!root || SetUpdateServerRoot(*root)) return;
  vorn::WriteToConsole(
      "The setting updateServerRoot is refused, since it is no http address that ends in /api/: " +
      vorn::Excerpt(*root) + "; asking " + UpdateServerRoot() + " instead");
}

}  // namespace DeviceList
