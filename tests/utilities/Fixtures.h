#pragma once

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "geoloom/platform/foundation/Log.h"
#include "geoloom/utilities/Resize.h"

namespace geoloom::test {

/// A test that reads the lines on the console.
class ConsoleTest : public ::testing::Test {
 protected:
  ConsoleTest() {
    platform::Console::setSink([this](std::string_view line) { lines.emplace_back(line); });
  }
  ~ConsoleTest() override { platform::Console::setSink({}); }

  std::vector<std::string> lines;
};

/// Steps of resizing with a count of the memory that is out.
inline int allocated = 0;
inline constexpr ResizeSteps counted{.allocate =
                                         [](std::size_t bytes) {
                                           ++allocated;
                                           return std::malloc(bytes);
                                         },
                                     .release =
                                         [](void* memory) {
                                           --allocated;
                                           std::free(memory);
                                         }};

}  // namespace geoloom::test
