#include <cmath>
#include <iterator>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/imaging/PNG.h"
#include "geoloom/recording/ARRecording.h"

#include "tests/support/Model.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/synthetic/CameraPath.h"
#include "tools/synthetic/Random.h"
#include "tools/synthetic/Renderer.h"
#include "tools/synthetic/RoomGenerator.h"
#include "tools/synthetic/SyntheticWalk.h"

namespace geoloom::tools {
namespace {

constexpr const char* smallScene = R"({
  "version": 1,
  "room": {"size": [4, 3, 2.5], "seed": 3},
  "boards": [{"name": "picture", "photo": "noise.png", "at": [0.2, 1.1, 1.2], "facing": 250, "width": 0.8}],
  "assets": [{"id": "lamp", "at": [1, 2, 0.5], "orientation": 0.25}],
  "walks": [{"name": "only", "waypoints": [
    {"at": [-0.4, -0.8, 1.3], "look": "picture"},
    {"at": [0.3, -0.7, 1.5], "look": "picture", "seconds": 1},
    {"at": [0.6, -0.5, 1.4], "look": [1, 1.2, 1], "seconds": 0.5}]}]
})";

SceneDescription scene() {
  auto parsed = parseScene(smallScene, "scene");
  EXPECT_TRUE(parsed) << (parsed ? "" : parsed.failure().message);
  return *std::move(parsed);
}

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

class SyntheticWalk : public testing::Test {
 protected:
  void SetUp() override {
    Random random(1);
    platform::PNGImage noise{96, 64, 3, std::vector<std::uint8_t>(96 * 64 * 3)};
    for (std::uint8_t& v : std::get<0>(noise.samples)) v = static_cast<std::uint8_t>(255 * random());
    ASSERT_FALSE(platform::writePNG(directory_.path() / "noise.png", noise));
    options_.sources.photos = directory_.path();
    options_.walk = "only";
    options_.framesPerSecond = 4;
    options_.width = 320;
    options_.height = 240;
  }

  base::Result<SyntheticWalkSummary> write(const char* name) {
    return writeSyntheticWalk(scene(), options_, directory_.path() / name, [](std::size_t, std::size_t) {});
  }

  geoloom::test::TemporaryDirectory directory_;
  SyntheticWalkOptions options_;
};

/// Distance from a point of the recording, y up, to the nearest surface of the small scene.
double distanceToSurface(const platform::simd_float3& p) {
  const Vector q{p.x, -p.z, p.y};  // z up
  double nearest = std::min({std::abs(q[2]), std::abs(q[2] - 2.5), std::abs(q[0] - 2), std::abs(q[0] + 2),
                             std::abs(q[1] - 1.5), std::abs(q[1] + 1.5)});
  const double facing = 250.0 * std::acos(-1.0) / 180;
  const Vector fromCentre = q - Vector{0.2, 1.1, 1.2};
  const double aside = -std::sin(facing) * fromCentre[0] + std::cos(facing) * fromCentre[1];
  if (std::abs(aside) <= 0.42 && fromCentre[2] <= 0.28) {  // the board, or its foot below
    nearest =
        std::min(nearest, std::abs(std::cos(facing) * fromCentre[0] + std::sin(facing) * fromCentre[1]));
  }
  return nearest;
}

// What is drawn, the depth beside it and the poses agree with each other and with the reader's conventions
// only if every feature point of every frame lies on a surface of the described room.
TEST_F(SyntheticWalk, EveryFeaturePointOfTheRecordingLiesOnASurfaceOfTheScene) {
  const auto summary = write("walk");
  ASSERT_TRUE(summary) << summary.failure().message;
  EXPECT_EQ(summary->frames, 7U);
  const auto recording =
      ARRecording::open(directory_.path() / "walk", {ARRecordingOptions::Origin::recording});
  ASSERT_TRUE(recording) << recording.failure().message;
  ASSERT_EQ((*recording)->frameCount(), 7U);
  std::size_t onBoard = 0;
  for (std::size_t i = 0; i < 7; ++i) {
    const auto frame = (*recording)->frame(i);
    ASSERT_TRUE(frame);
    EXPECT_GT(frame->rawFeaturePoints().size(), 500U) << i;
    for (const auto& p : frame->rawFeaturePoints()) {
      ASSERT_LT(distanceToSurface(p), 0.01) << p.x << ' ' << p.y << ' ' << p.z << " in frame " << i;
      if (p.y > 1.0F && p.y < 1.4F && p.z > -1.2F && p.z < -1.0F) ++onBoard;
    }
    // The camera stands within a hand's breadth of the described way, at the described height.
    EXPECT_NEAR(frame->camera().transform().columns[3].y, 1.4, 0.15);
  }
  EXPECT_GT(onBoard, 300U);
  EXPECT_THAT((*recording)->problems(), testing::IsEmpty());
}

