#pragma once

#include <string>
#include <string_view>

namespace geoloom::platform {

// What Linux systems write down of the application that a process belongs to. Empty where they do not.

/// Of the text of /.flatpak-info, which a Flatpak's processes see.
[[nodiscard]] std::string flatpakIdentifier(std::string_view info);

/// Of the text of /proc/self/cgroup: desktops start applications in units of systemd that are named
/// app[-LAUNCHER]-IDENTIFIER-RANDOM.scope or app[-LAUNCHER]-IDENTIFIER[@RANDOM].service, with a hyphen of a
/// part itself as \x2d.
[[nodiscard]] std::string desktopIdentifier(std::string_view cgroup);

/// Whether the application of this desktop entry is that executable (a file name). What an application starts
/// in its turn, a terminal above all, inherits its unit and is not that application.
[[nodiscard]] bool desktopEntryStarts(std::string_view entry, std::string_view executable);

}  // namespace geoloom::platform
