#include "platform/linux/files/WriteAll.h"

#include <unistd.h>

#include <cerrno>

namespace vorn {

bool WriteAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const auto written = ::write(descriptor, content.data(), content.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) content.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace vorn
