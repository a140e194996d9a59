#pragma once

#include <string>
#include <string_view>

namespace geoloom::platform {

// The identifier of the application that a process belongs to, from Linux system files; empty if they do not
// contain one.

/// From the text of /.flatpak-info, which exists for processes of a Flatpak.
[[nodiscard]] std::string flatpakIdentifier(std::string_view info);

/// From the text of /proc/self/cgroup: desktops start applications in units of systemd that are named
/// app[-LAUNCHER]-IDENTIFIER-RANDOM.scope or app[-LAUNCHER]-IDENTIFIER[@RANDOM].service, in which a
/// hyphen within a part is written \x2d.
[[nodiscard]] std::string desktopIdentifier(std::string_view cgroup);

/// True if this desktop entry starts the executable (a file name). A program that an application starts, such
/// as a shell in a terminal, inherits its unit but is not that application.
[[nodiscard]] bool desktopEntryStarts(std::string_view entry, std::string_view executable);

}  // namespace geoloom::platform
