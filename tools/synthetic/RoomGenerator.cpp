#include "tools/synthetic/RoomGenerator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numbers>
#include <optional>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/synthetic/Random.h"
#include "tools/synthetic/RoomMesh.h"

namespace geoloom::tools {
namespace {

constexpr const char* tableType = "dining table";
constexpr double travelShare = 0.42;  ///< of the time that a walk has for one thing

enum class Spot { wall, floor, tableTop, atTable };

struct Kind {
  const char* type;
  Spot spot;
  std::size_t most;  ///< of them in one room
  bool isUsual;      ///< what most rooms have
  std::vector<const char*> models;
};

const std::vector<Kind>& kinds() {
  static const std::vector<Kind> all{
      {"chair",
       Spot::atTable,
       3,
       true,
       {"Blend Swap CC-0#oakChair", "Scopia#white_kitchen_chair", "Kator Legaz#dining-chair"}},
      {"cup", Spot::tableTop, 2, true, {"Kator Legaz#coffee-mug", "Scopia#cup"}},
      {"bottle", Spot::tableTop, 2, true, {"Kator Legaz#red-wine-bottle-01", "Scopia#wine_bottle"}},
      {"bowl", Spot::tableTop, 1, true, {"Kator Legaz#bowl", "Scopia#bowl"}},
      {"laptop", Spot::tableTop, 1, true, {"Blend Swap CC-BY#laptop", "Kator Legaz#apple-ibook-2001"}},
      {"cake", Spot::tableTop, 1, false, {"Scopia#birthday_cake"}},
      {"vase", Spot::tableTop, 1, true, {"Scopia#vase1", "Scopia#vase2", "Scopia#vase5"}},
      {"book", Spot::tableTop, 1, true, {"Blend Swap CC-BY#book"}},
      {"tv", Spot::tableTop, 1, true, {"Scopia#tv"}},
      {"hot dog", Spot::tableTop, 1, false, {"Blend Swap CC-0#hotDog"}},
      {"car", Spot::floor, 1, false, {"Blend Swap CC-BY#carrito-de-madera"}},
      {"fire hydrant", Spot::floor, 1, false, {"Kator Legaz#fire-hydrant"}},
      {"bed", Spot::wall, 1, false, {"Blend Swap CC-0#bedWithTexture"}},
      {"teddy bear", Spot::floor, 1, false, {"Blend Swap CC-0#teddyBear"}},
      {"suitcase", Spot::floor, 1, false, {"Blend Swap CC-BY#suitcase"}},
      {"dog", Spot::floor, 1, false, {"Blend Swap CC-BY#bulldog", "Scopia#dog"}},
      {"person", Spot::floor, 1, false, {"Reallusion#male01", "Reallusion#female01", "Reallusion#male02"}},
      {"umbrella", Spot::floor, 1, false, {"Blend Swap CC-0#umbrella"}},
      {"potted plant", Spot::wall, 2, true, {"Blend Swap CC-BY#mediumIndoorPlant", "Scopia#maceta"}},
      {"refrigerator", Spot::wall, 1, false, {"Kator Legaz#fridge", "Blend Swap CC-0#refrigerator"}},
      {"toilet", Spot::wall, 1, false, {"Blend Swap CC-0#toiletsUnit", "Blend Swap CC-BY#modernToilet"}},
      {"sink", Spot::wall, 1, false, {"Blend Swap CC-0#sinkCabinet"}},
      {"bench", Spot::wall, 1, false, {"Kator Legaz#painted-bench", "Kator Legaz#bench"}},
      {"bicycle", Spot::wall, 1, false, {"Scopia#bicycle"}},
      {"motorcycle", Spot::wall, 1, false, {"Scopia#yamaha-yzr-r6"}},
      {"couch", Spot::wall, 1, true, {"Scopia#beige_sofa_2seats", "Blend Swap CC-0#couch"}},
  };
  return all;
}

const std::vector<const char*>& tables() {
  static const std::vector<const char*> all{"Blend Swap CC-0#oakTable", "Scopia#white_kitchen_table"};
  return all;
}

const Kind* kindOf(const std::string& type) {
  const auto found =
      std::find_if(kinds().begin(), kinds().end(), [&](const Kind& k) { return k.type == type; });
  return found == kinds().end() ? nullptr : &*found;
}

double radians(double degrees) {
  return degrees * std::numbers::pi / 180;
}
double degrees(double radians) {
  return radians * 180 / std::numbers::pi;
}
double headingOf(const Vector& v) {
  return degrees(std::atan2(v[1], v[0]));
}
Vector towards(double heading) {
  return {std::cos(radians(heading)), std::sin(radians(heading)), 0};
}
double onGround(const Vector& v) {
  return std::hypot(v[0], v[1]);
}

/// What a thing takes of the floor: a rectangle around its middle, turned.
struct Footprint {
  Vector middle;
  double facing;
  double halfAcross;
  double halfDeep;
  double height;

