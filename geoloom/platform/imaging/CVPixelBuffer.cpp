#include "geoloom/platform/imaging/CVPixelBuffer.h"

#include <array>
#include <atomic>
#include <cassert>
#include <cstdlib>
#include <limits>
#include <utility>

namespace geoloom::platform {

namespace {

constexpr std::size_t ROW_ALIGNMENT = 64;
constexpr std::size_t LARGEST_SIDE = std::numeric_limits<std::int32_t>::max();

/// Size of one plane: bytes per row and number of rows.
struct PlaneSize {
  std::size_t rowBytes = 0;
  std::size_t rows = 0;
};

struct Layout {
  std::size_t planes = 0;
  std::array<PlaneSize, 2> plane;
};

/// Computes the layout of one plane or two.
CVReturn layOut(std::size_t width, std::size_t height, CVPixelFormatType format, Layout& layout) {
  if (width == 0 || height == 0) return kCVReturnInvalidArgument;
  if (width > LARGEST_SIDE || height > LARGEST_SIDE) return kCVReturnInvalidSize;
  switch (format) {
    case CVPixelFormatType::ARGB32:
    case CVPixelFormatType::BGRA32:
      layout = {1, {PlaneSize{width * 4, height}, PlaneSize{}}};
      return kCVReturnSuccess;
    case CVPixelFormatType::oneComponent8:
      layout = {1, {PlaneSize{width, height}, PlaneSize{}}};
      return kCVReturnSuccess;
    case CVPixelFormatType::biPlanarFullRange420:
      layout = {2, {PlaneSize{width, height}, PlaneSize{(width + 1) / 2 * 2, (height + 1) / 2}}};
      return kCVReturnSuccess;
  }
  return kCVReturnInvalidPixelFormat;
}

std::size_t aligned(std::size_t bytes) {
  return (bytes + ROW_ALIGNMENT - 1) / ROW_ALIGNMENT * ROW_ALIGNMENT;
}

}  // namespace

struct CVPixelBuffer::State {
  std::size_t width = 0;
  std::size_t height = 0;
  CVPixelFormatType format = CVPixelFormatType::BGRA32;
  std::size_t planes = 0;
  std::array<std::uint8_t*, 2> base = {};
  std::array<std::size_t, 2> rowBytes = {};
  void* owned = nullptr;  ///< from aligned_alloc; null for the caller's bytes
  std::function<void()> release;
  std::atomic<int> locks = 0;
};

CVPixelBuffer::CVPixelBuffer() : state_(std::make_unique<State>()) {}

CVPixelBuffer::~CVPixelBuffer() {
  std::free(state_->owned);
  if (state_->release) state_->release();
}

std::shared_ptr<CVPixelBuffer> CVPixelBuffer::create(std::size_t width, std::size_t height,
                                                     CVPixelFormatType format, CVReturn* status) {
  CVReturn ignored = kCVReturnSuccess;
  CVReturn& outcome = status != nullptr ? *status : ignored;
  Layout layout;
  outcome = layOut(width, height, format, layout);
  if (outcome != kCVReturnSuccess) return nullptr;
  std::array<std::size_t, 2> offset = {};
  std::size_t total = 0;
  for (std::size_t i = 0; i < layout.planes; ++i) {
    const PlaneSize& plane = layout.plane[i];
    offset[i] = total;
    // A side fits 31 bits and a pixel 4 bytes, so a plane stays below 2^64.
    total += aligned(plane.rowBytes) * plane.rows;
  }
  if (total > static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max())) {
    outcome = kCVReturnInvalidSize;
    return nullptr;
  }
  const std::shared_ptr<CVPixelBuffer> buffer(new CVPixelBuffer);
  void* const memory = std::aligned_alloc(ROW_ALIGNMENT, total);
  if (memory == nullptr) {
    outcome = kCVReturnAllocationFailed;
    return nullptr;
  }
  State& state = *buffer->state_;
  state.owned = memory;
  state.width = width;
  state.height = height;
  state.format = format;
  state.planes = layout.planes;
  for (std::size_t i = 0; i < layout.planes; ++i) {
    state.base[i] = static_cast<std::uint8_t*>(memory) + offset[i];
    state.rowBytes[i] = aligned(layout.plane[i].rowBytes);
  }
  return buffer;
}

std::shared_ptr<CVPixelBuffer> CVPixelBuffer::createWithBytes(std::size_t width, std::size_t height,
                                                              CVPixelFormatType format, void* bytes,
                                                              std::size_t bytesPerRow,
                                                              std::function<void()> release) {
  Layout layout;
  if (layOut(width, height, format, layout) != kCVReturnSuccess || layout.planes != 1 || bytes == nullptr ||
      bytesPerRow < layout.plane[0].rowBytes) {
    return nullptr;
  }
  const std::shared_ptr<CVPixelBuffer> buffer(new CVPixelBuffer);
  State& state = *buffer->state_;
  state.width = width;
  state.height = height;
  state.format = format;
  state.planes = 1;
  state.base[0] = static_cast<std::uint8_t*>(bytes);
  state.rowBytes[0] = bytesPerRow;
  state.release = std::move(release);
  return buffer;
}

std::size_t CVPixelBuffer::width() const {
  return state_->width;
}
std::size_t CVPixelBuffer::height() const {
  return state_->height;
}
CVPixelFormatType CVPixelBuffer::pixelFormatType() const {
  return state_->format;
}
std::size_t CVPixelBuffer::planeCount() const {
  return state_->planes;
}

std::uint8_t* CVPixelBuffer::baseAddress(std::size_t plane) const {
  return plane < state_->planes ? state_->base[plane] : nullptr;
}

std::size_t CVPixelBuffer::bytesPerRow(std::size_t plane) const {
  return plane < state_->planes ? state_->rowBytes[plane] : 0;
}

void CVPixelBuffer::lockBaseAddress() {
  state_->locks.fetch_add(1, std::memory_order_acq_rel);
}

void CVPixelBuffer::unlockBaseAddress() {
  [[maybe_unused]] const int before = state_->locks.fetch_sub(1, std::memory_order_acq_rel);
  assert(before > 0 && "unlockBaseAddress without lockBaseAddress");
}

}  // namespace geoloom::platform
