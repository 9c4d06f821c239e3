#include "devicelist/ValueBound.h"

namespace DeviceList {
namespace {

constexpr std::size_t kLongestCharacter = 4;  // of UTF-8, in bytes

bool IsContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

}  // namespace

void CutToBound(std::string& value) {
  if (value.size() <= kMaxValueBytes) return;
  std::size_t end = kMaxValueBytes;
  while (end > kMaxValueBytes - kLongestCharacter && IsContinuation(value[end])) --end;
  value = value.substr(0, end);
}

}  // namespace DeviceList
