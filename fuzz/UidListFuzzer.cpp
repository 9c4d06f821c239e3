// The list of identifiers that a host announces.

#include <string>

#include "foundation/Strings.h"
#include "fuzz/Bytes.h"
#include "fuzz/Require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using vorn::fuzzing::Require;
  const std::string text(vorn::fuzzing::AsText(data, size));
  const auto pieces = vorn::GetEmbeddedValues(text);
  Require(pieces.empty() == text.empty(), "an empty text alone has no pieces");
  std::string joined;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    Require(pieces[i].find(':') == std::string::npos, "no piece holds a separator");
    joined += (i == 0 ? "" : ":") + pieces[i];
  }
  const bool trailing = !text.empty() && text.back() == ':';
  Require(joined == text.substr(0, text.size() - (trailing ? 1 : 0)),
          "the pieces joined are the text but for a trailing separator");
  return 0;
}
