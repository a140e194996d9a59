#include "geoloom/platform/vision/MLMultiArray.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <optional>
#include <utility>

namespace geoloom::platform {

namespace {

constexpr std::size_t ALIGNMENT = 64;

/// Bytes to allocate for a shape, at least one; nothing if they overflow a ptrdiff_t.
std::optional<std::size_t> storageSize(const std::vector<std::ptrdiff_t>& shape, MLMultiArrayDataType type) {
  if (std::any_of(shape.begin(), shape.end(), [](std::ptrdiff_t n) { return n < 0; })) return std::nullopt;
  if (std::find(shape.begin(), shape.end(), 0) != shape.end()) return ALIGNMENT;
  std::ptrdiff_t bytes = static_cast<std::ptrdiff_t>(size(type));
  for (const std::ptrdiff_t n : shape) {
    if (__builtin_mul_overflow(bytes, n, &bytes)) return std::nullopt;
  }
  if (bytes > std::numeric_limits<std::ptrdiff_t>::max() - static_cast<std::ptrdiff_t>(ALIGNMENT))
    return std::nullopt;
  return (static_cast<std::size_t>(bytes) + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
}

std::vector<std::ptrdiff_t> contiguousStrides(const std::vector<std::ptrdiff_t>& shape) {
  std::vector<std::ptrdiff_t> strides(shape.size(), 1);
  for (std::size_t d = shape.size(); d > 1; --d) {
    // The sizes of an empty array may overflow; its strides are never used.
    if (__builtin_mul_overflow(strides[d - 1], shape[d - 1], &strides[d - 2])) strides[d - 2] = 0;
  }
  return strides;
}

}  // namespace

MLMultiArray::MLMultiArray(void* dataPointer, std::vector<std::ptrdiff_t> shape,
                           MLMultiArrayDataType dataType, std::vector<std::ptrdiff_t> strides)
    : dataPointer_(dataPointer),
      shape_(std::move(shape)),
      dataType_(dataType),
      strides_(std::move(strides)) {}

MLMultiArray::~MLMultiArray() {
  if (release_) release_();
}

std::shared_ptr<MLMultiArray> MLMultiArray::create(std::vector<std::ptrdiff_t> shape,
                                                   MLMultiArrayDataType dataType) {
  const auto bytes = storageSize(shape, dataType);
  if (!bytes) return nullptr;
  void* const memory = std::aligned_alloc(ALIGNMENT, *bytes);
  std::vector<std::ptrdiff_t> strides = contiguousStrides(shape);
  return createWithDataPointer(memory, std::move(shape), dataType, std::move(strides),
                               [memory] { std::free(memory); });
}

std::shared_ptr<MLMultiArray> MLMultiArray::createWithDataPointer(void* dataPointer,
                                                                  std::vector<std::ptrdiff_t> shape,
                                                                  MLMultiArrayDataType dataType,
                                                                  std::vector<std::ptrdiff_t> strides,
                                                                  std::function<void()> release) {
  if (dataPointer == nullptr || strides.size() != shape.size()) return nullptr;
  if (std::any_of(shape.begin(), shape.end(), [](std::ptrdiff_t n) { return n < 0; })) return nullptr;
  std::shared_ptr<MLMultiArray> array(
      new MLMultiArray(dataPointer, std::move(shape), dataType, std::move(strides)));
  array->release_ = std::move(release);
  return array;
}

std::size_t MLMultiArray::count() const {
  std::size_t product = 1;
  for (const std::ptrdiff_t n : shape_) product *= static_cast<std::size_t>(n);
  return product;
}

}  // namespace geoloom::platform
