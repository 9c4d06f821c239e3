#include "devicelist/http/ResponseCollector.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "foundation/Strings.h"

namespace DeviceList {
namespace {

constexpr int kWindowBits = 15;             // the largest there is
constexpr int kGzipHeader = 16;             // added to the window's size: the stream has a gzip header
constexpr std::size_t kDeflateHeader = 2;   // bytes
constexpr std::size_t kPieceBytes = 16384;  // decoded in one step

/// Whether a deflated stream has a header: the one known method, and two bytes that are a multiple of 31.
bool HasDeflateHeader(std::string_view begin) {
  const auto first = static_cast<unsigned char>(begin[0]);
  const auto second = static_cast<unsigned char>(begin[1]);
  return (first & 0x0FU) == Z_DEFLATED && (first * 256U + second) % 31U == 0;
}

bool IsStatusLine(std::string_view line) {
  return line.substr(0, 5) == "HTTP/";
}

bool IsBlankLine(std::string_view line) {
  return line == "\r\n" || line == "\n" || line.empty();
}

/// Removes the next element from a comma-separated list, without white space.
std::string_view NextElement(std::string_view& list) {
  const auto comma = list.find(',');
  const auto element = vorn::Trimmed(list.substr(0, comma));
  list = comma == std::string_view::npos ? std::string_view() : list.substr(comma + 1);
  return element;
}

template <std::size_t Count>
bool IsOneOf(std::string_view name, const std::array<std::string_view, Count>& names) {
  return std::any_of(names.begin(), names.end(),
                     [name](auto one) { return vorn::EqualIgnoringASCIICase(name, one); });
}

constexpr std::array<std::string_view, 2> kGzip{"gzip", "x-gzip"};
constexpr std::array<std::string_view, 1> kDeflate{"deflate"};
/// The registered content codings that neither we nor the client can decode.
constexpr std::array<std::string_view, 9> kUndecoded{"br",  "zstd", "compress",     "x-compress", "dcb",
                                                     "dcz", "exi",  "pack200-gzip", "aes128gcm"};
/// Codings that the client decodes by itself, and names that mean no coding.
constexpr std::array<std::string_view, 2> kTransfer{"chunked", "identity"};

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

/// False while more bytes are needed to see how the body is packed.
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
    // If there is nothing to do, there is no progress. This is no fault.
    if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) return false;
    const std::size_t count = decoded.size() - state.avail_out;
    if (count > maxBytes - body.size()) return false;
    body.append(decoded.data(), count);
    fEnded = result == Z_STREAM_END;
  } while (!fEnded && state.avail_out == 0);
  return true;
}

void ResponseCollector::Reset() noexcept {
  BeginResponse();
  fHeaderBytes = 0;
  fBodyBytes = 0;
}

void ResponseCollector::BeginResponse() noexcept {
  fAnswer.first.clear();
  fAnswer.second.allHeaderFields.Clear();
  fDecoder = BodyDecoder();
  fDecodes = false;
  fHeaderComplete = false;
}

bool ResponseCollector::AddHeaderLine(std::string_view line) {
  // Counts over the whole request, so that endless interim responses are bounded too.
  if (line.size() > kMaxHeaderBytes - fHeaderBytes) return false;
  fHeaderBytes += line.size();

  if (IsStatusLine(line)) {
    BeginResponse();
    return true;
  }
  if (IsBlankLine(line)) fHeaderComplete = true;
  if (fHeaderComplete) return true;

  fAnswer.second.allHeaderFields.AddLine(line);
  const auto field = HeaderFields::Parse(line);
  return !field || AcceptCodings(*field);
}

bool ResponseCollector::AcceptCodings(const HeaderFields::Field& field) {
  const bool content = vorn::EqualIgnoringASCIICase(field.name, "Content-Encoding");
  const bool transfer = vorn::EqualIgnoringASCIICase(field.name, "Transfer-Encoding");
  if (!content && !transfer) return true;
  std::string_view list = field.value;
  while (!list.empty()) {
    const auto coding = NextElement(list);
    if (coding.empty()) continue;
    if (!(transfer ? IsOneOf(coding, kTransfer) : AcceptContentCoding(coding))) return false;
  }
  return true;
}

bool ResponseCollector::AcceptContentCoding(std::string_view coding) {
  const bool gzip = IsOneOf(coding, kGzip);
  if (!gzip && !IsOneOf(coding, kDeflate)) return !IsOneOf(coding, kUndecoded);
  if (std::exchange(fDecodes, true)) return false;
  fDecoder = BodyDecoder(gzip ? BodyDecoder::Coding::kGzip : BodyDecoder::Coding::kDeflate);
  return true;
}

bool ResponseCollector::AddBody(std::string_view bytes) {
  // An encoded body that decodes to nothing is bounded by its own length.
  if (bytes.size() > kMaxBodyBytes - fBodyBytes) return false;
  fBodyBytes += bytes.size();
  return fDecoder.Decode(bytes, fAnswer.first, kMaxBodyBytes);
}

HTTPAnswer ResponseCollector::TakeAnswer() noexcept {
  HTTPAnswer answer = std::move(fAnswer);
  Reset();
  return answer;
}

}  // namespace DeviceList
