#include "geoloom/platform/imaging/UIImage.h"

#include <array>
#include <utility>

#include <libyuv.h>

#include "geoloom/platform/imaging/Pixels.h"

namespace geoloom::platform {

namespace {

/// An orientation as an optional quarter turn clockwise, followed by mirroring.
struct Turn {
  bool quarter = false;
  bool across = false;
  bool down = false;
};

/// In the order of UIImageOrientation.
constexpr std::array<Turn, 8> TURNS{{{false, false, false},
                                     {false, true, true},
                                     {true, true, true},
                                     {true, false, false},
                                     {false, true, false},
                                     {false, false, true},
                                     {true, true, false},
                                     {true, false, true}}};

Turn turnOf(UIImageOrientation orientation) {
  return TURNS.at(static_cast<std::size_t>(orientation));
}

/// The image turned by 90 degrees clockwise.
std::shared_ptr<CGImage> turned(const CGImage& image) {
  const std::size_t pixelBytes = image.layout().bytesPerPixel();
  const std::size_t rowBytes = image.height() * pixelBytes;
  const std::size_t bytes = rowBytes * image.width();
  if (!isAddressable(image.height(), image.width(), rowBytes, pixelBytes)) return nullptr;
  PixelMemory memory = allocatePixels(bytes);
  const int width = static_cast<int>(image.width());
  const int height = static_cast<int>(image.height());
  const int stride = static_cast<int>(image.bytesPerRow());
  if (pixelBytes == 4) {
    libyuv::ARGBRotate(image.bytes(), stride, memory.get(), static_cast<int>(rowBytes), width, height,
                       libyuv::kRotate90);
  } else {
    libyuv::RotatePlane90(image.bytes(), stride, memory.get(), static_cast<int>(rowBytes), width, height);
  }
  return CGImage::create(image.height(), image.width(), rowBytes, image.layout(), std::move(memory), bytes);
}

thread_local std::vector<std::shared_ptr<CGContext>> contexts;

}  // namespace

UIImage::UIImage(std::shared_ptr<CGImage> cgImage, CGFloat scale, UIImageOrientation orientation)
    : cgImage_(std::move(cgImage)), scale_(scale == 0 ? 1 : scale), orientation_(orientation) {}

std::shared_ptr<UIImage> UIImage::create(std::shared_ptr<CGImage> cgImage, CGFloat scale,
                                         UIImageOrientation orientation) {
  if (!cgImage) return nullptr;
  return std::shared_ptr<UIImage>(new UIImage(std::move(cgImage), scale, orientation));
}

CGSize UIImage::size() const {
  const CGSize stored{static_cast<CGFloat>(cgImage_->width()) / scale_,
                      static_cast<CGFloat>(cgImage_->height()) / scale_};
  return turnOf(orientation_).quarter ? CGSize{stored.height, stored.width} : stored;
}

bool UIImage::draw(const CGRect& rect) const {
  const auto context = UIGraphicsGetCurrentContext();
  const Turn turn = turnOf(orientation_);
  if (!context) return false;
  const auto picture = turn.quarter ? turned(*cgImage_) : cgImage_;
  if (!picture) return false;
  // In the picture y grows upwards from the rectangle's lower edge.
  const CGFloat width = rect.width();
  const CGFloat height = rect.height();
  CGAffineTransform placement{1, -1, rect.minX(), rect.maxY()};
  if (turn.across) placement = CGAffineTransform{-1, 1, width, 0}.concatenated(placement);
  if (turn.down) placement = CGAffineTransform{1, -1, 0, height}.concatenated(placement);
  return context->draw(*picture, {{0, 0}, {width, height}}, placement);
}

void UIGraphicsPushContext(std::shared_ptr<CGContext> context) {
  contexts.push_back(std::move(context));
}

void UIGraphicsPopContext() {
  if (!contexts.empty()) contexts.pop_back();
}

std::shared_ptr<CGContext> UIGraphicsGetCurrentContext() {
  return contexts.empty() ? nullptr : contexts.back();
}

}  // namespace geoloom::platform
