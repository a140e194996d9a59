#include "geoloom/platform/imaging/PNG.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <new>
#include <system_error>

#include <libyuv.h>
#include <spng.h>

#include "geoloom/base/ReadFile.h"

namespace geoloom::platform {

namespace {

constexpr std::uint64_t MAXIMUM_PIXELS = std::uint64_t{1} << 28;
constexpr std::uint64_t MAXIMUM_FILE_BYTES = std::uint64_t{1} << 30;
/// DEFLATE expands its input by at most this factor, so a small file cannot hold a large image.
constexpr std::uint64_t LARGEST_EXPANSION = 1032;

struct FreeContext {
  void operator()(spng_ctx* context) const { spng_ctx_free(context); }
};
using Context = std::unique_ptr<spng_ctx, FreeContext>;

std::uint64_t fileBitsPerPixel(const spng_ihdr& header) {
  switch (header.color_type) {
    case SPNG_COLOR_TYPE_TRUECOLOR:
      return std::uint64_t{3} * header.bit_depth;
    case SPNG_COLOR_TYPE_TRUECOLOR_ALPHA:
      return std::uint64_t{4} * header.bit_depth;
    case SPNG_COLOR_TYPE_GRAYSCALE_ALPHA:
      return std::uint64_t{2} * header.bit_depth;
    default:
      return header.bit_depth;
  }
}

/// The form of the decoder's output.
struct Form {
  std::size_t channels = 0;
  bool wide = false;
  int format = 0;
  int flags = 0;
};

Form formOf(const spng_ihdr& header, bool transparentColour) {
  const bool wide = header.bit_depth == 16;
  const bool alpha = transparentColour || header.color_type == SPNG_COLOR_TYPE_GRAYSCALE_ALPHA ||
                     header.color_type == SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
  if (alpha)
    return {4, wide, wide ? SPNG_FMT_RGBA16 : SPNG_FMT_RGBA8, transparentColour ? SPNG_DECODE_TRNS : 0};
  if (header.color_type == SPNG_COLOR_TYPE_GRAYSCALE) return {1, wide, wide ? SPNG_FMT_PNG : SPNG_FMT_G8, 0};
  return {3, wide, wide ? SPNG_FMT_PNG : SPNG_FMT_RGB8, 0};
}

template <class Sample>
base::Result<PNGImage> decodeSamples(spng_ctx* context, const spng_ihdr& header, const Form& form,
                                     const std::string& name) {
  std::size_t bytes = 0;
  if (const int error = spng_decoded_image_size(context, form.format, &bytes); error != 0) {
    return base::Failure{name + ": " + spng_strerror(error)};
  }
  const std::size_t count = std::size_t{header.width} * header.height * form.channels;
  if (bytes != count * sizeof(Sample)) return base::Failure{name + ": unexpected layout of samples"};
  std::vector<Sample> samples(count);
  if (const int error = spng_decode_image(context, samples.data(), bytes, form.format, form.flags);
      error != 0) {
    return base::Failure{name + ": damaged PNG file: " + spng_strerror(error)};
  }
  return PNGImage{header.width, header.height, form.channels, std::move(samples)};
}

/// The upper eight bits of sample `i`.
std::uint8_t sample8(const PNGImage& image, std::size_t i) {
  if (const auto* narrow = image.samples8()) return (*narrow)[i];
  return static_cast<std::uint8_t>((*image.samples16())[i] >> 8);
}

}  // namespace

base::Result<PNGImage> decodePNG(std::span<const std::uint8_t> bytes, const std::string& name) {
  const Context context(spng_ctx_new(0));
  if (!context) throw std::bad_alloc();
  spng_set_image_limits(context.get(), MAXIMUM_PNG_SIDE, MAXIMUM_PNG_SIDE);
  spng_set_chunk_limits(context.get(), std::size_t{1} << 24, std::size_t{1} << 26);
  if (const int error = spng_set_png_buffer(context.get(), bytes.data(), bytes.size()); error != 0) {
    return base::Failure{name + ": " + spng_strerror(error)};
  }
  spng_ihdr header{};
  if (const int error = spng_get_ihdr(context.get(), &header); error != 0) {
    return base::Failure{name + ": not a valid PNG file: " + spng_strerror(error)};
  }
  const std::uint64_t pixels = std::uint64_t{header.width} * header.height;
  if (pixels > MAXIMUM_PIXELS) return base::Failure{name + ": the image is too large"};
  if (pixels * fileBitsPerPixel(header) / 8 / LARGEST_EXPANSION > bytes.size()) {
    return base::Failure{name + ": the file is too short for its stated size"};
  }
  spng_trns transparency{};
  const int found = spng_get_trns(context.get(), &transparency);
  if (found != 0 && found != SPNG_ECHUNKAVAIL)
    return base::Failure{name + ": damaged PNG file: " + spng_strerror(found)};
  const Form form = formOf(header, found == 0);
  return form.wide ? decodeSamples<std::uint16_t>(context.get(), header, form, name)
                   : decodeSamples<std::uint8_t>(context.get(), header, form, name);
}

base::Result<PNGImage> readPNG(const std::filesystem::path& path) {
  const auto bytes = base::readFile(path, MAXIMUM_FILE_BYTES);
  if (!bytes) return bytes.failure();
  const std::string& file = *bytes;
  return decodePNG({reinterpret_cast<const std::uint8_t*>(file.data()), file.size()}, path.string());
}

base::Result<std::vector<std::uint8_t>> encodePNG(const PNGImage& image, int compressionLevel) {
  const std::size_t count = image.width * image.height * image.channels;
  if (image.width == 0 || image.height == 0 || image.width > MAXIMUM_PNG_SIDE ||
      image.height > MAXIMUM_PNG_SIDE ||
      std::visit([](const auto& samples) { return samples.size(); }, image.samples) != count ||
      (image.channels != 1 && image.channels != 3 && image.channels != 4)) {
    return base::Failure{"the number of samples does not match the size of the image"};
  }
  const Context context(spng_ctx_new(SPNG_CTX_ENCODER));
  if (!context) throw std::bad_alloc();
  const bool wide = image.samples16() != nullptr;
  spng_ihdr header{};
  header.width = static_cast<std::uint32_t>(image.width);
  header.height = static_cast<std::uint32_t>(image.height);
  header.bit_depth = wide ? 16 : 8;
  header.color_type = image.channels == 1   ? SPNG_COLOR_TYPE_GRAYSCALE
                      : image.channels == 3 ? SPNG_COLOR_TYPE_TRUECOLOR
                                            : SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
  spng_set_option(context.get(), SPNG_ENCODE_TO_BUFFER, 1);
  spng_set_option(context.get(), SPNG_IMG_COMPRESSION_LEVEL, compressionLevel);
  int error = spng_set_ihdr(context.get(), &header);
  if (error == 0) {
    const void* samples =
        wide ? static_cast<const void*>(image.samples16()->data()) : image.samples8()->data();
    error =
        spng_encode_image(context.get(), samples, count * (wide ? 2 : 1), SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE);
  }
  if (error != 0) return base::Failure{std::string("PNG: ") + spng_strerror(error)};
  std::size_t size = 0;
  const std::unique_ptr<void, decltype(&std::free)> file(spng_get_png_buffer(context.get(), &size, &error),
                                                         &std::free);
  if (!file) return base::Failure{std::string("PNG: ") + spng_strerror(error)};
  const auto* begin = static_cast<const std::uint8_t*>(file.get());
  return std::vector<std::uint8_t>(begin, begin + size);
}

std::optional<base::Failure> writePNG(const std::filesystem::path& path, const PNGImage& image,
                                      int compressionLevel) {
  const auto bytes = encodePNG(image, compressionLevel);
  if (!bytes) return base::Failure{path.string() + ": " + bytes.failure().message};
  errno = 0;
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(bytes->data()), static_cast<std::streamsize>(bytes->size()));
  file.close();
  if (!file)
    return base::Failure{path.string() + ": cannot be written: " + std::generic_category().message(errno)};
  return std::nullopt;
}

