#include "tools/evaluate/EvaluationPlot.h"

#include <utility>

#include <fmt/format.h>

#include "tools/report/Drawing.h"

namespace geoloom::tools::evaluation {
namespace {

constexpr Ink RIGHT{0.25, 0.62, 0.35};
constexpr Ink SILENT{0.82, 0.82, 0.8};
constexpr Ink WRONG{0.85, 0.22, 0.2};
constexpr double ROW = 24;
constexpr double HEAD = 44;
constexpr double LEFT = 270;
constexpr double BAR = 500;
constexpr double WIDTH = 960;

void bar(Drawing& drawing, double y, double from, double to, Ink ink) {
  const double x0 = LEFT + BAR * from;
  const double x1 = LEFT + BAR * to;
  drawing.area({{x0, y}, {x1, y}, {x1, y + ROW - 6}, {x0, y + ROW - 6}}, ink, ink, 0);
}

}  // namespace

platform::PNGImage plotOf(const std::vector<ConditionResult>& results) {
  const double height = HEAD + ROW * static_cast<double>(results.size()) + 12;
  Drawing drawing(static_cast<std::size_t>(WIDTH), static_cast<std::size_t>(height), PAPER);
  double x = LEFT;
  for (const auto& [word, ink] : {std::pair{"right", RIGHT}, {"silent", SILENT}, {"wrong", WRONG}}) {
    drawing.dot({x + 6, 20}, 6, ink);
    drawing.text({x + 18, 26}, word, TEXT);
    x += 90;
  }
  double y = HEAD;
  for (const ConditionResult& result : results) {
    const double wrong = result.share([](const SessionOutcome& s) { return s.wrong; });
    const double right = result.share([](const SessionOutcome& s) { return s.localized && !s.wrong; });
    bar(drawing, y, 0, right, RIGHT);
    bar(drawing, y, right, 1 - wrong, SILENT);
    bar(drawing, y, 1 - wrong, 1, WRONG);
    drawing.text({12, y + 14}, result.condition.name, TEXT);
    const auto error = result.condition.isOtherRoom ? std::nullopt : result.lastError(0.5);
    if (error) drawing.text({LEFT + BAR + 14, y + 14}, fmt::format("median {:.1f} cm", 100 * *error), TEXT);
    y += ROW;
  }
  drawing.caption(
      "Sessions by condition. Wrong: an answer in another room, or off by over 10 cm more than predicted.");
  return drawing.finish();
}

}  // namespace geoloom::tools::evaluation