  [[nodiscard]] double distanceTo(const Vector& p) const {
    const Vector front = towards(facing);
    const Vector d = p - middle;
    const double deep = std::abs(dot(d, front)) - halfDeep;
    const double across = std::abs(-front[1] * d[0] + front[0] * d[1]) - halfAcross;
    return std::hypot(std::max(deep, 0.0), std::max(across, 0.0)) + std::min(0.0, std::max(deep, across));
  }
  [[nodiscard]] bool overlaps(const Footprint& other, double gap) const {
    constexpr int steps = 6;  // points of the other's outline and inside
    for (int i = 0; i <= steps; ++i) {
      for (int j = 0; j <= steps; ++j) {
        if (distanceTo(other.at(2.0 * i / steps - 1, 2.0 * j / steps - 1)) < gap ||
            other.distanceTo(at(2.0 * i / steps - 1, 2.0 * j / steps - 1)) < gap)
          return true;
      }
    }
    return false;
  }
  /// The point at shares (-1 to 1) of both half lengths.
  [[nodiscard]] Vector at(double across, double deep) const {
    const Vector front = towards(facing);
    return middle + (deep * halfDeep) * front + (across * halfAcross) * Vector{-front[1], front[0], 0};
  }
};

/// Thrown inside where a room is too small for what is to stand in it.
struct Crowded {};

class Generator {
 public:
  Generator(const RoomOptions& options, const FurnitureCatalogue& catalogue, double growth)
      : options_(options), catalogue_(catalogue), random_(options.seed), growth_(growth) {
    scene_.seed = options.seed;
    scene_.isFurnished = true;
    const auto round = [](double v) { return std::round(v * 100) / 100; };
    scene_.room = {round(between(4.6, 6) + growth), round(between(4.2, 5.4) + growth),
                   round(between(2.5, 2.8))};
  }

  SceneDescription generate() {
    addWindows();
    const std::vector<std::string> types = options_.types.empty() ? chosenTypes() : options_.types;
    furnish(types);
    addDoorAndRug();
    addPictures();
    addAssets();
    addWalks();
    return std::move(scene_);
  }

 private:
  double between(double low, double high) { return low + (high - low) * static_cast<double>(random_()); }
  std::size_t below(std::size_t count) {
    return std::min(count - 1,
                    static_cast<std::size_t>(static_cast<double>(random_()) * static_cast<double>(count)));
  }
  template <class T>
  void shuffle(std::vector<T>& values) {
    for (std::size_t i = values.size(); i > 1; --i) std::swap(values[i - 1], values[below(i)]);
  }

  void addWindows() {
    const std::size_t first = below(4);
    const std::size_t count = 1 + below(2);
    for (std::size_t i = 0; i < count; ++i) {
      Window window;
      window.wall = static_cast<Wall>((first + i) % 4);
      window.width = between(1.2, 1.8);
      window.along = between(-0.8, 0.8);
      scene_.windows.push_back(window);
    }
  }

  std::vector<std::string> chosenTypes() {
    std::vector<std::string> pool;
    for (const Kind& kind : kinds()) pool.emplace_back(kind.type);
    shuffle(pool);
    std::stable_partition(pool.begin(), pool.end(), [](const std::string& t) { return kindOf(t)->isUsual; });
    const std::size_t usual = (2 * options_.objects + 2) / 3;
    std::vector<std::string> types(pool.begin(), pool.begin() + static_cast<std::ptrdiff_t>(usual));
    types.insert(types.end(), pool.rbegin(),
                 pool.rbegin() + static_cast<std::ptrdiff_t>(options_.objects - usual));
    // Now and then a second one of the same, as rooms have them.
    for (std::size_t i = 1; i < types.size(); ++i) {
      const std::string& earlier = types[below(i)];
      const auto have = static_cast<std::size_t>(std::count(types.begin(), types.end(), earlier));
      if (random_() < 0.2F && have < kindOf(earlier)->most) types[i] = earlier;
    }
    return types;
  }

