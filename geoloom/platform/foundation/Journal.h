#pragma once

#include <string_view>

namespace geoloom::platform {

/// The socket of the system's journal.
inline constexpr char JOURNAL_SOCKET[] = "/run/systemd/journal/socket";

/// Sends a line, which may contain line breaks, to the journal at `socket` as one entry, in the journal's
/// native protocol (fields in one datagram, each with its length). False if there is no journal, or if it
/// does not accept the line within a second or because of its length. Keeps nothing open. May be called from
/// any thread.
[[nodiscard]] bool sendToJournal(std::string_view line, const char* socket = JOURNAL_SOCKET);

}  // namespace geoloom::platform
