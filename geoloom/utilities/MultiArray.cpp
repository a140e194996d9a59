#include "geoloom/utilities/MultiArray.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <numeric>
#include <type_traits>
#include <utility>

#include "geoloom/base/Text.h"
#include "geoloom/base/WhereMemorySuffices.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/utilities/Clamp.h"

namespace geoloom {

namespace {

using Shape = std::vector<std::ptrdiff_t>;

/// Modulo 2^64: a size of 0 makes it 0 also where the others' product is out of range.
std::ptrdiff_t product(const Shape& shape) {
  return static_cast<std::ptrdiff_t>(std::accumulate(
      shape.begin(), shape.end(), std::size_t{1},
      [](std::size_t count, std::ptrdiff_t n) { return count * static_cast<std::size_t>(n); }));
}

std::string listForm(const Shape& shape) {
  std::string text = "[";
  for (std::size_t d = 0; d < shape.size(); ++d) text += (d == 0 ? "" : ", ") + std::to_string(shape[d]);
  return text + "]";
}

/// Says so and gives false unless the shape has that many dimensions.
bool hasDimensions(const Shape& shape, std::size_t dimensions) {
  if (shape.size() == dimensions) return true;
  platform::Console::print("Expected a multi-array with " + std::to_string(dimensions) + " dimensions, got " +
                           listForm(shape));
  return false;
}

[[maybe_unused]] bool isPermutation(std::vector<std::size_t> order, std::size_t dimensions) {
  std::sort(order.begin(), order.end());
  for (std::size_t d = 0; d < order.size(); ++d) {
    if (order[d] != d) return false;
  }
  return order.size() == dimensions;
}

std::string elementText(std::int32_t value) {
  return std::to_string(value);
}
std::string elementText(float value) {
  return base::text(value);
}
std::string elementText(double value) {
  return base::text(value);
}

/// Appends the part of a view's description whose first `d` indices lead to `element`.
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

/// An element on its way to a byte. Integers go by way of 64-bit floats: neither step can overflow, and what
/// is rounded lies far above 255 or below 0.
template <class T>
struct Mapping {
  using Wide = std::conditional_t<std::is_integral_v<T>, double, T>;
  const Wide offset;
  const Wide scale;