  void furnish(std::vector<std::string> types) {
    const auto spotOf = [](const std::string& type) { return kindOf(type)->spot; };
    std::stable_sort(types.begin(), types.end(), [&](const std::string& a, const std::string& b) {
      return spotOf(a) < spotOf(b);  // large things at walls first
    });
    const auto onTables = static_cast<std::size_t>(std::count_if(
        types.begin(), types.end(), [&](const std::string& t) { return spotOf(t) == Spot::tableTop; }));
    const bool hasChairs = std::any_of(types.begin(), types.end(),
                                       [&](const std::string& t) { return spotOf(t) == Spot::atTable; });
    constexpr std::size_t perTable = 3;
    const std::size_t count = std::max<std::size_t>((onTables + perTable - 1) / perTable, hasChairs ? 1 : 0) +
                              static_cast<std::size_t>(growth_);  // more if things did not fit
    for (std::size_t i = 0; i < count; ++i) addTable(i);
    for (const std::string& type : types) {
      const Kind& kind = *kindOf(type);
      const auto known =
          static_cast<std::size_t>(std::count_if(scene_.furniture.begin(), scene_.furniture.end(),
                                                 [&](const PlacedFurniture& f) { return f.type == type; }));
      PlacedFurniture thing{
          fmt::format("{} {}", type, known + 1), type, kind.models[below(kind.models.size())], {}, 0};
      place(thing, kind.spot);
      scene_.furniture.push_back(thing);
    }
  }

  [[nodiscard]] Vector sizeOf(const PlacedFurniture& thing) const {
    const FurnitureModel* model = catalogue_.find(thing.model);
    if (model == nullptr) throw std::out_of_range(thing.model);
    return model->size;
  }

  [[nodiscard]] Footprint footprintOf(const PlacedFurniture& thing) const {
    const Vector size = sizeOf(thing);
    return {{thing.at[0], thing.at[1], 0}, thing.facing, size[0] / 2, size[2] / 2, thing.at[2] + size[1]};
  }

  [[nodiscard]] bool isFlat(const PlacedFurniture& thing) const { return sizeOf(thing)[1] < 0.05; }

  /// Whether a thing can stand on the floor as it is put.
  [[nodiscard]] bool fits(const PlacedFurniture& thing, double gap) const {
    const Footprint own = footprintOf(thing);
    for (const double across : {-1.0, 1.0}) {
      for (const double deep : {-1.0, 1.0}) {
        const Vector corner = own.at(across, deep);
        if (std::abs(corner[0]) > scene_.room[0] / 2 - 0.04 ||
            std::abs(corner[1]) > scene_.room[1] / 2 - 0.04)
          return false;
      }
    }
    constexpr double freeMiddle = 0.6;
    if (own.distanceTo({0, 0, 0}) < freeMiddle) return false;
    return std::none_of(scene_.furniture.begin(), scene_.furniture.end(), [&](const PlacedFurniture& other) {
      return other.name != thing.name && other.at[2] < 0.05 && !isFlat(other) &&
             own.overlaps(footprintOf(other), gap);
    });
  }

  template <class Try>
  void tryUntilFits(PlacedFurniture& thing, double gap, Try&& put) {
    constexpr int tries = 400;
    for (int i = 0; i < tries; ++i) {
      put();
      if (fits(thing, gap)) return;
    }
    throw Crowded{};
  }

  void addTable(std::size_t index) {
    PlacedFurniture table{
        fmt::format("table {}", index + 1), tableType, tables()[below(tables().size())], {}, 0};
    tryUntilFits(table, 0.3, [&] {
      // Off the middle, with room for chairs around.
      const double heading = between(-180, 180);
      table.facing = 90.0 * static_cast<double>(below(4)) + between(-12, 12);
      table.at = {std::cos(radians(heading)) * (scene_.room[0] / 2 - 1.0),
                  std::sin(radians(heading)) * (scene_.room[1] / 2 - 1.0), 0};
    });
    scene_.furniture.push_back(table);
  }

