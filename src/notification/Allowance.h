#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <string>

#include "foundation/Clock.h"

namespace Notification {

/// How many notifications the centre takes in a minute: in all, and from one source. Strangers on the network
/// can cause as many as they like, and none of them may take what the others need.
///
/// A source also gets no more than is then left for all others. So greedy sources that take turns leave
/// something for a new one. Nine sources that come one after another can use up the whole minute.
///
/// @threadsafety One object, one thread.
class Allowance {
 public:
  using TimePoint = vorn::Clock::time_point;

  static constexpr std::size_t kMaxInAll = 60;
  static constexpr std::size_t kMaxOfOneSource = 10;

  /// `period`: a minute.
  explicit Allowance(std::chrono::milliseconds period) : fPeriod(period) {}

  /// Counts one notification of this source. False, and not counted, if that would be too many.
  [[nodiscard]] bool Take(const std::string& source, TimePoint now);

  /// The first moment at which a source may succeed that Take has just refused.
  [[nodiscard]] TimePoint NextFor(const std::string& source) const;

 private:
  struct Taken {
    TimePoint time;
    std::string source;
  };

  [[nodiscard]] std::size_t CountOf(const std::string& source) const;

  const std::chrono::milliseconds fPeriod;
  std::deque<Taken> fTaken;  ///< within the last period, oldest first
};

}  // namespace Notification
