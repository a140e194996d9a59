#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

#include <gmock/gmock.h>

#include "geoloom/utilities/MultiArray.h"

#include "tests/utilities/ConsoleTest.h"

namespace geoloom {
namespace {

using platform::MLMultiArray;
using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;
using Shape = std::vector<std::ptrdiff_t>;

template <class T>
class MultiArrayTest : public testing::Test {};
using ElementTypes = testing::Types<double, float, std::int32_t>;
TYPED_TEST_SUITE(MultiArrayTest, ElementTypes);

/// Elements 0, 1, 2, ... in storage order.
template <class T>
MultiArray<T> counting(const Shape& shape) {
  MultiArray<T> view(shape);
  std::iota(view.pointer(), view.pointer() + view.count(), T(0));
  return view;
}

TYPED_TEST(MultiArrayTest, NewArraysHoldZerosOrTheInitialValue) {
  const MultiArray<TypeParam> zeros(Shape{2, 3});
  EXPECT_EQ(zeros.array()->dataType(), multiArrayDataType<TypeParam>);
  EXPECT_EQ(zeros.pointer(), zeros.array()->dataPointer());
  EXPECT_EQ(zeros.strides(), (Shape{3, 1}));
  const MultiArray<TypeParam> sevens(Shape{2, 3}, 7);
  for (std::ptrdiff_t i = 0; i < 6; ++i) {
    EXPECT_EQ(zeros[i], 0);
    EXPECT_EQ(sevens[i], 7);
  }
  EXPECT_EQ((MultiArray<TypeParam>(Shape{}, 3).count()), 1U);
  EXPECT_EQ((MultiArray<TypeParam>({2, std::size_t{0}, std::int64_t{3}}).count()), 0U);
}

TYPED_TEST(MultiArrayTest, AddressesElementsThroughStrides) {
  const auto view = counting<TypeParam>({2, 3, 4, 5});
  const std::size_t dimensions = view.shape().size();
  EXPECT_EQ(view[37], 37);
  EXPECT_EQ(view(1, 2), 60 + 2 * 20);
  EXPECT_EQ(view(1, 2, 3), 60 + 2 * 20 + 3 * 5);
  EXPECT_EQ(view(1, 2, 3, 4), 119);
  const auto turned = view.transposed({3, 1, 0, 2});
  EXPECT_EQ(turned.shape(), (Shape{5, 3, 2, 4}));
  EXPECT_EQ(turned.shape().size(), dimensions);
  EXPECT_EQ(turned(4, 2, 1, 3), 119);
  EXPECT_EQ(turned(4, 2, 1), 4 + 40 + 60);
  EXPECT_EQ(turned({}), 0);
  EXPECT_EQ(turned({4}), 4);
  EXPECT_EQ(turned({4, 2, 1, 3}), 119);
  EXPECT_EQ(turned[37], 37) << "one index is a position in storage";
  turned(4, 2, 1, 3) = 5;
  EXPECT_EQ(view(1, 2, 3, 4), 5) << "views share their storage";
}

TYPED_TEST(MultiArrayTest, ReshapingReadsTheStorageInItsOwnOrder) {
  const auto view = counting<TypeParam>({2, 3});
  EXPECT_EQ(view.reshaped({1, 6, 1}).strides(), (Shape{6, 1, 1}));
  const auto again = view.transposed({1, 0}).reshaped({2, 3});
  EXPECT_EQ(again(0, 1), 1);
  EXPECT_EQ(again.array(), view.array());
}

TYPED_TEST(MultiArrayTest, ViewsKeepWrappedMemoryAlive) {
  std::vector<TypeParam> memory(12);
  std::iota(memory.begin(), memory.end(), TypeParam(0));
  int released = 0;
  {
    const MultiArray<TypeParam> view(MLMultiArray::createWithDataPointer(
        memory.data(), {3, 2}, multiArrayDataType<TypeParam>, {4, 2}, [&released] { ++released; }));
    EXPECT_EQ(view(2, 1), 10);
    const auto turned = view.transposed({1, 0});
    EXPECT_EQ(turned(1, 2), 10);
    EXPECT_EQ(released, 0);
  }
  EXPECT_EQ(released, 1);
}

TEST(MultiArrayDescriptionTest, NestsBrackets) {
  auto view = counting<float>({2, 3});
  for (std::ptrdiff_t i = 0; i < 6; ++i) view[i] += 1;
  EXPECT_EQ(view.description(), "[[ 1.0, 2.0, 3.0 ],\n [ 4.0, 5.0, 6.0 ]]");
  std::ostringstream stream;
  stream << view.transposed({1, 0});
  EXPECT_EQ(stream.str(), "[[ 1.0, 4.0 ],\n [ 2.0, 5.0 ],\n [ 3.0, 6.0 ]]");
  EXPECT_EQ(counting<std::int32_t>({2, 2, 1}).description(), "[[[ 0 ],\n  [ 1 ]],\n [[ 2 ],\n  [ 3 ]]]");
}

TEST(MultiArrayDescriptionTest, BreaksLinesAfterElevenElements) {
  EXPECT_EQ(counting<std::int32_t>({12}).description(), "[ 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, \n  11 ]");
  EXPECT_EQ(counting<std::int32_t>({11}).description(), "[ 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10 ]");
  EXPECT_EQ(
      counting<std::int32_t>({1, 23}).description(),
      "[[ 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, \n   11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, \n   22 ]]");
}

TEST(MultiArrayDescriptionTest, ShowsEmptyDimensions) {
  EXPECT_EQ(MultiArray<float>(Shape({0})).description(), "[  ]");
  EXPECT_EQ(MultiArray<float>(Shape{2, 0}).description(), "[[  ],\n [  ]]");
  EXPECT_EQ(MultiArray<float>(Shape{0, 2}).description(), "[]");
}

TEST(MultiArrayDescriptionTest, IsTheSameInEveryLocale) {
  const MultiArray<double> doubles(Shape{4});
  doubles[0] = 0.1;
  doubles[1] = -1234567.5;
  doubles[2] = 1e16;
  doubles[3] = -0.0;
  struct Grouping : std::numpunct<char> {
    [[nodiscard]] char do_decimal_point() const override { return ','; }
    [[nodiscard]] std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
  EXPECT_EQ(doubles.description(), "[ 0.1, -1234567.5, 1e+16, -0.0 ]");
  EXPECT_EQ(MultiArray<std::int32_t>(Shape({1}), -1234567).description(), "[ -1234567 ]");
  std::locale::global(before);
}

using MultiArrayBytesTest = test::ConsoleTest;

/// The bytes by the definition, element by element.
template <class T>
Bytes expectedBytes(const MultiArray<T>& view, T offset, T scale) {
  const auto mapped = [&](T v) {
    const T value = (v + offset) * scale;
    return static_cast<std::uint8_t>(value < 0 ? T(0) : value > 255 ? T(255) : value);
  };
  const bool colour = view.shape().size() == 3;
  Bytes bytes;
  for (std::ptrdiff_t y = 0; y < view.shape()[colour ? 1 : 0]; ++y) {
    for (std::ptrdiff_t x = 0; x < view.shape()[colour ? 2 : 1]; ++x) {
      if (!colour) bytes.push_back(mapped(view(y, x)));
      for (std::ptrdiff_t c = 0; colour && c < 3; ++c) bytes.push_back(mapped(view(c, y, x)));
      if (colour) bytes.push_back(255);
    }
  }
  return bytes;
}

TYPED_TEST(MultiArrayTest, BytesDoNotDependOnStrides) {
  MultiArray<TypeParam> colours(Shape{3, 19, 37});
  std::mt19937 random(8);
  std::generate_n(colours.pointer(), colours.count(),
                  [&] { return static_cast<TypeParam>(random() % 500) - 100; });
  for (const auto& view : {colours, colours.reshaped({19, 37, 3}).transposed({2, 0, 1}),
                           colours.reshaped({3, 37, 19}).transposed({0, 2, 1})}) {
    EXPECT_EQ(view.toRawBytesRGBA(10, 2)->bytes, expectedBytes<TypeParam>(view, 10, 2));
    EXPECT_EQ(view.toRawBytesRGBA(-3, 1)->height, static_cast<std::size_t>(view.shape()[1]));
  }
  for (const auto& view : {colours.reshaped({57, 37}), colours.reshaped({37, 57}).transposed({1, 0})})
    EXPECT_EQ(view.toRawBytesGray(10, 3)->bytes, expectedBytes<TypeParam>(view, 10, 3));
  EXPECT_TRUE(MultiArray<TypeParam>(Shape{3, 0, 4}).toRawBytesRGBA(0, 1)->bytes.empty());
}

TEST_F(MultiArrayBytesTest, LimitsAndTruncates) {
  const MultiArray<double> view(Shape{3, 2, 2}, 9);
  view(0, 0, 0) = -5;
  view(1, 0, 0) = 300;
  view(2, 0, 0) = 7.9;
  const auto raw = view.toRawBytesRGBA(0, 1);
  EXPECT_EQ(raw->bytes, (Bytes{0, 255, 7, 255, 9, 9, 9, 255, 9, 9, 9, 255, 9, 9, 9, 255}));

  const MultiArray<float> edges(Shape{1, 7});
  const float values[] = {
      254.99998F, 255, 255.5F, -0.0F, 1e38F, -1e38F, std::numeric_limits<float>::infinity()};
  for (std::ptrdiff_t i = 0; i < 7; ++i) edges[i] = values[i];
  EXPECT_EQ(edges.toRawBytesGray(0, 1)->bytes, (Bytes{254, 255, 255, 0, 255, 0, 255}));

  const MultiArray<std::int32_t> wide(Shape{1, 4});
  wide[0] = std::numeric_limits<std::int32_t>::max();
  wide[1] = std::numeric_limits<std::int32_t>::min();
  wide[2] = 3;
  wide[3] = -1;
  EXPECT_EQ(wide.toRawBytesGray(100, 1000000)->bytes, (Bytes{255, 0, 255, 255}));
  constexpr std::int32_t LOWEST = std::numeric_limits<std::int32_t>::min();
  EXPECT_EQ(wide.toRawBytesGray(LOWEST, LOWEST)->bytes, (Bytes{255, 255, 255, 255}));
}

TEST_F(MultiArrayBytesTest, PrintsTheExpectedShape) {
  EXPECT_FALSE(MultiArray<float>(Shape{2, 3}).toRawBytesRGBA(0, 1));
  EXPECT_FALSE(MultiArray<float>(Shape{4, 2, 3}).toRawBytesRGBA(0, 1));
  EXPECT_FALSE(MultiArray<float>(Shape{}).toRawBytesRGBA(0, 1));
  EXPECT_FALSE(MultiArray<float>(Shape{3, 2, 3}).toRawBytesGray(0, 1));
  EXPECT_THAT(lines, ElementsAre("Expected a multi-array with 3 dimensions, got [2, 3]",
                                 "Expected first dimension to have 3 channels, got 4",
                                 "Expected a multi-array with 3 dimensions, got []",
                                 "Expected a multi-array with 2 dimensions, got [3, 2, 3]"));
}

TEST_F(MultiArrayBytesTest, BecomesAnImage) {
  const auto colours = counting<float>({3, 2, 2}).image(1, 10);
  ASSERT_TRUE(colours);
  const platform::CGImage& image = *colours->cgImage();
  EXPECT_EQ(Bytes(image.bytes(), image.bytes() + 8), (Bytes{10, 50, 90, 255, 20, 60, 100, 255}));
  EXPECT_EQ(image.layout(), (platform::CGPixelLayout{platform::CGColorSpace::deviceRGB,
                                                     platform::CGImageAlphaInfo::premultipliedLast}));
  EXPECT_EQ(image.bytesPerRow(), 8U);

  const auto gray = counting<float>({2, 3}).array()->image(1, 10.0F);
  ASSERT_TRUE(gray);
  EXPECT_EQ(gray->size(), (platform::CGSize{3, 2}));
  EXPECT_EQ(Bytes(gray->cgImage()->bytes(), gray->cgImage()->bytes() + 6), (Bytes{10, 20, 30, 40, 50, 60}));

  EXPECT_FALSE(MultiArray<float>(Shape{1, 3, 2, 2}).image(0, 1));
  EXPECT_FALSE(MultiArray<float>(Shape{0, 4}).image(0, 1));
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_FALSE(MultiArray<float>(Shape{2, 2, 2}).image(0, 1));
  EXPECT_THAT(lines, ElementsAre("Expected first dimension to have 3 channels, got 2"));
}

TEST_F(MultiArrayBytesTest, OneChannelBecomesAGrayImage) {
  const auto view = counting<std::int32_t>({4, 2, 3}).transposed({0, 2, 1});
  const auto gray = view.image(2, 0, 1);
  ASSERT_TRUE(gray);
  EXPECT_EQ(gray->size(), (platform::CGSize{2, 3}));
  EXPECT_EQ(Bytes(gray->cgImage()->bytes(), gray->cgImage()->bytes() + 6), (Bytes{12, 15, 13, 16, 14, 17}));
  EXPECT_THAT(lines, IsEmpty());

  EXPECT_FALSE(MultiArray<float>(Shape{3, 2, 2}).image(3, 0, 1));
  EXPECT_FALSE(MultiArray<float>(Shape{3, 2, 2}).image(-1, 0, 1));
  EXPECT_FALSE(MultiArray<float>(Shape{3, 2}).image(0, 0, 1));
  EXPECT_THAT(lines, ElementsAre("Channel must be between 0 and 2", "Channel must be between 0 and 2",
                                 "Expected a multi-array with 3 dimensions, got [3, 2]"));
}

TEST(MultiArrayTypeTest, CodesAndBytes) {
  EXPECT_EQ(static_cast<int>(multiArrayDataType<double>), 65600);
  EXPECT_EQ(static_cast<int>(multiArrayDataType<float>), 65568);
  EXPECT_EQ(static_cast<int>(multiArrayDataType<std::int32_t>), 131104);
  EXPECT_EQ(toUInt8(-0.99), 0);
  EXPECT_EQ(toUInt8(255.99F), 255);
  EXPECT_EQ(toUInt8(255), 255);
}

TEST(MultiArrayPreconditionDeathTest, ViolationsAbort) {
  const auto view = counting<float>({2, 3});
  EXPECT_DEATH((void)view.reshaped({7}), "same number of elements");
  EXPECT_DEATH((void)view.reshaped({}), "at least one dimension");
  for (const auto& order : {std::vector<std::size_t>{0}, {0, 0}, {1, 2}})
    EXPECT_DEATH((void)view.transposed(order), "every dimension exactly once");
  EXPECT_DEATH((void)MultiArray<float>(Shape{}).description(), "at least one dimension");
  EXPECT_DEATH((void)MultiArray<float>(Shape{-1}), "a negative size");
  EXPECT_DEATH((void)MultiArray<float>(std::shared_ptr<MLMultiArray>()), "no array");
  EXPECT_DEATH((void)view.array()->image<std::int32_t>(0, 1), "own element type");
#ifndef NDEBUG
  EXPECT_DEATH((void)view(0, 0, 0), "more indices");
  EXPECT_DEATH((void)MultiArray<float>(Shape{1, 1}, std::nanf("")).toRawBytesGray(0, 1), "toUInt8");
#endif
}

}  // namespace
}  // namespace geoloom
