#include <fstream>

#include <gtest/gtest.h>
#include <unistd.h>

#include "geoloom/platform/foundation/LibraryBundle.h"

namespace geoloom::platform {
namespace {

TEST(LibraryBundle, FindsOnlyResourcesNearTheLibrary) {
  // The library's code is part of this program, so its folder is the program's.
  const auto folder = std::filesystem::canonical("/proc/self/exe").parent_path();
  const std::string name = "resource-" + std::to_string(::getpid());
  EXPECT_FALSE(LibraryBundle::pathForResource(name, "txt"));
  const auto file = folder / (name + ".txt");
  std::ofstream(file) << "here";
  EXPECT_EQ(LibraryBundle::pathForResource(name, "txt"), file);
  EXPECT_FALSE(LibraryBundle::pathForResource(name, "text"));
  std::filesystem::remove(file);
}

TEST(LibraryBundle, UsesThePathThatTheApplicationSets) {
  LibraryBundle::setPathForResource("thing", "bin", "/some/where/else");
  EXPECT_EQ(LibraryBundle::pathForResource("thing", "bin"), "/some/where/else");
  EXPECT_FALSE(LibraryBundle::pathForResource("thing", "bim"));
  LibraryBundle::setPathForResource("thing", "bin", {});
  EXPECT_FALSE(LibraryBundle::pathForResource("thing", "bin"));
}

}  // namespace
}  // namespace geoloom::platform
