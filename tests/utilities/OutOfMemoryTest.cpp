// Every allocation that an operation makes fails once, one after the other: operator new is this program's
// own. What is not there for want of memory is nothing, never an exception, and nothing is lost or given back
// twice on the way.

#include <algorithm>
#include <cstdlib>
#include <new>
#include <numeric>

#include <gtest/gtest.h>

#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/imaging/CIContext.h"
#include "geoloom/platform/imaging/UIImage.h"
#include "geoloom/storage/Data.h"
#include "geoloom/utilities/MultiArray.h"
#include "geoloom/utilities/PixelBuffer.h"

#include "tests/utilities/Fixtures.h"

namespace {

/// Allocations of this thread until one fails; none does while it is negative.
thread_local std::ptrdiff_t allocationsToCome = -1;
thread_local bool hasFailed = false;

void* allocate(std::size_t bytes) {
  if (allocationsToCome-- == 0) {
    hasFailed = true;
    return nullptr;
  }
  allocationsToCome = std::max<std::ptrdiff_t>(allocationsToCome, -1);
  return std::malloc(std::max<std::size_t>(bytes, 1));
}

}  // namespace

// Not inlined: where the compiler sees only one of a pair, it takes the two for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t bytes) {
  if (void* memory = allocate(bytes)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t bytes, const std::nothrow_t& /*unused*/) noexcept {
  return allocate(bytes);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*unused*/) noexcept {
  std::free(memory);
}

