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
#include <type_traits>
#include <utility>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/base/Precondition.h"
#include "geoloom/platform/imaging/UIImage.h"
#include "geoloom/platform/vision/MLMultiArray.h"

namespace geoloom {

/// The element types of a MultiArray.
template <class T>
concept MultiArrayType = std::same_as<T, double> || std::same_as<T, float> || std::same_as<T, std::int32_t>;

/// The model runtime's code of the element type T.
template <MultiArrayType T>
inline constexpr platform::MLMultiArrayDataType multiArrayDataType =
    std::same_as<T, double>  ? platform::MLMultiArrayDataType::float64
    : std::same_as<T, float> ? platform::MLMultiArrayDataType::float32
                             : platform::MLMultiArrayDataType::int32;

/// The value as a byte, truncated toward zero. Precondition: greater than -1 and less than 256, so not NaN.
template <MultiArrayType T>
[[nodiscard]] constexpr std::uint8_t toUInt8(T value) {
  GEOLOOM_PRECONDITION(value > T(-1) && value < T(256),
                       "toUInt8 takes values above -1 and below 256, not NaN");
  // Through int: processors have no conversion to bytes.
  return static_cast<std::uint8_t>(static_cast<int>(value));
}

/// The bytes of an image: rows from the top, without padding.
struct RawBytes {
  std::vector<std::uint8_t> bytes;
  std::size_t width = 0;
  std::size_t height = 0;
};

/// A typed view over a model's array. Copies of a view, views made from it and the array itself share the
/// elements.
///
///     const MultiArray<float> view(array);     // shape [3, height, width]
///     view(0, y, x) = 0.5F;
///     auto image = view.image(1, 127.5F);      // (v + 1) * 127.5, limited to 0...255
///
/// Element (i0, i1, ...) is i0 * strides[0] + i1 * strides[1] + ... elements after the pointer. As with
/// std::span, the elements of a const view can be changed. There is no locking: use a view and the views made
/// from it on one thread at a time, or only read.
///
/// A violated precondition aborts with a message, in every build. Element access and byte conversion check
/// theirs in debug builds only; indices are never compared with the shape.
template <MultiArrayType T>
class GEOLOOM_EXPORT MultiArray {
 public:
  using Shape = std::vector<std::ptrdiff_t>;

  /// A shape in braces, of integers of any type: {3, buffer.height(), buffer.width()}.
  struct Sizes {
    template <std::integral... Size>
    Sizes(Size... sizes) : shape{static_cast<std::ptrdiff_t>(sizes)...} {}
    Sizes(Shape sizes) : shape(std::move(sizes)) {}
    Shape shape;
  };

  /// A view of the whole array. T is not compared with the array's element type. Precondition: `array` is not
  /// null.
  explicit MultiArray(std::shared_ptr<platform::MLMultiArray> array);

  /// A new array of zeros. Precondition: no size is negative and there is enough memory.
  explicit MultiArray(const Sizes& sizes) : MultiArray(sizes.shape, T(0)) {}

  /// A new array with every element set to `initial`; otherwise as above.
  MultiArray(const Shape& shape, T initial);

  [[nodiscard]] const std::shared_ptr<platform::MLMultiArray>& array() const { return array_; }
  [[nodiscard]] T* pointer() const { return pointer_; }
  [[nodiscard]] const Shape& strides() const { return strides_; }
  [[nodiscard]] const Shape& shape() const { return shape_; }

  /// Number of elements, the product of the shape: 1 for an empty shape.
  [[nodiscard]] std::size_t count() const;

  /// The element at a position in storage order, regardless of the strides.
  [[nodiscard]] T& operator[](std::ptrdiff_t position) const { return pointer_[position]; }

  /// The element at these first indices, the other indices being 0. Precondition: no more indices than
  /// dimensions.
  [[nodiscard]] T& operator()(std::ptrdiff_t i, std::ptrdiff_t j) const { return (*this)({i, j}); }
  [[nodiscard]] T& operator()(std::ptrdiff_t i, std::ptrdiff_t j, std::ptrdiff_t k) const {
    return (*this)({i, j, k});
  }
  [[nodiscard]] T& operator()(std::ptrdiff_t i, std::ptrdiff_t j, std::ptrdiff_t k, std::ptrdiff_t l) const {
    return (*this)({i, j, k, l});
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

  /// A view of the same storage, in stored order, with another shape and contiguous strides (last dimension
  /// fastest), regardless of the strides of this view. Precondition: the same number of elements, at least
  /// one dimension.
  [[nodiscard]] MultiArray reshaped(const Shape& newShape) const;

  /// A view of the same elements with dimension order[d] as dimension d. Precondition: `order` is a
  /// permutation of all dimensions.
  [[nodiscard]] MultiArray transposed(const std::vector<std::size_t>& order) const;

  /// The elements in nested brackets, at most 11 on a line, the same text in every locale. Precondition: the
  /// shape is not empty.
  [[nodiscard]] std::string description() const;

  /// Shape [3, height, width] (red, green, blue) as four bytes per pixel, alpha 255 last. Each element v
  /// becomes (v + offset) * scale, limited to [0, 255] and truncated. Empty, after a line on the console, for
  /// any other shape. Precondition: no element is NaN.
  [[nodiscard]] std::optional<RawBytes> toRawBytesRGBA(T offset, T scale) const;

  /// Shape [height, width] as one byte per pixel; otherwise as above.
  [[nodiscard]] std::optional<RawBytes> toRawBytesGray(T offset, T scale) const;

  /// Two dimensions as a gray image, three as a colour image, by the conversions above. Null if they return
  /// nothing, for an image without pixels and, without a line on the console, for another number of
  /// dimensions.
  [[nodiscard]] std::shared_ptr<platform::UIImage> image(T offset, T scale) const;

  /// One channel of shape [channels, height, width] as a gray image. Null, after a line on the console, for
  /// another number of dimensions or a channel that does not exist.
  [[nodiscard]] std::shared_ptr<platform::UIImage> image(std::ptrdiff_t channel, T offset, T scale) const;

  friend std::ostream& operator<<(std::ostream& stream, const MultiArray& view) {
    return stream << view.description();
  }

 private:
  MultiArray(std::shared_ptr<platform::MLMultiArray> array, T* pointer, Shape strides, Shape shape);

  std::shared_ptr<platform::MLMultiArray> array_;
  T* pointer_;
  Shape strides_;
  Shape shape_;
};

extern template class MultiArray<double>;
extern template class MultiArray<float>;
extern template class MultiArray<std::int32_t>;

}  // namespace geoloom

/// The array as an image: MultiArray<T>::image(offset, scale). T is float by default. Precondition, checked
/// in every build: the array's element type is T.
template <class T>
std::shared_ptr<geoloom::platform::UIImage> geoloom::platform::MLMultiArray::image(
    std::type_identity_t<T> offset, std::type_identity_t<T> scale) const {
  GEOLOOM_REQUIRE(
      dataType() == geoloom::multiArrayDataType<T>,
      "image needs the array's own element type: image<double>, image<float> or image<std::int32_t>");
  auto self = std::static_pointer_cast<MLMultiArray>(std::const_pointer_cast<NSObject>(shared_from_this()));
  return geoloom::MultiArray<T>(std::move(self)).image(offset, scale);
}
