#include "notification/Allowance.h"

#include <algorithm>

namespace Notification {

bool Allowance::Take(const std::string& source, TimePoint now) {
  while (!fTaken.empty() && fTaken.front().time + fPeriod <= now) fTaken.pop_front();
  if (CountOf(source) >= std::min(kMaxOfOneSource, kMaxInAll - fTaken.size())) return false;
  fTaken.push_back({now, source});
  return true;
}

Allowance::TimePoint Allowance::NextFor(const std::string& source) const {
  const bool hasAll = CountOf(source) >= kMaxOfOneSource;
  const auto first = std::find_if(fTaken.begin(), fTaken.end(),
                                  [&](const Taken& taken) { return !hasAll || taken.source == source; });
  return first == fTaken.end() ? TimePoint::min() : first->time + fPeriod;
}

std::size_t Allowance::CountOf(const std::string& source) const {
  return static_cast<std::size_t>(std::count_if(fTaken.begin(), fTaken.end(),
                                                [&](const Taken& taken) { return taken.source == source; }));
}

}  // namespace Notification
