#include "geoloom/platform/imaging/CVPixelBuffer.h"

#include <cassert>
#include <cstdlib>
#include <limits>
#include <utility>

namespace geoloom::platform {

namespace {

constexpr std::size_t ROW_ALIGNMENT = 64;
constexpr std::size_t LARGEST_SIDE = std::numeric_limits<std::int32_t>::max();
constexpr std::size_t LARGEST_SIZE = std::numeric_limits<std::ptrdiff_t>::max();

/// Bytes per row, without padding, and number of rows of a plane.
struct PlaneSize {
  std::size_t rowBytes;
  std::size_t rows;
};

/// Empty for an unknown format.
std::vector<PlaneSize> planesOf(std::size_t width, std::size_t height, CVPixelFormatType format) {
  switch (format) {
    case CVPixelFormatType::ARGB32:
    case CVPixelFormatType::BGRA32:
      return {{width * 4, height}};
    case CVPixelFormatType::oneComponent8:
      return {{width, height}};
    case CVPixelFormatType::biPlanarFullRange420:
      return {{width, height}, {(width + 1) / 2 * 2, (height + 1) / 2}};
  }
  return {};
}

std::size_t aligned(std::size_t bytes) {
  return (bytes + ROW_ALIGNMENT - 1) / ROW_ALIGNMENT * ROW_ALIGNMENT;
}

}  // namespace

CVPixelBuffer::CVPixelBuffer(std::size_t width, std::size_t height, CVPixelFormatType format,
                             std::vector<Plane> planes, std::function<void()> release)
    : width_(width),
      height_(height),
      format_(format),
      planes_(std::move(planes)),
      release_(std::move(release)) {}

CVPixelBuffer::~CVPixelBuffer() {
  if (release_) release_();
}

std::shared_ptr<CVPixelBuffer> CVPixelBuffer::create(std::size_t width, std::size_t height,
                                                     CVPixelFormatType format, CVReturn* status) {
  const auto finish = [&](CVReturn outcome, std::shared_ptr<CVPixelBuffer> buffer = nullptr) {
    if (status != nullptr) *status = outcome;
    return buffer;
  };
  if (width == 0 || height == 0) return finish(kCVReturnInvalidArgument);
  if (width > LARGEST_SIDE || height > LARGEST_SIDE) return finish(kCVReturnInvalidSize);
  const auto sizes = planesOf(width, height, format);
  if (sizes.empty()) return finish(kCVReturnInvalidPixelFormat);
  // A side fits 31 bits and a pixel 4 bytes, so the sum stays below 2^64.
  std::size_t total = 0;
  for (const PlaneSize& size : sizes) total += aligned(size.rowBytes) * size.rows;
  if (total > LARGEST_SIZE) return finish(kCVReturnInvalidSize);
  auto* const memory = static_cast<std::uint8_t*>(std::aligned_alloc(ROW_ALIGNMENT, total));
  if (memory == nullptr) return finish(kCVReturnAllocationFailed);
  std::vector<Plane> planes;
  std::uint8_t* base = memory;
  for (const PlaneSize& size : sizes) {
    planes.push_back({base, aligned(size.rowBytes)});
    base += aligned(size.rowBytes) * size.rows;
  }
  return finish(kCVReturnSuccess,
                std::shared_ptr<CVPixelBuffer>(new CVPixelBuffer(width, height, format, std::move(planes),
                                                                 [memory] { std::free(memory); })));
}

std::shared_ptr<CVPixelBuffer> CVPixelBuffer::createWithBytes(std::size_t width, std::size_t height,
                                                              CVPixelFormatType format, void* bytes,
                                                              std::size_t bytesPerRow,
                                                              std::function<void()> release) {
  if (bytes == nullptr || width == 0 || height == 0 || width > LARGEST_SIDE || height > LARGEST_SIDE)
    return nullptr;
  const auto sizes = planesOf(width, height, format);
  if (sizes.size() != 1 || bytesPerRow < sizes[0].rowBytes) return nullptr;
  return std::shared_ptr<CVPixelBuffer>(new CVPixelBuffer(
      width, height, format, {{static_cast<std::uint8_t*>(bytes), bytesPerRow}}, std::move(release)));
}

std::uint8_t* CVPixelBuffer::baseAddress(std::size_t plane) const {
  return plane < planes_.size() ? planes_[plane].base : nullptr;
}

std::size_t CVPixelBuffer::bytesPerRow(std::size_t plane) const {
  return plane < planes_.size() ? planes_[plane].rowBytes : 0;
}

void CVPixelBuffer::unlockBaseAddress() {
  [[maybe_unused]] const int before = locks_.fetch_sub(1);
  assert(before > 0 && "unlockBaseAddress without lockBaseAddress");
}

}  // namespace geoloom::platform
