#pragma once

#include <string_view>

namespace geoloom::platform {

/// Where the system's journal listens, where there is one.
inline constexpr char journalSocket[] = "/run/systemd/journal/socket";

/// Hands a line, which may hold line breaks, to the journal at `socket` as one entry of its own, in the
/// journal's native protocol (fields in one datagram, each with its length). False when there is no journal,
/// or when it does not take the line: within a second, or because it is too long. Nothing stays open in
/// between. May be called from any thread.
[[nodiscard]] bool sendToJournal(std::string_view line, const char* socket = journalSocket);

}  // namespace geoloom::platform
