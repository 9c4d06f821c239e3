#include "vorn-device-list/UnitJson.h"

#include <nlohmann/json.hpp>

#include "foundation/Strings.h"

namespace vorn::devicelisttool {
namespace {

using Json = nlohmann::ordered_json;

template <typename T>
Json TextOrNull(const optional<T>& value) {
  return value ? Json(SlowConvertToString(*value)) : Json(nullptr);
}

}  // namespace

std::string UnitJson(const Units& units) {
  Json list = Json::array();
  for (const auto& unit : units) {
    list.push_back({{"name", TextOrNull(unit.name)},
                    {"type", unit.type},
                    {"url", unit.url},
                    {"uid", unit.uid},
                    {"modelID", TextOrNull(unit.modelID)},
                    {"firmwareVersion", TextOrNull(unit.firmwareVersion)},
                    {"latestVersion", TextOrNull(unit.latestVersion)},
                    {"updateAvailable", DeviceList::UpdateAvailable(unit)}});
  }
  Json object;
  object["units"] = std::move(list);
  constexpr int kOneLine = -1;
  return object.dump(kOneLine, ' ', true, Json::error_handler_t::replace);
}

}  // namespace vorn::devicelisttool
