// Strangers' text on its way to a terminal. The first byte is a width in cells.

#include <clocale>
#include <string>

#include "foundation/SafeText.h"
#include "foundation/Strings.h"
#include "fuzz/Bytes.h"
#include "fuzz/Require.h"
#include "fuzz/Utf8.h"

namespace {

using vorn::fuzzing::Require;

bool HasControls(const std::string& utf8) {
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const auto byte = static_cast<unsigned char>(utf8[i]);
    if (byte < 0x20 || byte == 0x7F) return true;
    // U+0080 to U+009F: the controls of the upper range.
    if (byte == 0xC2 && i + 1 < utf8.size() && static_cast<unsigned char>(utf8[i + 1]) < 0xA0) return true;
  }
  return false;
}

bool IsPlain(const std::string& text) {
  for (const char c : text) {
    if (c < 0x20 || c == 0x7F) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  Require(std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr, "there is a UTF-8 locale");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vorn::fuzzing::ByteReader reader(vorn::fuzzing::AsText(data, size));
  const std::size_t cells = reader.Byte();
  const std::string bytes = reader.Bytes(size);
  const std::u32string text = vorn::SafeText(bytes);
  const std::string shown = vorn::ToUTF8(text);
  Require(vorn::fuzzing::IsUtf8(shown), "what is shown is UTF-8");
  Require(!HasControls(shown), "what is shown holds no control characters");
  Require(vorn::SafeText(shown) == text, "what is safe stays as it is");
  Require(!IsPlain(bytes) || shown == bytes, "plain text stays as it is");
  Require(text.size() <= bytes.size(), "no byte makes two characters");
  const std::u32string cut = vorn::Elided(text, cells);
  Require(vorn::CellWidth(cut) <= cells, "a cut text fits");
  const bool fits = vorn::CellWidth(text) <= cells && text.size() <= vorn::kMostCharactersPerCell * cells;
  Require(!fits || cut == text, "a text that fits is not cut");
  return 0;
}