std::shared_ptr<CVPixelBuffer> makePixelBuffer(const PNGImage& image) {
  auto buffer = CVPixelBuffer::create(image.width, image.height, CVPixelFormatType::BGRA32);
  if (!buffer) return nullptr;
  const std::size_t channels = image.channels;
  for (std::size_t y = 0; y < image.height; ++y) {
    std::uint8_t* out = buffer->baseAddress() + y * buffer->bytesPerRow();
    for (std::size_t x = 0; x < image.width; ++x, out += 4) {
      const std::size_t i = (y * image.width + x) * channels;
      for (std::size_t c = 0; c < 3; ++c) out[2 - c] = sample8(image, channels == 1 ? i : i + c);
      out[3] = channels == 4 ? sample8(image, i + 3) : std::uint8_t{255};
    }
  }
  return buffer;
}

PNGImage makePNGImage(const CVPixelBuffer& buffer) {
  const int width = static_cast<int>(buffer.width());
  const int height = static_cast<int>(buffer.height());
  const std::size_t channels = buffer.pixelFormatType() == CVPixelFormatType::oneComponent8 ? 1 : 3;
  std::vector<std::uint8_t> samples(buffer.width() * buffer.height() * channels);
  const int rowBytes = width * static_cast<int>(channels);
  const std::uint8_t* base = buffer.baseAddress();
  const int stride = static_cast<int>(buffer.bytesPerRow());
  // libyuv names formats by their order in a little-endian word: "ARGB" is BGRA in memory, "RAW" is red
  // first.
  switch (buffer.pixelFormatType()) {
    case CVPixelFormatType::BGRA32:
      libyuv::ARGBToRAW(base, stride, samples.data(), rowBytes, width, height);
      break;
    case CVPixelFormatType::ARGB32: {
      std::vector<std::uint8_t> reversed(buffer.width() * buffer.height() * 4);
      libyuv::BGRAToARGB(base, stride, reversed.data(), width * 4, width, height);
      libyuv::ARGBToRAW(reversed.data(), width * 4, samples.data(), rowBytes, width, height);
      break;
    }
    case CVPixelFormatType::oneComponent8:
      libyuv::CopyPlane(base, stride, samples.data(), rowBytes, width, height);
      break;
    case CVPixelFormatType::biPlanarFullRange420:
      // Exchanging red and blue in constants and planes gives red first.
      libyuv::NV21ToRGB24Matrix(base, stride, buffer.baseAddress(1), static_cast<int>(buffer.bytesPerRow(1)),
                                samples.data(), rowBytes, &libyuv::kYvuJPEGConstants, width, height);
      break;
  }
  return {buffer.width(), buffer.height(), channels, std::move(samples)};
}

}  // namespace geoloom::platform
