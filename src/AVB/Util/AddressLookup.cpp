#include "AVB/Util/AddressLookup.h"

#include <sys/eventfd.h>

#include <utility>

namespace vorn {

AddressLookup::AddressLookup(std::uint32_t interfaceIndex, std::string hostName)
    : fInterfaceIndex(interfaceIndex),
      fHostName(std::move(hostName)),
      fReadable(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

std::optional<AddressLookup::Answer> AddressLookup::Take() {
  const std::lock_guard lock(fMutex);
  eventfd_t ignored = 0;
  ::eventfd_read(fReadable.Get(), &ignored);
  return std::exchange(fAnswer, std::nullopt);
}

void AddressLookup::Reply(const Answer& answer) {
  const std::lock_guard lock(fMutex);
  if (fSettled.exchange(true)) return;
  fAnswer = answer;
  ::eventfd_write(fReadable.Get(), 1);
}

}  // namespace vorn
