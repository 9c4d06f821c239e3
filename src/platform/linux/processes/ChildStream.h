#pragma once

#include <cstddef>
#include <string>

#include "foundation/FileDescriptor.h"

namespace vorn {

/// Our end of a pipe that a child writes to, and what came out of it so far.
/// Belongs to one thread at a time.
class ChildStream {
 public:
  /// A stream without a pipe is at its end. The descriptor must not block.
  ChildStream(FileDescriptor pipe, std::size_t maximum);

  /// Reads what is there now, without blocking: one buffer's worth, so that a
  /// flood leaves the caller time to look at the clock. What exceeds the
  /// maximum is dropped. Closes the pipe at its end. Returns whether there may
  /// be more to read at once.
  bool Read();

  [[nodiscard]] bool IsAtEnd() const { return !fPipe; }
  [[nodiscard]] bool IsCut() const { return fCut; }
  [[nodiscard]] int Descriptor() const { return fPipe.Get(); }
  [[nodiscard]] std::string TakeText() { return std::move(fText); }
  void Close() { fPipe.Reset(); }

 private:
  FileDescriptor fPipe;
  std::size_t fMaximum;
  std::string fText;
  bool fCut = false;
};

}  // namespace vorn
