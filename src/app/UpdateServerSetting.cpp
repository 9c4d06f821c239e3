#include "app/UpdateServerSetting.h"

#include "devicelist/UpdateServer.h"
#include "foundation/Console.h"

namespace vorn::app {

void ApplyUpdateServerSetting(const UserDefaults& defaults) {
  const auto root = defaults.GetString("updateServerRoot");
  if (!root || DeviceList::SetUpdateServerRoot(*root)) return;
  WriteToConsole("The setting updateServerRoot is refused, since it is no http address that ends in /api/: " +
                 root->substr(0, 200) + "; asking " + DeviceList::UpdateServerRoot() + " instead");
}

}  // namespace vorn::app
