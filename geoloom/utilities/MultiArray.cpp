#include "geoloom/utilities/MultiArray.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <type_traits>
#include <utility>

#include "geoloom/base/Text.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/utilities/Clamp.h"

namespace geoloom {

namespace {

using Shape = std::vector<std::ptrdiff_t>;

/// Modulo 2^64, so that a size of 0 gives 0 even if the product of the others is out of range.
std::size_t product(const Shape& shape) {
  return std::accumulate(shape.begin(), shape.end(), std::size_t{1}, [](std::size_t count, std::ptrdiff_t n) {
    return count * static_cast<std::size_t>(n);
  });
}

std::string listForm(const Shape& shape) {
  std::string text = "[";
  for (std::size_t d = 0; d < shape.size(); ++d) text += (d == 0 ? "" : ", ") + std::to_string(shape[d]);
  return text + "]";
}

/// Prints a line and returns false unless the shape has that many dimensions.
bool hasDimensions(const Shape& shape, std::size_t dimensions) {
  if (shape.size() == dimensions) return true;
  platform::Console::print("Expected a multi-array with " + std::to_string(dimensions) + " dimensions, got " +
                           listForm(shape));
  return false;
}

bool isPermutation(std::vector<std::size_t> order, std::size_t dimensions) {
  std::sort(order.begin(), order.end());
  for (std::size_t d = 0; d < order.size(); ++d) {
    if (order[d] != d) return false;
  }
  return order.size() == dimensions;
}

template <class T>
std::string elementText(T value) {
  if constexpr (std::is_integral_v<T>)
    return std::to_string(value);
  else
    return base::text(value);
}

/// Appends the text of dimensions `d` and up, beginning at `element`.
template <class T>
void describe(const T* element, const Shape& shape, const Shape& strides, std::size_t d, std::string& text) {
  const std::ptrdiff_t n = shape[d];
  const bool last = d + 1 == shape.size();
  text += last ? "[ " : "[";
  for (std::ptrdiff_t i = 0; i < n; ++i) {
    const T* const part = element + i * strides[d];
    if (last) {
      text += elementText(*part);
      if (i + 1 < n) text += ", ";
      if (i + 1 < n && i % 11 == 10) text += "\n " + std::string(d + 1, ' ');
    } else {
      describe(part, shape, strides, d + 1, text);
      if (i + 1 < n) text += ",\n" + std::string(d + 1, ' ');
    }
  }
  text += last ? " ]" : "]";
}

/// The byte of an element v: (v + offset) * scale, limited to [0, 255] and truncated. Integers are computed
/// as 64-bit floats: neither step can overflow, and only values outside the limits are rounded.
template <class T>
class ByteMapping {
 public:
  ByteMapping(T offset, T scale) : offset_(static_cast<Wide>(offset)), scale_(static_cast<Wide>(scale)) {}
  [[nodiscard]] std::uint8_t operator()(T v) const {
    return toUInt8(clamp((static_cast<Wide>(v) + offset_) * scale_, Wide(0), Wide(255)));
  }

