#include "devicelist/ResponseCollector.h"

#include <utility>

#include "foundation/ASCII.h"

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

bool IsAskedFor(std::string_view coding) {
  return vorn::EqualIgnoringASCIICase(coding, "gzip") || vorn::EqualIgnoringASCIICase(coding, "x-gzip") ||
         vorn::EqualIgnoringASCIICase(coding, "deflate");
}

}  // namespace

void ResponseCollector::Reset() noexcept {
  fAnswer.first.clear();
  fAnswer.second.allHeaderFields.Clear();
  fHeaderBytes = 0;
  fEncodings = 0;
  fHeaderComplete = false;
}

bool ResponseCollector::AddHeaderLine(std::string_view line) {
  // Counted over the whole request: endless interim responses are bounded too.
  if (line.size() > kMaxHeaderBytes - fHeaderBytes) return false;
  fHeaderBytes += line.size();

  if (IsStatusLine(line)) {
    fAnswer.first.clear();
    fAnswer.second.allHeaderFields.Clear();
    fEncodings = 0;
    fHeaderComplete = false;
    return true;
  }
  if (IsBlankLine(line)) fHeaderComplete = true;
  if (fHeaderComplete) return true;

  fAnswer.second.allHeaderFields.AddLine(line);
  const auto field = HeaderFields::Parse(line);
  return !field || AcceptEncodings(*field);
}

bool ResponseCollector::AcceptEncodings(const HeaderFields::Field& field) {
  const bool content = vorn::EqualIgnoringASCIICase(field.name, "Content-Encoding");
  const bool transfer = vorn::EqualIgnoringASCIICase(field.name, "Transfer-Encoding");
  if (!content && !transfer) return true;
  std::string_view list = field.value;
  while (!list.empty()) {
    const auto coding = NextElement(list);
    if (coding.empty() || vorn::EqualIgnoringASCIICase(coding, "identity")) continue;
    if (transfer && vorn::EqualIgnoringASCIICase(coding, "chunked")) continue;
    if (transfer || !IsAskedFor(coding) || ++fEncodings > 1) return false;
  }
  return true;
}

bool ResponseCollector::AddBody(std::string_view bytes) {
  if (bytes.size() > kMaxBodyBytes - fAnswer.first.size()) return false;
  fAnswer.first.append(bytes);
  return true;
}

HTTPAnswer ResponseCollector::TakeAnswer() noexcept {
  HTTPAnswer answer = std::move(fAnswer);
  Reset();
  return answer;
}

}  // namespace DeviceList
