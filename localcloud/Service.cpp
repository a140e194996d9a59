#include "localcloud/Service.h"

#include <algorithm>
#include <exception>

#include <fmt/format.h>

namespace geoloom::localcloud {

namespace {

constexpr std::string_view TOO_LARGE = "The body is larger than this service accepts";
constexpr std::string_view TOO_LARGE_TYPE = "com.amazon.coral.service#RequestEntityTooLargeException";
constexpr std::string_view FAILURE_TYPE = "com.amazon.coral.service#InternalServerError";

constexpr const char* PAGE =
    R"(This is geoloom-localcloud, a mapping service for one machine. It creates maps and localization sessions,
stores placements, and localizes sessions in maps.

Use it with the geoloom command (URL is this page's address without the slash at its end):

    geoloom replay --service URL --mode mapping --map room RECORDING
    geoloom replay --service URL --mode localization --map room ANOTHER-RECORDING
    geoloom maps near 47.4 8.5 --service URL

or with curl:

    curl -d '{"app_id": "demo", "developer_key": "none", "user_id": "ada", "map_id": "room"}' URL/prod/maps/create_map

Operations, each a POST of a JSON object:

    /prod/maps/create_map                    make a map
    /prod/maps/create_localization_session   open a session against a map
    /prod/maps/place_asset_on_map            store placements
    /prod/maps/find_assets_on_the_map        read them back
    /prod/maps/list_nearby_maps              list the maps near a location
    /prod/maps/inspect_map                   show the content of a map
    /dev/scene-understanding/localize        localize a session in its map
    /                                        tables and metrics, named by the header X-Amz-Target

docs/localcloud.md describes them all.
)";

/// Of "/path?query" or of "http://host/path?query", as a proxy would be asked.
std::string_view pathOf(const Request& request) {
  std::string_view target = request.target;
  if (target.starts_with("http://") || target.starts_with("https://")) {
    target.remove_prefix(target.find("//") + 2);
    target.remove_prefix(std::min(target.find_first_of("/?"), target.size()));
  }
  return target.substr(0, target.find('?'));
}

bool isMetricTarget(std::string_view target) {
  return target.starts_with(MetricService::TARGET_PREFIX);
}

Answer errorOfTarget(std::string_view target, int status, std::string_view type, std::string_view message) {
  return isMetricTarget(target) ? MetricService::error(status, type, message)
                                : TableService::error(status, type, message);
}

std::optional<std::string> hashOf(const std::optional<std::string>& developerKey) {
  if (!developerKey) return std::nullopt;
  return platform::DeveloperKey::hash(*developerKey);
}

}  // namespace

Service::Service(Store& store, Now now, const std::optional<std::string>& developerKey)
    : now_(std::move(now)),
      mapping_(store, now_, hashOf(developerKey)),
      table_(store, now_,
             [this](const std::string& seenBy, const std::optional<Question>& due) {
               mapping_.sightingSaved(seenBy, due);
             }),
      metric_(store) {
  if (developerKey) verifier_.emplace(platform::DeveloperKey::pair(*developerKey));
}

Answer Service::answer(const Request& request) const {
  try {
    return dispatch(request);
  } catch (const std::exception& failure) {
    const std::string message = fmt::format("The service failed: {}", failure.what());
    const auto target = request.header("x-amz-target");
    return target ? errorOfTarget(*target, 500, FAILURE_TYPE, message) : mappingError(500, message);
  }
}

Answer Service::dispatch(const Request& request) const {
  const std::string_view path = pathOf(request);
  if (request.method == "GET" && path == "/")
    return {.contentType = "text/plain; charset=utf-8", .body = PAGE};
  if (request.method != "POST") {
    Answer answer = mappingError(405, "Every operation is a POST; GET / shows how to use this service");
    answer.headers.emplace_back("Allow", "POST");
    return answer;
  }
  if (path == "/" || path.empty()) return answerTarget(request);
  if (request.bodyTooLarge) return mappingError(413, TOO_LARGE);
  if (auto answer = mapping_.answer(path, request.body)) return *std::move(answer);
  return mappingError(
      404, fmt::format("No operation has the path {}; one that is there: /prod/maps/create_map", path));
}

Answer Service::answerTarget(const Request& request) const {
  const std::string target = request.header("x-amz-target").value_or("");
  const bool metric = isMetricTarget(target);
  if (request.bodyTooLarge) return errorOfTarget(target, 413, TOO_LARGE_TYPE, TOO_LARGE);
  if (!metric && !target.starts_with(TableService::TARGET_PREFIX)) {
    const std::string_view why =
        target.empty() ? "The header X-Amz-Target is missing: it names the operation on tables or metrics"
                       : "X-Amz-Target names no operation of this service";
    return TableService::error(400, "com.amazon.coral.service#UnknownOperationException", why);
  }
  if (verifier_) {
    if (const auto refusal = verifier_->check(request, metric ? "monitoring" : "dynamodb", now_())) {
      return errorOfTarget(target, 400, refusal->type, refusal->message);
    }
  }
  const std::string_view name = target;
  return metric ? metric_.answer(name.substr(MetricService::TARGET_PREFIX.size()), request.body)
                : table_.answer(name.substr(TableService::TARGET_PREFIX.size()), request.body);
}

}  // namespace geoloom::localcloud
