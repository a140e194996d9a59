#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "geoloom/cloud/CloudAPI.h"
#include "geoloom/cloud/CloudBodies.h"
#include "geoloom/platform/aws/DeveloperKey.h"
#include "geoloom/platform/foundation/Bundle.h"

#include "tools/commands/Commands.h"
#include "tools/commands/JSONFile.h"
#include "tools/commands/Numbers.h"
#include "tools/replay/MappingClient.h"
#include "tools/replay/ServiceOptions.h"
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

/// The maps of an answer. Throws CommandError if it is a refusal or not a list of maps.
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
}

}  // namespace geoloom::tools
