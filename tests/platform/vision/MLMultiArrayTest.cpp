#include <array>
#include <cstring>

#include <gtest/gtest.h>

#include "geoloom/platform/vision/MLMultiArray.h"

namespace geoloom::platform {
namespace {

using Type = MLMultiArrayDataType;
using Shape = std::vector<std::ptrdiff_t>;

TEST(MLMultiArrayTest, IsContiguousAndAligned) {
  for (const Type type : {Type::float32, Type::float64, Type::int32}) {
    const auto array = MLMultiArray::create({2, 3, 4}, type);
    ASSERT_TRUE(array);
    EXPECT_EQ(array->strides(), (Shape{12, 4, 1}));
    EXPECT_EQ(array->count(), 24U);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array->dataPointer()) % 64, 0U);
    std::memset(array->dataPointer(), 0x5A,
                array->count() * size(type));  // under the sanitizer, checks the size
  }
}

TEST(MLMultiArrayTest, AcceptsEmptyShapesAndSizesOfZero) {
  EXPECT_EQ(MLMultiArray::create({}, Type::int32)->count(), 1U);
  const auto none = MLMultiArray::create({2, 0, 3}, Type::int32);
  ASSERT_TRUE(none);
  EXPECT_EQ(none->count(), 0U);
}

TEST(MLMultiArrayTest, RejectsImpossibleShapes) {
  constexpr std::ptrdiff_t HUGE = std::numeric_limits<std::ptrdiff_t>::max();
  EXPECT_FALSE(MLMultiArray::create({2, -1}, Type::float32));
  EXPECT_FALSE(MLMultiArray::create({HUGE}, Type::float32));
  EXPECT_FALSE(MLMultiArray::create({HUGE / 4, 2}, Type::float64));
}

TEST(MLMultiArrayTest, ReleasesWrappedMemoryOnceUnlessRejected) {
  std::array<float, 6> memory{};
  int released = 0;
  const auto release = [&released] { ++released; };
  EXPECT_FALSE(MLMultiArray::createWithDataPointer(nullptr, {6}, Type::float32, {1}, release));
  EXPECT_FALSE(MLMultiArray::createWithDataPointer(memory.data(), {2, 3}, Type::float32, {1}, release));
  EXPECT_FALSE(MLMultiArray::createWithDataPointer(memory.data(), {-6}, Type::float32, {1}, release));
  EXPECT_EQ(released, 0);
  EXPECT_TRUE(MLMultiArray::createWithDataPointer(memory.data(), {6}, Type::float32, {1}, release));
  EXPECT_EQ(released, 1);
}

}  // namespace
}  // namespace geoloom::platform
