#pragma once

#include <cstdint>
#include <iosfwd>

namespace vorn {

/// A firmware version; text form major.minor.patch+build, for example 1.2.3+45.
struct FirmwareVersion {
  std::uint64_t major = 0;
  std::uint64_t minor = 0;
  std::uint64_t patch = 0;
  std::uint64_t build = 0;
};

/// Reads the text form with the stream's own formatted extraction. White space before each number and
/// separator is skipped. A number that overflows or is missing, or a wrong separator, sets failbit and ends
/// the reading. The fields read so far keep their new values. The text after the build number stays in the
/// stream.
std::istream& operator>>(std::istream& stream, FirmwareVersion& version);

/// Writes the text form in plain decimal, whatever the stream's formatting is.
std::ostream& operator<<(std::ostream& stream, const FirmwareVersion& version);

/// True if all four fields are equal.
[[nodiscard]] bool operator==(const FirmwareVersion& a, const FirmwareVersion& b);

/// "Is `a` older than `b` in any respect": true if any one field of `a` is smaller than the same field of
/// `b`, whatever the fields before it are. This is not lexicographic on purpose, and you cannot sort by it:
/// 2.0.0+0 and 1.5.0+0 are each less than the other.
[[nodiscard]] bool operator<(const FirmwareVersion& a, const FirmwareVersion& b);

}  // namespace vorn
