#include "devicelist/http/BodyDecoder.h"

#include <zlib.h>

#include <array>
#include <new>

namespace DeviceList {
namespace {

constexpr int kWindowBits = 15;             // the largest there is
constexpr int kGzipHeader = 16;             // added to the window's: the stream has a gzip header
constexpr std::size_t kDeflateHeader = 2;   // bytes
constexpr std::size_t kPieceBytes = 16384;  // decoded at a time

/// Whether a deflated stream has its header: packed in the one known way, and
/// the two bytes a multiple of 31.
bool HasDeflateHeader(std::string_view begin) {
  const auto first = static_cast<unsigned char>(begin[0]);
  const auto second = static_cast<unsigned char>(begin[1]);
  return (first & 0x0FU) == Z_DEFLATED && (first * 256U + second) % 31U == 0;
}

}  // namespace

struct BodyDecoder::Stream {
  explicit Stream(int windowBits) {
    if (inflateInit2(&state, windowBits) != Z_OK) throw std::bad_alloc();
  }
  ~Stream() { inflateEnd(&state); }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  z_stream state{};
};

BodyDecoder::BodyDecoder(Coding coding) : fCoding(coding) {}
BodyDecoder::~BodyDecoder() = default;
BodyDecoder::BodyDecoder(BodyDecoder&&) noexcept = default;
BodyDecoder& BodyDecoder::operator=(BodyDecoder&&) noexcept = default;

bool BodyDecoder::Decode(std::string_view piece, std::string& body, std::size_t maxBytes) {
  if (fCoding == Coding::kNone) {
    if (piece.size() > maxBytes - body.size()) return false;
    body.append(piece);
    return true;
  }
  if (fEnded || piece.empty()) return true;
  if (fStream) return Inflate(piece, body, maxBytes);
  fBegin += piece;
  return !Begin() || Inflate(fBegin, body, maxBytes);
}

bool BodyDecoder::IsComplete() const noexcept {
  return fEnded || (!fStream && fBegin.empty());
}

/// False while it takes more bytes to see how the body is packed.
bool BodyDecoder::Begin() {
  if (fCoding == Coding::kGzip) {
    fStream = std::make_unique<Stream>(kWindowBits + kGzipHeader);
  } else if (fBegin.size() >= kDeflateHeader) {
    fStream = std::make_unique<Stream>(HasDeflateHeader(fBegin) ? kWindowBits : -kWindowBits);
  }
  return fStream != nullptr;
}

bool BodyDecoder::Inflate(std::string_view piece, std::string& body, std::size_t maxBytes) {
  std::array<char, kPieceBytes> decoded{};
  auto& state = fStream->state;
  // The library declares the input as writable, but does not write to it.
  state.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(piece.data()));
  state.avail_in = static_cast<uInt>(piece.size());
  do {
    state.next_out = reinterpret_cast<Bytef*>(decoded.data());
    state.avail_out = static_cast<uInt>(decoded.size());
    const int result = inflate(&state, Z_NO_FLUSH);
    // Without anything to do there is no progress, which is no fault.
    if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) return false;
    const std::size_t count = decoded.size() - state.avail_out;
    if (count > maxBytes - body.size()) return false;
    body.append(decoded.data(), count);
    fEnded = result == Z_STREAM_END;
  } while (!fEnded && state.avail_out == 0);
  return true;
}

}  // namespace DeviceList
