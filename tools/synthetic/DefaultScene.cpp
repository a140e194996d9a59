#include "tools/synthetic/SceneDescription.h"

namespace geoloom::tools {

// Boards stand turned against the axes, of the room and of the sessions that begin at either walk's first
// frame: the box of a flat board that is parallel to an axis has no volume and would never overlap itself
// from frame to frame. Both walks show the boards one by one and then some of them together.
std::string_view defaultScene() {
  return R"json({
  "version": 1,
  "room": {"size": [6, 5.4, 2.7], "seed": 7},
  "boards": [
    {"name": "dog", "photo": "dog.png", "at": [1.77, 0.31, 1.25], "facing": 210, "width": 0.62},
    {"name": "cat", "photo": "cat.png", "at": [1.11, 1.42, 1.25], "facing": 212, "width": 0.62},
    {"name": "car", "photo": "car.png", "at": [-0.85, 1.59, 1.25], "facing": 318, "width": 0.7},
    {"name": "parrot", "photo": "parrot.png", "at": [-1.74, 0.47, 1.25], "facing": 330, "width": 0.66},
    {"name": "astronaut", "photo": "astronaut.png", "at": [-1.2, -1.34, 1.25], "facing": 60, "width": 0.66},
    {"name": "gamepad", "photo": "gamepad.png", "at": [0.9, -1.56, 1.25], "facing": 135, "width": 0.62}
  ],
  "assets": [
    {"id": "lamp", "at": [0.9, 1.1, 0], "orientation": 0.5},
    {"id": "plant", "at": [-1.2, 0.4, 0]},
    {"id": "sign", "at": [0.3, -1.5, 1.6], "orientation": -1.2}
  ],
  "walks": [
    {"name": "first", "waypoints": [
      {"at": [0.29, -0.23, 1.37], "look": "dog"},
      {"at": [0.2, 0.32, 1.45], "look": "dog", "seconds": 1.5},
      {"at": [0.37, 0.02, 1.37], "look": "cat", "seconds": 1.2},
      {"at": [-0.07, 0.37, 1.45], "look": "cat", "seconds": 1.5},
      {"at": [0.13, 0.35, 1.37], "look": "car", "seconds": 1.2},
      {"at": [-0.36, 0.09, 1.45], "look": "car", "seconds": 1.5},
      {"at": [-0.17, 0.34, 1.37], "look": "parrot", "seconds": 1.2},
      {"at": [-0.31, -0.21, 1.45], "look": "parrot", "seconds": 1.5},
      {"at": [-0.38, 0, 1.37], "look": "astronaut", "seconds": 1.2},
      {"at": [0.04, -0.37, 1.45], "look": "astronaut", "seconds": 1.5},
      {"at": [-0.12, -0.36, 1.37], "look": "gamepad", "seconds": 1.2},
      {"at": [0.37, -0.08, 1.45], "look": "gamepad", "seconds": 1.5},
      {"at": [-0.94, -0.86, 1.4], "look": [1.44, 0.86, 1.25], "seconds": 1.6},
      {"at": [-1.2, -0.43, 1.4], "look": [1.44, 0.86, 1.25], "seconds": 1.6},
      {"at": [1.13, -0.58, 1.4], "look": [-1.29, 1.03, 1.25], "seconds": 1.6},
      {"at": [0.82, -0.97, 1.4], "look": [-1.29, 1.03, 1.25], "seconds": 1.6}
    ]},
    {"name": "second", "waypoints": [
      {"at": [-0.22, -0.23, 1.47], "look": "parrot"},
      {"at": [-0.07, 0.31, 1.55], "look": "parrot", "seconds": 1.5},
      {"at": [-0.32, 0, 1.47], "look": "car", "seconds": 1.2},
      {"at": [0.18, 0.26, 1.55], "look": "car", "seconds": 1.5},
      {"at": [-0.13, 0.29, 1.47], "look": "cat", "seconds": 1.2},
      {"at": [0.31, -0.05, 1.55], "look": "cat", "seconds": 1.5},
      {"at": [0.1, 0.3, 1.47], "look": "dog", "seconds": 1.2},
      {"at": [0.2, -0.25, 1.55], "look": "dog", "seconds": 1.5},
      {"at": [0.32, 0.01, 1.47], "look": "gamepad", "seconds": 1.2},
      {"at": [-0.17, -0.27, 1.55], "look": "gamepad", "seconds": 1.5},
      {"at": [0.11, -0.3, 1.47], "look": "astronaut", "seconds": 1.2},
      {"at": [-0.31, 0.08, 1.55], "look": "astronaut", "seconds": 1.5},
      {"at": [0.82, -0.97, 1.5], "look": [-1.29, 1.03, 1.25], "seconds": 1.6},
      {"at": [1.13, -0.58, 1.5], "look": [-1.29, 1.03, 1.25], "seconds": 1.6},
      {"at": [-1.2, -0.43, 1.5], "look": [1.44, 0.86, 1.25], "seconds": 1.6},
      {"at": [-0.94, -0.86, 1.5], "look": [1.44, 0.86, 1.25], "seconds": 1.6}
    ]}
  ]
}
)json";
}

}  // namespace geoloom::tools
