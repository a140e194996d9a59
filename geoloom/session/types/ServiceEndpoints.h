#pragma once

#include <string>

#include "geoloom/Export.h"

namespace geoloom {

/// Addresses of the services: HTTPS, or plain HTTP to this machine. Requests to an empty address fail as if
/// it did not answer; without an address, metrics are not sent. A session uses the endpoints that are current
/// while it is created.
struct GEOLOOM_EXPORT ServiceEndpoints {
  /// Base address of the mapping service, without a trailing slash: "https://<host>/prod/maps".
  std::string production;
  /// The same for its beta: "https://<host>/beta/maps".
  std::string beta;
  /// Full address of the localization by objects: "https://<host>/dev/scene-understanding/localize".
  std::string sceneUnderstanding;
  /// Address of the table service: "https://<host>".
  std::string tables;
  /// Address of the metrics service: "https://<host>".
  std::string metrics;

  /// All services at one address, with or without a trailing slash, as geoloom-localcloud serves them.
  [[nodiscard]] static ServiceEndpoints withService(std::string address);

  /// The endpoints set last, else those of the build's configuration (GEOLOOM_PRODUCTION_URL and so on). May
  /// be called from any thread.
  [[nodiscard]] static ServiceEndpoints current();
  /// Call before the first session is created.
  static void setCurrent(ServiceEndpoints endpoints);
};

}  // namespace geoloom
