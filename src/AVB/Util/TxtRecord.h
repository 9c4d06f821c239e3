#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vorn {

/// One item of a DNS-SD TXT record, in the bytes of the network.
struct TxtRecordKeyValue {
  std::string key;    ///< exactly as in the record, no case folding
  std::string value;  ///< empty when the item has no value
};

/// The items of a TXT record in wire form, in record order. Reading ends at the
/// first item that the DNS-SD library refuses, for example one that promises
/// more bytes than the record has. Takes time with the square of the number of
/// items, the library counting from the first for each.
[[nodiscard]] std::vector<TxtRecordKeyValue> ReadTxtRecord(std::uint16_t length, const void* record);

/// The value of the first item with exactly this key; empty when there is none.
[[nodiscard]] std::string GetValue(const std::vector<TxtRecordKeyValue>& txt, const std::string& key);

}  // namespace vorn
