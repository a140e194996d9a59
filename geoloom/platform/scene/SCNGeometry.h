#pragma once

#include <string>
#include <variant>

#include "geoloom/platform/foundation/CoreGraphics.h"
#include "geoloom/platform/ui/TextAlignment.h"
#include "geoloom/platform/ui/UIColor.h"
#include "geoloom/platform/ui/UIFont.h"

namespace geoloom::platform {

/// The appearance of a surface.
struct SCNMaterial {
  UIColor diffuse = UIColor::whiteColor();
  UIColor specular = UIColor::blackColor();
  bool isDoubleSided = false;
  friend bool operator==(const SCNMaterial&, const SCNMaterial&) = default;
};

/// Sizes in metres along the node's axes: width along x, height along y, length along z.
struct SCNPyramid {
  CGFloat width = 1;
  CGFloat height = 1;
  CGFloat length = 1;
  friend bool operator==(const SCNPyramid&, const SCNPyramid&) = default;
};

struct SCNText {
  std::string string;
  CGFloat extrusionDepth = 0;  ///< metres along z
  UIFont font;
  TextAlignment alignmentMode = TextAlignment::natural;
  friend bool operator==(const SCNText&, const SCNText&) = default;
};

/// Centred, with its axis along y.
struct SCNCylinder {
  CGFloat radius = 0.5;
  CGFloat height = 1;
  friend bool operator==(const SCNCylinder&, const SCNCylinder&) = default;
};

struct SCNSphere {
  CGFloat radius = 0.5;
  friend bool operator==(const SCNSphere&, const SCNSphere&) = default;
};

/// A shape and the material of its surface. Nodes share it as an immutable value.
struct SCNGeometry {
  std::variant<SCNPyramid, SCNText, SCNCylinder, SCNSphere> shape;
  SCNMaterial firstMaterial;
  friend bool operator==(const SCNGeometry&, const SCNGeometry&) = default;
};

}  // namespace geoloom::platform
