#include <regex>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "geoloom/platform/device/OSRelease.h"
#include "geoloom/platform/device/UIDevice.h"
#include "geoloom/platform/foundation/FileManager.h"

#include "tests/support/TemporaryDirectory.h"

namespace geoloom::platform {
namespace {

const std::regex versionFourUUID("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");

TEST(OSRelease, ValuesAreReadAsTheShellWould) {
  const std::pair<const char*, const char*> cases[] = {
      {"VERSION_ID=\"12\"\n", "12"},
      {"NAME=x\nVERSION_ID=22.04", "22.04"},
      {"VERSION_ID='9 (a\\b)'\n", "9 (a\\b)"},
      {"VERSION_ID=\"a\\\"b\\$c\"\n", "a\"b$c"},
      {"#VERSION_ID=1\nOLD_VERSION_ID=2\nVERSION_ID_LIKE=3\n", ""},
      {"VERSION_ID=1\nVERSION_ID=2\n", "2"},
      {"VERSION_ID=\n", ""},
      {"VERSION_ID", ""},
      {"", ""},
  };
  for (const auto& [text, value] : cases) EXPECT_EQ(osReleaseValue(text, "VERSION_ID"), value) << text;
}

TEST(UIDevice, ModelIdentifierIsTheMachineNameWithNothingBehindIt) {
  const std::string model = UIDevice::current().modelIdentifier();
  EXPECT_TRUE(std::regex_match(model, std::regex("[A-Za-z0-9_.-]+"))) << model;
}

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

TEST_F(VendorIdentifier, IsMadeOnceAndKeptForTheUserAlone) {
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

TEST_F(VendorIdentifier, ProcessesThatStartTogetherAgree) {
  std::vector<int> readers;
  for (int i = 0; i < 8; ++i) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    if (::fork() == 0) {
      const std::string uuid = UIDevice::current().identifierForVendor().value_or("none");
      ::_exit(::write(ends[1], uuid.data(), uuid.size()) == static_cast<ssize_t>(uuid.size()) ? 0 : 1);
    }
    ::close(ends[1]);
    readers.push_back(ends[0]);
  }
  std::set<std::string> seen;
  for (const int reader : readers) {
    char text[64];
    const ssize_t length = ::read(reader, text, sizeof text);
    ASSERT_GT(length, 0);
    seen.emplace(text, static_cast<std::size_t>(length));
    ::close(reader);
    int status = 0;
    ::wait(&status);
    EXPECT_EQ(status, 0);
  }
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_TRUE(std::regex_match(*seen.begin(), versionFourUUID)) << *seen.begin();
}

TEST_F(VendorIdentifier, ADamagedFileIsReplaced) {
  for (const char* damaged :
       {"", "short", "0123456789abcdef0123456789abcdef0123", "G2345678-1234-4234-8234-123456789012"}) {
    directory_.write("a/b/vendor-identifier", damaged);
    const auto made = UIDevice::current().identifierForVendor();
    ASSERT_TRUE(made) << damaged;
    EXPECT_EQ(read(file_), *made + "\n");
  }
}

TEST_F(VendorIdentifier, IsAbsentWhereItCannotBeKept) {
  const std::filesystem::path elsewhere = directory_.write("elsewhere", "");
  FileManager::setStateDirectory(elsewhere / "below-a-file");
  EXPECT_EQ(UIDevice::current().identifierForVendor(), std::nullopt);

  // A link is not followed: whoever can place one here must not choose the file that is written.
  std::filesystem::create_directories(state_);
  std::filesystem::create_symlink(elsewhere, file_);
  FileManager::setStateDirectory(state_);
  EXPECT_EQ(UIDevice::current().identifierForVendor(), std::nullopt);
  EXPECT_EQ(read(elsewhere), "");
}

}  // namespace
}  // namespace geoloom::platform
