#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "geoloom/cloud/CloudAPI.h"

namespace geoloom::test {

using Heard = const std::function<void(std::string)>&;

/// One operation of the mapping service, called with plain arguments. Each callback passes the text of its
/// argument to `heard`.
struct MappingOperation {
  std::string name;
  std::string path;
  void (*call)(CloudAPI& api, Heard heard);
  /// The calls of `heard` without an answer.
  std::vector<std::string> withoutAnswer;
  /// The calls of `heard` for the answer [].
  std::vector<std::string> ofEmptyArray;
};

inline JSONCallback telling(std::function<void(std::string)> heard) {
  return [heard = std::move(heard)](const platform::JSON& answer) { heard(answer.description()); };
}

inline std::string listed(const std::vector<std::shared_ptr<Map>>& maps) {
  std::string text = "maps";
  for (const auto& map : maps) text += " " + map->mapID;
  return text;
}

[[nodiscard]] inline const std::vector<MappingOperation>& mappingOperations() {
  static const std::vector<MappingOperation> operations{
      {"createMap",
       "/maps/create_map",
       [](CloudAPI& api, Heard heard) {
         api.createMap({"a", "u", "m", "k", {}}, telling(heard));
       },
       {"[]"},
       {"[]"}},
      {"createLocalizationSession",
       "/maps/create_localization_session",
       [](CloudAPI& api, Heard heard) {
         api.createLocalizationSession({"a", "u", "m", "k", {1, 2, 3, 4, 5}}, telling(heard));
       },
       {"[]"},
       {"[]"}},
      {"placeAssetsOnMap",
       "/maps/place_asset_on_map",
       [](CloudAPI& api, Heard heard) { api.placeAssetsOnMap("M1", {}, telling(heard)); },
       {},
       {"[]"}},
      {"findAssetsOnTheMap",
       "/maps/find_assets_on_the_map",
       [](CloudAPI& api, Heard heard) { api.findAssetsOnTheMap("M1", telling(heard)); },
       {},
       {"[]"}},
      {"listNearbyMaps",
       "/maps/list_nearby_maps",
       [](CloudAPI& api, Heard heard) {
         api.listNearbyMaps({"a", std::nullopt, 1, 2, 3, 4, "k"},
                            [heard](const std::vector<std::shared_ptr<Map>>& maps) { heard(listed(maps)); });
       },
       {"maps"},
       {"maps"}},
      {"requestSceneLocalization",
       "/localize",
       [](CloudAPI& api, Heard) { api.requestSceneLocalization("M1", "L1", 0.3F); },
       {},
       {}},
  };
  return operations;
}

}  // namespace geoloom::test