TEST_F(SyntheticWalk, TheCentreOfTheBoardIsSeenWhereItIsLookedAt) {
  WalkDescription still;
  still.waypoints = {{{-0.4, -0.8, 1.3}, {0.2, 1.1, 1.2}, 0}, {{-0.4, -0.8, 1.3}, {0.2, 1.1, 1.2}, 1}};
  const View view = CameraPath(still, 5).at(0.5);
  const Vector toBoard = Vector{0.2, 1.1, 1.2} - view.position;
  // A trembling hand: near the middle of the picture, never exactly there.
  EXPECT_NEAR(dot(toBoard, view.right) / dot(toBoard, view.forward), 0, 0.05);
  EXPECT_NEAR(dot(toBoard, view.down) / dot(toBoard, view.forward), 0, 0.05);
  EXPECT_NE(dot(toBoard, view.right), 0);
}

TEST_F(SyntheticWalk, TheSeedAloneDecidesHowTheHandTrembles) {
  options_.frames = 2;
  ASSERT_TRUE(write("a"));
  ASSERT_TRUE(write("b"));
  options_.seed = 2;
  ASSERT_TRUE(write("c"));
  const auto file = [&](const char* walk, const char* name) {
    return contentOf(directory_.path() / walk / name);
  };
  for (const char* name : {"groundtruth.txt", "rgb/0001.250000.png", "depth/0001.250000.png"}) {
    EXPECT_FALSE(file("a", name).empty()) << name;
    EXPECT_EQ(file("a", name), file("b", name)) << name;
    EXPECT_NE(file("a", name), file("c", name)) << name;
  }
  EXPECT_EQ(file("a", "truth.json"), file("c", "truth.json"));
  EXPECT_THAT(file("a", "truth.json"), testing::HasSubstr(R"("id": "lamp",
      "x": 1.0,
      "y": 0.5,
      "z": -2.0,
      "orientation": 0.25)"));
}

TEST_F(SyntheticWalk, WhatCannotBeDoneIsSaidInOneLine) {
  using testing::HasSubstr;
  options_.walk = "other";
  EXPECT_THAT(write("walk").failure().message, HasSubstr("no walk \"other\"; the scene has: only"));
  options_.walk = "only";
  EXPECT_THAT(write(".").failure().message, HasSubstr("is not empty"));
  options_.sources.photos = directory_.path() / "nowhere";
  EXPECT_THAT(write("walk").failure().message, HasSubstr("noise.png"));
}

/// A surface that shows its colour in any light.
Material glowing(Texture texture) {
  Material material{{255, 255, 255}};
  material.texture = std::make_shared<const Texture>(std::move(texture));
  material.glow = 1;
  return material;
}

/// Looking along +y from the origin.
constexpr View ahead{{0, 0, 0}, {1, 0, 0}, {0, 0, -1}, {0, 1, 0}};

TEST(Renderer, DrawsTheNearerOfTwoAndTheirDepth) {
  const auto plain = [](float v) { return glowing(Texture({{v, v, v}}, 1)); };
  Mesh mesh;  // a wall at 2 m, before its left half a smaller one at 1 m
  mesh.addQuad({-3, 2, 3}, {6, 0, 0}, {0, 0, -6}, plain(200));
  mesh.addQuad({-1, 1, 0.2}, {1, 0, 0}, {0, 0, -0.4}, plain(50));
  const Rendered r = Renderer(mesh, {}).render({64, 48, 50, 31.5, 23.5}, ahead);
  const auto at = [&](std::size_t x, std::size_t y) {
    return std::pair((*r.colours.samples8())[(y * 64 + x) * 3] > 100,
                     std::round(r.distance[y * 64 + x] * 100) / 100);
  };
  EXPECT_EQ(at(10, 24), (std::pair(false, 1.0F)));
  EXPECT_EQ(at(50, 24), (std::pair(true, 2.0F)));
  EXPECT_EQ(at(10, 4), (std::pair(true, 2.0F)));
}

TEST(Renderer, AMovingThingCoversWhatIsBehindIt) {
  Mesh wall;
  wall.addQuad({-3, 2, 3}, {6, 0, 0}, {0, 0, -6}, glowing(Texture({{200, 200, 200}}, 1)));
  Mesh plate;  // its front looks along -y
  plate.addQuad({-0.2, 0, 0.2}, {0.4, 0, 0}, {0, 0, -0.4}, Material{{200, 200, 200}});
  const Renderer thing(plate, {});
  // Turned to the right, before the right half of the wall: seen from its edge on.
  for (const auto& [facing, depth] : {std::pair(-90.0, 1.0F), {0.0, 2.0F}}) {
    const Rendered r =
        Renderer(wall, {}).render({64, 48, 50, 31.5, 23.5}, ahead, {{&thing, {0.25, 1, 0}, facing}});
    EXPECT_EQ(std::round(r.distance[24 * 64 + 48] * 100) / 100, depth) << facing;
    EXPECT_EQ(std::round(r.distance[24 * 64 + 20] * 100) / 100, 2.0F) << facing;
  }
}

TEST(Renderer, TexturesKeepTheirPlaceInPerspective) {
  // Black left half, white right half: on a board that recedes the border stands where its middle projects.
  std::vector<Colour> halves;
  for (int i = 0; i < 64 * 64; ++i) halves.push_back(i % 64 < 32 ? Colour{0, 0, 0} : Colour{255, 255, 255});
  Mesh mesh;
  mesh.addQuad({-1, 1, 1}, {2, 2, 0}, {0, 0, -2}, glowing({std::move(halves), 64}));
  const Rendered r = Renderer(mesh, {}).render({201, 101, 100, 100, 50}, ahead);
  const auto gray = [&](std::size_t x) { return (*r.colours.samples8())[(50 * 201 + x) * 3]; };
  EXPECT_EQ(gray(20), 0);
  EXPECT_LT(gray(96), 80);  // the middle, (0, 2, 0), projects to column 100
  EXPECT_GT(gray(104), 180);
  EXPECT_GT(gray(130), 200);
  EXPECT_EQ(gray(140), 0);  // past the far edge at (1, 3, 0), column 133
}

TEST(Renderer, ThingsThrowSoftShadowsAndGlassDoesNotHide) {
  Mesh mesh;  // a floor under a lamp, between them a plate; before all a pane
  mesh.addQuad({-3, 6, -1}, {6, 0, 0}, {0, -6, 0}, Material{{200, 200, 200}});
  mesh.addQuad({-0.5, 3.5, 0}, {1, 0, 0}, {0, -1, 0}, Material{{200, 200, 200}});
  Material glass{{255, 255, 255}};
  glass.opacity = 0.1F;
  mesh.addQuad({-3, 0.5, 3}, {6, 0, 0}, {0, 0, -6}, glass);
  const Lamp lamp{{-0.5, 2.5, 1.5}, {1, 0, 0}, {0, 1, 0}, {6, 6, 6}};
  const Rendered r = Renderer(mesh, {lamp}).render({129, 97, 64, 64, 32}, ahead);
  const auto gray = [&](double x, double y) {  // of the floor
    const auto column = static_cast<std::size_t>(std::lround(64 + 64 * x / y));
    const auto row = static_cast<std::size_t>(std::lround(32 + 64 / y));
    EXPECT_NEAR(r.distance[row * 129 + column], y, 0.1);
    return static_cast<int>((*r.colours.samples8())[(row * 129 + column) * 3]);
  };
  const int under = gray(0, 3);
  const int penumbra = gray(0.6, 3);
  EXPECT_LT(under + 10, penumbra);
  EXPECT_LT(penumbra + 5, gray(0.9, 3));
}

std::filesystem::path furnitureFolder() {
  return geoloom::test::photographs().parent_path() / "furniture";
}

// The image's depth, the truth's box and the frame of the walk agree: the camera looks at a turned
// refrigerator, and what it sees in the middle of its picture lies within the box.
TEST_F(SyntheticWalk, FurnitureStandsWhereTheTruthSays) {
  const auto scene = parseScene(R"({
    "version": 1, "room": {"size": [5, 5, 2.5]}, "assets": [],
    "windows": [{"wall": "south", "width": 1.5, "sill": 0.9, "height": 1.2}],
    "furniture": [{"name": "fridge", "class": "refrigerator", "model": "Kator Legaz#fridge", "at": [1, 1.4, 0], "facing": 230},
                  {"name": "gone", "class": "cup", "model": "Scopia#cup", "at": [0, 0, 0]}],
    "walks": [{"name": "only", "frame": {"turn": 40, "shift": [1, -2, 0.5]}, "changes": [{"name": "gone"}],
      "waypoints": [{"at": [-0.6, -0.4, 1.2], "look": [1, 1.4, 0.9]}, {"at": [-0.5, -0.5, 1.3], "look": [1, 1.4, 0.9], "seconds": 1}]}]
  })",
                                "scene");
  ASSERT_TRUE(scene) << scene.failure().message;
  options_.sources.furniture = furnitureFolder();
  options_.frames = 1;
  const auto walk =
      writeSyntheticWalk(*scene, options_, directory_.path() / "walk", [](std::size_t, std::size_t) {});
  ASSERT_TRUE(walk) << walk.failure().message;
  const auto truth = nlohmann::json::parse(contentOf(directory_.path() / "walk/truth.json"));
  ASSERT_EQ(truth["objects"].size(), 1U);
  const auto& box = truth["objects"][0];
  const auto recording =
      ARRecording::open(directory_.path() / "walk", {ARRecordingOptions::Origin::recording});
  ASSERT_TRUE(recording) << recording.failure().message;
  const auto frame = (*recording)->frame(0);
  const auto& [right, up, back, eye] = frame->camera().transform().columns;
  const double turn = box["turn"];
  std::size_t inMiddle = 0;
  std::size_t inBox = 0;
  for (const auto& p : frame->rawFeaturePoints()) {
    const auto along = [&, &e = eye](const platform::simd_float4& axis) {
      return (p.x - e.x) * axis.x + (p.y - e.y) * axis.y + (p.z - e.z) * axis.z;
    };
    if (std::hypot(along(right), along(up)) > -0.12 * along(back)) continue;
    const double x = static_cast<double>(p.x) - box["x"].get<double>();
    const double z = static_cast<double>(p.z) - box["z"].get<double>();
    const double across = std::cos(turn) * x - std::sin(turn) * z;
    const double deep = std::sin(turn) * x + std::cos(turn) * z;
    const double height = static_cast<double>(p.y) - box["y"].get<double>();
    ++inMiddle;
    const auto isWithin = [&](double v, std::size_t axis) {
      return std::abs(v) < box["size"][axis].get<double>() / 2 + 0.05;
    };
    inBox += isWithin(across, 0) && isWithin(height, 1) && isWithin(deep, 2) ? 1 : 0;
  }
  EXPECT_GT(inMiddle, 5U);
  EXPECT_GT(static_cast<double>(inBox), 0.9 * static_cast<double>(inMiddle));
}

