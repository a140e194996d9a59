#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "localcloud/matching/Decision.h"
#include "tools/evaluate/Room.h"
#include "tools/evaluate/SimulatedWalk.h"

namespace geoloom::tools::evaluation {

/// Circumstances under which sessions are localized.
struct Condition {
  std::string name;
  Furnishing furnishing = Furnishing::furniture;
  std::size_t objects = 5;
  bool isOtherRoom = false;  ///< the session visits another room with objects of the same classes
  std::size_t moved = 0;     ///< objects that stand elsewhere than when the map was made
  std::size_t crowd = 0;     ///< further objects around, some of the same classes
  WalkConditions walk = {};
};

/// The conditions that the table lists.
[[nodiscard]] std::vector<Condition> evaluationConditions();

/// How one session went.
struct SessionOutcome {
  bool localized = false;  ///< had an answer when it ended
  bool wrong = false;  ///< some answer was off by more than 0.10 m beyond its prediction, or in another room
  double firstAnswerSeconds = 0;
  double lastError = 0;  ///< metres, of the worst asset when the session ended
  int answers = 0;       ///< rows that the session was given
  int calibrated = 0;    ///< of these, the ones off by less than their prediction, which claims 95%
};

struct ConditionResult {
  Condition condition;
  std::vector<SessionOutcome> sessions;

  [[nodiscard]] double share(const std::function<bool(const SessionOutcome&)>& test) const;
  /// Over the localized sessions; `quantile` 0.5 is the median. Nothing when there are none.
  [[nodiscard]] std::optional<double> lastError(double quantile) const;
  [[nodiscard]] std::optional<double> firstAnswerSeconds() const;
  [[nodiscard]] std::optional<double> calibrated() const;
};

struct EvaluationOptions {
  std::size_t rooms = 20;
  std::size_t sessionsPerRoom = 5;
  bool holdout = false;  ///< rooms that no constant of the matching was chosen by
  std::string only;      ///< evaluates the conditions whose name contains this
  unsigned threads = 1;
};

/// The same options give the same result.
[[nodiscard]] std::vector<ConditionResult> evaluate(const NoiseModel& noise,
                                                    const EvaluationOptions& options);

/// One line a condition, with a head.
[[nodiscard]] std::vector<std::string> tableOf(const std::vector<ConditionResult>& results);

}  // namespace geoloom::tools::evaluation
