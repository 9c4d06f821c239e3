// The body of an answer in a content coding, whole and in single bytes.

#include <string>
#include <string_view>

#include "devicelist/http/ResponseCollector.h"
#include "fuzz/Bytes.h"
#include "fuzz/Require.h"

namespace {

using DeviceList::BodyDecoder;
using vorn::fuzzing::Require;

constexpr std::size_t kBound = 65536;

struct Decoded {
  bool taken = true;
  bool isComplete = false;
  std::string body;
};

Decoded Decode(BodyDecoder::Coding coding, std::string_view bytes, std::size_t pieceBytes) {
  BodyDecoder decoder(coding);
  Decoded decoded;
  while (decoded.taken && !bytes.empty()) {
    const auto piece = bytes.substr(0, pieceBytes);
    bytes.remove_prefix(piece.size());
    decoded.taken = decoder.Decode(piece, decoded.body, kBound);
    Require(decoded.body.size() <= kBound, "a body stays within its bound");
  }
  decoded.isComplete = decoder.IsComplete();
  return decoded;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto bytes = vorn::fuzzing::AsText(data, size);
  using Coding = BodyDecoder::Coding;
  for (const auto coding : {Coding::kNone, Coding::kGzip, Coding::kDeflate}) {
    const auto whole = Decode(coding, bytes, bytes.size());
    const auto pieces = Decode(coding, bytes, 1);
    Require(whole.taken == pieces.taken, "how a body is cut does not decide whether it is taken");
    if (!whole.taken) continue;
    Require(whole.body == pieces.body, "how a body is cut does not change it");
    Require(whole.isComplete == pieces.isComplete, "how a body is cut does not change where it ends");
    if (coding == Coding::kNone) Require(whole.body == bytes, "a body in no coding is as it came");
  }
  return 0;
}