  [[nodiscard]] std::vector<PlacedFurniture> placedTables() const {
    std::vector<PlacedFurniture> found;
    for (const PlacedFurniture& f : scene_.furniture) {
      if (f.type == tableType) found.push_back(f);
    }
    return found;
  }

  void place(PlacedFurniture& thing, Spot spot) {
    switch (spot) {
      case Spot::wall:
        return placeAtWall(thing);
      case Spot::floor:
        return tryUntilFits(thing, 0.3, [&] {
          thing.at = {between(-0.5, 0.5) * (scene_.room[0] - 0.8),
                      between(-0.5, 0.5) * (scene_.room[1] - 0.8), 0};
          thing.facing = headingOf(-1 * thing.at) + between(-60, 60);
        });
      case Spot::tableTop:
        return placeOnTable(thing);
      case Spot::atTable:
        return placeAtTable(thing);
    }
  }

  /// A place on a wall, its middle if `along` is 0, and the direction into the room.
  [[nodiscard]] std::pair<Vector, Vector> onWall(std::size_t wall, double along, double height) const {
    const auto [place, right, inwards] = placeOf({static_cast<Wall>(wall), along, 0, height, 0}, scene_.room);
    return {place, inwards};
  }
  [[nodiscard]] double lengthOf(std::size_t wall) const { return scene_.room[wall % 2]; }
  [[nodiscard]] bool isBeforeWindow(std::size_t wall, double along, double width) const {
    return std::any_of(scene_.windows.begin(), scene_.windows.end(), [&](const Window& w) {
      return static_cast<std::size_t>(w.wall) == wall && std::abs(w.along - along) < (w.width + width) / 2;
    });
  }

  void placeAtWall(PlacedFurniture& thing, double gap = 0.08) {
    const Vector size = sizeOf(thing);
    tryUntilFits(thing, 0.25, [&] {
      std::size_t wall = 0;
      double along = 0;
      do {
        wall = below(4);
        along = between(-0.5, 0.5) * std::max(0.0, lengthOf(wall) - size[0] - 0.2);
      } while (size[1] > 1.2 && isBeforeWindow(wall, along, size[0]));
      const auto [place, inwards] = onWall(wall, along, 0);
      thing.at = place + (size[2] / 2 + gap) * inwards;
      thing.facing = headingOf(inwards) + (gap > 0.05 ? between(-6, 6) : 0);
    });
  }

  /// What a detector knows no name for.
  void addDoorAndRug() {
    PlacedFurniture door{"door", "", "Scopia#puerta", {}, 0};
    placeAtWall(door, 0.045);
    PlacedFurniture rug{"rug", "", "Kator Legaz#oriental-rug", {}, 90.0 * static_cast<double>(below(2))};
    scene_.furniture.insert(scene_.furniture.end(), {door, rug});
  }

  void placeOnTable(PlacedFurniture& thing) {
    std::vector<PlacedFurniture> candidates = placedTables();
    const Vector size = sizeOf(thing);
    constexpr int tries = 400;
    for (int i = 0; i < tries; ++i) {
      const PlacedFurniture& table = candidates[below(candidates.size())];
      Footprint top = footprintOf(table);
      top.halfAcross -= std::max(size[0], size[2]) / 2 + 0.03;
      top.halfDeep -= std::max(size[0], size[2]) / 2 + 0.03;
      if (top.halfAcross <= 0 || top.halfDeep <= 0) continue;
      thing.at = top.at(between(-1, 1), between(-1, 1));
      thing.at[2] = top.height;
      thing.facing = headingOf(-1 * thing.at) + between(-40, 40);
      const bool isFree =
          std::none_of(scene_.furniture.begin(), scene_.furniture.end(), [&](const PlacedFurniture& f) {
            return f.name != thing.name && f.at[2] > 0.05 &&
                   footprintOf(f).overlaps(footprintOf(thing), 0.12);
          });
      if (isFree) return;
    }
    throw Crowded{};
  }

