#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "geoloom/platform/foundation/FileManager.h"
#include "geoloom/storage/directories.h"

#include "tests/support/Recorder.h"
#include "tests/support/TemporaryDirectory.h"

namespace geoloom::testing {
namespace {

using ::testing::ElementsAre;

TEST(Directories, AreMadeAndRemovedWithAllTheyHold) {
  const test::TemporaryDirectory home;
  platform::FileManager::setDocumentsDirectory(home.path() / "documents");
  LineRecorder lines;
  removeDirectory("yelt");
  createDirectory("yelt/240315_142501");
  EXPECT_TRUE(std::filesystem::is_directory(home.path() / "documents/yelt/240315_142501"));
  createDirectory("yelt/240315_142501");
  home.write("documents/file", "");
  createDirectory("file/inside");
  home.write("documents/yelt/240315_142501/left", "over");
  removeDirectory("yelt");
  EXPECT_FALSE(std::filesystem::exists(home.path() / "documents/yelt"));
  EXPECT_THAT(lines.entries(),
              ElementsAre("! failed to remove directory yelt", "! created directory yelt/240315_142501",
                          "! created directory yelt/240315_142501",
                          "! failed to create directory file/inside", "! remove directory yelt"));
}

}  // namespace
}  // namespace geoloom::testing
