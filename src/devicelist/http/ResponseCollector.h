#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "devicelist/http/HTTPResponse.h"

namespace DeviceList {

/// Decodes the body of one response piece by piece. What it is given are a
/// stranger's bytes: it stops at a bound, and an encoded body that breaks off
/// is told from a whole one. Nothing throws but std::bad_alloc. Used by one
/// thread.
class BodyDecoder {
 public:
  enum class Coding {
    kNone,
    kGzip,
    kDeflate,  ///< with the header that the rules ask for, or, as some servers send it, without
  };

  /// For a body in this coding.
  explicit BodyDecoder(Coding coding = Coding::kNone);
  ~BodyDecoder();
  BodyDecoder(BodyDecoder&&) noexcept;
  BodyDecoder& operator=(BodyDecoder&&) noexcept;
  BodyDecoder(const BodyDecoder&) = delete;
  BodyDecoder& operator=(const BodyDecoder&) = delete;

  /// Appends what the piece stands for to `body`. False when it is not in the
  /// coding, or when `body` would grow beyond `maxBytes`. What stands behind
  /// the end of an encoded body is left out.
  [[nodiscard]] bool Decode(std::string_view piece, std::string& body, std::size_t maxBytes);

  /// True when nothing has come, or all of an encoded body has. Always true
  /// where nothing is decoded.
  [[nodiscard]] bool IsComplete() const noexcept;

 private:
  struct Stream;

  [[nodiscard]] bool Begin();
  [[nodiscard]] bool Inflate(std::string_view piece, std::string& body, std::size_t maxBytes);

  Coding fCoding;
  std::string fBegin;               ///< the first bytes, until they tell how the body is packed
  std::unique_ptr<Stream> fStream;  ///< from then on
  bool fEnded = false;
};

/// Gathers the header lines and body bytes of one request and holds them to
/// their bounds, since every peer is a stranger: what it refuses makes the
/// request fail. Nothing throws but std::bad_alloc. Used by one thread.
class ResponseCollector {
 public:
  static constexpr std::size_t kMaxBodyBytes = std::size_t{1024} * 1024;  ///< as they come, and decoded
  /// Status lines, interim responses and trailers included.
  static constexpr std::size_t kMaxHeaderBytes = std::size_t{64} * 1024;

  /// Forgets everything, ready for the next request.
  void Reset() noexcept;

  /// Takes one header line with its line end, as it came. False when the
  /// header has become too long, or when the line announces what would have to
  /// be decoded and cannot be. Decoded are one single gzip or deflate, and
  /// chunks by the client: only those were asked for, others can need 100 MiB
  /// and more, and encodings upon encodings keep the decoder busy without
  /// giving out a byte. An unknown content coding ("none", "utf-8") names no
  /// encoding: the body is read as it is.
  [[nodiscard]] bool AddHeaderLine(std::string_view line);

  /// Takes a piece of the body, with chunks undone. False when it has become
  /// too long or is not in the coding that the header tells.
  [[nodiscard]] bool AddBody(std::string_view bytes);

  /// True while not one byte of a response has come.
  [[nodiscard]] bool IsEmpty() const noexcept { return fHeaderBytes == 0 && fBodyBytes == 0; }

  /// True when the header of the last response is there to its blank line, and
  /// an encoded body to its end.
  [[nodiscard]] bool IsComplete() const noexcept { return fHeaderComplete && fDecoder.IsComplete(); }

  /// What was gathered, moved out; the status code is the caller's to fill in.
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
  std::size_t fBodyBytes = 0;  ///< as they came
};

}  // namespace DeviceList
