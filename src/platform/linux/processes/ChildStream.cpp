#include "platform/linux/processes/ChildStream.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace vorn {

ChildStream::ChildStream(FileDescriptor pipe, std::size_t maximum)
    : fPipe(std::move(pipe)), fMaximum(maximum) {}

bool ChildStream::Read() {
  if (!fPipe) return false;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): read() fills what is used
  std::array<char, 65536> buffer;
  const ssize_t count = ::read(fPipe.Get(), buffer.data(), buffer.size());
  if (count < 0 && errno == EINTR) return true;
  if (count < 0 && errno == EAGAIN) return false;
  if (count <= 0) {
    fPipe.Reset();
    return false;
  }
  const std::size_t read = static_cast<std::size_t>(count);
  const std::size_t kept = std::min(read, fMaximum - fText.size());
  fText.append(buffer.data(), kept);
  if (kept < read) fCut = true;
  return true;
}

}  // namespace vorn
