#include "platform/linux/KernelLinks.h"

#include <net/if.h>

#include <algorithm>
#include <fstream>
#include <system_error>
#include <utility>

namespace vorn {
namespace {

using std::filesystem::directory_iterator;

}  // namespace

KernelLinks::KernelLinks(std::filesystem::path root) : fRoot(std::move(root)) {}

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
    std::ifstream file(entry->path() / "ifindex");
    unsigned index = 0;
    if (file >> index) links.emplace_back(index, entry->path().filename().string());
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
