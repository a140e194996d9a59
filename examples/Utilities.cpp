// The utilities on computed images: resizing, drawing, a model's array as an image, compression. With a
// folder as its argument it writes the images there as PNG files; docs/utilities.md shows them.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "geoloom/platform/imaging/CIContext.h"
#include "geoloom/platform/imaging/PNG.h"
#include "geoloom/platform/imaging/UIImage.h"
#include "geoloom/storage/Data.h"
#include "geoloom/utilities/MultiArray.h"
#include "geoloom/utilities/PixelBuffer.h"

using geoloom::MultiArray;
using geoloom::platform::CVPixelBuffer;
using geoloom::platform::CVPixelBufferLock;
using geoloom::platform::UIImage;

namespace {

/// Rings that grow finer towards the edges; without a filter a reduction turns them into moiré.
std::shared_ptr<CVPixelBuffer> rings(std::size_t size) {
  auto buffer = geoloom::createPixelBuffer(size, size);
  const CVPixelBufferLock lock(*buffer);
  const double centre = static_cast<double>(size) / 2;
  for (std::size_t y = 0; y < size; ++y) {
    for (std::size_t x = 0; x < size; ++x) {
      const double dx = static_cast<double>(x) - centre;
      const double dy = static_cast<double>(y) - centre;
      const double wave = std::cos((dx * dx + dy * dy) * 3.0 / (2.0 * static_cast<double>(size)));
      std::uint8_t* pixel = buffer->baseAddress() + y * buffer->bytesPerRow() + 4 * x;
      pixel[0] = pixel[1] = pixel[2] = static_cast<std::uint8_t>(127.5 + 127.5 * wave);
      pixel[3] = 255;
    }
  }
  return buffer;
}

/// Every n-th pixel, for comparison with a filter.
std::shared_ptr<CVPixelBuffer> everyNth(const CVPixelBuffer& source, std::size_t n) {
  auto result = geoloom::createPixelBuffer(source.width() / n, source.height() / n);
  const CVPixelBufferLock lock(*result);
  for (std::size_t y = 0; y < result->height(); ++y) {
    for (std::size_t i = 0; i < result->width() * 4; ++i) {
      result->baseAddress()[y * result->bytesPerRow() + i] =
          source.baseAddress()[n * y * source.bytesPerRow() + i / 4 * 4 * n + i % 4];
    }
  }
  return result;
}

/// A sunset over water in the layout of a network's output: channels first, values from -1 to 1.
MultiArray<float> sunset(std::ptrdiff_t height, std::ptrdiff_t width) {
  MultiArray<float> view({3, height, width});
  for (std::ptrdiff_t y = 0; y < height; ++y) {
    for (std::ptrdiff_t x = 0; x < width; ++x) {
      const float down = static_cast<float>(y) / static_cast<float>(height);
      const float across = static_cast<float>(x) / static_cast<float>(width) - 0.6F;
      const float fromSun = std::hypot(across * 1.4F, down - 0.55F);
      const float sun = fromSun < 0.16F && down < 0.62F ? 1.0F : 0.5F * std::exp(-6 * fromSun);
      const float water = down < 0.62F ? 0 : 0.25F * std::sin(90 * down + 14 * std::sin(9 * across));
      view(0, y, x) = -0.1F + 1.1F * sun + water - 0.3F * down;
      view(1, y, x) = -0.5F + 0.9F * sun + water;
      view(2, y, x) = -0.1F - 0.3F * sun + water + 0.2F * down;
    }
  }
  return view;
}

/// The images side by side on white.
std::shared_ptr<CVPixelBuffer> sideBySide(const std::vector<std::shared_ptr<UIImage>>& images) {
  constexpr double MARGIN = 8;
  double width = MARGIN;
  double height = 0;
  for (const auto& image : images) {
    width += image->size().width + MARGIN;
    height = std::max(height, image->size().height + 2 * MARGIN);
  }
  const auto paper = UIImage::fromByteArrayGray({255}, 1, 1);
  auto buffer = paper->pixelBuffer(static_cast<std::size_t>(width), static_cast<std::size_t>(height));
  const CVPixelBufferLock lock(*buffer);
  const auto context = geoloom::platform::CGBitmapContextCreate(
      buffer->baseAddress(), buffer->width(), buffer->height(), 8, buffer->bytesPerRow(),
      geoloom::platform::CGColorSpace::deviceRGB, geoloom::platform::CGImageAlphaInfo::noneSkipFirst);
  CGContextTranslateCTM(*context, 0, height);
  CGContextScaleCTM(*context, 1, -1);
  UIGraphicsPushContext(context);
  double x = MARGIN;
  for (const auto& image : images) {
    image->draw({{x, MARGIN}, image->size()});
    x += image->size().width + MARGIN;
  }
  geoloom::platform::UIGraphicsPopContext();
  return buffer;
}

/// Prints the size, and writes a file if there is a folder.
bool save(const std::string& folder, const std::string& name, const CVPixelBuffer& buffer) {
  std::printf("%s: %zu x %zu pixels\n", name.c_str(), buffer.width(), buffer.height());
  if (folder.empty()) return true;
  const auto path = std::filesystem::path(folder) / (name + ".png");
  const auto failure = geoloom::platform::writePNG(path, geoloom::platform::makePNGImage(buffer), 9);
  if (failure) std::fprintf(stderr, "%s\n", failure->message.c_str());
  return !failure;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string folder = argc > 1 ? argv[1] : "";
  const geoloom::platform::CIContext context;
  const auto upright = [&context](const auto& buffer) { return UIImage::create(buffer, context); };

  const auto plate = rings(252);
  const auto reduced = geoloom::resizePixelBuffer(plate, 84, 84);
  bool done =
      save(folder, "resize", *sideBySide({upright(plate), upright(reduced), upright(everyNth(*plate, 3))}));

  const MultiArray<float> output = sunset(144, 192);
  const auto colours = output.image(1, 127.5F);
  const auto red = output.image(0, 1, 127.5F);
  done = save(folder, "array", *sideBySide({colours, red})) && done;

  const auto sensor = colours->pixelBuffer(192, 144);
  const auto shown = UIImage::create(sensor);
  const auto gray = upright(shown->pixelBufferGray(144, 192));
  const auto stretched = upright(shown->pixelBuffer(96, 96));
  done = save(folder, "draw", *sideBySide({upright(sensor), shown, gray, stretched})) && done;

  const geoloom::Data data(std::span(plate->baseAddress(), plate->bytesPerRow() * plate->height()));
  const auto compressed = data.compress();
  const bool same = compressed && compressed->decompress() == data;
  std::printf("%zu bytes compressed to %zu, %s\n", data.count(), compressed ? compressed->count() : 0,
              same ? "decoded unchanged" : "not decoded");
  return done && same ? 0 : 1;
}
