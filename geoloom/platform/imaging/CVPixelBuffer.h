#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// Pixel formats; the platform's published codes.
enum class CVPixelFormatType : std::uint32_t {
  ARGB32 = 32,                       ///< 8 bits each, alpha first
  BGRA32 = 1111970369,               ///< "BGRA"
  oneComponent8 = 1278226488,        ///< "L008", gray
  biPlanarFullRange420 = 875704422,  ///< "420f": full-range luma plane, then interleaved CbCr at half size
};

/// Results of creating a buffer; the platform's published codes.
enum CVReturn : std::int32_t {
  kCVReturnSuccess = 0,
  kCVReturnInvalidArgument = -6661,  ///< a size of 0
  kCVReturnAllocationFailed = -6662,
  kCVReturnInvalidPixelFormat = -6680,
  kCVReturnInvalidSize = -6681,  ///< a size that exceeds the address space
};

/// An image in memory: rows of pixels in one or two planes, possibly padded. Shared, never copied. Write the
/// bytes only while holding a lock and while no other thread reads them.
class GEOLOOM_EXPORT CVPixelBuffer {
 public:
  /// Rows are aligned to 64 bytes; the pixels are uninitialised. Null for a size of 0, an unknown format and
  /// an allocation that fails; `status`, if given, receives the reason.
  [[nodiscard]] static std::shared_ptr<CVPixelBuffer> create(std::size_t width, std::size_t height,
                                                             CVPixelFormatType format,
                                                             CVReturn* status = nullptr);

  /// Wraps the caller's bytes of a one-plane format without a copy; `release` (may be empty) runs once, when
  /// the buffer is destroyed. Null, without calling `release`, for absent bytes and rows shorter than their
  /// pixels.
  [[nodiscard]] static std::shared_ptr<CVPixelBuffer> createWithBytes(std::size_t width, std::size_t height,
                                                                      CVPixelFormatType format, void* bytes,
                                                                      std::size_t bytesPerRow,
                                                                      std::function<void()> release);

  ~CVPixelBuffer();
  CVPixelBuffer(const CVPixelBuffer&) = delete;
  CVPixelBuffer& operator=(const CVPixelBuffer&) = delete;

  [[nodiscard]] std::size_t width() const { return width_; }
  [[nodiscard]] std::size_t height() const { return height_; }
  [[nodiscard]] CVPixelFormatType pixelFormatType() const { return format_; }
  [[nodiscard]] std::size_t planeCount() const { return planes_.size(); }
  /// The first row of a plane; null for a plane that does not exist.
  [[nodiscard]] std::uint8_t* baseAddress(std::size_t plane = 0) const;
  /// Bytes from one row of a plane to the next; 0 for a plane that does not exist.
  [[nodiscard]] std::size_t bytesPerRow(std::size_t plane = 0) const;

  /// Call in pairs around every write, from any thread (CVPixelBufferLock does). They only count and never
  /// block. Readers of finished frames (the detector, the tools) need no lock.
  void lockBaseAddress() { ++locks_; }
  void unlockBaseAddress();

 private:
  struct Plane {
    std::uint8_t* base;
    std::size_t rowBytes;
  };
  CVPixelBuffer(std::size_t width, std::size_t height, CVPixelFormatType format, std::vector<Plane> planes,
                std::function<void()> release);

  std::size_t width_;
  std::size_t height_;
  CVPixelFormatType format_;
  std::vector<Plane> planes_;
  std::function<void()> release_;
  std::atomic<int> locks_ = 0;
};

/// Locks a buffer until the end of its scope:
///
///     const CVPixelBufferLock lock(*buffer);
///     buffer->baseAddress()[y * buffer->bytesPerRow() + 4 * x] = 255;
class CVPixelBufferLock {
 public:
  explicit CVPixelBufferLock(CVPixelBuffer& buffer) : buffer_(buffer) { buffer_.lockBaseAddress(); }
  ~CVPixelBufferLock() { buffer_.unlockBaseAddress(); }
  CVPixelBufferLock(const CVPixelBufferLock&) = delete;
  CVPixelBufferLock& operator=(const CVPixelBufferLock&) = delete;

 private:
  CVPixelBuffer& buffer_;
};

}  // namespace geoloom::platform
