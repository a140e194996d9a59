#include "geoloom/platform/vision/ImagePreparation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include <libyuv.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace geoloom::platform {

namespace {

/// The way from a stored picture to the upright one: rows and columns exchanged, then mirrored.
struct Turn {
  bool transposed;
  std::optional<int> flip;  ///< of cv::flip: 0 upside down, 1 left and right, -1 both
};

/// In the order of EXIFOrientation, from 1.
constexpr std::array<Turn, 8> TURNS{
    {{false, {}}, {false, 1}, {false, -1}, {false, 0}, {true, {}}, {true, 1}, {true, -1}, {true, 0}}};

cv::Mat planeOf(const CVPixelBuffer& picture, std::size_t plane, int type) {
  const int part = plane == 0 ? 1 : 2;
  return {(static_cast<int>(picture.height()) + part - 1) / part,
          (static_cast<int>(picture.width()) + part - 1) / part, type, picture.baseAddress(plane),
          picture.bytesPerRow(plane)};
}

cv::Size rounded(double width, double height, cv::Size largest) {
  return {std::clamp(static_cast<int>(std::lround(width)), 1, largest.width),
          std::clamp(static_cast<int>(std::lround(height)), 1, largest.height)};
}

cv::Rect centred(cv::Size part, cv::Size whole) {
  return {cv::Point((whole.width - part.width) / 2, (whole.height - part.height) / 2), part};
}

cv::Mat scaled(const cv::Mat& part, cv::Size size) {
  cv::Mat result;
  cv::resize(part, result, size, 0, 0, cv::INTER_LINEAR);
  return result;
}

/// The crop of the picture at another size, as BGRA, ARGB or gray.
cv::Mat scaledColours(const CVPixelBuffer& picture, cv::Rect crop, cv::Size size) {
  const CVPixelFormatType format = picture.pixelFormatType();
  if (format == CVPixelFormatType::oneComponent8) return scaled(planeOf(picture, 0, CV_8UC1)(crop), size);
  if (format != CVPixelFormatType::biPlanarFullRange420)
    return scaled(planeOf(picture, 0, CV_8UC4)(crop), size);
  crop.x -= crop.x % 2;
  crop.y -= crop.y % 2;
  const cv::Rect half(crop.x / 2, crop.y / 2, (crop.width + 1) / 2, (crop.height + 1) / 2);
  const cv::Mat luma = scaled(planeOf(picture, 0, CV_8UC1)(crop), size);
  std::array<cv::Mat, 2> chroma;
  cv::split(scaled(planeOf(picture, 1, CV_8UC2)(half), size), chroma.data());
  cv::Mat colours(size, CV_8UC4);
  // libyuv calls BGRA by its order in a little-endian word, "ARGB".
  libyuv::I444ToARGBMatrix(luma.data, static_cast<int>(luma.step), chroma[0].data,
                           static_cast<int>(chroma[0].step), chroma[1].data, static_cast<int>(chroma[1].step),
                           colours.data, static_cast<int>(colours.step), &libyuv::kYuvJPEGConstants,
                           size.width, size.height);
  return colours;
}

}  // namespace

void prepareImage(const CVPixelBuffer& picture, EXIFOrientation orientation, VNImageCropAndScaleOption option,
                  const NetworkInput& input, float* planes) {
  const Turn& turn = TURNS.at(static_cast<std::size_t>(orientation) - 1);
  const auto transposed = [&](cv::Size size) {
    return turn.transposed ? cv::Size(size.height, size.width) : size;
  };
  const cv::Size target(static_cast<int>(input.width), static_cast<int>(input.height));
  const cv::Size stored(static_cast<int>(picture.width()), static_cast<int>(picture.height()));
  const cv::Size upright = transposed(stored);
  const double scaleX = static_cast<double>(upright.width) / target.width;
  const double scaleY = static_cast<double>(upright.height) / target.height;
  cv::Size crop = upright;
  cv::Size shown = target;
  if (option == VNImageCropAndScaleOption::centerCrop) {
    const double scale = std::min(scaleX, scaleY);
    crop = rounded(target.width * scale, target.height * scale, upright);
  } else if (option == VNImageCropAndScaleOption::scaleFit) {
    const double scale = std::max(scaleX, scaleY);
    shown = rounded(upright.width / scale, upright.height / scale, target);
    std::fill_n(planes, 3 * input.width * input.height, input.offset);
  }

  cv::Rect part = centred(crop, upright);
  if (turn.flip && *turn.flip != 0) part.x = upright.width - part.x - part.width;
  if (turn.flip && *turn.flip <= 0) part.y = upright.height - part.y - part.height;
  if (turn.transposed) part = {part.y, part.x, part.height, part.width};
  cv::Mat colours = scaledColours(picture, part, transposed(shown));
  if (turn.transposed) cv::transpose(colours, colours);
  if (turn.flip) cv::flip(colours, colours, *turn.flip);

  std::array<int, 3> channels = {2, 1, 0};  // red, green, blue in BGRA
  if (picture.pixelFormatType() == CVPixelFormatType::ARGB32) channels = {1, 2, 3};
  if (colours.channels() == 1) channels = {0, 0, 0};
  if (input.blueFirst) std::swap(channels[0], channels[2]);
  cv::Mat channel;
  for (const int source : channels) {
    cv::extractChannel(colours, channel, source);
    cv::Mat plane = cv::Mat(target, CV_32F, planes)(centred(shown, target));
    channel.convertTo(plane, CV_32F, 1 / static_cast<double>(input.divisor),
                      static_cast<double>(input.offset));
    planes += input.width * input.height;
  }
}

}  // namespace geoloom::platform
