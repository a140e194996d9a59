#include "tools/replay/LocalizationAnswer.h"

#include <algorithm>
#include <map>
#include <string_view>

#include <fmt/format.h>

#include "tools/terminal/Terminal.h"

namespace geoloom::tools {
namespace {

std::vector<std::string> textsIn(const std::optional<platform::JSON>& list) {
  std::vector<std::string> texts;
  if (list) list->forEach([&](const platform::JSON& text) { texts.push_back(text.stringValue()); });
  return texts;
}

std::optional<double> numberIn(const std::optional<platform::JSON>& value) {
  return value ? value->number() : std::nullopt;
}

/// "a cup and 2 chairs"
std::string enumerated(const std::vector<std::string>& names) {
  std::map<std::string, std::size_t> counts;
  for (const std::string& name : names) ++counts[name];
  constexpr std::size_t MOST_NAMES = 4;
  if (counts.empty()) return "nothing it can name";
  if (counts.size() > MOST_NAMES) return counted(names.size(), "object");
  std::string text;
  std::size_t left = counts.size();
  for (const auto& [name, count] : counts) {
    const bool isVowel = std::string_view("aeiou").find(name.substr(0, 1)) != std::string_view::npos;
    text += count > 1 ? counted(count, name) : fmt::format("{} {}", isVowel ? "an" : "a", name);
    --left;
    text += left > 1 ? ", " : left == 1 ? " and " : "";
  }
  return text;
}

std::string about(std::optional<double> metres) {
  if (!metres) return "an unknown distance";
  return *metres < 1 ? fmt::format("about {:.0f} cm", 100 * *metres) : fmt::format("about {:.1f} m", *metres);
}

/// The end of "not yet: sees a chair".
std::string whyNot(const TracedLocalization& localization) {
  const std::string& reason = localization.reason;
  if (reason == "too few objects") return ", too little to tell the place by";
  if (reason == "could be elsewhere too") return ", which fits another place of this map nearly as well";
  if (reason == "poor fit") return ", but not at the distances of the map";
  if (reason == "objects expected here are missing") {
    return localization.missing.empty()
               ? ", but most of it where the map has something else"
               : fmt::format(", but not the map's {}", fmt::join(localization.missing, ", "));
  }
  if (reason == "predicted error too large")
    return fmt::format(", which leaves the assets uncertain by {}", about(localization.predictedErrorMeters));
  return fmt::format(" ({})", reason);
}

}  // namespace

std::optional<TracedLocalization> readLocalization(const platform::JSON& answer) {
  const auto reason = answer["reason"];
  if (!reason || !reason->string()) return std::nullopt;
  return TracedLocalization{.time = 0,
                            .reason = *reason->string(),
                            .matchCount = static_cast<std::size_t>(
                                std::clamp(numberIn(answer["match_count"]).value_or(0), 0.0, 1e6)),
                            .predictedErrorMeters = numberIn(answer["predicted_error_meters"]),
                            .runnerUp = numberIn(answer["runner_up"]),
                            .objects = textsIn(answer["objects"]),
                            .moved = textsIn(answer["moved"]),
                            .missing = textsIn(answer["missing"])};
}

std::string sentenceOf(const TracedLocalization& localization, bool hasAnswer) {
  std::string moved;
  if (!localization.moved.empty())
    moved = "; moved: " + fmt::format("{}", fmt::join(localization.moved, ", "));
  if (localization.reason == "accepted") {
    return fmt::format("localized: {}, {}{}", counted(localization.matchCount, "object"),
                       about(localization.predictedErrorMeters), moved);
  }
  return fmt::format("{}: sees {}{}{}", hasAnswer ? "last answer kept" : "not yet",
                     enumerated(localization.objects), whyNot(localization), moved);
}

}  // namespace geoloom::tools
