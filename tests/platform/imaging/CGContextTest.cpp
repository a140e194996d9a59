#include <cmath>

#include <gtest/gtest.h>

#include "geoloom/platform/imaging/CGContext.h"

namespace geoloom::platform {
namespace {

using Bytes = std::vector<std::uint8_t>;
using enum CGImageAlphaInfo;

constexpr CGPixelLayout GRAY{CGColorSpace::deviceGray, none, CGByteOrder::big};
constexpr CGPixelLayout RGBA{CGColorSpace::deviceRGB, premultipliedLast, CGByteOrder::big};

std::shared_ptr<CGImage> imageOf(const Bytes& bytes, std::size_t width, std::size_t height,
                                 CGPixelLayout layout) {
  const auto owner = std::make_shared<const Bytes>(bytes);
  return CGImage::create(width, height, width * layout.bytesPerPixel(), layout,
                         std::shared_ptr<const std::uint8_t>(owner, owner->data()), owner->size());
}

/// The bytes of a context over `there` after drawing the image over all of it.
Bytes drawnOver(Bytes there, CGPixelLayout layout, const CGImage& image) {
  CGContext context(there.data(), image.width(), image.height(), image.width() * layout.bytesPerPixel(),
                    layout);
  const auto width = static_cast<CGFloat>(image.width());
  const auto height = static_cast<CGFloat>(image.height());
  EXPECT_TRUE(context.draw(image, {{0, 0}, {width, height}}));
  return there;
}

TEST(CGImageTest, RefusesInvalidLayoutsAndTooFewBytes) {
  const std::shared_ptr<const std::uint8_t> start(new std::uint8_t[24],
                                                  std::default_delete<std::uint8_t[]>());
  EXPECT_TRUE(CGImage::create(3, 2, 12, RGBA, start, 24));
  EXPECT_FALSE(CGImage::create(3, 2, 12, RGBA, start, 23));
  EXPECT_FALSE(CGImage::create(3, 2, 11, RGBA, start, 24));
  EXPECT_FALSE(CGImage::create(0, 2, 12, RGBA, start, 24));
  EXPECT_FALSE(CGImage::create(3, 2, 12, {CGColorSpace::deviceRGB, none}, start, 24));
  EXPECT_FALSE(CGImage::create(3, std::numeric_limits<std::size_t>::max() / 8, 12, RGBA, start, 24));
}

TEST(CGContextTest, RejectsInvalidMemoryAndLayouts) {
  Bytes memory(64);
  const auto make = [&](std::size_t bits, std::size_t rowBytes, CGImageAlphaInfo alpha) {
    return CGBitmapContextCreate(memory.data(), 4, 4, bits, rowBytes, CGColorSpace::deviceRGB, alpha) !=
           nullptr;
  };
  EXPECT_TRUE(make(8, 16, premultipliedLast));
  EXPECT_FALSE(make(16, 16, premultipliedLast));
  EXPECT_FALSE(make(8, 15, premultipliedLast));
  EXPECT_FALSE(make(8, 16, none));
  EXPECT_FALSE(CGBitmapContextCreate(nullptr, 4, 4, 8, 16, CGColorSpace::deviceRGB, premultipliedLast));
}

TEST(CGContextTest, ConvertsBetweenAllLayouts) {
  struct Case {
    CGPixelLayout layout;
    Bytes pixel;  ///< red 200, green 100, blue 50, alpha 255 if the layout has alpha
  };
  const CGColorSpace colour = CGColorSpace::deviceRGB;
  const std::vector<Case> cases = {
      {{colour, premultipliedLast, CGByteOrder::big}, {200, 100, 50, 255}},
      {{colour, noneSkipLast, CGByteOrder::big}, {200, 100, 50, 255}},
      {{colour, premultipliedFirst, CGByteOrder::big}, {255, 200, 100, 50}},
      {{colour, noneSkipFirst, CGByteOrder::big}, {255, 200, 100, 50}},
      {{colour, premultipliedFirst, CGByteOrder::little}, {50, 100, 200, 255}},
      {{colour, noneSkipFirst, CGByteOrder::little}, {50, 100, 200, 255}},
      {{colour, premultipliedLast, CGByteOrder::little}, {255, 50, 100, 200}},
      {{colour, noneSkipLast, CGByteOrder::little}, {255, 50, 100, 200}},
  };
  const std::uint8_t luma = (77 * 200 + 150 * 100 + 29 * 50 + 128) / 256;
  for (std::size_t from = 0; from < cases.size(); ++from) {
    for (std::size_t to = 0; to < cases.size(); ++to) {
      const auto image = imageOf(cases[from].pixel, 1, 1, cases[from].layout);
      EXPECT_EQ(drawnOver(Bytes(4), cases[to].layout, *image), cases[to].pixel) << from << " to " << to;
      EXPECT_EQ(drawnOver(Bytes(1), GRAY, *image), Bytes{luma}) << from;
      EXPECT_EQ(drawnOver(Bytes(4), cases[to].layout, *imageOf({luma}, 1, 1, GRAY)),
                drawnOver(Bytes(4), cases[to].layout, *imageOf({luma, luma, luma, 255}, 1, 1, RGBA)));
    }
  }
  EXPECT_EQ(drawnOver(Bytes(1), GRAY, *imageOf({201}, 1, 1, GRAY)), Bytes{201});
  EXPECT_EQ(drawnOver({9, 9, 9, 9}, RGBA, *imageOf({1, 2, 3, 4}, 1, 1, RGBA)), (Bytes{1, 2, 3, 4}));
}

/// A 4 x 4 gray context with rows 6 bytes apart, painted with one image; '.' for unchanged pixels.
class GrayContext {
 public:
  GrayContext() : context_(memory_.data(), 4, 4, 6, GRAY) {}
  CGContext& context() { return context_; }
  [[nodiscard]] std::string rows() const {
    std::string text;
    for (std::size_t y = 0; y < 4; ++y) {
      for (std::size_t x = 0; x < 4; ++x)
        text += memory_[y * 6 + x] == 0xEE ? '.' : static_cast<char>(memory_[y * 6 + x]);
      text += memory_[y * 6 + 4] == 0xEE && memory_[y * 6 + 5] == 0xEE ? "|" : "!";
    }
    return text;
  }

