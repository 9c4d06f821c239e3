#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

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

}  // namespace DeviceList
