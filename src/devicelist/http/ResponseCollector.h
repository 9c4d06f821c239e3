#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "devicelist/http/HTTPResponse.h"

namespace DeviceList {

/// Decodes the body of one response piece by piece. The pieces are a stranger's bytes. So it stops at a
/// bound, and it detects an encoded body that ends too early. Throws only std::bad_alloc. Used by one thread.
class BodyDecoder {
 public:
  enum class Coding {
    kNone,
    kGzip,
    kDeflate,  ///< with the header that the rules require, or without it, as some servers send it
  };

  /// For a body in this coding.
  explicit BodyDecoder(Coding coding = Coding::kNone);
  ~BodyDecoder();
  BodyDecoder(BodyDecoder&&) noexcept;
  BodyDecoder& operator=(BodyDecoder&&) noexcept;
  BodyDecoder(const BodyDecoder&) = delete;
  BodyDecoder& operator=(const BodyDecoder&) = delete;

  /// Appends the decoded piece to `body`. False if the piece is not in the coding, or if `body` would grow
  /// beyond `maxBytes`. Ignores bytes after the end of an encoded body.
  [[nodiscard]] bool Decode(std::string_view piece, std::string& body, std::size_t maxBytes);

  /// True if nothing has come, or if an encoded body is complete. Always true if nothing is decoded.
  [[nodiscard]] bool IsComplete() const noexcept;

 private:
  struct Stream;

  [[nodiscard]] bool Begin();
  [[nodiscard]] bool Inflate(std::string_view piece, std::string& body, std::size_t maxBytes);

  Coding fCoding;
  std::string fBegin;               ///< the first bytes, until they show how the body is packed
  std::unique_ptr<Stream> fStream;  ///< after that
  bool fEnded = false;
};

/// Collects the header lines and body bytes of one request within bounds, because every peer is a stranger.
/// If it refuses something, the request fails. Throws only std::bad_alloc. Used by one thread.
class ResponseCollector {
 public:
  static constexpr std::size_t kMaxBodyBytes = std::size_t{1024} * 1024;  ///< as received, and decoded
  /// Includes status lines, interim responses and trailers.
  static constexpr std::size_t kMaxHeaderBytes = std::size_t{64} * 1024;

  /// Forgets everything, ready for the next request.
  void Reset() noexcept;

  /// Takes one header line with its line end, as received. False if the header has become too long, or if the
  /// line announces a coding that cannot be decoded. One single gzip or deflate can be decoded, and the
  /// client decodes chunks. Only these were requested. Others can need 100 MiB and more, and several
  /// encodings keep the decoder busy without output. An unknown content coding ("none", "utf-8") counts as
  /// none: the body is read as it is.
  [[nodiscard]] bool AddHeaderLine(std::string_view line);

  /// Takes a piece of the body, after the client has decoded chunks. False if the body has become too long or
  /// is not in the coding that the header names.
  [[nodiscard]] bool AddBody(std::string_view bytes);

  /// True while no byte of a response has come.
  [[nodiscard]] bool IsEmpty() const noexcept { return fHeaderBytes == 0 && fBodyBytes == 0; }

  /// True if the header of the last response is complete to its blank line, and an encoded body is complete.
  [[nodiscard]] bool IsComplete() const noexcept { return fHeaderComplete && fDecoder.IsComplete(); }

  /// What was collected, moved out. The caller fills in the status code.
  [[nodiscard]] HTTPAnswer TakeAnswer() noexcept;

 private:
  void BeginResponse() noexcept;
  [[nodiscard]] bool AcceptCodings(const HeaderFields::Field& field);
  [[nodiscard]] bool AcceptContentCoding(std::string_view coding);

  HTTPAnswer fAnswer;
  BodyDecoder fDecoder;          ///< for the body of the current response
  bool fDecodes = false;         ///< a content coding that is decoded was announced
  bool fHeaderComplete = false;  ///< the blank line was seen; further lines are trailers
  std::size_t fHeaderBytes = 0;
  std::size_t fBodyBytes = 0;  ///< as received
};

}  // namespace DeviceList