 private:
  Bytes memory_ = Bytes(24, 0xEE);
  CGContext context_;
};

const Bytes LETTERS = {'a', 'b', 'c', 'd'};

TEST(CGContextTest, OriginIsAtTheBottomLeft) {
  GrayContext canvas;
  canvas.context().draw(*imageOf(LETTERS, 2, 2, GRAY), {{1, 0}, {2, 2}});
  EXPECT_EQ(canvas.rows(), "....|....|.ab.|.cd.|");
}

TEST(CGContextTest, AppliesTheInnermostTransformationFirst) {
  GrayContext canvas;
  CGContext& context = canvas.context();
  CGContextTranslateCTM(context, 0, 4);
  CGContextScaleCTM(context, 1, -1);
  context.draw(*imageOf(LETTERS, 2, 2, GRAY), {{0, 0}, {2, 2}}, CGAffineTransformMakeTranslation(2, 2));
  EXPECT_EQ(canvas.rows(), "....|....|..cd|..ab|");
  CGContextScaleCTM(context, -1, 1);
  context.draw(*imageOf(LETTERS, 2, 2, GRAY), {{-2, 0}, {2, 2}});
  EXPECT_EQ(canvas.rows(), "dc..|ba..|..cd|..ab|");
}

TEST(CGContextTest, PaintsPixelsWhoseCentresAreInside) {
  GrayContext canvas;
  canvas.context().draw(*imageOf({'x'}, 1, 1, GRAY), {{0.6, 0.4}, {1.8, 2.0}});
  EXPECT_EQ(canvas.rows(), "....|....|.x..|.x..|");
  canvas.context().draw(*imageOf({'y'}, 1, 1, GRAY), {{3.6, 3.6}, {0.3, 0.3}});
  EXPECT_EQ(canvas.rows(), "....|....|.x..|.x..|") << "no centre is inside";
}

TEST(CGContextTest, ClipsToItsMemory) {
  GrayContext canvas;
  canvas.context().draw(*imageOf(LETTERS, 2, 2, GRAY), {{-1, 3}, {2, 2}});
  EXPECT_EQ(canvas.rows(), "d...|....|....|....|");
  canvas.context().draw(*imageOf(LETTERS, 2, 2, GRAY), {{100, 100}, {2, 2}});
  canvas.context().draw(*imageOf({'z'}, 1, 1, GRAY), {{-1e9, -1e9}, {2e9, 1e9 + 1}});
  EXPECT_EQ(canvas.rows(), "d...|....|....|zzzz|");
}

TEST(CGContextTest, RefusesRectanglesThatAreNotFinite) {
  GrayContext canvas;
  EXPECT_FALSE(canvas.context().draw(*imageOf(LETTERS, 2, 2, GRAY), {{std::nan(""), 0}, {2, 2}}));
  EXPECT_FALSE(canvas.context().draw(*imageOf(LETTERS, 2, 2, GRAY), {{0, 0}, {2, 1e308 * 10}}));
  EXPECT_EQ(canvas.rows(), "....|....|....|....|");
}

}  // namespace
}  // namespace geoloom::platform