  Mapping(T added, T factor) : offset(static_cast<Wide>(added)), scale(static_cast<Wide>(factor)) {}
  [[nodiscard]] Wide scaled(T v) const { return (static_cast<Wide>(v) + offset) * scale; }
  [[nodiscard]] std::uint8_t operator()(T v) const {
    return toUInt8(static_cast<T>(clamp(scaled(v), Wide(0), Wide(255))));
  }
};

// The rows are written as plain loops that compilers vectorise, and compiled twice: 16 bytes at a time, as
// every processor of the architecture can, is too slow to keep up with memory.

template <class T>
[[gnu::always_inline]] inline void grayRow(const T* __restrict in, std::ptrdiff_t step, std::size_t width,
                                           const Mapping<T>& map, std::uint8_t* __restrict out) {
  using Wide = typename Mapping<T>::Wide;
  // Both limits of clamp, lower first, in a loop each: together compilers make more of them than the two are
  // worth.
  std::array<Wide, 256> atLeast0;
  for (std::size_t begin = 0; begin < width; begin += atLeast0.size()) {
    const std::size_t n = std::min(width - begin, atLeast0.size());
    if (step == 1) {
      for (std::size_t i = 0; i < n; ++i) {
        const Wide value = map.scaled(in[begin + i]);
        atLeast0[i] = value < 0 ? Wide(0) : value;
      }
    } else {
      for (std::size_t i = 0; i < n; ++i) {
        const Wide value = map.scaled(in[static_cast<std::ptrdiff_t>(begin + i) * step]);
        atLeast0[i] = value < 0 ? Wide(0) : value;
      }
    }
    for (std::size_t i = 0; i < n; ++i) {
      out[begin + i] = toUInt8(static_cast<T>(atLeast0[i] > 255 ? Wide(255) : atLeast0[i]));
    }
  }
}

[[gnu::always_inline]] inline std::uint32_t pixel(std::uint32_t red, std::uint32_t green,
                                                  std::uint32_t blue) {
  if constexpr (std::endian::native == std::endian::little)
    return red | green << 8 | blue << 16 | 0xFF000000U;
  return red << 24 | green << 16 | blue << 8 | 0xFFU;
}

template <class T>
[[gnu::always_inline]] inline void colourRow(const std::array<const T*, 3>& in, std::ptrdiff_t step,
                                             std::size_t width, const Mapping<T>& map,
                                             std::uint8_t* __restrict out) {
  const T* __restrict red = in[0];
  const T* __restrict green = in[1];
  const T* __restrict blue = in[2];
  if (step == 1) {
    for (std::size_t x = 0; x < width; ++x) {
      const std::uint32_t bytes = pixel(map(red[x]), map(green[x]), map(blue[x]));
      std::memcpy(out + 4 * x, &bytes, 4);
    }
  } else {
    for (std::size_t x = 0; x < width; ++x) {
      const std::ptrdiff_t i = static_cast<std::ptrdiff_t>(x) * step;
      const std::uint32_t bytes = pixel(map(red[i]), map(green[i]), map(blue[i]));
      std::memcpy(out + 4 * x, &bytes, 4);
    }
  }
}

/// The two kinds of rows for one processor.
template <class T>
struct Rows {
  void (*gray)(const T* in, std::ptrdiff_t step, std::size_t width, const Mapping<T>& map, std::uint8_t* out);
  void (*colour)(const std::array<const T*, 3>& in, std::ptrdiff_t step, std::size_t width,
                 const Mapping<T>& map, std::uint8_t* out);
};

#if defined(__x86_64__)
template <class T>
[[gnu::target("avx2")]] void grayRowAVX2(const T* in, std::ptrdiff_t step, std::size_t width,
                                         const Mapping<T>& map, std::uint8_t* out) {
  grayRow(in, step, width, map, out);
}
template <class T>
[[gnu::target("avx2")]] void colourRowAVX2(const std::array<const T*, 3>& in, std::ptrdiff_t step,
                                           std::size_t width, const Mapping<T>& map, std::uint8_t* out) {
  colourRow(in, step, width, map, out);
}
#endif

template <class T>
Rows<T> rowsForThisProcessor() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2") != 0) return {grayRowAVX2<T>, colourRowAVX2<T>};
#endif
  return {grayRow<T>, colourRow<T>};
}

/// A picture of zeros; nothing for a size that is negative or beyond what memory holds.
std::optional<RawBytes> blank(std::ptrdiff_t width, std::ptrdiff_t height, std::ptrdiff_t pixelBytes) {
  std::ptrdiff_t bytes = pixelBytes;
  if (width < 0 || height < 0 || __builtin_mul_overflow(bytes, width, &bytes) ||
      __builtin_mul_overflow(bytes, height, &bytes)) {
    return std::nullopt;
  }
  return base::whereMemorySuffices([&]() -> std::optional<RawBytes> {
    return RawBytes{std::vector<std::uint8_t>(static_cast<std::size_t>(bytes)),
                    static_cast<std::size_t>(width), static_cast<std::size_t>(height)};
  });
}

}  // namespace

template <MultiArrayType T>
MultiArray<T>::MultiArray(std::shared_ptr<platform::MLMultiArray> array) : array_(std::move(array)) {
  GEOLOOM_PRECONDITION(array_ != nullptr, "a view needs an array");
  pointer_ = static_cast<T*>(array_->dataPointer());
  strides_ = array_->strides();
  shape_ = array_->shape();
}

template <MultiArrayType T>
MultiArray<T>::MultiArray(const Shape& shape)
    : array_(platform::MLMultiArray::create(shape, multiArrayDataType<T>)),
      pointer_(array_ ? static_cast<T*>(array_->dataPointer()) : nullptr),
      strides_(array_ ? array_->strides() : Shape{1}),
      shape_(array_ ? array_->shape() : Shape{0}) {
  GEOLOOM_PRECONDITION(array_ != nullptr, "the shape has a negative size or needs more memory than there is");
  std::fill_n(pointer_, count(), T(0));
}

template <MultiArrayType T>
MultiArray<T>::MultiArray(const Shape& shape, T initial) : MultiArray(shape) {
  std::fill_n(pointer_, count(), initial);
}

template <MultiArrayType T>
MultiArray<T>::MultiArray(const MultiArray& storage, Shape strides, Shape shape)
    : array_(storage.array_),
      pointer_(storage.pointer_),
      strides_(std::move(strides)),
      shape_(std::move(shape)) {}

template <MultiArrayType T>
std::ptrdiff_t MultiArray<T>::count() const {
  return product(shape_);
}

template <MultiArrayType T>
MultiArray<T> MultiArray<T>::reshaped(const Shape& newShape) const {
  GEOLOOM_PRECONDITION(!newShape.empty(), "a view is reshaped to at least one dimension");
  GEOLOOM_PRECONDITION(product(newShape) == count(), "a view is reshaped to as many elements as it has");
  Shape strides(newShape.size(), 1);
  for (std::size_t d = newShape.size(); d > 1; --d) strides[d - 2] = strides[d - 1] * newShape[d - 1];
  return MultiArray(*this, std::move(strides), newShape);
}

