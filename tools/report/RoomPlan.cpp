#include "tools/report/RoomPlan.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>

#include "geoloom/base/ReadFile.h"

#include "tools/json/JSONMember.h"

namespace geoloom::tools {
namespace {

class Reader {
 public:
  explicit Reader(const platform::simd_float4x4& sessionFromRecording)
      : columns_(sessionFromRecording.columns) {}

  [[nodiscard]] RoomPlan read(const JSONMember& truth) const {
    RoomPlan plan;
    if (truth["room"]["walls"].isPresent()) plan.walls = points(truth["room"]["walls"]);
    if (truth["room"]["windows"].isPresent()) {
      for (const JSONMember& window : truth["room"]["windows"].list()) plan.windows.push_back(points(window));
    }
    if (truth["objects"].isPresent()) {
      for (const JSONMember& object : truth["objects"].list()) {
        if (object["size"].isPresent()) plan.things.push_back(thing(object));
      }
      std::stable_sort(plan.things.begin(), plan.things.end(), [](const auto& a, const auto& b) {
        return a.middle + a.height / 2 < b.middle + b.height / 2;
      });
    }
    return plan;
  }

 private:
  [[nodiscard]] Point moved(double x, double z) const {
    const auto at = [&](float a, float b, float c) {
      return static_cast<double>(a) * x + static_cast<double>(b) * z + static_cast<double>(c);
    };
    return {at(columns_[0].x, columns_[2].x, columns_[3].x), at(columns_[0].z, columns_[2].z, columns_[3].z)};
  }

  [[nodiscard]] std::vector<Point> points(const JSONMember& list) const {
    std::vector<Point> result;
    for (const JSONMember& point : list.list()) {
      const std::vector<JSONMember> xz = point.list();
      if (xz.size() != 2) throw MalformedJSON(point.path() + " must be two numbers, x and z");
      result.push_back(moved(xz[0].number(), xz[1].number()));
    }
    return result;
  }

  [[nodiscard]] RoomPlan::Thing thing(const JSONMember& object) const {
    const std::vector<JSONMember> size = object["size"].list();
    if (size.size() != 3) throw MalformedJSON(object["size"].path() + " must be width, height and depth");
    const double halfWidth = size[0].number() / 2;
    const double halfDepth = size[2].number() / 2;
    const double c = std::cos(object["turn"].number(0));
    const double s = std::sin(object["turn"].number(0));
    RoomPlan::Thing thing;
    thing.name = object["name"].string();
    if (object["class"].isPresent()) thing.type = object["class"].string();
    thing.middle = object["y"].number() + static_cast<double>(columns_[3].y);
    thing.height = size[1].number();
    for (const auto& [right, back] : {std::pair{-1, -1}, {1, -1}, {1, 1}, {-1, 1}}) {
      const double x = right * halfWidth;
      const double z = back * halfDepth;
      thing.corners.push_back(
          moved(object["x"].number() + c * x + s * z, object["z"].number() - s * x + c * z));
    }
    return thing;
  }

  std::array<platform::simd_float4, 4> columns_;
};

}  // namespace

RoomPlan roomPlanOf(const TracedRecording& recording) {
  const std::filesystem::path file = std::filesystem::path(recording.path) / "truth.json";
  const auto text = base::readFileOrPipe(file.string(), maximumJSONBytes);
  if (!text) return {};
  const auto plan = readJSON<RoomPlan>(*text, file.string(), [&](const JSONMember& truth) {
    return Reader(recording.sessionFromRecording).read(truth);
  });
  return plan ? *plan : RoomPlan{};
}

}  // namespace geoloom::tools
