#include "AVB/Util/TxtRecord.h"

#include <dns_sd.h>

#include <algorithm>

namespace vorn {

std::vector<TxtRecordKeyValue> ReadTxtRecord(std::uint16_t length, const void* record) {
  std::vector<TxtRecordKeyValue> items;
  if (length == 0 || record == nullptr) return items;
  for (std::uint16_t index = 0; index < UINT16_MAX; ++index) {
    char key[256];
    std::uint8_t valueLength = 0;
    const void* value = nullptr;
    if (::TXTRecordGetItemAtIndex(length, record, index, sizeof key, key, &valueLength, &value) !=
        kDNSServiceErr_NoError) {
      break;
    }
    std::string bytes =
        value == nullptr ? std::string() : std::string(static_cast<const char*>(value), valueLength);
    items.push_back({key, std::move(bytes)});
  }
  return items;
}

std::string GetValue(const std::vector<TxtRecordKeyValue>& txt, const std::string& key) {
  const auto found = std::find_if(txt.begin(), txt.end(), [&](const auto& item) { return item.key == key; });
  return found == txt.end() ? std::string() : found->value;
}

}  // namespace vorn
