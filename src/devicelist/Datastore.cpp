#include "devicelist/Datastore.h"

#include <nlohmann/json.hpp>

#include <utility>

#include "foundation/Strings.h"

namespace DeviceList {
namespace {

/// Follows the events of a JSON text and takes one member's text from one object: the top-level one, or the
/// first element of the top-level array. The parser defines the names of the event functions.
class MemberPicker {
 public:
  enum class Place { kTopLevel, kFirstElement };

  MemberPicker(Place place, std::string_view member) : fPlace(place), fMember(member) {}

  vorn::optional<std::string> TakeText() { return std::move(fText); }

  bool null() { return OtherValue(); }
  bool boolean(bool) { return OtherValue(); }
  bool number_integer(nlohmann::json::number_integer_t) { return OtherValue(); }
  bool number_unsigned(nlohmann::json::number_unsigned_t) { return OtherValue(); }
  bool number_float(nlohmann::json::number_float_t, const std::string&) { return OtherValue(); }
  bool binary(nlohmann::json::binary_t&) { return OtherValue(); }

  bool string(std::string& text) {
    if (IsWanted()) fText = text.substr(0, text.find('\0'));
    fElementSeen = true;
    return true;
  }

  bool key(std::string& name) {
    fWantedNext = fDepth == fObjectDepth && name == fMember;
    return true;
  }

  bool start_object(std::size_t) {
    const bool first = !fElementSeen;
    if (!Enter()) return false;
    const bool here = fPlace == Place::kTopLevel ? fDepth == 1 : fDepth == 2 && first && fTopIsArray;
    if (here) fObjectDepth = fDepth;
    return true;
  }

  bool start_array(std::size_t) {
    if (fDepth == 0) fTopIsArray = true;
    return Enter();
  }

  bool end_object() {
    if (fDepth == fObjectDepth) fObjectDepth = kNowhere;
    return Leave();
  }
  bool end_array() { return Leave(); }

  bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) { return false; }

 private:
  static constexpr int kNowhere = -1;

  [[nodiscard]] bool IsWanted() const { return fWantedNext && fDepth == fObjectDepth; }

  bool OtherValue() {
    if (IsWanted()) fText.reset();
    fElementSeen = true;
    return true;
  }

  bool Enter() {
    if (IsWanted()) fText.reset();
    fWantedNext = false;
    // The top-level container itself is not an element.
    if (fDepth > 0) fElementSeen = true;
    return ++fDepth <= kMaxJsonDepth;
  }

  bool Leave() {
    --fDepth;
    fWantedNext = false;
    return true;
  }

  const Place fPlace;
  const std::string_view fMember;
  vorn::optional<std::string> fText;
  int fDepth = 0;               ///< containers open
  int fObjectDepth = kNowhere;  ///< fDepth directly inside the object that is searched
  bool fTopIsArray = false;
  bool fElementSeen = false;  ///< the top-level container has had an element
  bool fWantedNext = false;   ///< the last key was the one that is searched
};

vorn::optional<std::string> Pick(std::string_view body, MemberPicker::Place place, std::string_view member) {
  // JSON allows no NUL, but for the parser it is the end of the text.
  if (body.find('\0') != std::string_view::npos) return {};
  MemberPicker picker(place, member);
  if (!nlohmann::json::sax_parse(body.begin(), body.end(), &picker)) return {};
  return picker.TakeText();
}

constexpr std::size_t kLongestCharacter = 4;  // of UTF-8, in bytes

}  // namespace

vorn::optional<std::string> GetDatastoreValue(std::string_view body) {
  return Pick(body, MemberPicker::Place::kTopLevel, "value");
}

vorn::optional<std::string> GetFirstReleaseVersion(std::string_view body) {
  return Pick(body, MemberPicker::Place::kFirstElement, "version");
}

void CutToBound(std::string& value) {
  if (value.size() <= kMaxValueBytes) return;
  std::size_t end = kMaxValueBytes;
  while (end > kMaxValueBytes - kLongestCharacter && vorn::IsContinuation(value[end])) --end;
  value = value.substr(0, end);
}

}  // namespace DeviceList
