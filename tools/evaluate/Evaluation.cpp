#include "tools/evaluate/Evaluation.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>
#include <utility>

#include <fmt/format.h>

namespace geoloom::tools::evaluation {
namespace {

using localcloud::Age;
using localcloud::Estimate;
using localcloud::Landmark;
using localcloud::Sighting;

constexpr double MATCH_DISTANCE = 0.5;
constexpr double TOLERANCE = 0.10;
constexpr double SECONDS_BETWEEN_LOOKS = 1;
constexpr std::uint64_t FIRST_TUNING_ROOM = 1;
constexpr std::uint64_t FIRST_HELD_OUT_ROOM = 1'000'001;

struct Visit {
  SimulatedWalk mapping;
  SimulatedWalk session;
  std::vector<Point> assets;  ///< in the room
  std::vector<Point> places;  ///< the same in the map's coordinates
  bool isOtherRoom = false;
};

Visit makeVisit(const NoiseModel& noise, const Condition& condition, std::uint64_t roomSeed,
                std::uint64_t session) {
  Chance ofRoom(roomSeed * 7919);
  Room room = makeRoom(noise, condition.furnishing, condition.objects, ofRoom);
  crowd(noise, room, condition.crowd, ofRoom);
  Chance chance(roomSeed * 104'729 + session * 1'299'709 + 1);
  Visit visit{.mapping = walkThrough(noise, room, {}, chance),
              .session = {},
              .assets = room.assets,
              .places = {},
              .isOtherRoom = condition.isOtherRoom};
  for (const Point& asset : room.assets) visit.places.push_back(visit.mapping.start.apply(asset));
  if (condition.isOtherRoom) room = refurnish(noise, room, condition.furnishing, chance);
  moveObjects(room, condition.moved, chance);
  visit.session = walkThrough(noise, room, condition.walk, chance);
  return visit;
}

double errorOf(const Estimate& answer, const Visit& visit, double frame) {
  double worst = 0;
  for (std::size_t i = 0; i < visit.assets.size(); ++i) {
    const Point truth = visit.session.at(visit.assets[i], frame);
    worst = std::max(worst, localcloud::distance(answer.transform.apply(visit.places[i]), truth));
  }
  return worst;
}

SessionOutcome attend(const Visit& visit, const NoiseModel& noise) {
  const std::vector<Landmark> map = localcloud::findLandmarks(visit.mapping.sightings, Age::ignored);
  SessionOutcome outcome;
  std::optional<Estimate> current;
  std::vector<Sighting> seen;
  std::size_t next = 0;
  const double last = noise.walkSeconds * noise.framesPerSecond;
  const double framesPerLook = SECONDS_BETWEEN_LOOKS * noise.framesPerSecond;
  for (int look = 0; look * framesPerLook < last; ++look) {
    const double frame = look * framesPerLook;
    const std::size_t before = seen.size();
    const auto& rows = visit.session.sightings;
    while (next < rows.size() && static_cast<double>(rows[next].frame) <= frame) seen.push_back(rows[next++]);
    if (seen.size() == before) continue;
    const auto found =
        localcloud::localize(map, localcloud::findLandmarks(seen, Age::fades), visit.places, MATCH_DISTANCE);
    if (!found.accepted()) continue;
    const Estimate& answer = found.estimate;
    if (current && !replaces(answer, *current, visit.places)) continue;
    if (!current) outcome.firstAnswerSeconds = frame / noise.framesPerSecond;
    current = answer;
    const double error = errorOf(answer, visit, frame);
    ++outcome.answers;
    if (!visit.isOtherRoom && error < answer.predictedErrorMeters) ++outcome.calibrated;
    if (visit.isOtherRoom || error > answer.predictedErrorMeters + TOLERANCE) outcome.wrong = true;
  }
  outcome.localized = current.has_value();
  if (current) outcome.lastError = errorOf(*current, visit, last - 1);
  return outcome;
}

std::optional<double> quantileOf(std::vector<double> values, double quantile) {
  if (values.empty()) return std::nullopt;
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(quantile * static_cast<double>(values.size() - 1))];
}

}  // namespace

std::vector<Condition> evaluationConditions() {
  std::vector<Condition> conditions;
  for (const Furnishing furnishing : {Furnishing::boards, Furnishing::furniture}) {
    const std::string what = furnishing == Furnishing::boards ? "boards" : "furniture";
    for (const std::size_t objects : {2U, 3U, 5U, 9U})
      conditions.push_back(
          {.name = fmt::format("{} {}", objects, what), .furnishing = furnishing, .objects = objects});
    for (const std::size_t objects : {2U, 3U, 5U, 9U})
      conditions.push_back({.name = fmt::format("other room, {} {}", objects, what),
                            .furnishing = furnishing,
                            .objects = objects,
                            .isOtherRoom = true});
    conditions.push_back(
        {.name = fmt::format("1 of 5 {} moved", what), .furnishing = furnishing, .moved = 1});
    conditions.push_back(
        {.name = fmt::format("2 of 5 {} moved", what), .furnishing = furnishing, .moved = 2});
    conditions.push_back(
        {.name = fmt::format("3 of 6 {} moved", what), .furnishing = furnishing, .objects = 6, .moved = 3});
  }
  conditions.push_back({.name = "symmetric, 4 furniture", .furnishing = Furnishing::symmetric, .objects = 4});
  conditions.push_back({.name = "symmetric, 6 furniture", .furnishing = Furnishing::symmetric, .objects = 6});
  for (const double drift : {0.25, 0.5, 1.0}) {
    conditions.push_back(
        {.name = fmt::format("5 furniture, drift {} m/min", drift), .walk = {.driftPerMinute = drift}});
    conditions.push_back({.name = fmt::format("5 boards, drift {} m/min", drift),
                          .furnishing = Furnishing::boards,
                          .walk = {.driftPerMinute = drift}});
  }
  conditions.push_back({.name = "5 furniture, 30 m away", .walk = {.originDistance = 30}});
  conditions.push_back({.name = "5 furniture, crowded", .crowd = 10});
  conditions.push_back({.name = "other room, crowded", .isOtherRoom = true, .crowd = 10});
  conditions.push_back({.name = "5 furniture, misnamed", .walk = {.misnaming = 2}});
  return conditions;
}

double ConditionResult::share(const std::function<bool(const SessionOutcome&)>& test) const {
  return static_cast<double>(std::count_if(sessions.begin(), sessions.end(), test)) /
         static_cast<double>(sessions.size());
}

std::optional<double> ConditionResult::lastError(double quantile) const {
  std::vector<double> errors;
  for (const SessionOutcome& session : sessions) {
    if (session.localized) errors.push_back(session.lastError);
  }
  return quantileOf(std::move(errors), quantile);
}

std::optional<double> ConditionResult::firstAnswerSeconds() const {
  std::vector<double> seconds;
  for (const SessionOutcome& session : sessions) {
    if (session.localized) seconds.push_back(session.firstAnswerSeconds);
  }
  return quantileOf(std::move(seconds), 0.5);
}

std::optional<double> ConditionResult::calibrated() const {
  int answers = 0;
  int calibrated = 0;
  for (const SessionOutcome& session : sessions) {
    answers += session.answers;
    calibrated += session.calibrated;
  }
  if (answers == 0) return std::nullopt;
  return static_cast<double>(calibrated) / answers;
}

std::vector<ConditionResult> evaluate(const NoiseModel& noise, const EvaluationOptions& options) {
  std::vector<ConditionResult> results;
  for (const Condition& condition : evaluationConditions())
    if (condition.name.find(options.only) != std::string::npos)
      results.push_back({condition, std::vector<SessionOutcome>(options.rooms * options.sessionsPerRoom)});
  const std::uint64_t first = options.holdout ? FIRST_HELD_OUT_ROOM : FIRST_TUNING_ROOM;
  const std::size_t ofOne = options.rooms * options.sessionsPerRoom;
  std::atomic<std::size_t> next = 0;
  const auto work = [&] {
    for (std::size_t job = next++; job < results.size() * ofOne; job = next++) {
      ConditionResult& result = results[job / ofOne];
      const std::size_t session = job % ofOne;
      const std::uint64_t room = first + session / options.sessionsPerRoom;
      result.sessions[session] = attend(makeVisit(noise, result.condition, room, session), noise);
    }
  };
  std::vector<std::thread> others;
  for (unsigned i = 1; i < options.threads; ++i) others.emplace_back(work);
  work();
  for (std::thread& other : others) other.join();
  return results;
}

std::vector<std::string> tableOf(const std::vector<ConditionResult>& results) {
  const auto text = [](const std::optional<double>& value, double factor, int digits) {
    return value ? fmt::format("{:.{}f}", *value * factor, digits) : std::string("-");
  };
  std::vector<std::string> lines = {fmt::format("{:<30} {:>9} {:>7} {:>7} {:>9} {:>9} {:>9} {:>11}",
                                                "condition", "localized", "silent", "wrong", "median m",
                                                "95% m", "first s", "calibrated")};
  for (const ConditionResult& result : results) {
    const double localized = result.share([](const SessionOutcome& s) { return s.localized; });
    const double wrong = result.share([](const SessionOutcome& s) { return s.wrong; });
    const bool isOther = result.condition.isOtherRoom;
    lines.push_back(fmt::format(
        "{:<30} {:>8.1f}% {:>6.1f}% {:>6.1f}% {:>9} {:>9} {:>9} {:>10}%", result.condition.name,
        100 * localized, 100 * (1 - localized), 100 * wrong,
        isOther ? "-" : text(result.lastError(0.5), 1, 3), isOther ? "-" : text(result.lastError(0.95), 1, 3),
        text(result.firstAnswerSeconds(), 1, 1), isOther ? "-" : text(result.calibrated(), 100, 1)));
  }
  return lines;
}

}  // namespace geoloom::tools::evaluation
