#include <gmock/gmock.h>
#include <sys/stat.h>

#include "geoloom/base/PrintableText.h"
#include "geoloom/platform/foundation/FileManager.h"
#include "geoloom/storage/directories.h"

#include "tests/support/MemoryVolume.h"
#include "tests/support/Recorder.h"
#include "tests/support/TemporaryDirectory.h"

namespace geoloom::test {
namespace {

using ::testing::ElementsAre;

/// A documents directory that does not exist yet, and the lines of the log.
class Directories : public ::testing::Test {
 protected:
  Directories() { platform::FileManager::setDocumentsDirectory(documents); }

  static mode_t modeOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
  }

  const test::TemporaryDirectory home;
  const std::filesystem::path documents = home.path() / "app/documents";
  LineRecorder lines;
};

TEST_F(Directories, AreCreatedWithMode0700AndRemovedWithTheirContent) {
  ::umask(0);
  removeDirectory("yelt");
  createDirectory("yelt/240315_142501");
  std::filesystem::permissions(documents / "yelt", std::filesystem::perms::all);
  createDirectory("yelt/240315_142501");
  for (const char* name : {"", "documents", "documents/yelt", "documents/yelt/240315_142501"})
    EXPECT_EQ(modeOf(home.path() / "app" / name), 0700U) << name;
  home.write(documents / "file", "");
  createDirectory("file/inside");
  home.write(documents / "yelt/240315_142501/deeper/left", "over");
  removeDirectory("yelt");
  EXPECT_FALSE(std::filesystem::exists(documents / "yelt"));
  EXPECT_THAT(lines.entries(),
              ElementsAre("! failed to remove directory yelt", "! created directory yelt/240315_142501",
                          "! created directory yelt/240315_142501",
                          "! failed to create directory file/inside", "! remove directory yelt"));
}

TEST_F(Directories, DoNotFollowSymbolicLinks) {
  home.write("outside/inner/kept", "");
  std::filesystem::create_directories(documents / "yelt/session");
  // Links inside the removed directory, and one in its place.
  for (const char* link : {"yelt/up", "yelt/session/away", "place"})
    std::filesystem::create_directory_symlink(home.path() / "outside", documents / link);
  std::filesystem::create_symlink(home.path() / "outside/inner/kept", documents / "yelt/file");
  removeDirectory("yelt");
  removeDirectory("place/inner");
  createDirectory("place/made");
  removeDirectory("place");
  EXPECT_TRUE(std::filesystem::exists(home.path() / "outside/inner/kept"));
  EXPECT_FALSE(std::filesystem::exists(home.path() / "outside/made"));
  EXPECT_TRUE(std::filesystem::is_empty(documents));
  EXPECT_THAT(lines.entries(),
              ElementsAre("! remove directory yelt", "! failed to remove directory place/inner",
                          "! failed to create directory place/made", "! remove directory place"));
}

TEST_F(Directories, RefuseNamesOutsideTheDocuments) {
  home.write(documents / "kept", "");
  home.write("app/beside/kept", "");
  const std::string absolute = (home.path() / "app/beside").string();
  using namespace std::string_view_literals;
  for (const std::string_view name :
       {".."sv, "yelt/../../beside"sv, "yelt/.."sv, "."sv, ""sv, "a\0b"sv, std::string_view(absolute)}) {
    lines.clear();
    removeDirectory(name);
    createDirectory(name);
    EXPECT_THAT(lines.entries(), ElementsAre("! failed to remove directory " + base::printable(name),
                                             "! failed to create directory " + base::printable(name)));
  }
  EXPECT_TRUE(std::filesystem::exists(documents / "kept"));
  EXPECT_TRUE(std::filesystem::exists(home.path() / "app/beside/kept"));
}

TEST_F(Directories, FailureIsALogLine) {
  std::filesystem::create_directories(documents);
  if (const auto why = test::mountInMemory(documents, 0, "nr_inodes=2"); !why.empty()) GTEST_SKIP() << why;
  createDirectory("yelt");
  createDirectory("yelt/240315_142501");
  ASSERT_EQ(::mount("none", documents.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  removeDirectory("yelt");
  createDirectory("more");
  EXPECT_THAT(lines.entries(),
              ElementsAre("! created directory yelt", "! failed to create directory yelt/240315_142501",
                          "! failed to remove directory yelt", "! failed to create directory more"));
}

}  // namespace
}  // namespace geoloom::test
