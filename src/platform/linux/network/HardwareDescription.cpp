#include "platform/linux/network/HardwareDescription.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <string_view>

#include "foundation/SafeText.h"
#include "foundation/Strings.h"

namespace vorn {
namespace {

constexpr std::size_t kMostRead = std::size_t{64} * 1024;
constexpr std::size_t kLongestValue = 512;       // bytes of one that are looked at
constexpr std::size_t kLongestDescription = 64;  // characters
constexpr char32_t kReplacement = U'\uFFFD';     // for what is unsafe, or no UTF-8

// The line that udev writes for a property begins so; the best one first.
constexpr std::string_view kProperties[] = {
    "E:ID_NET_LABEL_ONBOARD=", "E:ID_MODEL_FROM_DATABASE=", "E:ID_VENDOR_FROM_DATABASE="};

std::string ReadBounded(const std::filesystem::path& file) {
  std::string text(kMostRead, '\0');
  std::ifstream stream(file, std::ios::binary);
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(stream.gcount()));
  return text;
}

// What follows the beginning of a line; empty where no line begins so.
std::string_view FindValue(std::string_view text, std::string_view beginning) {
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    if (line.starts_with(beginning)) return line.substr(beginning.size());
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
  return {};
}

std::string Cleaned(std::string_view value) {
  std::u32string words;
  for (const char32_t c : SafeText(value.substr(0, kLongestValue))) {
    if (words.size() == kLongestDescription) break;
    const bool parts = c == U' ' || c == U':' || c == kReplacement;
    if (!parts) {
      words += c;
    } else if (!words.empty() && words.back() != U' ') {
      words += U' ';
    }
  }
  if (words.ends_with(U' ')) words.pop_back();
  const bool isSeen =
      std::any_of(words.begin(), words.end(), [](char32_t c) { return ShowingOf(c) == Showing::kDrawn; });
  return isSeen ? ToUTF8(words) : std::string();
}

}  // namespace

std::string ReadHardwareDescription(const std::filesystem::path& file) {
  const std::string text = ReadBounded(file);
  for (const std::string_view property : kProperties) {
    if (auto description = Cleaned(FindValue(text, property)); !description.empty()) return description;
  }
  return {};
}

}  // namespace vorn
