#include "vorn-device-list/Translated.h"

#include <libintl.h>

#include <clocale>

namespace vorn::devicelisttool {
namespace {

constexpr char kCatalogue[] = "vorn-device-list";

// A value is not searched for places itself.
std::string Filled(const std::string& text, const std::vector<std::string>& values) {
  std::string filled;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const std::size_t number = text[at] == '%' && at + 1 < text.size()
                                   ? static_cast<std::size_t>(text[at + 1] - '1')
                                   : values.size();
    if (number < values.size()) {
      filled += values[number];
      ++at;
    } else {
      filled += text[at];
    }
  }
  return filled;
}

}  // namespace

void UseLanguageOfUser(const std::filesystem::path& folder) {
  std::setlocale(LC_MESSAGES, "");
  ::bindtextdomain(kCatalogue, folder.c_str());
  ::bind_textdomain_codeset(kCatalogue, "UTF-8");
}

std::string Translated(const char* text, const std::vector<std::string>& values) {
  return Filled(::dgettext(kCatalogue, text), values);
}

std::string TranslatedCount(const char* one, const char* several, std::size_t count) {
  return Filled(::dngettext(kCatalogue, one, several, count), {std::to_string(count)});
}

}  // namespace vorn::devicelisttool
