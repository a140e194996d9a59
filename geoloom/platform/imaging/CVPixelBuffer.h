#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// Pixel formats by the platform's published codes.
enum class CVPixelFormatType : std::uint32_t {
  ARGB32 = 32,                       ///< 8 bits each, alpha first
  BGRA32 = 1111970369,               ///< "BGRA"
  oneComponent8 = 1278226488,        ///< "L008", gray
  biPlanarFullRange420 = 875704422,  ///< "420f": full-range luma plane, then interleaved CbCr at half size
};

/// Outcomes of making a buffer, by the platform's published codes.
enum CVReturn : std::int32_t {
  kCVReturnSuccess = 0,
  kCVReturnInvalidArgument = -6661,  ///< a size of 0
  kCVReturnAllocationFailed = -6662,
  kCVReturnInvalidPixelFormat = -6680,
  kCVReturnInvalidSize = -6681,  ///< a size beyond what can be addressed
};

/// An image in memory: rows of pixels, one or two planes, each row possibly padded. Shared, never copied. The
/// bytes may be written only while the buffer is locked and nobody else reads it.
class GEOLOOM_EXPORT CVPixelBuffer {
 public:
  /// Rows are aligned to 64 bytes and hold nothing in particular until they are written. Nothing for a size
  /// that is not positive, a format that is not one of the above or an allocation that fails; `status`, when
  /// given, says which.
  [[nodiscard]] static std::shared_ptr<CVPixelBuffer> create(std::size_t width, std::size_t height,
                                                             CVPixelFormatType format,
                                                             CVReturn* status = nullptr);

  /// Wraps the caller's bytes of a one-plane format without a copy; `release` (which may be empty) runs once,
  /// when the buffer is destroyed. Nothing for absent bytes, rows shorter than their pixels and without
  /// memory; `release` does not run then.
  [[nodiscard]] static std::shared_ptr<CVPixelBuffer> createWithBytes(std::size_t width, std::size_t height,
                                                                      CVPixelFormatType format, void* bytes,
                                                                      std::size_t bytesPerRow,
                                                                      std::function<void()> release);

  ~CVPixelBuffer();
  CVPixelBuffer(const CVPixelBuffer&) = delete;
  CVPixelBuffer& operator=(const CVPixelBuffer&) = delete;

  [[nodiscard]] std::size_t width() const;
  [[nodiscard]] std::size_t height() const;
  [[nodiscard]] CVPixelFormatType pixelFormatType() const;
  [[nodiscard]] std::size_t planeCount() const;
  [[nodiscard]] std::uint8_t* baseAddress(std::size_t plane = 0) const;
  [[nodiscard]] std::size_t bytesPerRow(std::size_t plane = 0) const;

  /// Balanced pairs around every write, from any thread; they count and never wait. Readers of finished
  /// frames (the detector, the tools) may read without locking.
  void lockBaseAddress();
  void unlockBaseAddress();

 private:
  CVPixelBuffer();
  /// Without pixels; null without memory.
  static std::shared_ptr<CVPixelBuffer> empty();

  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace geoloom::platform
