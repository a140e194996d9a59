#include <thread>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include "geoloom/platform/imaging/UIImage.h"

namespace geoloom::platform {
namespace {

using Bytes = std::vector<std::uint8_t>;
using enum UIImageOrientation;

/// The same turn by OpenCV.
cv::Mat turned(const cv::Mat& stored, UIImageOrientation orientation) {
  cv::Mat result = stored.clone();
  if (orientation == down || orientation == rightMirrored) cv::rotate(result, result, cv::ROTATE_180);
  if (orientation == left) cv::rotate(stored, result, cv::ROTATE_90_COUNTERCLOCKWISE);
  if (orientation == right) cv::rotate(stored, result, cv::ROTATE_90_CLOCKWISE);
  if (orientation == upMirrored) cv::flip(stored, result, 1);
  if (orientation == downMirrored) cv::flip(stored, result, 0);
  if (orientation == leftMirrored || orientation == rightMirrored) cv::transpose(result, result);
  return result;
}

TEST(UIImageTest, DrawsEveryOrientation) {
  for (const int pixelBytes : {1, 4}) {
    cv::Mat stored(3, 5, pixelBytes == 1 ? CV_8UC1 : CV_8UC4);
    cv::randu(stored, 0, 255);
    if (pixelBytes == 4) cv::insertChannel(cv::Mat(3, 5, CV_8UC1, cv::Scalar(255)), stored, 3);
    const Bytes bytes(stored.data, stored.data + stored.total() * stored.elemSize());
    for (const auto orientation :
         {up, down, left, right, upMirrored, downMirrored, leftMirrored, rightMirrored}) {
      const auto image = pixelBytes == 1 ? UIImage::fromByteArrayGray(bytes, 5, 3, 1, orientation)
                                         : UIImage::fromByteArrayRGBA(bytes, 5, 3, 1, orientation);
      const cv::Mat expected = turned(stored, orientation);
      EXPECT_EQ(image->size(),
                (CGSize{static_cast<CGFloat>(expected.cols), static_cast<CGFloat>(expected.rows)}));

      cv::Mat painted(expected.rows, expected.cols, expected.type(), cv::Scalar::all(0));
      const auto context = CGBitmapContextCreate(
          painted.data, static_cast<std::size_t>(painted.cols), static_cast<std::size_t>(painted.rows), 8,
          painted.step, pixelBytes == 1 ? CGColorSpace::deviceGray : CGColorSpace::deviceRGB,
          pixelBytes == 1 ? CGImageAlphaInfo::none : CGImageAlphaInfo::premultipliedLast);
      CGContextTranslateCTM(*context, 0, painted.rows);
      CGContextScaleCTM(*context, 1, -1);
      UIGraphicsPushContext(context);
      EXPECT_TRUE(image->draw({{0, 0}, image->size()}));
      UIGraphicsPopContext();
      EXPECT_EQ(cv::norm(painted, expected, cv::NORM_INF), 0) << static_cast<int>(orientation);
      EXPECT_EQ(context->transform(), (CGAffineTransform{1, -1, 0, static_cast<CGFloat>(painted.rows)}));
    }
  }
}

TEST(UIImageTest, ScaleIsPixelsPerPoint) {
  const Bytes bytes(8);
  EXPECT_EQ(UIImage::fromByteArrayGray(bytes, 4, 2, 2, right)->size(), (CGSize{1, 2}));
  EXPECT_EQ(UIImage::fromByteArrayGray(bytes, 4, 2)->scale(), 1);
  EXPECT_EQ(UIImage::fromByteArrayGray(bytes, 4, 2)->size(), (CGSize{4, 2}));
}

TEST(UIImageTest, EachThreadHasItsOwnContextStack) {
  Bytes memory(4);
  const auto make = [&] {
    return CGBitmapContextCreate(memory.data(), 2, 2, 8, 2, CGColorSpace::deviceGray, CGImageAlphaInfo::none);
  };
  const auto first = make();
  const auto second = make();
  const auto image = UIImage::fromByteArrayGray(memory, 2, 2);
  EXPECT_FALSE(image->draw({{0, 0}, {2, 2}}));
  UIGraphicsPushContext(first);
  UIGraphicsPushContext(second);
  EXPECT_EQ(UIGraphicsGetCurrentContext(), second);
  std::thread([] { EXPECT_EQ(UIGraphicsGetCurrentContext(), nullptr); }).join();
  UIGraphicsPopContext();
  EXPECT_EQ(UIGraphicsGetCurrentContext(), first);
  UIGraphicsPopContext();
  UIGraphicsPopContext();
  EXPECT_EQ(UIGraphicsGetCurrentContext(), nullptr);
}

}  // namespace
}  // namespace geoloom::platform
