#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "geoloom/cloud/CloudAPI.h"
#include "geoloom/cloud/CloudBodies.h"
#include "geoloom/platform/aws/DeveloperKey.h"
#include "geoloom/platform/foundation/Bundle.h"
#include "geoloom/platform/imaging/PNG.h"

#include "tools/commands/Commands.h"
#include "tools/commands/JSONFile.h"
#include "tools/commands/Numbers.h"
#include "tools/replay/MappingClient.h"
#include "tools/replay/ServiceOptions.h"
#include "tools/report/InspectedMap.h"
#include "tools/terminal/Terminal.h"

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

struct InspectOptions {
  ServiceOptions service;
  std::string map;
  std::string picture;
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

std::string listNearbyBody(const Options& options, const CloudAPI& api) {
  return listNearbyMapsBody({api.deviceVersion, api.deviceModel, api.deviceUUID},
                            {.appID = platform::Bundle::mainBundleIdentifier(),
                             .userID = options.of.empty() ? std::nullopt : std::optional(options.of),
                             .longitude = options.longitude,
                             .latitude = options.latitude,
                             .longitudeDelta = options.span,
                             .latitudeDelta = options.span,
                             .developerKey = platform::DeveloperKey::hash(options.service.developerKey)});
}

/// The maps of an answer. Throws CommandError if the service rejected the request or sent no list of maps.
Maps mapsIn(const MappingAnswer& answer, const std::string& address) {
  const auto fail = [&address](const std::string& why) {
    throw CommandError(ExitCode::service, fmt::format("{}: {}", address, why));
  };
  const platform::JSON& json = answer.json;
  const std::string excerpt = json.description().substr(0, 200);
  if (answer.status >= 400 || json.contains("errorMessage")) {
    const auto message = json["errorMessage"];
    fail(fmt::format("refused with HTTP {}: {}", answer.status, message ? message->stringValue() : excerpt));
  }
  Maps maps = readMaps(json);
  const auto type = json.type();
  const bool isList = type == platform::JSON::Type::array || type == platform::JSON::Type::object;
  if (maps.empty() && (!isList || json.size() > 0)) fail("the answer is not a list of maps: " + excerpt);
  return maps;
}

void listNear(Options& options) {
  apply(options.service);
  JSONFile file(options.service.json);
  const CloudAPI api(options.service.beta);
  const auto answer = askMappingService(api.address, LIST_NEARBY_MAPS_PATH, listNearbyBody(options, api));
  if (!answer) throw CommandError(ExitCode::service, answer.failure().message);
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const auto& map : mapsIn(*answer, api.address)) {
    say(fmt::format("{}  user {}  at {:.6f} {:.6f}, {:.1f} m, +-{:.1f} m", map->mapID, map->userID,
                    map->latitude, map->longitude, map->altitude, map->horizontalAccuracy));
    list.push_back(toJSON(*map));
  }
  if (list.empty()) {
    complain(fmt::format("no maps within {} degrees of {} {}{}", options.span / 2, options.latitude,
                         options.longitude, options.of.empty() ? "" : " of user " + options.of));
  }
  file.write(list);
}

void inspectMap(InspectOptions& options) {
  apply(options.service);
  JSONFile file(options.service.json);
  const CloudAPI api(options.service.beta);
  const nlohmann::json body = {{"app_id", platform::Bundle::mainBundleIdentifier()},
                               {"developer_key", platform::DeveloperKey::hash(options.service.developerKey)},
                               {"map_id", options.map},
                               {"feature_match_distance_meters", options.service.matchDistance}};
  const auto answer = askMappingService(api.address, "/inspect_map", body.dump());
  if (!answer) throw CommandError(ExitCode::service, answer.failure().message);
  if (const auto refusal = answer->json["errorMessage"])
    throw CommandError(ExitCode::service, fmt::format("{}: {}", api.address, refusal->stringValue()));
  const auto map = readInspectedMap(answer->json, api.address);
  if (!map) throw CommandError(ExitCode::service, map.failure().message);
  for (const std::string& line : linesOf(*map)) say(line);
  if (!options.picture.empty()) {
    if (const auto failure = platform::writePNG(options.picture, planOf(*map)))
      throw CommandError(ExitCode::badInput, failure->message);
  }
  file.write(nlohmann::ordered_json::parse(answer->json.description()));
}

void addInspectCommand(CLI::App& maps) {
  CLI::App* command =
      maps.add_subcommand("inspect", "Show what a map knows and if sessions can be localized.");
  auto options = std::make_shared<InspectOptions>();
  command->add_option("--map", options->map, "the map's identifier")->required();
  command->add_option("--picture", options->picture, "PNG file for a plan of the map");
  addServiceOptions(*command, options->service);
  command->callback([options] { inspectMap(*options); });
}

}  // namespace

void addMapsCommand(CLI::App& app) {
  CLI::App* maps = app.add_subcommand("maps", "Look up maps.");
  maps->require_subcommand(1);
  CLI::App* command = maps->add_subcommand("near", "List the maps around a place.");
  auto options = std::make_shared<Options>();
  command->add_option("LAT", options->latitude, "latitude, degrees")->required()->check(between(-90, 90));
  command->add_option("LON", options->longitude, "longitude, degrees")->required()->check(between(-180, 180));
  command->add_option("--span", options->span, "side of the searched square, degrees")
      ->check(aboveZero(360))
      ->capture_default_str();
  command->add_option("--of", options->of, "only maps of this user");
  addServiceOptions(*command, options->service);
  command->callback([options] { listNear(*options); });
  addInspectCommand(*maps);
}

}  // namespace geoloom::tools
