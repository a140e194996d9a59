#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/NSObject.h"

namespace geoloom::platform {

class UIImage;

/// Element types by the model runtime's published codes.
enum class MLMultiArrayDataType : std::int32_t {
  float64 = 65600,  ///< 64-bit float
  float32 = 65568,  ///< 32-bit float
  int32 = 131104,   ///< 32-bit signed integer
};

/// Bytes of one element.
[[nodiscard]] constexpr std::size_t size(MLMultiArrayDataType type) {
  return type == MLMultiArrayDataType::float64 ? 8 : 4;
}

/// An untyped array of any number of dimensions, as a model takes and gives it. Element (i0, i1, ...) stands
/// i0 * strides[0] + i1 * strides[1] + ... elements from the data pointer. Shared, never copied; no locking
/// is done: the elements may be written by one thread at a time and only while nobody reads them.
class GEOLOOM_EXPORT MLMultiArray final : public NSObject {
 public:
  /// Contiguous, last dimension fastest, 64-byte aligned; the elements hold nothing in particular until they
  /// are written. An empty shape holds one element. Nothing for a negative size, and when memory does not
  /// suffice.
  [[nodiscard]] static std::shared_ptr<MLMultiArray> create(std::vector<std::ptrdiff_t> shape,
                                                            MLMultiArrayDataType dataType);

  /// Wraps memory of someone else without a copy; `release` (may be empty) runs once, when the last owner
  /// lets the array go. Nothing for absent memory, a negative size, unless there is one stride a dimension,
  /// and when memory for the array itself does not suffice; `release` does not run then. Strides may be
  /// negative or zero; that all elements lie inside the memory is the caller's business.
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

  /// The array as a picture; defined in geoloom/utilities/MultiArray.h, which says how.
  template <class T>
  [[nodiscard]] std::shared_ptr<UIImage> image(T offset, T scale) const;

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
