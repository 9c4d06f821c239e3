#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vorn {

/// One item of a DNS-SD TXT record, with the bytes from the network.
struct TxtRecordKeyValue {
  std::string key;    ///< exactly as in the record, without case folding
  std::string value;  ///< empty if the item has no value
};

/// The items of a TXT record in wire form, in record order. Reading ends at the first item that the DNS-SD
/// library refuses, for example one that announces more bytes than the record has. The time grows with the
/// square of the number of items, because the library counts from the first item each time.
[[nodiscard]] std::vector<TxtRecordKeyValue> ReadTxtRecord(std::uint16_t length, const void* record);

/// The value of the first item with exactly this key; empty if there is none.
[[nodiscard]] std::string GetValue(const std::vector<TxtRecordKeyValue>& txt, const std::string& key);

}  // namespace vorn