  void placeAtTable(PlacedFurniture& thing) {
    const std::vector<PlacedFurniture> candidates = placedTables();
    const Vector size = sizeOf(thing);
    tryUntilFits(thing, -0.12, [&] {  // a seat reaches under the table
      const PlacedFurniture& table = candidates[below(candidates.size())];
      const Footprint top = footprintOf(table);
      const std::size_t side = below(4);
      const bool isFront = side % 2 == 0;
      const double sign = side < 2 ? 1 : -1;
      const double reach = (isFront ? top.halfDeep : top.halfAcross) + size[2] / 2 - 0.1;
      const double along = between(-0.5, 0.5) * (isFront ? top.halfAcross : top.halfDeep);
      const Vector front = towards(table.facing);
      const Vector aside{-front[1], front[0], 0};
      const Vector out = sign * (isFront ? front : aside);
      thing.at = top.middle + reach * out + along * (isFront ? aside : front);
      thing.facing = headingOf(-1 * out) + between(-10, 10);
    });
  }

  void addPictures() {
    std::vector<std::string> photos{"shuttle", "bulb", "pencils", "fish"};
    shuffle(photos);
    const std::size_t count = 1 + below(3);
    constexpr int tries = 40;
    for (int i = 0; i < tries && scene_.boards.size() < count; ++i) {
      const std::size_t wall = below(4);
      const double along = between(-0.4, 0.4) * lengthOf(wall);
      const auto [place, inwards] = onWall(wall, along, 1.6);
      const Vector centre = place + 0.01 * inwards;
      const bool isApart = std::none_of(scene_.boards.begin(), scene_.boards.end(),
                                        [&](const Board& b) { return onGround(b.centre - centre) < 1.5; });
      if (!isApart || isBeforeWindow(wall, along, 1) || clearance(centre, 1.2) < 0.5) continue;
      const std::string& photo = photos[scene_.boards.size()];
      scene_.boards.push_back(
          {"picture of " + photo, photo + ".png", centre, headingOf(inwards), between(0.4, 0.6), false});
    }
  }

  /// Things that a visitor would find: between the real ones, on the floor and in the air.
  void addAssets() {
    constexpr std::array<std::pair<const char*, double>, 3> names{
        {{"lantern", 0.0}, {"sign", 1.4}, {"fountain", 0.0}}};
    for (const auto& [name, height] : names) {
      Vector at{};
      constexpr int tries = 200;
      for (int i = 0; i < tries; ++i) {
        at = {between(-0.5, 0.5) * (scene_.room[0] - 1.2), between(-0.5, 0.5) * (scene_.room[1] - 1.2),
              height};
        if (clearance(at, 0) > 0.15 && isApart(at)) break;
      }
      scene_.assets.push_back({name, at, std::round(between(-3, 3) * 10) / 10});
    }
  }
  [[nodiscard]] bool isApart(const Vector& at) const {
    return std::all_of(scene_.assets.begin(), scene_.assets.end(),
                       [&](const SceneAsset& a) { return onGround(a.position - at) > 1.0; }) &&
           onGround(at) > 0.8;
  }

  /// Metres from a point to the nearest thing on the floor that is higher than `height`.
  [[nodiscard]] double clearance(const Vector& p, double height) const {
    double least = 1e9;
    for (const PlacedFurniture& f : scene_.furniture) {
      const Footprint footprint = footprintOf(f);
      if (footprint.height > height && f.at[2] < 0.05) least = std::min(least, footprint.distanceTo(p));
    }
    return least;
  }

  [[nodiscard]] bool canStand(const Vector& p) const {
    constexpr double fromWall = 0.4;
    return std::abs(p[0]) < scene_.room[0] / 2 - fromWall && std::abs(p[1]) < scene_.room[1] / 2 - fromWall &&
           clearance(p, 0.2) > 0.22;
  }
  /// Whether what is higher than `height` above the floor gets from one place to the other.
  [[nodiscard]] bool canPass(const Vector& from, const Vector& to, double height) const {
    constexpr int steps = 12;
    for (int i = 0; i <= steps; ++i) {
      const double f = static_cast<double>(i) / steps;
      if (clearance((1 - f) * from + f * to, height) < 0.3) return false;
    }
    return true;
  }

