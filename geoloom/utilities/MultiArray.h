#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/base/Precondition.h"
#include "geoloom/base/WhereMemorySuffices.h"
#include "geoloom/platform/imaging/UIImage.h"
#include "geoloom/platform/vision/MLMultiArray.h"

namespace geoloom {

/// The element types of a MultiArray.
template <class T>
concept MultiArrayType = std::same_as<T, double> || std::same_as<T, float> || std::same_as<T, std::int32_t>;

/// The element type code of the model runtime for T.
template <MultiArrayType T>
inline constexpr platform::MLMultiArrayDataType multiArrayDataType =
    std::same_as<T, double>  ? platform::MLMultiArrayDataType::float64
    : std::same_as<T, float> ? platform::MLMultiArrayDataType::float32
                             : platform::MLMultiArrayDataType::int32;

/// The value as a byte, truncated toward zero. Precondition: greater than -1 and less than 256, which NaN is
/// not.
template <MultiArrayType T>
[[nodiscard]] constexpr std::uint8_t toUInt8(T value) {
  GEOLOOM_PRECONDITION(value > T(-1) && value < T(256),
                       "toUInt8 takes values above -1 and below 256, not NaN");
  return static_cast<std::uint8_t>(
      static_cast<int>(value));  // by way of int: processors have that conversion
}

/// 8-bit picture rows from the top, without padding.
struct RawBytes {
  std::vector<std::uint8_t> bytes;
  std::size_t width = 0;
  std::size_t height = 0;
};

/// A typed view over a model's array: a value that shares its storage with the array and with every view made
/// from it.
///
/// Element (i0, i1, ...) lives i0 * strides[0] + i1 * strides[1] + ... elements from the pointer; indices are
/// never compared with the shape. Like a span, a const view still lets its elements be written. No locking is
/// done: a view and those made from it are used from one thread at a time, or only read.
///
/// What is called a precondition aborts with a message in debug builds and is not checked in others.
template <MultiArrayType T>
class GEOLOOM_EXPORT MultiArray {
 public:
  using Shape = std::vector<std::ptrdiff_t>;

  /// A view over the whole array. T is the caller's choice; it is not compared with the array's own type.
  /// Precondition: the array is there.
  explicit MultiArray(std::shared_ptr<platform::MLMultiArray> array);

  /// A new array of zeros. Precondition: no size is negative and memory suffices; where that is not checked,
  /// the view that results has no array and the shape [0].
  explicit MultiArray(const Shape& shape);
  explicit MultiArray(std::initializer_list<std::ptrdiff_t> shape) : MultiArray(Shape(shape)) {}

  /// A new array with every element set to `initial`; otherwise as above.
  MultiArray(const Shape& shape, T initial);

  [[nodiscard]] const std::shared_ptr<platform::MLMultiArray>& array() const { return array_; }
  [[nodiscard]] T* pointer() const { return pointer_; }
  [[nodiscard]] const Shape& strides() const { return strides_; }
  [[nodiscard]] const Shape& shape() const { return shape_; }

  /// Product of the shape: 1 for an empty one.
  [[nodiscard]] std::ptrdiff_t count() const;

  /// The element at a position in storage order; the strides play no part.
  [[nodiscard]] T& operator[](std::ptrdiff_t position) const { return pointer_[position]; }

  /// Elements by their first indices, the others being 0. Precondition: not more indices than strides.
  [[nodiscard]] T& operator()(std::ptrdiff_t i, std::ptrdiff_t j) const { return at<2>({i, j}); }
  [[nodiscard]] T& operator()(std::ptrdiff_t i, std::ptrdiff_t j, std::ptrdiff_t k) const {
    return at<3>({i, j, k});
  }
  [[nodiscard]] T& operator()(std::ptrdiff_t i, std::ptrdiff_t j, std::ptrdiff_t k, std::ptrdiff_t l) const {
    return at<4>({i, j, k, l});
  }
  [[nodiscard]] T& operator()(std::span<const std::ptrdiff_t> indices) const {
    GEOLOOM_PRECONDITION(indices.size() <= strides_.size(), "more indices than the array has dimensions");
    std::ptrdiff_t position = 0;
    for (std::size_t d = 0; d < indices.size(); ++d) position += indices[d] * strides_[d];
    return pointer_[position];
  }
  [[nodiscard]] T& operator()(std::initializer_list<std::ptrdiff_t> indices) const {
    return (*this)(std::span<const std::ptrdiff_t>(indices.begin(), indices.size()));
  }

  /// The same storage, in stored order, under another shape with contiguous strides (last dimension fastest);
  /// the strides of this view play no part. Precondition: as many elements, at least one dimension.
  [[nodiscard]] MultiArray reshaped(const Shape& newShape) const;

  /// The same elements with dimension order[d] as dimension d. Precondition: a permutation of all dimensions.
  [[nodiscard]] MultiArray transposed(const std::vector<std::size_t>& order) const;

  /// The elements between nested brackets, at most 11 on a line; the same in every locale. Precondition: the
  /// shape is not empty.
  [[nodiscard]] std::string description() const;

  /// Shape [3, height, width], red, green and blue, as four bytes a pixel, alpha 255 last. Each element v
  /// becomes (v + offset) * scale, limited to [0, 255] and truncated. Nothing, with a line on the console,
  /// for another shape, and without one where memory does not suffice. Precondition: no element is NaN.
  [[nodiscard]] std::optional<RawBytes> toRawBytesRGBA(T offset, T scale) const;

  /// Shape [height, width] as one byte a pixel; otherwise as above.
  [[nodiscard]] std::optional<RawBytes> toRawBytesGray(T offset, T scale) const;

  /// Two dimensions as a gray picture, three as a colour picture, through the conversions above. Null for any
  /// other number of dimensions, without a line, for what they refuse, for a picture without pixels, and
  /// where memory does not suffice.
  [[nodiscard]] std::shared_ptr<platform::UIImage> image(T offset, T scale) const;

  /// One channel of shape [channels, height, width] as a gray picture. Null, with a line on the console, for
  /// another number of dimensions or a channel that is not there.
  [[nodiscard]] std::shared_ptr<platform::UIImage> image(std::ptrdiff_t channel, T offset, T scale) const;

  friend std::ostream& operator<<(std::ostream& stream, const MultiArray& view) {
    return stream << view.description();
  }

 private:
  MultiArray(const MultiArray& storage, Shape strides, Shape shape);

  template <std::size_t N>
  [[nodiscard]] T& at(const std::ptrdiff_t (&indices)[N]) const {
    GEOLOOM_PRECONDITION(N <= strides_.size(), "more indices than the array has dimensions");
    std::ptrdiff_t position = 0;
    for (std::size_t d = 0; d < N; ++d) position += indices[d] * strides_[d];
    return pointer_[position];
  }

  std::shared_ptr<platform::MLMultiArray> array_;
  T* pointer_;
  Shape strides_;
  Shape shape_;
};

extern template class MultiArray<double>;
extern template class MultiArray<float>;
extern template class MultiArray<std::int32_t>;

}  // namespace geoloom

/// A view of element type T over the array, as a picture: MultiArray<T>::image(offset, scale).
template <class T>
std::shared_ptr<geoloom::platform::UIImage> geoloom::platform::MLMultiArray::image(T offset, T scale) const {
  auto self = std::static_pointer_cast<MLMultiArray>(std::const_pointer_cast<NSObject>(shared_from_this()));
  return base::whereMemorySuffices(
      [&] { return geoloom::MultiArray<T>(std::move(self)).image(offset, scale); });
}
