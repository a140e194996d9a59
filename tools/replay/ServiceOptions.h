#pragma once

#include <optional>
#include <string>

#include "geoloom/platform/location/CLLocation.h"
#include "geoloom/session/types/ServiceEndpoints.h"

namespace CLI {
class App;
}

namespace geoloom::tools {

/// What commands that talk to the services take.
struct ServiceOptions {
  std::string service = "http://127.0.0.1:8808";  ///< where one server answers for all services
  ServiceEndpoints endpoints;                     ///< what is set goes before `service`
  std::string certificateAuthorities;             ///< PEM file; empty: the system's
  bool beta = false;
  std::string developerKey = "demo";
  std::string developerKeyFile;
  std::string user = "demo";
  std::string application;  ///< empty: the executable's name
  std::string location;     ///< empty: none; else LATITUDE,LONGITUDE[,ALTITUDE]
  float confidenceThreshold = 0.6F;
  float matchDistance = 0.5F;
  std::string model;  ///< empty: the bundle beside the library
  std::string json;   ///< empty: no trace
};

/// The mapping service, who asks it, and --json.
void addServiceOptions(CLI::App& command, ServiceOptions& options);

/// What only a session needs besides.
void addSessionOptions(CLI::App& command, ServiceOptions& options);

/// Sets the kit up for this process: endpoints, authorities, application, location, model; its console goes
/// to standard error. Throws CommandError. Call once, before the first session.
void apply(ServiceOptions& options);

/// Throws CommandError when the detection model cannot be loaded, which would end the process later.
void checkModel();

/// The endpoints that `service` stands for, with those that are set by themselves.
[[nodiscard]] ServiceEndpoints endpointsOf(const ServiceOptions& options);

/// "LATITUDE,LONGITUDE[,ALTITUDE]" in degrees and metres; nothing when it is not that.
struct GivenLocation {
  double latitude = 0;
  double longitude = 0;
  double altitude = 0;
};
[[nodiscard]] std::optional<GivenLocation> parseLocation(const std::string& text);

}  // namespace geoloom::tools
