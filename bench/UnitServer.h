#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "devicelist/FirmwarePoller.h"

namespace vorn::bench {

/// All units of a measurement and their update server behind one port of every local address, in a separate
/// process so that its work is not counted. The path contains the unit's number as its uid.
class UnitServer {
 public:
  enum class Names {
    kMissing,   ///< no name is found, so the units' checks start again
    kSteady,    ///< a name has a tag, and a request that knows the tag gets a 304
    kChanging,  ///< each answer has a new name, which ends in the time of its sending: "Unit 3 @123.456789"
    kLong,      ///< the same in names that are as long as a name can be; half of them differ in their last
                ///< letters only, and the others change their order too
  };

  /// Forks; before the calling process has threads.
  UnitServer(Names names, unsigned models);
  ~UnitServer();
  UnitServer(const UnitServer&) = delete;
  UnitServer& operator=(const UnitServer&) = delete;

  [[nodiscard]] std::uint16_t Port() const { return fPort; }

  /// The update server behind the port.
  [[nodiscard]] DeviceList::UpdateServer Updates() const {
    return DeviceList::UpdateServer::At("http://127.0.0.1:" + std::to_string(fPort) + "/api/").value();
  }

  /// Requests answered so far.
  [[nodiscard]] std::uint64_t Requests() const;

  /// The time in a changing name; negative if it contains none.
  static double SentAt(const std::string& name);

 private:
  struct Shared;

  std::uint16_t fPort = 0;
  Shared* fShared = nullptr;  // memory of both processes
  pid_t fProcess = -1;
};

}  // namespace vorn::bench
