#include "platform/linux/network/KernelLinks.h"

#include <net/if.h>

#include <algorithm>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "foundation/SafeText.h"
#include "foundation/Strings.h"

namespace vorn {
namespace {

using std::filesystem::directory_iterator;

constexpr std::size_t kMostRead = std::size_t{64} * 1024;
constexpr std::size_t kLongestValue = 512;       // bytes of a name that are read
constexpr std::size_t kLongestDescription = 64;  // characters
constexpr char32_t kReplacement = U'\uFFFD';     // replaces unsafe characters and bytes that are not UTF-8

// The beginnings of the lines that udev writes for a property, the best one first.
constexpr std::string_view kProperties[] = {
    "E:ID_NET_LABEL_ONBOARD=", "E:ID_MODEL_FROM_DATABASE=", "E:ID_VENDOR_FROM_DATABASE="};

// 0 if there is none; the kernel counts from 1.
unsigned ReadIndex(const std::filesystem::path& link) {
  std::ifstream file(link / "ifindex");
  unsigned index = 0;
  return file >> index ? index : 0;
}

std::string ReadBounded(const std::filesystem::path& file) {
  std::string text(kMostRead, '\0');
  std::ifstream stream(file, std::ios::binary);
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(stream.gcount()));
  return text;
}

// The text after the beginning of a line; empty if no line begins so.
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

// Empty if the file is missing or contains no name.
std::string ReadDescription(const std::filesystem::path& file) {
  const std::string text = ReadBounded(file);
  for (const std::string_view property : kProperties) {
    if (auto description = Cleaned(FindValue(text, property)); !description.empty()) return description;
  }
  return {};
}

}  // namespace

KernelLinks::KernelLinks(std::filesystem::path root, std::filesystem::path descriptions)
    : fRoot(std::move(root)), fDescriptions(std::move(descriptions)) {}

bool KernelLinks::IsName(const std::string& name) {
  if (name.empty() || name.size() >= IFNAMSIZ || name == "." || name == "..") return false;
  return std::none_of(name.begin(), name.end(), [](char c) {
    return c == '/' || c == ':' || c == '\0' || c == ' ' || (c >= '\t' && c <= '\r');
  });
}

std::optional<std::vector<std::string>> KernelLinks::NamesByIndex() const {
  std::error_code failure;
  std::vector<std::pair<unsigned, std::string>> links;
  directory_iterator entry(fRoot, failure);
  for (; !failure && entry != directory_iterator(); entry.increment(failure)) {
    const unsigned index = ReadIndex(entry->path());
    if (index != 0) links.emplace_back(index, entry->path().filename().string());
  }
  if (failure) return {};
  std::sort(links.begin(), links.end());
  std::vector<std::string> names;
  for (auto& [index, name] : links) names.push_back(std::move(name));
  return names;
}

bool KernelLinks::HasHardware(const std::string& name) const {
  return Has(name, "device");
}

std::string KernelLinks::HardwareDescription(const std::string& name) const {
  const unsigned index = IsName(name) ? ReadIndex(fRoot / name) : 0;
  return index == 0 ? std::string() : ReadDescription(fDescriptions / ("n" + std::to_string(index)));
}

bool KernelLinks::IsWireless(const std::string& name) const {
  return Has(name, "phy80211") || Has(name, "wireless");
}

std::size_t KernelLinks::CountTransmitQueues(const std::string& name) const {
  if (!IsName(name)) return 0;
  std::error_code failure;
  std::size_t count = 0;
  directory_iterator entry(fRoot / name / "queues", failure);
  for (; !failure && entry != directory_iterator(); entry.increment(failure)) {
    if (entry->path().filename().string().starts_with("tx-")) ++count;
  }
  return count;
}

bool KernelLinks::Has(const std::string& name, const char* entry) const {
  std::error_code failure;
  return IsName(name) && std::filesystem::exists(fRoot / name / entry, failure);
}

}  // namespace vorn