  /// A place to look at a thing from, not far from where one comes from.
  Vector standFor(const PlacedFurniture& thing, const Vector& from, double eye) {
    const Vector size = sizeOf(thing);
    const double extent = std::max({size[0], size[1], size[2]});
    const double wanted = std::clamp(0.7 + 1.1 * extent, 0.95, 2.6);
    std::optional<Vector> best;
    double least = 1e9;
    constexpr int tries = 300;
    for (int i = 0; i < tries; ++i) {
      const double distance = wanted * between(0.85, 1.35);
      const Vector p = Vector{thing.at[0], thing.at[1], 0} +
                       distance * towards(headingOf(-1 * thing.at) + between(-75, 75));
      if (!canStand(p)) continue;
      const double cost = std::abs(distance - wanted) + 0.3 * onGround(p - from) +
                          (canPass(from, p, 1.1) ? 0 : 10) + 0.5 * static_cast<double>(random_());
      if (cost >= least) continue;
      least = cost;
      best = Vector{p[0], p[1], eye};
    }
    return best.value_or(Vector{0, 0, eye});
  }

  void addWalks() {
    addWalk("first", 1, 1.45);
    addWalk("second", -1, 1.55);
    WalkDescription& second = scene_.walks.back();
    second.daylight = between(0.5, 0.8);
    second.lamplight = between(0.35, 0.6);
    second.turn = std::round(between(-180, 180));
    second.shift = {std::round(between(-3, 3) * 10) / 10, std::round(between(-3, 3) * 10) / 10, 0};
    second.driftMetres = options_.driftMetres;
    second.driftDegrees = options_.driftDegrees;
    addPassersBy(second);
  }

  /// People who go to and fro where there is nothing in their way, as far from the camera's as possible.
  void addPassersBy(WalkDescription& walk) {
    const std::vector<const char*>& models = kindOf("person")->models;
    for (std::size_t i = 0; i < options_.passersBy; ++i) {
      PasserBy best{models[below(models.size())], {}, {}, 0};
      double widest = 0.3;
      constexpr int tries = 300;
      for (int t = 0; t < tries; ++t) {
        const Vector from{between(-0.5, 0.5) * scene_.room[0], between(-0.5, 0.5) * scene_.room[1], 0};
        const Vector to{between(-0.5, 0.5) * scene_.room[0], between(-0.5, 0.5) * scene_.room[1], 0};
        const double length = onGround(to - from);
        if (length < 0.8 || !canStand(from) || !canStand(to) || !canPass(from, to, 0.1)) continue;
        double apart = 1e9;
        for (std::size_t w = 1; w < walk.waypoints.size(); ++w)
          apart = std::min(
              apart, distanceBetween(from, to, walk.waypoints[w - 1].position, walk.waypoints[w].position));
        if (apart < widest) continue;
        widest = apart;
        constexpr double metresPerSecond = 0.6;
        best = {best.model, from, to, length / metresPerSecond};
      }
      if (best.seconds > 0) walk.passersBy.push_back(best);
    }
  }

  /// Of two ways, at a few points of each.
  static double distanceBetween(const Vector& a0, const Vector& a1, const Vector& b0, const Vector& b1) {
    constexpr int steps = 5;
    double least = 1e9;
    for (int i = 0; i <= steps; ++i) {
      for (int j = 0; j <= steps; ++j) {
        const double f = static_cast<double>(i) / steps;
        const double g = static_cast<double>(j) / steps;
        least = std::min(least, onGround((1 - f) * a0 + f * a1 - ((1 - g) * b0 + g * b1)));
      }
    }
    return least;
  }

  /// Moves and removes things for the second walk, which then looks at them where they are.
  std::vector<Change> change() {
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < scene_.furniture.size(); ++i) {
      if (kindOf(scene_.furniture[i].type) != nullptr) order.push_back(i);
    }
    shuffle(order);
    std::vector<Change> changes;
    std::vector<std::string> gone;
    for (std::size_t k = 0; k < std::min(order.size(), options_.moved + options_.removed); ++k) {
      PlacedFurniture& thing = scene_.furniture[order[k]];
      if (k >= options_.moved) {
        changes.push_back({thing.name, true});
        gone.push_back(thing.name);
        continue;
      }
      const Vector before = thing.at;
      constexpr int tries = 50;
      for (int i = 0; i < tries && onGround(thing.at - before) < 0.8; ++i) {
        const Spot spot = kindOf(thing.type)->spot;
        place(thing, spot == Spot::atTable ? Spot::floor : spot);
      }
      changes.push_back({thing.name, false, thing.at, thing.facing});
    }
    std::erase_if(scene_.furniture, [&](const PlacedFurniture& f) {
      return std::find(gone.begin(), gone.end(), f.name) != gone.end();
    });
    return changes;
  }

