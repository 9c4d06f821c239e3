#include "devicelist/http/ResponseCollector.h"

#include <algorithm>
#include <array>
#include <utility>

#include "foundation/Strings.h"

namespace DeviceList {
namespace {

bool IsStatusLine(std::string_view line) {
  return line.substr(0, 5) == "HTTP/";
}

bool IsBlankLine(std::string_view line) {
  return line == "\r\n" || line == "\n" || line.empty();
}

/// Takes the next element off a comma-separated list, without white space.
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
/// The content codings that are registered and that nobody here can decode.
constexpr std::array<std::string_view, 9> kUndecoded{"br",  "zstd", "compress",     "x-compress", "dcb",
                                                     "dcz", "exi",  "pack200-gzip", "aes128gcm"};
/// What the client undoes by itself, and what says that there is nothing to undo.
constexpr std::array<std::string_view, 2> kTransfer{"chunked", "identity"};

}  // namespace

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
  // Counted over the whole request: endless interim responses are bounded too.
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
  // An encoded body that gives out nothing is bounded by its own length.
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