template <MultiArrayType T>
MultiArray<T> MultiArray<T>::transposed(const std::vector<std::size_t>& order) const {
  GEOLOOM_PRECONDITION(isPermutation(order, shape_.size()), "a transpose order names every dimension once");
  Shape strides(order.size());
  Shape shape(order.size());
  for (std::size_t d = 0; d < order.size(); ++d) {
    strides[d] = strides_[order[d]];
    shape[d] = shape_[order[d]];
  }
  return MultiArray(*this, std::move(strides), std::move(shape));
}

template <MultiArrayType T>
std::string MultiArray<T>::description() const {
  GEOLOOM_PRECONDITION(!shape_.empty(), "a view without dimensions has no text form");
  std::string text;
  if (!shape_.empty()) describe<T>(pointer_, shape_, strides_, 0, text);
  return text;
}

template <MultiArrayType T>
std::optional<RawBytes> MultiArray<T>::toRawBytesRGBA(T offset, T scale) const {
  if (!hasDimensions(shape_, 3)) return std::nullopt;
  if (shape_[0] != 3) {
    platform::Console::print("Expected first dimension to have 3 channels, got " + std::to_string(shape_[0]));
    return std::nullopt;
  }
  auto raw = blank(shape_[2], shape_[1], 4);
  if (!raw) return std::nullopt;
  const Mapping<T> map(offset, scale);
  const auto colourRow = rowsForThisProcessor<T>().colour;
  for (std::size_t y = 0; y < raw->height; ++y) {
    const T* const row = pointer_ + static_cast<std::ptrdiff_t>(y) * strides_[1];
    colourRow({row, row + strides_[0], row + 2 * strides_[0]}, strides_[2], raw->width, map,
              raw->bytes.data() + y * raw->width * 4);
  }
  return raw;
}

template <MultiArrayType T>
std::optional<RawBytes> MultiArray<T>::toRawBytesGray(T offset, T scale) const {
  if (!hasDimensions(shape_, 2)) return std::nullopt;
  auto raw = blank(shape_[1], shape_[0], 1);
  if (!raw) return std::nullopt;
  const Mapping<T> map(offset, scale);
  const auto grayRow = rowsForThisProcessor<T>().gray;
  for (std::size_t y = 0; y < raw->height; ++y) {
    grayRow(pointer_ + static_cast<std::ptrdiff_t>(y) * strides_[0], strides_[1], raw->width, map,
            raw->bytes.data() + y * raw->width);
  }
  return raw;
}

template <MultiArrayType T>
std::shared_ptr<platform::UIImage> MultiArray<T>::image(T offset, T scale) const {
  const bool colour = shape_.size() == 3;
  if (!colour && shape_.size() != 2) return nullptr;
  std::optional<RawBytes> raw = colour ? toRawBytesRGBA(offset, scale) : toRawBytesGray(offset, scale);
  if (!raw) return nullptr;
  return colour
             ? platform::UIImage::fromByteArrayRGBA(std::move(raw->bytes), shape_.back(), *(shape_.end() - 2))
             : platform::UIImage::fromByteArrayGray(std::move(raw->bytes), shape_.back(),
                                                    *(shape_.end() - 2));
}

template <MultiArrayType T>
std::shared_ptr<platform::UIImage> MultiArray<T>::image(std::ptrdiff_t channel, T offset, T scale) const {
  if (!hasDimensions(shape_, 3)) return nullptr;
  if (channel < 0 || channel >= shape_[0]) {
    platform::Console::print("Channel must be between 0 and " + std::to_string(shape_[0] - 1));
    return nullptr;
  }
  return base::whereMemorySuffices([&]() -> std::shared_ptr<platform::UIImage> {
    auto storage = platform::MLMultiArray::create({shape_[1], shape_[2]}, multiArrayDataType<T>);
    if (!storage) return nullptr;
    const MultiArray plane(std::move(storage));
    for (std::ptrdiff_t y = 0; y < shape_[1]; ++y) {
      for (std::ptrdiff_t x = 0; x < shape_[2]; ++x) plane(y, x) = (*this)(channel, y, x);
    }
    return plane.image(offset, scale);
  });
}

template class MultiArray<double>;
template class MultiArray<float>;
template class MultiArray<std::int32_t>;

}  // namespace geoloom
