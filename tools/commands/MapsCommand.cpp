#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "geoloom/cloud/CloudAPI.h"
#include "geoloom/cloud/CloudBodies.h"
#include "geoloom/platform/aws/DeveloperKey.h"
#include "geoloom/platform/foundation/Bundle.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/network/HTTPClient.h"

#include "tools/commands/Commands.h"
#include "tools/commands/JSONFile.h"
#include "tools/commands/Numbers.h"
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

/// The maps of an answer; throws what an application is not told.
Maps mapsIn(const base::Result<platform::HTTPResponse>& response, const std::string& address) {
  const auto fail = [&address](const std::string& why) {
    throw CommandError(ExitCode::service, fmt::format("{}: {}", address, why));
  };
  if (!response) fail("no answer: " + response.failure().message);
  const auto answer = platform::JSON::parse(response->body);
  if (!answer) {
    fail(fmt::format("HTTP {} without a JSON body; is this the mapping service?", response->status));
  }
  if (response->status >= 400 || answer->contains("errorMessage")) {
    const auto message = (*answer)["errorMessage"];
    fail(fmt::format("refused with HTTP {}: {}", response->status,
                     message ? message->stringValue() : answer->description().substr(0, 200)));
  }
  Maps maps = readMaps(*answer);
  const auto type = answer->type();
  const bool isList = type == platform::JSON::Type::array || type == platform::JSON::Type::object;
  if (maps.empty() && (!isList || answer->size() > 0))
    fail("the answer is not a list of maps: " + answer->description().substr(0, 200));
  return maps;
}

/// To an application the kit reports no answer as no maps. Whoever types a command wants to know which it
/// was, so the kit's own request is sent here and looked at before the kit's own reader takes the maps out.
void listNear(Options& options) {
  apply(options.service);
  JSONFile json(options.service.json);
  const auto api = std::make_shared<CloudAPI>(options.service.beta);
  platform::HTTPRequest request;
  request.url = api->address + LIST_NEARBY_MAPS_PATH;
  request.body = listNearbyBody(options, *api);
  const Maps maps = mapsIn(platform::HTTPClient::shared().postAndWait(std::move(request)), api->address);
  for (const auto& map : maps) {
    fmt::print("{}  user {}  at {:.6f} {:.6f}, {:.1f} m, +-{:.1f} m\n", map->mapID, map->userID,
               map->latitude, map->longitude, map->altitude, map->horizontalAccuracy);
  }
  if (maps.empty()) {
    fmt::print(stderr, "no maps within {} degrees of {} {}{}\n", options.span / 2, options.latitude,
               options.longitude, options.of.empty() ? "" : " of user " + options.of);
  }
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const auto& map : maps) list.push_back(toJSON(*map));
  json.write(list);
}

}  // namespace

void addMapsCommand(CLI::App& app) {
  CLI::App* maps = app.add_subcommand("maps", "Ask about maps.");
  maps->require_subcommand(1);
  CLI::App* command = maps->add_subcommand("near", "List the maps around a place.");
  auto options = std::make_shared<Options>();
  command->add_option("LAT", options->latitude, "latitude, degrees")->required()->check(between(-90, 90));
  command->add_option("LON", options->longitude, "longitude, degrees")->required()->check(between(-180, 180));
  command->add_option("--span", options->span, "side of the square to look in, degrees")
      ->check(aboveZero(360))
      ->capture_default_str();
  command->add_option("--of", options->of, "only maps of this user");
  addServiceOptions(*command, options->service);
  command->callback([options] { listNear(*options); });
}

}  // namespace geoloom::tools
