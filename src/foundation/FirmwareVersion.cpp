#include "foundation/FirmwareVersion.h"

#include <functional>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

// glibc's headers may still define these as macros of device numbers.
#undef major
#undef minor

namespace vorn {
namespace {

using Accessor = std::function<std::uint64_t(const FirmwareVersion&)>;

// Equality and ordering use this table and never name the fields themselves.
const std::vector<Accessor> orderedMembers{
    [](const FirmwareVersion& v) { return v.major; },
    [](const FirmwareVersion& v) { return v.minor; },
    [](const FirmwareVersion& v) { return v.patch; },
    [](const FirmwareVersion& v) { return v.build; },
};

bool ReadSeparator(std::istream& stream, char expected) {
  char separator = 0;
  if (!(stream >> separator)) return false;
  if (separator != expected) {
    stream.setstate(std::ios::failbit);
    return false;
  }
  return true;
}

// A failed extraction stores 0 or the largest value, but a field that was not read must keep its value.
bool ReadNumber(std::istream& stream, std::uint64_t& field) {
  std::uint64_t number = 0;
  if (!(stream >> number)) return false;
  field = number;
  return true;
}

}  // namespace

std::istream& operator>>(std::istream& stream, FirmwareVersion& version) {
  if (ReadNumber(stream, version.major) && ReadSeparator(stream, '.') && ReadNumber(stream, version.minor) &&
      ReadSeparator(stream, '.') && ReadNumber(stream, version.patch) && ReadSeparator(stream, '+')) {
    ReadNumber(stream, version.build);
  }
  return stream;
}

std::ostream& operator<<(std::ostream& stream, const FirmwareVersion& version) {
  stream.width(0);  // otherwise a width that was meant for a number would fill the first text
  return stream << std::to_string(version.major) << '.' << std::to_string(version.minor) << '.'
                << std::to_string(version.patch) << '+' << std::to_string(version.build);
}

bool operator==(const FirmwareVersion& a, const FirmwareVersion& b) {
  for (const Accessor& member : orderedMembers) {
    if (member(a) != member(b)) return false;
  }
  return true;
}

bool operator<(const FirmwareVersion& a, const FirmwareVersion& b) {
  for (const Accessor& member : orderedMembers) {
    if (member(a) < member(b)) return true;
  }
  return false;
}

}  // namespace vorn