  /// Round the room, one way or the other, from thing to thing; a quarter of them once more in the end.
  void addWalk(const char* name, int direction, double eye) {
    const std::vector<PlacedFurniture> before = scene_.furniture;
    WalkDescription walk;
    walk.name = name;
    if (direction < 0) walk.changes = change();
    std::vector<PlacedFurniture> things;
    for (const PlacedFurniture& f : scene_.furniture) {
      if (kindOf(f.type) != nullptr) things.push_back(f);
    }
    const double start = between(-180, 180);
    const auto angleOf = [&](const PlacedFurniture& f) {
      return std::remainder(direction * (headingOf(f.at) - start), 360.0);
    };
    std::sort(things.begin(), things.end(),
              [&](const auto& a, const auto& b) { return angleOf(a) < angleOf(b); });
    const std::size_t again = (things.size() + 3) / 4;
    const std::size_t first = things.size();
    for (std::size_t i = 0; i < again; ++i) things.push_back(things[i * first / again]);

    const double each =
        options_.seconds / (static_cast<double>(things.size()) - travelShare);  // the first begins there
    Vector from{0, 0, eye};
    for (const PlacedFurniture& thing : things) {
      const Vector size = sizeOf(thing);
      const Vector middle = thing.at + Vector{0, 0, size[1] * 0.55};
      const Vector stand = standFor(thing, from, eye + between(-0.06, 0.06));
      visit(walk, stand, middle, each);
      from = stand;
    }
    // The first way begins where it looks.
    walk.waypoints.front().seconds = 0;
    scene_.walks.push_back(std::move(walk));
    scene_.furniture = before;
  }

  /// There, a step to the side with the eyes on the thing, and a pause.
  void visit(WalkDescription& walk, const Vector& stand, const Vector& target, double seconds) {
    const double heading = headingOf(target - stand);
    double travel = travelShare * seconds;
    if (!walk.waypoints.empty()) {
      const Waypoint& last = walk.waypoints.back();
      const double before = headingOf(last.target - last.position);
      const double turn = std::remainder(heading - before, 360.0);
      if (std::abs(turn) > 60) {  // eyes sweep along the walls between
        const Vector middle = 0.5 * (last.position + stand);
        const Vector aim = middle + 1.6 * towards(before + turn / 2);
        walk.waypoints.push_back({middle, {aim[0], aim[1], 0.5 * (last.target[2] + target[2])}, travel / 2});
        travel /= 2;
      }
    }
    const double aside = (random_() < 0.5F ? 1 : -1) * between(0.25, 0.45);
    Vector step = stand + aside * towards(heading + 90) + between(-0.08, 0.08) * towards(heading);
    if (!canStand(step)) step = stand - aside * towards(heading + 90);
    if (!canStand(step)) step = stand + 0.12 * towards(heading + 90);
    step[2] = stand[2] + between(-0.05, 0.08);
    walk.waypoints.push_back({stand, target, travel});
    walk.waypoints.push_back({step, target, 0.4 * seconds});
    walk.waypoints.push_back({step + 0.04 * towards(heading), target, 0.18 * seconds});
  }

