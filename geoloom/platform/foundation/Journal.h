#pragma once

#include <string_view>

namespace geoloom::platform {

/// The socket of the system's journal.
inline constexpr char JOURNAL_SOCKET[] = "/run/systemd/journal/socket";

/// Sends a line, which may contain line breaks, to the journal at `socket` as one entry, in the journal's
/// native protocol (fields in one datagram, each with its length). False without a journal, if it does not
/// accept the line within a second, or if the line is too long. May be called from any thread.
[[nodiscard]] bool sendToJournal(std::string_view line, const char* socket = JOURNAL_SOCKET);

}  // namespace geoloom::platform
