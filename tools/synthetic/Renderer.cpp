#include "tools/synthetic/Renderer.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <numbers>
#include <unordered_map>
#include <utility>

#include <embree3/rtcore.h>

namespace geoloom::tools {
namespace {

/// Light or a colour in linear red, green and blue.
struct Light {
  float red = 0;
  float green = 0;
  float blue = 0;

  Light& operator+=(const Light& other) {
    red += other.red;
    green += other.green;
    blue += other.blue;
    return *this;
  }
  friend Light operator+(Light a, const Light& b) { return a += b; }
  friend Light operator*(float s, const Light& l) { return {s * l.red, s * l.green, s * l.blue}; }
  friend Light operator*(const Light& a, const Light& b) {
    return {a.red * b.red, a.green * b.green, a.blue * b.blue};
  }
};

struct Vec {
  float x = 0;
  float y = 0;
  float z = 0;

  friend Vec operator+(const Vec& a, const Vec& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
  friend Vec operator-(const Vec& a, const Vec& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
  friend Vec operator*(float s, const Vec& v) { return {s * v.x, s * v.y, s * v.z}; }
};

float dot(const Vec& a, const Vec& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
Vec cross(const Vec& a, const Vec& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
float length(const Vec& v) {
  return std::sqrt(dot(v, v));
}
Vec normalized(const Vec& v) {
  return (1 / length(v)) * v;
}
Vec vec(const std::array<float, 3>& a) {
  return {a[0], a[1], a[2]};
}
Vec vec(const Vector& a) {
  return {static_cast<float>(a[0]), static_cast<float>(a[1]), static_cast<float>(a[2])};
}

/// Pictures hold about the square root of light.
Light linear(const Colour& c) {
  const Light l{c.red / 255, c.green / 255, c.blue / 255};
  return l * l;
}

/// What a screen shows of light: bright light is compressed, never cut off.
Colour shown(const Light& l) {
  const auto channel = [](float v) { return 255 * std::sqrt(1 - std::exp(-1.35F * v)); };
  return {channel(l.red), channel(l.green), channel(l.blue)};
}

/// Light that several threads may write, all the same value. Zero bits: not known yet.
class StoredLight {
 public:
  [[nodiscard]] bool read(Light& light) const {
    const std::uint64_t bits = bits_.load(std::memory_order_relaxed);
    const auto channel = [bits](unsigned shift) {
      return static_cast<float>(bits >> shift & mask) / unitsPerOne;
    };
    light = {channel(0), channel(21), channel(42)};
    return bits != 0;
  }
  /// Returns what will be read, which is rounded.
  Light write(const Light& light) {
    const auto channel = [](float v) {
      return static_cast<std::uint64_t>(std::clamp(v * unitsPerOne, 0.0F, static_cast<float>(mask)));
    };
    bits_.store(known | channel(light.red) | channel(light.green) << 21U | channel(light.blue) << 42U,
                std::memory_order_relaxed);
    Light rounded;
    (void)read(rounded);
    return rounded;
  }

 private:
  static constexpr std::uint64_t mask = (1U << 21U) - 1;
  static constexpr std::uint64_t known = std::uint64_t{1} << 63U;
  static constexpr float unitsPerOne = 65536;
  std::atomic<std::uint64_t> bits_{0};
};

/// Points of the unit square, evenly spread.
std::array<float, 2> hammersley(unsigned i, unsigned count) {
  unsigned bits = i;
  unsigned reversed = 0;
  for (int b = 0; b < 32; ++b, bits >>= 1U) reversed = reversed << 1U | (bits & 1U);
  return {(static_cast<float>(i) + 0.5F) / static_cast<float>(count),
          static_cast<float>(reversed >> 8U) / 16777216.0F};
}

struct Hit {
  std::uint32_t triangle = 0;
  float u = 0;  ///< share of the second corner
  float v = 0;  ///< share of the third
  float distance = 0;
};

/// Where a pixel's ray ended, as far as its neighbours must agree for the pixel to need no second look.
struct Seen {
  Light light;
  Vec normal;
  float distance = 0;
  std::uint32_t material = std::numeric_limits<std::uint32_t>::max() / 2;
};

}  // namespace

struct Renderer::World {
  World(const Mesh& mesh, const std::vector<Lamp>& lamps);
  ~World() {
    rtcReleaseScene(scene_);
    rtcReleaseDevice(device_);
  }
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  /// What is seen along a ray.
  [[nodiscard]] Seen look(const Vec& origin, const Vec& direction, float pixelAngle) const;

  /// Light that reaches a small surface in the room.
  [[nodiscard]] Light lightAround(const Vec& place, const Vec& normal) const {
    return directAt(place, normal) + bouncedAt(place, normal);
  }

 private:
  friend Guest;
  struct Triangle {
    std::uint32_t firstPoint = 0;  ///< of its net; unused when it has but its corners
    std::uint32_t divisions = 1;   ///< of each edge
    float texelsPerMetre = 0;      ///< divided by the texture's width
  };
  /// A point of the light net: a place on a triangle.
  struct NetPoint {
    std::uint32_t triangle;
    float u;
    float v;
  };

  void orderTriangles();
  void attach(std::size_t first, std::size_t count, bool hasHoles);
  void makeNets();

  [[nodiscard]] const Material& materialOf(std::uint32_t triangle) const {
    return mesh_.materials[mesh_.materialOf[triangle]];
  }
  [[nodiscard]] Vec corner(std::uint32_t triangle, std::size_t i) const {
    return vec(mesh_.positions[3 * std::size_t{triangle} + i]);
  }
  [[nodiscard]] Vec faceNormal(std::uint32_t triangle) const {
    const Vec a = corner(triangle, 0);
    return normalized(cross(corner(triangle, 1) - a, corner(triangle, 2) - a));
  }
  [[nodiscard]] Vec smoothNormal(std::uint32_t triangle, float u, float v) const {
    const auto* n = &mesh_.normals[3 * std::size_t{triangle}];
    return normalized((1 - u - v) * vec(n[0]) + u * vec(n[1]) + v * vec(n[2]));
  }
  /// The surface's colour and opacity; the footprint is that of texture look-ups, in metres.
  [[nodiscard]] Light surface(std::uint32_t triangle, float u, float v, float footprint,
                              float& opacity) const;

  [[nodiscard]] bool trace(const Vec& origin, const Vec& direction, RTCIntersectContextFlags flags,
                           Hit& hit) const;
  [[nodiscard]] bool isBlocked(const Vec& from, const Vec& to) const;

  /// Light on a side of a surface (0: the side its corners run round counterclockwise), interpolated.
  enum class Kind { direct, whole };
  [[nodiscard]] Light lightAt(Kind kind, std::uint32_t triangle, unsigned side, float u, float v) const;
  [[nodiscard]] Light lightOf(Kind kind, std::uint32_t point, const NetPoint& where, unsigned side) const;
  [[nodiscard]] Light directAt(const Vec& place, const Vec& normal) const;
  [[nodiscard]] Light bouncedAt(const Vec& place, const Vec& normal) const;

  static void cutHoles(const RTCFilterFunctionNArguments* arguments);

  const Mesh mesh_;
  const std::vector<Lamp> lamps_;
  RTCDevice device_;
  RTCScene scene_;
  std::vector<std::uint32_t> order_;  ///< triangles without holes, then those that may have them
  std::size_t solid_ = 0;
  std::vector<Triangle> triangles_;
  std::vector<std::uint32_t> cornerPoints_;  ///< three a triangle, for those without a net
  std::vector<std::uint32_t> cornerOwners_;  ///< for each such point, whose corner it is
  mutable std::vector<StoredLight> direct_;  ///< two sides a point
  mutable std::vector<StoredLight> whole_;
};

Renderer::World::World(const Mesh& mesh, const std::vector<Lamp>& lamps)
    : mesh_(mesh), lamps_(lamps), device_(rtcNewDevice("threads=1")), scene_(rtcNewScene(device_)) {
  orderTriangles();
  makeNets();
  attach(0, solid_, false);
  attach(solid_, order_.size() - solid_, true);
  rtcCommitScene(scene_);
}

void Renderer::World::orderTriangles() {
  order_.resize(mesh_.triangleCount());
  for (std::uint32_t t = 0; t < order_.size(); ++t) order_[t] = t;
  const auto isSolid = [&](std::uint32_t t) {
    const Material& m = materialOf(t);
    return m.opacity > 0.98F && (m.texture == nullptr || m.texture->isOpaque());
  };
  solid_ =
      static_cast<std::size_t>(std::stable_partition(order_.begin(), order_.end(), isSolid) - order_.begin());
}

void Renderer::World::attach(std::size_t first, std::size_t count, bool hasHoles) {
  const RTCGeometry geometry = rtcNewGeometry(device_, RTC_GEOMETRY_TYPE_TRIANGLE);
  if (count > 0) {
    auto* vertices = static_cast<float*>(rtcSetNewGeometryBuffer(
        geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 3 * sizeof(float), 3 * count));
    auto* indices = static_cast<unsigned*>(rtcSetNewGeometryBuffer(
        geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(unsigned), count));
    for (std::size_t i = 0; i < 3 * count; ++i) {
      const auto& p = mesh_.positions[3 * std::size_t{order_[first + i / 3]} + i % 3];
      std::copy(p.begin(), p.end(), vertices + 3 * i);
      indices[i] = static_cast<unsigned>(i);
    }
  }
  if (hasHoles) {
    rtcSetGeometryUserData(geometry, this);
    rtcSetGeometryIntersectFilterFunction(geometry, cutHoles);
    rtcSetGeometryOccludedFilterFunction(geometry, cutHoles);
  }
  rtcCommitGeometry(geometry);
  rtcAttachGeometryByID(scene_, geometry, hasHoles ? 1 : 0);
  rtcReleaseGeometry(geometry);
}

void Renderer::World::cutHoles(const RTCFilterFunctionNArguments* arguments) {
  const auto& world = *static_cast<const World*>(arguments->geometryUserPtr);
  for (unsigned i = 0; i < arguments->N; ++i) {
    if (arguments->valid[i] != -1) continue;
    const std::uint32_t triangle =
        world.order_[world.solid_ + RTCHitN_primID(arguments->hit, arguments->N, i)];
    float opacity = 1;
    (void)world.surface(triangle, RTCHitN_u(arguments->hit, arguments->N, i),
                        RTCHitN_v(arguments->hit, arguments->N, i), 0, opacity);
    if (opacity < 0.5F) arguments->valid[i] = 0;
  }
}

/// Large triangles get a net of points; the corners of small ones are shared with their neighbours'.
void Renderer::World::makeNets() {
  constexpr float mesh = 0.06F;
  constexpr float most = 160;
  struct Key {
    std::array<int, 6> rounded;
    bool operator==(const Key&) const = default;
  };
  struct Hash {
    std::size_t operator()(const Key& key) const {
      std::size_t hash = 0;
      for (const int v : key.rounded) hash = hash * 1000003U ^ static_cast<std::size_t>(v);
      return hash;
    }
  };
  std::unordered_map<Key, std::uint32_t, Hash> shared;
  triangles_.resize(mesh_.triangleCount());
  cornerPoints_.resize(3 * triangles_.size());
  for (std::uint32_t t = 0; t < triangles_.size(); ++t) {
    Triangle& triangle = triangles_[t];
    const Vec a = corner(t, 0);
    const Vec b = corner(t, 1);
    const Vec c = corner(t, 2);
    const float longest = std::max({length(b - a), length(c - b), length(a - c)});
    triangle.divisions = static_cast<std::uint32_t>(std::clamp(std::ceil(longest / mesh), 1.0F, most));
    const auto* uv = &mesh_.uvs[3 * std::size_t{t}];
    const float uvArea = std::abs((uv[1][0] - uv[0][0]) * (uv[2][1] - uv[0][1]) -
                                  (uv[2][0] - uv[0][0]) * (uv[1][1] - uv[0][1]));
    triangle.texelsPerMetre = std::sqrt(uvArea / std::max(1e-12F, length(cross(b - a, c - a))));
    if (triangle.divisions > 1) continue;
    for (std::uint32_t i = 3 * t; i < 3 * t + 3; ++i) {
      Key key{};
      for (std::size_t axis = 0; axis < 3; ++axis) {
        key.rounded[axis] = static_cast<int>(std::lround(2000 * mesh_.positions[i][axis]));
        key.rounded[3 + axis] = static_cast<int>(std::lround(8 * mesh_.normals[i][axis]));
      }
      const auto [found, isNew] = shared.emplace(key, static_cast<std::uint32_t>(cornerOwners_.size()));
      if (isNew) cornerOwners_.push_back(i);
      cornerPoints_[i] = found->second;
    }
  }
  std::size_t points = cornerOwners_.size();
  for (Triangle& triangle : triangles_) {
    if (triangle.divisions == 1) continue;
    triangle.firstPoint = static_cast<std::uint32_t>(points);
    points += std::size_t{triangle.divisions + 1} * (triangle.divisions + 2) / 2;
  }
  direct_ = std::vector<StoredLight>(2 * points);
  whole_ = std::vector<StoredLight>(2 * points);
}

Light Renderer::World::surface(std::uint32_t triangle, float u, float v, float footprint,
                               float& opacity) const {
  const Material& material = materialOf(triangle);
  opacity = material.opacity;
  Light colour = linear(material.colour);
  if (material.texture == nullptr) return colour;
  const auto* uv = &mesh_.uvs[3 * std::size_t{triangle}];
  const auto at = [&](std::size_t i) { return (1 - u - v) * uv[0][i] + u * uv[1][i] + v * uv[2][i]; };
  const float texels = footprint * triangles_[triangle].texelsPerMetre *
                       std::max(material.texture->width(), material.texture->height());
  const Colour texel = material.texture->sample(at(0), at(1), texels);
  opacity *= texel.alpha / 255;
  return colour * linear(texel);
}

bool Renderer::World::trace(const Vec& origin, const Vec& direction, RTCIntersectContextFlags flags,
                            Hit& hit) const {
  RTCIntersectContext context;
  rtcInitIntersectContext(&context);
  context.flags = flags;
  RTCRayHit ray{};
  ray.ray = {origin.x,    origin.y,    origin.z,
             0.0F,        direction.x, direction.y,
             direction.z, 0.0F,        std::numeric_limits<float>::infinity(),
             ~0U,         0,           0};
  ray.hit.geomID = RTC_INVALID_GEOMETRY_ID;
  rtcIntersect1(scene_, &context, &ray);
  if (ray.hit.geomID == RTC_INVALID_GEOMETRY_ID) return false;
  hit = {order_[(ray.hit.geomID == 1 ? solid_ : 0) + ray.hit.primID], ray.hit.u, ray.hit.v, ray.ray.tfar};
  return true;
}

bool Renderer::World::isBlocked(const Vec& from, const Vec& to) const {
  const Vec way = to - from;
  RTCIntersectContext context;
  rtcInitIntersectContext(&context);
  RTCRay ray{from.x, from.y, from.z, 0.0F, way.x, way.y, way.z, 0.0F, 0.98F, ~0U, 0, 0};
  rtcOccluded1(scene_, &context, &ray);
  return ray.tfar < 0;
}

/// Light from the lamps, as a share of that on a surface lit by radiance 1 from all sides.
Light Renderer::World::directAt(const Vec& place, const Vec& normal) const {
  constexpr int strata = 5;
  constexpr float nearest = 0.15F;  // square metres; closer the few samples would show as spots
  Light sum;
  for (const Lamp& lamp : lamps_) {
    const Vec right = vec(lamp.right);
    const Vec down = vec(lamp.down);
    const Vec area = cross(down, right);
    for (int i = 0; i < strata * strata; ++i) {
      const float s = (static_cast<float>(i % strata) + 0.5F) / strata;  // NOLINT(bugprone-integer-division)
      const float t = (static_cast<float>(i / strata) + 0.5F) / strata;  // NOLINT(bugprone-integer-division)
      const Vec target = vec(lamp.corner) + s * right + t * down;
      const Vec way = target - place;
      const float squared = dot(way, way);
      const float cosines = dot(normal, way) * -dot(area, way) / std::max(squared, nearest);
      if (dot(normal, way) <= 0 || cosines <= 0 || isBlocked(place, target)) continue;
      const float share =
          cosines / std::max(squared, nearest) / (std::numbers::pi_v<float> * strata * strata);
      const Vec radiance = vec(lamp.radiance);
      sum += share * Light{radiance.x, radiance.y, radiance.z};
    }
  }
  return sum;
}

/// Light that other surfaces give back, of what reaches them directly and of a little that is everywhere.
Light Renderer::World::bouncedAt(const Vec& place, const Vec& normal) const {
  constexpr unsigned rays = 64;
  constexpr Light everywhere{0.2F, 0.19F, 0.18F};
  const Vec aside =
      normalized(std::abs(normal.x) < 0.7F ? cross(normal, {1, 0, 0}) : cross(normal, {0, 1, 0}));
  const Vec third = cross(normal, aside);
  Light sum;
  for (unsigned i = 0; i < rays; ++i) {
    const auto [s, t] = hammersley(i, rays);
    const float radius = std::sqrt(s);
    const float angle = 2 * std::numbers::pi_v<float> * t;
    const Vec direction = radius * std::cos(angle) * aside + radius * std::sin(angle) * third +
                          std::sqrt(std::max(0.0F, 1 - s)) * normal;
    Hit hit;
    if (!trace(place, direction, RTC_INTERSECT_CONTEXT_FLAG_INCOHERENT, hit)) continue;
    const unsigned side = dot(faceNormal(hit.triangle), direction) > 0 ? 1 : 0;
    float opacity = 1;
    const Light colour = surface(hit.triangle, hit.u, hit.v, 0.1F, opacity);
    const Light there = lightAt(Kind::direct, hit.triangle, side, hit.u, hit.v);
    sum += (1.0F / rays) * (colour * (there + everywhere));
  }
  return sum;
}

Light Renderer::World::lightOf(Kind kind, std::uint32_t point, const NetPoint& where, unsigned side) const {
  StoredLight& direct = direct_[2 * std::size_t{point} + side];
  StoredLight& whole = whole_[2 * std::size_t{point} + side];
  Light light;
  if ((kind == Kind::direct ? direct : whole).read(light)) return light;
  // A little off the edges and the surface, where neighbours would hide everything.
  constexpr float inwards = 0.03F;
  constexpr float off = 0.002F;
  const float u = where.u + inwards * (1.0F / 3 - where.u);
  const float v = where.v + inwards * (1.0F / 3 - where.v);
  const float sign = side == 0 ? 1.0F : -1.0F;
  const Vec face = sign * faceNormal(where.triangle);
  Vec normal = smoothNormal(where.triangle, where.u, where.v);
  if (dot(normal, face) < 0) normal = -1.0F * normal;
  const Vec place = (1 - u - v) * corner(where.triangle, 0) + u * corner(where.triangle, 1) +
                    v * corner(where.triangle, 2) + off * face;
  if (!direct.read(light)) light = direct.write(directAt(place, normal));
  if (kind == Kind::direct) return light;
  return whole.write(light + bouncedAt(place, normal));
}

Light Renderer::World::lightAt(Kind kind, std::uint32_t t, unsigned side, float u, float v) const {
  const Triangle& triangle = triangles_[t];
  const std::uint32_t n = triangle.divisions;
  if (n == 1) {
    const auto of = [&](std::uint32_t i) {
      const std::uint32_t point = cornerPoints_[3 * t + i];
      const std::uint32_t owner = cornerOwners_[point];
      // The owner's side that looks the same way.
      const bool isSame = dot(faceNormal(owner / 3), faceNormal(t)) > 0;
      return lightOf(kind, point, {owner / 3, owner % 3 == 1 ? 1.0F : 0.0F, owner % 3 == 2 ? 1.0F : 0.0F},
                     isSame ? side : 1 - side);
    };
    return (1 - u - v) * of(0) + u * of(1) + v * of(2);
  }
  const float a = u * static_cast<float>(n);
  const float b = v * static_cast<float>(n);
  const auto j = std::min(static_cast<std::uint32_t>(std::max(b, 0.0F)), n - 1);
  const auto i = std::min(static_cast<std::uint32_t>(std::max(a, 0.0F)), n - 1 - j);
  const float fa = a - static_cast<float>(i);
  const float fb = b - static_cast<float>(j);
  const auto of = [&](std::uint32_t column, std::uint32_t row) {
    const std::uint32_t before = row * (n + 1) - (row * row - row) / 2;
    const auto share = [n](std::uint32_t k) { return static_cast<float>(k) / static_cast<float>(n); };
    return lightOf(kind, triangle.firstPoint + before + column, {t, share(column), share(row)}, side);
  };
  if (fa + fb <= 1 || i + j + 2 > n) return (1 - fa - fb) * of(i, j) + fa * of(i + 1, j) + fb * of(i, j + 1);
  return (fa + fb - 1) * of(i + 1, j + 1) + (1 - fa) * of(i, j + 1) + (1 - fb) * of(i + 1, j);
}

Seen Renderer::World::look(const Vec& origin, const Vec& direction, float pixelAngle) const {
  Seen seen;
  Vec from = origin;
  float travelled = 0;
  float through = 1;  // what is still to be seen behind glass
  constexpr int layers = 4;
  for (int layer = 0; layer < layers && through > 0.02F; ++layer) {
    Hit hit;
    if (!trace(from, direction, RTC_INTERSECT_CONTEXT_FLAG_COHERENT, hit)) break;
    travelled += hit.distance;
    const Vec face = faceNormal(hit.triangle);
    const float facing = dot(face, direction);
    const unsigned side = facing > 0 ? 1 : 0;
    const float footprint = pixelAngle * travelled / std::max(0.25F, std::abs(facing));
    float opacity = 1;
    const Light colour = surface(hit.triangle, hit.u, hit.v, footprint, opacity);
    opacity = materialOf(hit.triangle).opacity < 0.98F ? opacity : 1;  // holes are cut already
    const Light light = materialOf(hit.triangle).glow > 0
                            ? materialOf(hit.triangle).glow * colour
                            : colour * lightAt(Kind::whole, hit.triangle, side, hit.u, hit.v);
    seen.light += (through * opacity) * light;
    if (seen.distance <= 0 && (opacity > 0.5F || layer + 1 == layers)) {
      seen.distance = travelled;
      seen.normal = smoothNormal(hit.triangle, hit.u, hit.v);
      seen.material = mesh_.materialOf[hit.triangle];
    }
    through *= 1 - opacity;
    constexpr float step = 1e-4F;
    from = from + (hit.distance + step) * direction;
    travelled += step;
  }
  return seen;
}

/// A moving thing in one picture, lit as a small cube at its middle would be.
class Renderer::Guest {
 public:
  Guest(const Moving& moving, const World& room)
      : world_(*moving.thing->world_),
        at_(vec(moving.at)),
        cosine_(static_cast<float>(std::cos((moving.facing + 90) * std::numbers::pi / 180))),
        sine_(static_cast<float>(std::sin((moving.facing + 90) * std::numbers::pi / 180))) {
    constexpr float middle = 1;  // metres above its feet
    const Vec place = at_ + Vec{0, 0, middle};
    for (const float sign : {1.0F, -1.0F}) {
      for (const Vec& axis : {Vec{sign, 0, 0}, Vec{0, sign, 0}, Vec{0, 0, sign}})
        light_.push_back(room.lightAround(place, axis));
    }
  }

  /// Covers what is behind the thing, and darkens what is under it.
  void cover(Seen& seen, const Vec& origin, const Vec& direction, float pixelAngle) const {
    Hit hit;
    if (world_.trace(fromRoom(origin - at_), fromRoom(direction), RTC_INTERSECT_CONTEXT_FLAG_COHERENT, hit) &&
        (seen.distance <= 0 || hit.distance < seen.distance)) {
      const Vec normal = world_.smoothNormal(hit.triangle, hit.u, hit.v);
      const Vec turned{cosine_ * normal.x - sine_ * normal.y, sine_ * normal.x + cosine_ * normal.y,
                       normal.z};
      float opacity = 1;
      seen.light =
          world_.surface(hit.triangle, hit.u, hit.v, pixelAngle * hit.distance, opacity) * lightTo(turned);
      seen.normal = turned;
      seen.distance = hit.distance;
      seen.material = ~world_.mesh_.materialOf[hit.triangle];
      return;
    }
    const Vec apart = origin + seen.distance * direction - at_;
    constexpr float width = 0.05F;  // square metres
    if (std::abs(apart.z) < 0.05F)
      seen.light = (1 - 0.6F * std::exp(-(apart.x * apart.x + apart.y * apart.y) / width)) * seen.light;
  }

 private:
  [[nodiscard]] Vec fromRoom(const Vec& v) const {
    return {cosine_ * v.x + sine_ * v.y, cosine_ * v.y - sine_ * v.x, v.z};
  }
  [[nodiscard]] Light lightTo(const Vec& normal) const {
    const auto share = [&](float component, std::size_t axis) {
      return component * component * light_[component > 0 ? axis : axis + 3];
    };
    return share(normal.x, 0) + share(normal.y, 1) + share(normal.z, 2);
  }

  const World& world_;
  Vec at_;
  float cosine_;
  float sine_;
  std::vector<Light> light_;  ///< +x, +y, +z, -x, -y, -z
};

Renderer::Renderer(const Mesh& mesh, const std::vector<Lamp>& lamps)
    : world_(std::make_unique<World>(mesh, lamps)) {}

Renderer::~Renderer() = default;

Rendered Renderer::render(const Pinhole& camera, const View& view, const std::vector<Moving>& moving) const {
  const std::size_t width = camera.width;
  const std::size_t height = camera.height;
  const auto focal = static_cast<float>(camera.focal);
  std::vector<Guest> guests;
  guests.reserve(moving.size());
  for (const Moving& m : moving) guests.emplace_back(m, *world_);
  const auto look = [&](double x, double y) {
    const Vec way = static_cast<float>((x - camera.centreX) / camera.focal) * vec(view.right) +
                    static_cast<float>((y - camera.centreY) / camera.focal) * vec(view.down) +
                    vec(view.forward);
    const float stretch = length(way);
    const Vec direction = (1 / stretch) * way;
    const float pixelAngle = 1 / (focal * stretch);
    Seen seen = world_->look(vec(view.position), direction, pixelAngle);
    for (const Guest& guest : guests) guest.cover(seen, vec(view.position), direction, pixelAngle);
    seen.distance /= stretch;  // along the camera's axis
    return seen;
  };
  std::vector<Seen> seen(width * height);
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x)
      seen[y * width + x] = look(static_cast<double>(x), static_cast<double>(y));
  }

  Rendered result{{width, height, 3, {}}, {}};
  auto& samples = result.colours.samples.emplace<0>();
  samples.reserve(3 * seen.size());
  result.distance.reserve(seen.size());
  const auto differs = [&](std::size_t i, std::size_t other) {
    const Seen& a = seen[i];
    const Seen& b = seen[other];
    return a.material != b.material || dot(a.normal, b.normal) < 0.8F ||
           std::abs(a.distance - b.distance) > 0.1F * std::min(a.distance, b.distance);
  };
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      const std::size_t i = y * width + x;
      Colour colour = shown(seen[i].light);
      const bool isEdge = (x > 0 && differs(i, i - 1)) || (x + 1 < width && differs(i, i + 1)) ||
                          (y > 0 && differs(i, i - width)) || (y + 1 < height && differs(i, i + width));
      if (isEdge) {
        colour = {};
        for (const auto& [dx, dy] :
             {std::pair{-0.375, -0.125}, {0.125, -0.375}, {0.375, 0.125}, {-0.125, 0.375}}) {
          const Colour part = shown(look(static_cast<double>(x) + dx, static_cast<double>(y) + dy).light);
          colour = {colour.red + part.red / 4, colour.green + part.green / 4, colour.blue + part.blue / 4};
        }
      }
      for (const float v : {colour.red, colour.green, colour.blue})
        samples.push_back(static_cast<std::uint8_t>(std::lround(v)));
      result.distance.push_back(seen[i].distance);
    }
  }
  return result;
}

}  // namespace geoloom::tools
