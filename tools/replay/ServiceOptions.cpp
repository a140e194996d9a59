#include "tools/replay/ServiceOptions.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <vector>

#include <fmt/format.h>

#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/foundation/Bundle.h"
#include "geoloom/platform/foundation/LibraryBundle.h"
#include "geoloom/platform/location/CLLocationManager.h"
#include "geoloom/platform/location/CLLocationProvider.h"
#include "geoloom/platform/network/HTTPClient.h"
#include "geoloom/session/MapSession.h"

#include "tools/commands/Commands.h"
#include "tools/commands/Numbers.h"

namespace geoloom::tools {
namespace {

constexpr const char* GROUP = "Service";
constexpr const char* SESSION_GROUP = "Session";

std::string firstLine(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  if (!std::getline(file, line) || line.empty()) {
    throw CommandError(ExitCode::badInput, path + ": cannot be read, or its first line is empty");
  }
  return line;
}

void setLocation(const std::string& text) {
  if (text.empty()) return;
  const std::optional<GivenLocation> given = parseLocation(text);
  if (!given) {
    throw CommandError(
        ExitCode::usage,
        fmt::format("--location {}: must be LATITUDE,LONGITUDE[,ALTITUDE] in degrees and metres", text));
  }
  constexpr double ACCURACY = 5;
  platform::CLLocationManager::setProvider(
      platform::CLLocationProvider::fixed(std::make_shared<platform::CLLocation>(
          platform::CLLocationCoordinate2D{given->latitude, given->longitude}, given->altitude, ACCURACY,
          ACCURACY, platform::Clock::current()->date())));
}

}  // namespace

void addServiceOptions(CLI::App& command, ServiceOptions& options) {
  command.add_option("--service", options.service, "address of a server that answers for all services")
      ->capture_default_str()
      ->group(GROUP);
  ServiceEndpoints& e = options.endpoints;
  command.add_option("--production-url", e.production, "mapping service, up to /prod/maps")->group(GROUP);
  command.add_option("--beta-url", e.beta, "its beta, up to /beta/maps")->group(GROUP);
  command
      .add_option("--certificate-authorities", options.certificateAuthorities,
                  "PEM file with the authorities to trust instead of the system's")
      ->group(GROUP);
  command.add_flag("--beta", options.beta, "use the mapping service's beta")->group(GROUP);
  command.add_option("--developer-key", options.developerKey, "key of the application's developer")
      ->group(GROUP);
  command.add_option("--developer-key-file", options.developerKeyFile, "file with the key in its first line")
      ->group(GROUP);
  command.add_option("--application", options.application, "the application's bundle identifier (geoloom)")
      ->group(GROUP);
  command.add_option("--json", options.json, "write the result to this file; - is standard output");
}

void addSessionOptions(CLI::App& command, ServiceOptions& options) {
  ServiceEndpoints& e = options.endpoints;
  command
      .add_option("--scene-understanding-url", e.sceneUnderstanding,
                  "localization by objects, the whole address")
      ->group(GROUP);
  command.add_option("--tables-url", e.tables, "table service")->group(GROUP);
  command.add_option("--metrics-url", e.metrics, "metrics service")->group(GROUP);
  command.add_option("--user", options.user, "the user's identifier")
      ->capture_default_str()
      ->group(SESSION_GROUP);
  command.add_option("--location", options.location, "location of the device: LATITUDE,LONGITUDE[,ALTITUDE]")
      ->group(SESSION_GROUP);
  command
      .add_option("--model", options.model,
                  "detection model, a feature_model.mlmodelc; by default the one beside the library")
      ->group(SESSION_GROUP);
  command.add_option("--confidence", options.confidenceThreshold, "minimum confidence of saved objects")
      ->check(between(0, 1))
      ->capture_default_str()
      ->group(SESSION_GROUP);
  command
      .add_option("--match-distance", options.matchDistance, "metres within which objects count as the same")
      ->check(aboveZero(1e6))
      ->capture_default_str()
      ->group(SESSION_GROUP);
}

ServiceEndpoints endpointsOf(const ServiceOptions& options) {
  ServiceEndpoints endpoints =
      options.service.empty() ? ServiceEndpoints{} : ServiceEndpoints::withService(options.service);
  for (const auto field :
       {&ServiceEndpoints::production, &ServiceEndpoints::beta, &ServiceEndpoints::sceneUnderstanding,
        &ServiceEndpoints::tables, &ServiceEndpoints::metrics})
    if (!(options.endpoints.*field).empty()) endpoints.*field = options.endpoints.*field;
  return endpoints;
}

std::optional<GivenLocation> parseLocation(const std::string& text) {
  std::vector<double> numbers;
  const char* at = text.data();
  const char* end = text.data() + text.size();
  for (;;) {
    double value = 0;
    const auto [next, error] = std::from_chars(at, end, value);
    if (error != std::errc{} || !std::isfinite(value)) return std::nullopt;
    numbers.push_back(value);
    if (next == end) break;
    if (*next != ',') return std::nullopt;
    at = next + 1;
  }
  if (numbers.size() < 2 || numbers.size() > 3) return std::nullopt;
  if (std::abs(numbers[0]) > 90 || std::abs(numbers[1]) > 180) return std::nullopt;
  return GivenLocation{numbers[0], numbers[1], numbers.size() > 2 ? numbers[2] : 0};
}

void apply(ServiceOptions& options) {
  if (!options.developerKeyFile.empty()) options.developerKey = firstLine(options.developerKeyFile);
  ServiceEndpoints::setCurrent(endpointsOf(options));
  if (const std::string& authorities = options.certificateAuthorities; !authorities.empty()) {
    // Only opened: reading a pipe would leave nothing for the client.
    if (!std::ifstream(authorities) || std::filesystem::is_directory(authorities))
      throw CommandError(ExitCode::badInput, authorities + ": cannot be read as certificates");
    platform::HTTPClient::shared().setCertificateAuthorities(authorities);
  }
  MapSessionSettings::USE_BETA_ALGO = options.beta;
  if (!options.application.empty()) platform::Bundle::setMainBundleIdentifier(options.application);
  if (!options.model.empty()) {
    platform::LibraryBundle::setPathForResource("feature_model", "mlmodelc", options.model);
  }
  setLocation(options.location);
}

void checkModel() {
  if (const auto fault = MapSession::detectionModelFault()) throw CommandError(ExitCode::badInput, *fault);
}

}  // namespace geoloom::tools
