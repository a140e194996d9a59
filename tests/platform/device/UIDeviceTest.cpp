#include <regex>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "geoloom/platform/device/UIDevice.h"
#include "geoloom/platform/foundation/FileManager.h"

#include "tests/support/TemporaryDirectory.h"

namespace geoloom::platform {
namespace {

const std::regex versionFourUUID("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");

class VendorIdentifier : public testing::Test {
 protected:
  VendorIdentifier() { FileManager::setStateDirectory(state_); }

  static std::string read(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  test::TemporaryDirectory directory_;
  std::filesystem::path state_ = directory_.path() / "a" / "b";
  std::filesystem::path file_ = state_ / "vendor-identifier";
};

TEST_F(VendorIdentifier, IsCreatedOnceWithMode0600) {
  const auto first = UIDevice::current().identifierForVendor();
  ASSERT_TRUE(first);
  EXPECT_TRUE(std::regex_match(*first, versionFourUUID)) << *first;
  EXPECT_EQ(UIDevice::current().identifierForVendor(), first);
  EXPECT_EQ(read(file_), *first + "\n");
  struct stat status {};
  ASSERT_EQ(::stat(file_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  ASSERT_EQ(::stat(state_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(VendorIdentifier, DamagedFileIsReplaced) {
  for (const char* damaged :
       {"", "short", "0123456789abcdef0123456789abcdef0123", "G2345678-1234-4234-8234-123456789012"}) {
    directory_.write("a/b/vendor-identifier", damaged);
    const auto made = UIDevice::current().identifierForVendor();
    ASSERT_TRUE(made) << damaged;
    EXPECT_EQ(read(file_), *made + "\n");
  }
}

TEST_F(VendorIdentifier, IsAbsentIfItCannotBeStored) {
  const std::filesystem::path elsewhere = directory_.write("elsewhere", "");
  FileManager::setStateDirectory(elsewhere / "below-a-file");
  EXPECT_EQ(UIDevice::current().identifierForVendor(), std::nullopt);

  // A link is not followed: it could direct the write to any file.
  std::filesystem::create_directories(state_);
  std::filesystem::create_symlink(elsewhere, file_);
  FileManager::setStateDirectory(state_);
  EXPECT_EQ(UIDevice::current().identifierForVendor(), std::nullopt);
  EXPECT_EQ(read(elsewhere), "");
}

}  // namespace
}  // namespace geoloom::platform
