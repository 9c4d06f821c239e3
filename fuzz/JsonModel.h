#pragma once

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <string_view>

#include "devicelist/Datastore.h"
#include "foundation/Optional.h"

namespace vorn::fuzzing {

/// The whole document, built in memory by the library itself. Discarded if it is not well formed or nested
/// too deeply.
[[nodiscard]] inline nlohmann::json ParseWhole(std::string_view body) {
  // The library takes a NUL for the end of the text, but JSON allows none.
  if (body.find('\0') != std::string_view::npos) return nlohmann::json(nlohmann::json::value_t::discarded);
  int deepest = 0;
  const auto measure = [&](int depth, nlohmann::json::parse_event_t event, nlohmann::json&) {
    using Event = nlohmann::json::parse_event_t;
    if (event == Event::object_start || event == Event::array_start) deepest = std::max(deepest, depth + 1);
    return true;
  };
  auto document = nlohmann::json::parse(body.begin(), body.end(), measure, false);
  if (deepest > DeviceList::kMaxJsonDepth) return nlohmann::json(nlohmann::json::value_t::discarded);
  return document;
}

/// The member's text up to its first NUL, if the value is an object with such a text: the slow and plain way
/// to the result of the readers under test.
[[nodiscard]] inline optional<std::string> TextMember(const nlohmann::json& value, const char* name) {
  if (!value.is_object()) return {};
  const auto member = value.find(name);
  if (member == value.end()) return {};
  const auto* text = member->get_ptr<const std::string*>();
  if (text == nullptr) return {};
  return text->substr(0, text->find('\0'));
}

}  // namespace vorn::fuzzing
