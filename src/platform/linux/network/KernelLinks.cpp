#include "platform/linux/network/KernelLinks.h"

#include <net/if.h>

#include <algorithm>
#include <fstream>
#include <system_error>
#include <utility>

#include "platform/linux/network/HardwareDescription.h"

namespace vorn {
namespace {

using std::filesystem::directory_iterator;

// 0 where there is none; the kernel counts from 1.
unsigned ReadIndex(const std::filesystem::path& link) {
  std::ifstream file(link / "ifindex");
  unsigned index = 0;
  return file >> index ? index : 0;
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

optional<std::vector<std::string>> KernelLinks::NamesByIndex() const {
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

bool KernelLinks::Exists(const std::string& name) const {
  return Has(name, "ifindex");
}

bool KernelLinks::HasHardware(const std::string& name) const {
  return Has(name, "device");
}

std::string KernelLinks::HardwareDescription(const std::string& name) const {
  const unsigned index = IsName(name) ? ReadIndex(fRoot / name) : 0;
  return index == 0 ? std::string() : ReadHardwareDescription(fDescriptions / ("n" + std::to_string(index)));
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