  const RoomOptions& options_;
  const FurnitureCatalogue& catalogue_;
  Random random_;
  double growth_;  ///< metres
  SceneDescription scene_;
};

nlohmann::ordered_json json(const Vector& v) {
  const auto round = [](double value) { return std::round(value * 1000) / 1000 + 0.0; };
  return {round(v[0]), round(v[1]), round(v[2])};
}

double rounded(double value) {
  return std::round(value * 100) / 100;
}

nlohmann::ordered_json json(const WalkDescription& walk) {
  nlohmann::ordered_json changes = nlohmann::ordered_json::array();
  for (const Change& c : walk.changes) {
    changes.push_back({{"name", c.name}});
    if (!c.isRemoved) changes.back().update({{"at", json(c.at)}, {"facing", rounded(c.facing)}});
  }
  nlohmann::ordered_json passersBy = nlohmann::ordered_json::array();
  for (const PasserBy& p : walk.passersBy)
    passersBy.push_back(
        {{"model", p.model}, {"from", json(p.from)}, {"to", json(p.to)}, {"seconds", rounded(p.seconds)}});
  nlohmann::ordered_json waypoints = nlohmann::ordered_json::array();
  for (const Waypoint& w : walk.waypoints) {
    waypoints.push_back({{"at", json(w.position)}, {"look", json(w.target)}});
    if (waypoints.size() > 1) waypoints.back()["seconds"] = std::round(w.seconds * 1000) / 1000;
  }
  return {{"name", walk.name},
          {"daylight", rounded(walk.daylight)},
          {"lamplight", rounded(walk.lamplight)},
          {"frame", {{"turn", walk.turn}, {"shift", json(walk.shift)}}},
          {"drift", {{"metres", walk.driftMetres}, {"degrees", walk.driftDegrees}}},
          {"changes", changes},
          {"passersBy", passersBy},
          {"waypoints", waypoints}};
}

}  // namespace

base::Result<SceneDescription> generateRoom(const RoomOptions& options, const FurnitureCatalogue& catalogue) {
  for (const std::string& type : options.types) {
    if (kindOf(type) == nullptr) return base::Failure{fmt::format("\"{}\": rooms hold no such thing", type)};
  }
  constexpr double step = 0.3;
  for (double growth = 0;; growth += step) {
    try {
      return Generator(options, catalogue, growth).generate();
    } catch (const Crowded&) {
      continue;
    } catch (const std::out_of_range& model) {
      return base::Failure{fmt::format("the furniture lacks the model \"{}\"", model.what())};
    }
  }
}

std::vector<std::string> typesIn(const SceneDescription& scene) {
  std::vector<std::string> types;
  for (const PlacedFurniture& f : scene.furniture) {
    if (kindOf(f.type) != nullptr) types.push_back(f.type);
  }
  return types;
}

std::vector<std::pair<std::string, std::string>> modelsByClass() {
  std::vector<std::pair<std::string, std::string>> models;
  for (const Kind& kind : kinds()) {
    for (const char* model : kind.models) models.emplace_back(kind.type, model);
  }
  for (const char* table : tables()) models.emplace_back(tableType, table);
  return models;
}

nlohmann::ordered_json toJSON(const SceneDescription& scene) {
  using nlohmann::ordered_json;
  constexpr std::array walls{"north", "east", "south", "west"};
  ordered_json result{{"version", 1}, {"room", {{"size", json(scene.room)}, {"seed", scene.seed}}}};
  for (const char* list : {"windows", "furniture", "boards", "assets", "walks"})
    result[list] = ordered_json::array();
  for (const Window& w : scene.windows) {
    result["windows"].push_back({{"wall", walls[static_cast<std::size_t>(w.wall)]},
                                 {"along", rounded(w.along)},
                                 {"width", rounded(w.width)},
                                 {"sill", rounded(w.sill)},
                                 {"height", rounded(w.height)}});
  }
  for (const PlacedFurniture& f : scene.furniture) {
    result["furniture"].push_back({{"name", f.name},
                                   {"class", f.type},
                                   {"model", f.model},
                                   {"at", json(f.at)},
                                   {"facing", rounded(f.facing)}});
  }
  for (const Board& b : scene.boards) {
    result["boards"].push_back({{"name", b.name},
                                {"photo", b.photo.string()},
                                {"at", json(b.centre)},
                                {"facing", rounded(b.facing)},
                                {"width", rounded(b.width)}});
  }
  for (const SceneAsset& a : scene.assets)
    result["assets"].push_back({{"id", a.id}, {"at", json(a.position)}, {"orientation", a.orientation}});
  for (const WalkDescription& w : scene.walks) result["walks"].push_back(json(w));
  return result;
}

}  // namespace geoloom::tools
