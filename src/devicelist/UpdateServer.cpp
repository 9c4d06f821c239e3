#include "devicelist/UpdateServer.h"

#include <mutex>
#include <string_view>

#include "devicelist/http/Url.h"

namespace DeviceList {
namespace {

constexpr std::string_view kScheme = "http://";
constexpr std::string_view kPathEnd = "/api/";

struct Root {
  std::mutex mutex;
  std::string text = VORN_UPDATE_SERVER_ROOT;  ///< guarded by mutex
};

/// Never destroyed: a polling thread may ask until the very end.
Root& TheRoot() {
  static auto* const root = new Root;
  return *root;
}

bool IsAPIRoot(const std::string& text) {
  if (std::string_view(text).substr(0, kScheme.size()) != kScheme) return false;
  // The request's path is appended to the text, so the text itself has to end
  // so, not only the path in it.
  if (!text.ends_with(kPathEnd) || text.find_first_of("?#") != std::string::npos) return false;
  const auto url = ParseUrl(text);
  return url && url->path.ends_with(kPathEnd);
}

}  // namespace

bool SetUpdateServerRoot(const std::string& root) {
  if (!IsAPIRoot(root)) return false;
  std::string text = root;
  auto& shared = TheRoot();
  const std::lock_guard lock(shared.mutex);
  shared.text.swap(text);
  return true;
}

std::string UpdateServerRoot() {
  auto& shared = TheRoot();
  const std::lock_guard lock(shared.mutex);
  return shared.text;
}

}  // namespace DeviceList
