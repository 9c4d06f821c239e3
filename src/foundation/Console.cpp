#include "foundation/Console.h"

#include <cerrno>
#include <cstdio>

namespace vorn {
namespace {

// Bytes of 0x80 and above may be half of a character or a C1 control, so they
// are replaced with the other controls.
std::string PrintableAscii(const std::string& text) {
  std::string printable = text;
  for (char& c : printable) {
    const auto byte = static_cast<unsigned char>(c);  // a plain char is signed on some machines only
    if (byte < 0x20 || byte >= 0x7f) c = '?';
  }
  return printable;
}

}  // namespace

std::string Excerpt(const std::string& text) {
  constexpr std::size_t kLongest = 200;
  return text.substr(0, kLongest);
}

void WriteToConsole(const std::string& message) {
  const std::string line = std::string(program_invocation_short_name) + ": " + PrintableAscii(message) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace vorn