TEST(RoomGenerator, MakesTheSamePlausibleRoomOfOneSeed) {
  const auto catalogue = FurnitureCatalogue::read(furnitureFolder());
  ASSERT_TRUE(catalogue) << catalogue.failure().message;
  for (unsigned seed = 1; seed <= 12; ++seed) {
    SCOPED_TRACE(seed);
    RoomOptions options;
    options.seed = seed;
    options.objects = 3 + seed % 10;
    options.moved = seed % 3;
    options.removed = seed % 2;
    const auto room = generateRoom(options, *catalogue);
    ASSERT_TRUE(room) << room.failure().message;
    const std::string text = toJSON(*room).dump();
    EXPECT_EQ(toJSON(*generateRoom(options, *catalogue)).dump(), text);
    const auto read = parseScene(text, "room");
    ASSERT_TRUE(read) << read.failure().message;
    EXPECT_EQ(toJSON(*read).dump(), text);
    EXPECT_EQ(typesIn(*room).size(), options.objects);
    ASSERT_EQ(room->walks.size(), 2U);
    EXPECT_EQ(room->walks[1].changes.size(), options.moved + options.removed);
    EXPECT_EQ(room->during(room->walks[1]).furniture.size(), room->furniture.size() - options.removed);
    for (const PlacedFurniture& thing : room->furniture) {
      EXPECT_LT(std::abs(thing.at[0]), room->room[0] / 2) << thing.name;
      EXPECT_LT(std::abs(thing.at[1]), room->room[1] / 2) << thing.name;
    }
    EXPECT_TRUE(room->walks[0].passersBy.empty());
    EXPECT_LE(room->walks[1].passersBy.size(), options.passersBy);
    for (const PasserBy& person : room->walks[1].passersBy) {
      EXPECT_LT(std::abs(person.to[0]), room->room[0] / 2);
      EXPECT_LT(std::abs(person.to[1]), room->room[1] / 2);
    }
    for (const WalkDescription& walk : room->walks) {
      const CameraPath path(walk, seed);
      EXPECT_NEAR(path.duration(), options.seconds, 5);
    }
  }
}

TEST(Scene, FlawsAreNamed) {
  const auto failure = [](std::string text, const std::string& from, const std::string& to) {
    text.replace(text.find(from), from.size(), to);
    const auto parsed = parseScene(text, "file");
    return parsed ? std::string("none") : parsed.failure().message;
  };
  EXPECT_EQ(failure(smallScene, "{", "["), "file: is not JSON");
  EXPECT_EQ(failure(smallScene, "\"version\": 1", "\"version\": 2"), "file: version must be 1");
  EXPECT_EQ(failure(smallScene, "[4, 3, 2.5]", "[4, 3]"),
            "file: room.size must be three numbers, metres along x, y and up");
  EXPECT_EQ(failure(smallScene, "\"noise.png\"", "7"), "file: boards[0].photo must be a text");
  EXPECT_EQ(failure(smallScene, "\"look\": \"picture\"", "\"look\": \"door\""),
            "file: walks[0].waypoints[0].look names no board: \"door\"");
  EXPECT_EQ(failure(smallScene, "\"seconds\": 1}", "\"seconds\": 0}"),
            "file: walks[0].waypoints[1].seconds must be above 0");
}

}  // namespace
}  // namespace geoloom::tools
