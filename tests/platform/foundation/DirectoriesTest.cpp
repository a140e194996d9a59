#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "geoloom/platform/foundation/Bundle.h"
#include "geoloom/platform/foundation/DateFormatter.h"
#include "geoloom/platform/foundation/FileManager.h"

namespace geoloom::platform {
namespace {

TEST(Bundle, IdentifierIsTheExecutablesNameUnlessSet) {
  EXPECT_EQ(Bundle::mainBundleIdentifier(), "test_foundation");
  Bundle::setMainBundleIdentifier("org.example.app");
  EXPECT_EQ(Bundle::mainBundleIdentifier(), "org.example.app");
  Bundle::setMainBundleIdentifier("");
  EXPECT_EQ(Bundle::mainBundleIdentifier(), "test_foundation");
}

void setEnvironment(const char* name, const char* value) {
  if (value == nullptr) {
    ::unsetenv(name);
  } else {
    ::setenv(name, value, 1);
  }
}

TEST(FileManager, DirectoriesFollowTheBaseDirectories) {
  struct Case {
    const char* home;
    const char* data;
    const char* state;
    const char* documentsDirectory;
    const char* stateDirectory;
  };
  const Case cases[] = {
      {"/home/u", nullptr, nullptr, "/home/u/.local/share/app/documents", "/home/u/.local/state/app"},
      {"/home/u", "/data", "/state", "/data/app/documents", "/state/app"},
      {"/home/u", "", "relative/state", "/home/u/.local/share/app/documents", "/home/u/.local/state/app"},
      {nullptr, "/data", nullptr, "/data/app/documents", nullptr},
      {"relative", nullptr, nullptr, nullptr, nullptr},
      {"", nullptr, "/state", nullptr, "/state/app"},
  };
  const auto path = [](const char* text) {
    return text != nullptr ? std::optional<std::filesystem::path>(text) : std::nullopt;
  };
  Bundle::setMainBundleIdentifier("app");
  for (const Case& row : cases) {
    setEnvironment("HOME", row.home);
    setEnvironment("XDG_DATA_HOME", row.data);
    setEnvironment("XDG_STATE_HOME", row.state);
    EXPECT_EQ(FileManager::documentsDirectory(), path(row.documentsDirectory));
    EXPECT_EQ(FileManager::stateDirectory(), path(row.stateDirectory));
  }
}

TEST(FileManager, WhatIsSetInCodeWinsAndNoIdentifierClimbs) {
  setEnvironment("XDG_DATA_HOME", "/data");
  for (const auto& [identifier, folder] : {std::pair{"..", "_"}, {".", "_"}, {"../../etc", ".._.._etc"}}) {
    Bundle::setMainBundleIdentifier(identifier);
    EXPECT_EQ(FileManager::documentsDirectory(), std::filesystem::path("/data") / folder / "documents");
  }
  FileManager::setDocumentsDirectory("/elsewhere");
  EXPECT_EQ(FileManager::documentsDirectory(), std::filesystem::path("/elsewhere"));
  FileManager::setDocumentsDirectory(std::nullopt);
  EXPECT_NE(FileManager::documentsDirectory(), std::filesystem::path("/elsewhere"));
}

TEST(DateFormatter, FieldsAreWrittenInTheDevicesTimeZone) {
  struct Case {
    const char* zone;
    long long seconds;
    const char* pattern;
    const char* text;
  };
  const Case cases[] = {
      {"UTC", 1710512701, "yyMMdd_HHmmss", "240315_142501"},
      {"UTC-05:30", 1710512701, "yyMMdd_HHmmss", "240315_195501"},
      {"UTC+9", 1710460800, "yy-MM-dd HH:mm", "24-03-14 15:00"},
      {"UTC", 946684799, "dd.MM.yy HH", "31.12.99 23"},
      {"UTC", 0, "y M yyy", "y M 70y"},
      {"UTC", -1, "HHmmss", "235959"},
      {"UTC", 0, "", ""},
  };
  for (const Case& row : cases) {
    setEnvironment("TZ", row.zone);
    ::tzset();
    EXPECT_EQ(formatDate(Date(std::chrono::seconds(row.seconds)), row.pattern), row.text) << row.pattern;
  }
  setEnvironment("TZ", "UTC");
  ::tzset();
  EXPECT_EQ(formatDate(Date(std::chrono::milliseconds(-1)), "ss"), "59");
}

}  // namespace
}  // namespace geoloom::platform
