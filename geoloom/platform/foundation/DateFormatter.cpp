#include "geoloom/platform/foundation/DateFormatter.h"

#include <array>
#include <ctime>
#include <utility>

#include <fmt/format.h>

namespace geoloom::platform {

std::string formatDate(Date date, std::string_view pattern) {
  const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(date).time_since_epoch().count();
  std::tm local{};
  localtime_r(&seconds, &local);
  const std::array<std::pair<std::string_view, int>, 6> fields{{{"yy", local.tm_year % 100},
                                                                {"MM", local.tm_mon + 1},
                                                                {"dd", local.tm_mday},
                                                                {"HH", local.tm_hour},
                                                                {"mm", local.tm_min},
                                                                {"ss", local.tm_sec}}};
  std::string result;
  while (!pattern.empty()) {
    std::size_t taken = 1;
    for (const auto& [name, value] : fields) {
      if (!pattern.starts_with(name)) continue;
      result += fmt::format("{:02}", value);
      taken = name.size();
      break;
    }
    if (taken == 1) result.push_back(pattern.front());
    pattern.remove_prefix(taken);
  }
  return result;
}

}  // namespace geoloom::platform
