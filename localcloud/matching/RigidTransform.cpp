#include "localcloud/matching/RigidTransform.h"

#include <cmath>

#include <fmt/format.h>

namespace geoloom::localcloud {

namespace {

Point moved(const Point& p, const Point& translation, double cosine, double sine) {
  return {translation.x + cosine * p.x + sine * p.z, translation.y + p.y,
          translation.z - sine * p.x + cosine * p.z};
}

}  // namespace

Point RigidTransform::apply(const Point& p) const {
  return moved(p, translation, std::cos(angle), std::sin(angle));
}

std::vector<Point> RigidTransform::apply(const std::vector<Point>& points) const {
  const double c = std::cos(angle);
  const double s = std::sin(angle);
  std::vector<Point> result;
  result.reserve(points.size());
  for (const Point& p : points) result.push_back(moved(p, translation, c, s));
  return result;
}

std::string RigidTransform::text() const {
  return fmt::format("{},{},{},{}", static_cast<float>(translation.x), static_cast<float>(translation.y),
                     static_cast<float>(translation.z), static_cast<float>(angle));
}

double Fit::errorVariance(const Point& p) const {
  const double radius = groundDistance(p, centroid);
  return 2 * groundVariance + heightVariance + radius * radius * angleVariance;
}

Fit fitTransform(const std::vector<LandmarkPair>& pairs) {
  double ground = 0;
  double height = 0;
  Point p;
  Point q;
  for (const LandmarkPair& pair : pairs) {
    const double w = 1 / pair.groundVariance;
    const double v = 1 / pair.heightVariance;
    ground += w;
    height += v;
    p = {p.x + w * pair.map.x, p.y + v * pair.map.y, p.z + w * pair.map.z};
    q = {q.x + w * pair.session.x, q.y + v * pair.session.y, q.z + w * pair.session.z};
  }
  p = {p.x / ground, p.y / height, p.z / ground};
  q = {q.x / ground, q.y / height, q.z / ground};

  double sine = 0;
  double cosine = 0;
  double lever = 0;
  for (const LandmarkPair& pair : pairs) {
    const double w = 1 / pair.groundVariance;
    const double px = pair.map.x - p.x;
    const double pz = pair.map.z - p.z;
    const double qx = pair.session.x - q.x;
    const double qz = pair.session.z - q.z;
    sine += w * (pz * qx - px * qz);
    cosine += w * (px * qx + pz * qz);
    lever += w * (px * px + pz * pz);
  }
  Fit fit{.transform = {.translation = {}, .angle = std::atan2(sine, cosine)},
          .centroid = p,
          .groundVariance = 1 / ground,
          .heightVariance = 1 / height,
          .angleVariance = 1 / lever};
  const Point turned = fit.transform.apply(p);
  fit.transform.translation = {q.x - turned.x, q.y - turned.y, q.z - turned.z};
  return fit;
}

}  // namespace geoloom::localcloud