 private:
  using Wide = std::conditional_t<std::is_integral_v<T>, double, T>;
  Wide offset_;
  Wide scale_;
};

RawBytes blank(std::ptrdiff_t width, std::ptrdiff_t height, std::size_t pixelBytes) {
  const auto w = static_cast<std::size_t>(width);
  const auto h = static_cast<std::size_t>(height);
  return {std::vector<std::uint8_t>(w * h * pixelBytes), w, h};
}

template <class T>
void grayRow(const T* in, std::ptrdiff_t step, std::size_t width, const ByteMapping<T>& map,
             std::uint8_t* __restrict out) {
  for (std::size_t x = 0; x < width; ++x) out[x] = map(in[static_cast<std::ptrdiff_t>(x) * step]);
}

template <class T>
void colourRow(const std::array<const T*, 3>& in, std::ptrdiff_t step, std::size_t width,
               const ByteMapping<T>& map, std::uint8_t* __restrict out) {
  const auto [red, green, blue] = in;
  for (std::size_t x = 0; x < width; ++x) {
    const std::ptrdiff_t i = static_cast<std::ptrdiff_t>(x) * step;
    out[4 * x] = map(red[i]);
    out[4 * x + 1] = map(green[i]);
    out[4 * x + 2] = map(blue[i]);
    out[4 * x + 3] = 255;
  }
}

}  // namespace

template <MultiArrayType T>
MultiArray<T>::MultiArray(std::shared_ptr<platform::MLMultiArray> array) : array_(std::move(array)) {
  GEOLOOM_REQUIRE(array_ != nullptr,
                  "MultiArray: no array, a negative size, or a shape too large for memory");
  pointer_ = static_cast<T*>(array_->dataPointer());
  strides_ = array_->strides();
  shape_ = array_->shape();
}

template <MultiArrayType T>
MultiArray<T>::MultiArray(const Shape& shape, T initial)
    : MultiArray(platform::MLMultiArray::create(shape, multiArrayDataType<T>)) {
  std::fill_n(pointer_, count(), initial);
}

template <MultiArrayType T>
MultiArray<T>::MultiArray(std::shared_ptr<platform::MLMultiArray> array, T* pointer, Shape strides,
                          Shape shape)
    : array_(std::move(array)), pointer_(pointer), strides_(std::move(strides)), shape_(std::move(shape)) {}

template <MultiArrayType T>
std::size_t MultiArray<T>::count() const {
  return product(shape_);
}

template <MultiArrayType T>
MultiArray<T> MultiArray<T>::reshaped(const Shape& newShape) const {
  GEOLOOM_REQUIRE(!newShape.empty(), "reshaped needs at least one dimension");
  GEOLOOM_REQUIRE(product(newShape) == count(), "reshaped needs a shape of the same number of elements");
  Shape strides(newShape.size(), 1);
  for (std::size_t d = newShape.size(); d > 1; --d) strides[d - 2] = strides[d - 1] * newShape[d - 1];
  return MultiArray(array_, pointer_, std::move(strides), newShape);
}

template <MultiArrayType T>
MultiArray<T> MultiArray<T>::transposed(const std::vector<std::size_t>& order) const {
  GEOLOOM_REQUIRE(isPermutation(order, shape_.size()), "transposed needs every dimension exactly once");
  Shape strides(order.size());
  Shape shape(order.size());
  for (std::size_t d = 0; d < order.size(); ++d) {
    strides[d] = strides_[order[d]];
    shape[d] = shape_[order[d]];
  }
  return MultiArray(array_, pointer_, std::move(strides), std::move(shape));
}

template <MultiArrayType T>
std::string MultiArray<T>::description() const {
  GEOLOOM_REQUIRE(!shape_.empty(), "description needs at least one dimension");
  std::string text;
  describe<T>(pointer_, shape_, strides_, 0, text);
  return text;
}

template <MultiArrayType T>
std::optional<RawBytes> MultiArray<T>::toRawBytesRGBA(T offset, T scale) const {
  if (!hasDimensions(shape_, 3)) return std::nullopt;
  if (shape_[0] != 3) {
    platform::Console::print("Expected first dimension to have 3 channels, got " + std::to_string(shape_[0]));
    return std::nullopt;
  }
  RawBytes raw = blank(shape_[2], shape_[1], 4);
  const ByteMapping<T> map(offset, scale);
  for (std::size_t y = 0; y < raw.height; ++y) {
    const T* const row = pointer_ + static_cast<std::ptrdiff_t>(y) * strides_[1];
    colourRow<T>({row, row + strides_[0], row + 2 * strides_[0]}, strides_[2], raw.width, map,
                 raw.bytes.data() + y * raw.width * 4);
  }
  return raw;
}

template <MultiArrayType T>
std::optional<RawBytes> MultiArray<T>::toRawBytesGray(T offset, T scale) const {
  if (!hasDimensions(shape_, 2)) return std::nullopt;
  RawBytes raw = blank(shape_[1], shape_[0], 1);
  const ByteMapping<T> map(offset, scale);
  for (std::size_t y = 0; y < raw.height; ++y) {
    grayRow(pointer_ + static_cast<std::ptrdiff_t>(y) * strides_[0], strides_[1], raw.width, map,
            raw.bytes.data() + y * raw.width);
  }
  return raw;
}

template <MultiArrayType T>
std::shared_ptr<platform::UIImage> MultiArray<T>::image(T offset, T scale) const {
  using platform::UIImage;
  const bool colour = shape_.size() == 3;
  if (!colour && shape_.size() != 2) return nullptr;
  std::optional<RawBytes> raw = colour ? toRawBytesRGBA(offset, scale) : toRawBytesGray(offset, scale);
  if (!raw) return nullptr;
  return colour ? UIImage::fromByteArrayRGBA(std::move(raw->bytes), raw->width, raw->height)
                : UIImage::fromByteArrayGray(std::move(raw->bytes), raw->width, raw->height);
}

template <MultiArrayType T>
std::shared_ptr<platform::UIImage> MultiArray<T>::image(std::ptrdiff_t channel, T offset, T scale) const {
  if (!hasDimensions(shape_, 3)) return nullptr;
  if (channel < 0 || channel >= shape_[0]) {
    platform::Console::print("Channel must be between 0 and " + std::to_string(shape_[0] - 1));
    return nullptr;
  }
  const MultiArray plane(array_, pointer_ + channel * strides_[0], {strides_[1], strides_[2]},
                         {shape_[1], shape_[2]});
  return plane.image(offset, scale);
}

template class MultiArray<double>;
template class MultiArray<float>;
template class MultiArray<std::int32_t>;

}  // namespace geoloom
