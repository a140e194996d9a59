#include "geoloom/platform/foundation/Journal.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <syslog.h>

#include "geoloom/base/Descriptor.h"

namespace geoloom::platform {

namespace {

/// Appends a field in the form for arbitrary values: name, line break, length (64 bits, little-endian),
/// value.
void addField(std::string& entry, std::string_view name, std::string_view value) {
  entry.append(name).push_back('\n');
  for (int shift = 0; shift < 64; shift += 8)
    entry.push_back(static_cast<char>(static_cast<std::uint64_t>(value.size()) >> shift & 0xffU));
  entry.append(value).push_back('\n');
}

std::string entryOf(std::string_view line) {
  std::string entry;
  addField(entry, "MESSAGE", line);
  addField(entry, "PRIORITY", std::to_string(LOG_INFO));
  addField(entry, "SYSLOG_IDENTIFIER", program_invocation_short_name);
  return entry;
}

}  // namespace

bool sendToJournal(std::string_view line, const char* socket) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string_view path(socket);
  if (path.size() >= sizeof address.sun_path) return false;
  std::copy(path.begin(), path.end(), address.sun_path);
  const base::Descriptor sender(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  // A hanging journal delays the caller by at most a second.
  const timeval patience{1, 0};
  ::setsockopt(sender.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  const std::string entry = entryOf(line);
  return ::sendto(sender.get(), entry.data(), entry.size(), MSG_NOSIGNAL,
                  reinterpret_cast<const sockaddr*>(&address),
                  sizeof address) == static_cast<ssize_t>(entry.size());
}

}  // namespace geoloom::platform
