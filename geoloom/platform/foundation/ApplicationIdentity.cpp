#include "geoloom/platform/foundation/ApplicationIdentity.h"

#include <algorithm>
#include <charconv>
#include <vector>

namespace geoloom::platform {

namespace {

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  while (true) {
    const auto end = std::min(text.find(separator), text.size());
    parts.push_back(text.substr(0, end));
    if (end == text.size()) return parts;
    text.remove_prefix(end + 1);
  }
}

std::string_view trimmed(std::string_view text) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

/// The value of a key in a group of a key file, such as a desktop entry.
std::string_view keyFileValue(std::string_view file, std::string_view group, std::string_view key) {
  bool isInGroup = false;
  for (const auto line : split(file, '\n')) {
    if (line.starts_with('[')) {
      isInGroup = line.substr(1, line.find(']') - 1) == group;
      continue;
    }
    const auto equals = line.find('=');
    if (isInGroup && equals != std::string_view::npos && trimmed(line.substr(0, equals)) == key)
      return trimmed(line.substr(equals + 1));
  }
  return {};
}

/// A part of a unit's name with each \xNN replaced by its byte.
std::string unescaped(std::string_view part) {
  std::string text;
  while (!part.empty()) {
    unsigned char byte = 0;
    if (part.size() >= 4 && part.starts_with("\\x") &&
        std::from_chars(part.data() + 2, part.data() + 4, byte, 16).ptr == part.data() + 4) {
      text.push_back(static_cast<char>(byte));
      part.remove_prefix(4);
    } else {
      text.push_back(part.front());
      part.remove_prefix(1);
    }
  }
  return text;
}

bool removeSuffix(std::string_view& text, std::string_view suffix) {
  if (!text.ends_with(suffix)) return false;
  text.remove_suffix(suffix.size());
  return true;
}

std::string identifierOfUnit(std::string_view unit) {
  const bool isScope = removeSuffix(unit, ".scope");
  if (!isScope) {
    if (!removeSuffix(unit, ".service")) return {};
    unit = unit.substr(0, unit.find('@'));
  }
  auto parts = split(unit, '-');
  if (parts.front() != "app") return {};
  if (isScope) parts.pop_back();
  return parts.size() < 2 ? std::string() : unescaped(parts.back());
}

/// The program's name in the command line of a desktop entry.
std::string_view programOf(std::string_view command) {
  const bool isQuoted = command.starts_with('"');
  if (isQuoted) command.remove_prefix(1);
  const auto path = command.substr(0, command.find(isQuoted ? '"' : ' '));
  return path.substr(path.rfind('/') + 1);
}

}  // namespace

std::string flatpakIdentifier(std::string_view info) {
  return std::string(keyFileValue(info, "Application", "name"));
}

std::string desktopIdentifier(std::string_view cgroup) {
  for (const auto line : split(cgroup, '\n')) {
    const auto units = split(line, '/');
    // An application may have created control groups below its unit.
    for (auto unit = units.rbegin(); unit != units.rend(); ++unit) {
      if (auto identifier = identifierOfUnit(*unit); !identifier.empty()) return identifier;
    }
  }
  return {};
}

bool desktopEntryStarts(std::string_view entry, std::string_view executable) {
  const auto starts = [&](std::string_view key) {
    return programOf(keyFileValue(entry, "Desktop Entry", key)) == executable;
  };
  return !executable.empty() && (starts("Exec") || starts("TryExec"));
}

}  // namespace geoloom::platform
