#include "devicelist/Entry.h"

namespace DeviceList {

bool operator==(const Entry& a, const Entry& b) {
  return a.name == b.name && a.type == b.type && a.uid == b.uid && a.url == b.url;
}

}  // namespace DeviceList