namespace geoloom {
namespace {

using platform::CVPixelBuffer;
using platform::CVPixelFormatType;
using platform::MLMultiArray;
using platform::UIImage;
using Bytes = std::vector<std::uint8_t>;

/// `operation` gives whether there is a result; `check` holds after every failure.
template <class Operation, class Check>
void failEveryAllocation(const Operation& operation, const Check& check) {
  for (std::ptrdiff_t n = 0;; ++n) {
    ASSERT_LT(n, 1000) << "the operation does not end";
    hasFailed = false;
    allocationsToCome = n;
    bool isThere = false;
    bool isThrown = false;
    try {
      isThere = operation();
    } catch (...) {
      isThrown = true;
    }
    allocationsToCome = -1;
    ASSERT_FALSE(isThrown) << "when allocation " << n << " failed";
    check();
    if (hasFailed) continue;
    EXPECT_TRUE(isThere) << "though no allocation failed";
    EXPECT_GT(n, 0) << "nothing is allocated";
    return;
  }
}

template <class Operation>
void failEveryAllocation(const Operation& operation) {
  failEveryAllocation(operation, [] {});
}

class OutOfMemoryTest : public testing::Test {
 protected:
  OutOfMemoryTest() {
    platform::Console::setSink([](std::string_view) {});
  }
  ~OutOfMemoryTest() override { platform::Console::setSink({}); }
};

TEST_F(OutOfMemoryTest, CompressionGivesAllOrNothing) {
  Bytes bytes(500000);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  for (std::size_t i = 0; i < bytes.size(); i += 7) bytes[i] = static_cast<std::uint8_t>(i * i >> 9);
  const Data data(std::move(bytes));
  const Data encoded = *data.compress();
  failEveryAllocation([&] {
    const auto result = data.compress();
    return result && *result == encoded;
  });
  failEveryAllocation([&] {
    const auto result = encoded.decompress();
    return result && *result == data;
  });
}

TEST_F(OutOfMemoryTest, PixelBuffersReleaseWhatTheyTookAndUnlockTheirSource) {
  failEveryAllocation([] { return createPixelBuffer(30, 20) != nullptr; });

  int released = 0;
  Bytes bytes(33 * 4 * 21);
  auto source = CVPixelBuffer::createWithBytes(33, 21, CVPixelFormatType::BGRA32, bytes.data(), 33 * 4,
                                               [&] { ++released; });
  failEveryAllocation([&] { return resizePixelBuffer(*source, 1, 2, 20, 10, 7, 9) != nullptr; });
  failEveryAllocation(
      [&] {
        return resize(*source, {0, 0, 33, 21}, 8, 15, test::counted) != nullptr;
      },
      [] { EXPECT_EQ(test::allocated, 0); });
  const auto output = CVPixelBuffer::create(40, 11, CVPixelFormatType::ARGB32);
  failEveryAllocation([&] {
    resizePixelBuffer(source, 40, 11, *output, platform::CIContext());
    return true;
  });
#ifndef NDEBUG
  EXPECT_DEATH(source->unlockBaseAddress(), "unlockBaseAddress") << "every path unlocked what it had locked";
  EXPECT_DEATH(output->unlockBaseAddress(), "unlockBaseAddress");
#endif
  EXPECT_EQ(released, 0);
  source.reset();
  EXPECT_EQ(released, 1);
}

TEST_F(OutOfMemoryTest, CallersBytesAreReleasedOnceIfTheyWereTaken) {
  Bytes bytes(4 * 4 * 4);
  std::ptrdiff_t made = 0;
  std::ptrdiff_t released = 0;
  failEveryAllocation(
      [&] {
        const auto buffer = CVPixelBuffer::createWithBytes(4, 4, CVPixelFormatType::BGRA32, bytes.data(), 16,
                                                           [&] { ++released; });
        made += buffer ? 1 : 0;
        return buffer != nullptr;
      },
      [&] { EXPECT_EQ(released, made); });

  std::vector<std::vector<std::ptrdiff_t>> shapes(1000, {2, 4});
  std::vector<std::vector<std::ptrdiff_t>> strides(1000, {4, 1});
  failEveryAllocation(
      [&] {
        const auto array = MLMultiArray::createWithDataPointer(
            bytes.data(), std::move(shapes.back()), platform::MLMultiArrayDataType::float32,
            std::move(strides.back()), [&] { ++released; });
        shapes.pop_back();
        strides.pop_back();
        made += array ? 1 : 0;
        return array != nullptr;
      },
      [&] { EXPECT_EQ(released, made); });
  failEveryAllocation([&] {
    auto shape = std::move(shapes.back());
    shapes.pop_back();
    return MLMultiArray::create(std::move(shape), platform::MLMultiArrayDataType::float64) != nullptr;
  });
}

TEST_F(OutOfMemoryTest, PicturesAreThereOrNot) {
  std::vector<Bytes> copies(1000, Bytes(5 * 3 * 4, 200));
  const auto taken = [&] {
    Bytes bytes = std::move(copies.back());
    copies.pop_back();
    return bytes;
  };
  failEveryAllocation([&] { return UIImage::fromByteArrayRGBA(taken(), 5, 3) != nullptr; });
  failEveryAllocation([&] { return UIImage::fromByteArrayGray(taken(), 15, 4) != nullptr; });

  const auto image =
      UIImage::fromByteArrayRGBA(Bytes(5 * 3 * 4, 200), 5, 3, 1, platform::UIImageOrientation::left);
  const auto noneIsCurrent = [] { EXPECT_FALSE(platform::UIGraphicsGetCurrentContext()); };
  failEveryAllocation([&] { return image->pixelBuffer(8, 6) != nullptr; }, noneIsCurrent);
  failEveryAllocation([&] { return image->pixelBufferGray(9, 2) != nullptr; }, noneIsCurrent);

  for (const auto format : {CVPixelFormatType::BGRA32, CVPixelFormatType::biPlanarFullRange420}) {
    const auto buffer = CVPixelBuffer::create(6, 4, format);
    failEveryAllocation([&] { return UIImage::create(buffer) != nullptr; });
    failEveryAllocation([&] { return UIImage::create(buffer, platform::CIContext()) != nullptr; });
  }
}

TEST_F(OutOfMemoryTest, ArraysBecomePicturesOrNot) {
  const MultiArray<float> view(MultiArray<float>::Shape{3, 4, 5}, 7);
  const MultiArray<float> plane(MultiArray<float>::Shape{4, 5}, 7);
  failEveryAllocation([&] { return view.toRawBytesRGBA(0, 1).has_value(); });
  failEveryAllocation([&] { return plane.toRawBytesGray(0, 1).has_value(); });
  failEveryAllocation([&] { return view.image(0, 1) != nullptr; });
  failEveryAllocation([&] { return view.image(std::ptrdiff_t{1}, 0, 1) != nullptr; });
  failEveryAllocation([&] { return plane.array()->image<float>(0, 1) != nullptr; });
}

}  // namespace
}  // namespace geoloom
