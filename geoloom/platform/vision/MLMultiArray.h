#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <type_traits>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/NSObject.h"

namespace geoloom::platform {

class UIImage;

/// Element types, numbered as the model runtime publishes them.
enum class MLMultiArrayDataType : std::int32_t {
  float64 = 65600,  ///< 64-bit float
  float32 = 65568,  ///< 32-bit float
  int32 = 131104,   ///< 32-bit signed integer
};

/// Bytes of one element.
[[nodiscard]] constexpr std::size_t size(MLMultiArrayDataType type) {
  return type == MLMultiArrayDataType::float64 ? 8 : 4;
}

/// An untyped array with any number of dimensions, a model's input or output. Element (i0, i1, ...) is
/// i0 * strides[0] + i1 * strides[1] + ... elements from the data pointer. Shared, never copied. Access to
/// the elements is not synchronized.
class GEOLOOM_EXPORT MLMultiArray final : public NSObject {
 public:
  /// Contiguous, last dimension fastest, 64-byte aligned; the elements are uninitialized. An empty shape has
  /// one element. Returns null for a negative size or if there is not enough memory for the elements.
  [[nodiscard]] static std::shared_ptr<MLMultiArray> create(std::vector<std::ptrdiff_t> shape,
                                                            MLMultiArrayDataType dataType);

  /// Wraps the caller's memory without a copy; `release` (may be empty) is called once, when the last owner
  /// releases the array. Returns null, without calling `release`, if the memory is null, a size is negative,
  /// or the numbers of strides and dimensions differ. Strides may be negative or zero.
  /// Precondition: all elements lie inside the memory.
  [[nodiscard]] static std::shared_ptr<MLMultiArray> createWithDataPointer(
      void* dataPointer, std::vector<std::ptrdiff_t> shape, MLMultiArrayDataType dataType,
      std::vector<std::ptrdiff_t> strides, std::function<void()> release);

  ~MLMultiArray() override;

  [[nodiscard]] void* dataPointer() const { return dataPointer_; }
  [[nodiscard]] const std::vector<std::ptrdiff_t>& shape() const { return shape_; }
  [[nodiscard]] const std::vector<std::ptrdiff_t>& strides() const { return strides_; }
  [[nodiscard]] MLMultiArrayDataType dataType() const { return dataType_; }
  /// Product of the shape.
  [[nodiscard]] std::size_t count() const;

  /// The array as an image; defined in geoloom/utilities/MultiArray.h.
  template <class T = float>
  [[nodiscard]] std::shared_ptr<UIImage> image(std::type_identity_t<T> offset,
                                               std::type_identity_t<T> scale) const;

 private:
  MLMultiArray(void* dataPointer, std::vector<std::ptrdiff_t> shape, MLMultiArrayDataType dataType,
               std::vector<std::ptrdiff_t> strides);

  void* dataPointer_;
  std::vector<std::ptrdiff_t> shape_;
  MLMultiArrayDataType dataType_;
  std::vector<std::ptrdiff_t> strides_;
  std::function<void()> release_;
};

}  // namespace geoloom::platform
