#include "foundation/FileDescriptor.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>

namespace vorn {

Wakeup::Wakeup() : fEvent(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!fEvent) throw std::system_error(errno, std::generic_category(), "eventfd");
}

void Wakeup::Set() const noexcept {
  ::eventfd_write(fEvent.Get(), 1);
}

void Wakeup::Clear() const noexcept {
  eventfd_t ignored = 0;
  ::eventfd_read(fEvent.Get(), &ignored);
}

}  // namespace vorn
