#include <optional>

#include <gtest/gtest.h>

#include "geoloom/platform/foundation/ApplicationIdentity.h"
#include "geoloom/platform/foundation/Bundle.h"
#include "geoloom/platform/foundation/FileManager.h"

namespace geoloom::platform {
namespace {

TEST(Bundle, IdentifierDefaultsToTheExecutableName) {
  EXPECT_EQ(Bundle::mainBundleIdentifier(), "test_foundation");
  Bundle::setMainBundleIdentifier("org.example.app");
  EXPECT_EQ(Bundle::mainBundleIdentifier(), "org.example.app");
  Bundle::setMainBundleIdentifier("");
  EXPECT_EQ(Bundle::mainBundleIdentifier(), "test_foundation");
}

TEST(Bundle, ReadsFlatpakInfo) {
  const std::pair<const char*, const char*> cases[] = {
      {"[Application]\nname=org.example.App\nruntime=runtime/org.x/x86_64/1\n\n[Instance]\nname=other\n",
       "org.example.App"},
      {"[Instance]\nname=other\n[Application]\n# name=no\n name = a.b.C \r\n", "a.b.C"},
      {"name=org.example.App\n", ""},
  };
  for (const auto& [info, identifier] : cases) EXPECT_EQ(flatpakIdentifier(info), identifier) << info;
}

TEST(Bundle, ReadsTheDesktopsUnitName) {
  const std::string slice = "0::/user.slice/user-1000.slice/user@1000.service/app.slice/";
  const std::pair<const char*, const char*> cases[] = {
      {"app-gnome-org.example.App-4711.scope", "org.example.App"},
      {"app-org.example.App@f00.service", "org.example.App"},
      {"app-gnome-my\\x2dapp@autostart.service", "my-app"},
      {"app-flatpak-org.example.App-1.scope\n1:cpu:/", "org.example.App"},
      {"app-gnome-my\\x2\\xzz-1.scope", "my\\x2\\xzz"},
      {"session-3.scope", ""},
      {"app-org.example.slice", ""},
  };
  for (const auto& [unit, identifier] : cases) EXPECT_EQ(desktopIdentifier(slice + unit), identifier) << unit;
}

TEST(Bundle, DesktopEntryMustStartThisExecutable) {
  const std::pair<const char*, bool> cases[] = {
      {"[Desktop Entry]\nType=Application\nExec=/usr/bin/viewer --open %U\n", true},
      {"[Desktop Entry]\nExec=\"/opt/a b/viewer\" %f\n", true},
      {"[Desktop Entry]\nTryExec=/opt/viewer\nExec=/usr/bin/env X=1 /opt/viewer\n", true},
      {"[Desktop Entry]\nExec=terminal\n[Desktop Action new]\nExec=viewer\n", false},
      {"[Desktop Entry]\nExec=viewer2 viewer\n", false},
  };
  for (const auto& [entry, starts] : cases) EXPECT_EQ(desktopEntryStarts(entry, "viewer"), starts) << entry;
  EXPECT_FALSE(desktopEntryStarts("[Desktop Entry]\nExec=\n", ""));
}

void setEnvironment(const char* name, const char* value) {
  if (value == nullptr)
    ::unsetenv(name);
  else
    ::setenv(name, value, 1);
}

TEST(FileManager, FollowsTheBaseDirectories) {
  struct Case {
    const char *home, *data, *state;
    const char *documentsDirectory, *stateDirectory;
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
  for (const auto& [home, data, state, documentsDirectory, stateDirectory] : cases) {
    setEnvironment("HOME", home);
    setEnvironment("XDG_DATA_HOME", data);
    setEnvironment("XDG_STATE_HOME", state);
    EXPECT_EQ(FileManager::documentsDirectory(), path(documentsDirectory));
    EXPECT_EQ(FileManager::stateDirectory(), path(stateDirectory));
  }
}

TEST(FileManager, ListsDataDirectories) {
  using Paths = std::vector<std::filesystem::path>;
  setEnvironment("HOME", "/home/u");
  setEnvironment("XDG_DATA_HOME", nullptr);
  setEnvironment("XDG_DATA_DIRS", nullptr);
  EXPECT_EQ(FileManager::dataDirectories(),
            (Paths{"/home/u/.local/share", "/usr/local/share", "/usr/share"}));
  setEnvironment("XDG_DATA_HOME", "/data");
  setEnvironment("XDG_DATA_DIRS", "/one::two:/three");
  EXPECT_EQ(FileManager::dataDirectories(), (Paths{"/data", "/one", "/three"}));
}

TEST(FileManager, UsesIdentifiersAsOneFolderAndSettingsFirst) {
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

}  // namespace
}  // namespace geoloom::platform
