#pragma once

#include <cstddef>
#include <string_view>

#include "devicelist/HTTPResponse.h"

namespace DeviceList {

/// Gathers the header lines and body bytes of one request and holds them to
/// their bounds, since every peer is a stranger: what it refuses makes the
/// request fail. Nothing throws but std::bad_alloc. Used by one thread.
class ResponseCollector {
 public:
  static constexpr std::size_t kMaxBodyBytes = std::size_t{1024} * 1024;  ///< after decoding
  /// Status lines, interim responses and trailers included.
  static constexpr std::size_t kMaxHeaderBytes = std::size_t{64} * 1024;

  /// Forgets everything, ready for the next request.
  void Reset() noexcept;

  /// Takes one header line with its line end, as it came. False when the
  /// header has become too long, or when the line announces an encoding of the
  /// body other than one single gzip or deflate, or chunks: only those were
  /// asked for, others can need 100 MiB and more to decode, and encodings
  /// upon encodings keep the decoder busy without giving out a byte.
  [[nodiscard]] bool AddHeaderLine(std::string_view line);

  /// Takes a piece of the decoded body. False when it has become too long.
  [[nodiscard]] bool AddBody(std::string_view bytes);

  /// True while not one byte of a response has come.
  [[nodiscard]] bool IsEmpty() const noexcept { return fHeaderBytes == 0 && fAnswer.first.empty(); }

  /// What was gathered, moved out; the status code is the caller's to fill in.
  [[nodiscard]] HTTPAnswer TakeAnswer() noexcept;

 private:
  [[nodiscard]] bool AcceptEncodings(const HeaderFields::Field& field);

  HTTPAnswer fAnswer;
  std::size_t fHeaderBytes = 0;
  std::size_t fEncodings = 0;    ///< content encodings announced by the current response
  bool fHeaderComplete = false;  ///< the blank line was seen; further lines are trailers
};

}  // namespace DeviceList
