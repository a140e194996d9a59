#include <cmath>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "geoloom/cloud/CloudAPI.h"
#include "geoloom/platform/aws/DeveloperKey.h"
#include "geoloom/platform/foundation/Bundle.h"

#include "tools/commands/Commands.h"
#include "tools/replay/ServiceOptions.h"

namespace geoloom::tools {
namespace {

using Maps = std::vector<std::shared_ptr<Map>>;

struct Options {
  ServiceOptions service;
  double latitude = 0;
  double longitude = 0;
  double span = 0.1;
  std::string of;
};

nlohmann::ordered_json toJSON(const Map& map) {
  return {{"user", map.userID},
          {"map", map.mapID},
          {"latitude", map.latitude},
          {"longitude", map.longitude},
          {"altitude", map.altitude},
          {"horizontalAccuracy", map.horizontalAccuracy},
          {"verticalAccuracy", map.verticalAccuracy}};
}

void listNear(Options& options) {
  apply(options.service);
  const auto found = std::make_shared<std::promise<Maps>>();
  const auto api = std::make_shared<CloudAPI>(options.service.beta);
  const auto user = options.of.empty() ? std::nullopt : std::optional(options.of);
  api->listNearbyMaps(platform::Bundle::mainBundleIdentifier(), user, options.longitude, options.latitude,
                      options.span, options.span, platform::DeveloperKey::hash(options.service.developerKey),
                      [found](const Maps& maps) { found->set_value(maps); });
  const Maps maps = found->get_future().get();
  for (const auto& map : maps) {
    fmt::print("{}  user {}  at {:.6f} {:.6f}, {:.1f} m, +-{:.1f} m\n", map->mapID, map->userID,
               map->latitude, map->longitude, map->altitude, map->horizontalAccuracy);
  }
  if (maps.empty()) fmt::print(stderr, "no maps there, or no answer from {}\n", api->address);
  if (options.service.json.empty()) return;
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const auto& map : maps) list.push_back(toJSON(*map));
  std::ofstream file(options.service.json);
  file << list.dump(1) << '\n';
  if (!file) throw CommandError(ExitCode::badInput, options.service.json + ": cannot be written");
}

}  // namespace

void addMapsCommand(CLI::App& app) {
  CLI::App* maps = app.add_subcommand("maps", "Ask about maps.");
  maps->require_subcommand(1);
  CLI::App* command = maps->add_subcommand("near", "List the maps around a place.");
  auto options = std::make_shared<Options>();
  command->add_option("LAT", options->latitude, "latitude, degrees")
      ->required()
      ->check(CLI::Range(-90.0, 90.0));
  command->add_option("LON", options->longitude, "longitude, degrees")
      ->required()
      ->check(CLI::Range(-180.0, 180.0));
  command->add_option("--span", options->span, "side of the square to look in, degrees")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  command->add_option("--of", options->of, "only maps of this user");
  addServiceOptions(*command, options->service);
  command->callback([options] { listNear(*options); });
}

}  // namespace geoloom::tools
