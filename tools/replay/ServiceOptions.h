#pragma once

#include <optional>
#include <string>

#include "geoloom/platform/location/CLLocation.h"
#include "geoloom/session/types/ServiceEndpoints.h"

namespace CLI {
class App;
}

namespace geoloom::tools {

/// Options of the commands that talk to the services.
struct ServiceOptions {
  std::string service = "http://127.0.0.1:8808";  ///< address of one server for all services
  ServiceEndpoints endpoints;                     ///< those that are set replace addresses under `service`
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
  std::string json;   ///< file for the result; empty: none
};

/// Adds the options of the mapping service and --json.
void addServiceOptions(CLI::App& command, ServiceOptions& options);

/// Adds the options of a session.
void addSessionOptions(CLI::App& command, ServiceOptions& options);

/// Configures the kit for this process: endpoints, authorities, application, location, model. Throws
/// CommandError. Call before the first session.
void apply(ServiceOptions& options);

/// Throws CommandError when the detection model cannot be loaded, which would end the process later.
void checkModel();

/// All addresses: those that are set, and those under `service`.
[[nodiscard]] ServiceEndpoints endpointsOf(const ServiceOptions& options);

/// Reads "LATITUDE,LONGITUDE[,ALTITUDE]" in degrees and metres; absent for other texts.
struct GivenLocation {
  double latitude = 0;
  double longitude = 0;
  double altitude = 0;
};
[[nodiscard]] std::optional<GivenLocation> parseLocation(const std::string& text);

}  // namespace geoloom::tools
