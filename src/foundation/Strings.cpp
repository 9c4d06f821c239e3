#include "foundation/Strings.h"

namespace vorn {
namespace {

std::vector<std::string> GetDividedValues(const std::string& text, char delimiter) {
  std::istringstream stream(text);
  std::vector<std::string> pieces;
  for (std::string piece; std::getline(stream, piece, delimiter);) pieces.push_back(piece);
  return pieces;
}

}  // namespace

std::vector<std::string> GetEmbeddedValues(const std::string& text) {
  return GetDividedValues(text, ':');
}

}  // namespace vorn
