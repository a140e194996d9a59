#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "geoloom/platform/foundation/Log.h"

namespace geoloom::test {

/// Collects the lines that are printed on the console.
class ConsoleTest : public ::testing::Test {
 protected:
  ConsoleTest() {
    platform::Console::setSink([this](std::string_view line) { lines.emplace_back(line); });
  }
  ~ConsoleTest() override { platform::Console::setSink({}); }

  std::vector<std::string> lines;
};

}  // namespace geoloom::test
