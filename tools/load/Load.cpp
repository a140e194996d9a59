#include "tools/load/Load.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <regex>
#include <string_view>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <fmt/format.h>

#include "geoloom/cloud/CloudBodies.h"
#include "geoloom/platform/aws/AWSDynamoDBWire.h"
#include "geoloom/platform/foundation/JSON.h"
#include "geoloom/platform/network/HTTPClient.h"
#include "geoloom/storage/SceneUnderstandingModel.h"
#include "geoloom/storage/TransformRow.h"

#include "tools/evaluate/SimulatedWalk.h"
#include "tools/replay/MappingClient.h"

namespace geoloom::tools {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;

enum Operation : std::size_t { OPEN, POLL, ROW, LOCALIZE, OPERATIONS };
constexpr std::array NAMES = {"open", "poll", "row", "localize"};
constexpr std::chrono::seconds POLL_INTERVAL{1};
constexpr std::chrono::seconds LOCALIZE_INTERVAL{8};

/// One POST: where to, what operation on tables, and the body.
struct Post {
  std::string path;
  std::string_view target;
  std::string body;
};

std::string textOf(const platform::JSON& answer, std::string_view key) {
  const auto value = answer[key];
  return value ? value->string().value_or("") : "";
}

std::string openingBody(bool makesMap) {
  const CloudDevice device{.version = "load", .model = "load", .uuid = std::nullopt};
  const OpeningRequest request{
      .appID = "geoloom.load", .userID = "load", .mapID = "load", .developerKey = "load", .location = {}};
  return makesMap ? createMapBody(device, request) : createLocalizationSessionBody(device, request, false);
}

Post rowPost(const std::string& sessionID, const localcloud::Sighting& sighting, bool isLocalizing) {
  const auto coordinate = [](double metres) { return static_cast<float>(metres); };
  const localcloud::Point& at = sighting.position;
  const SceneUnderstandingModel row(sessionID, sighting.frame, coordinate(at.x), coordinate(at.y),
                                    coordinate(at.z), sighting.name, 0.9F, isLocalizing);
  return {"/", platform::dynamodb::PUT_ITEM_TARGET,
          platform::dynamodb::putItemBody(SceneUnderstandingModel::dynamoDBTableName(),
                                          platform::toAttributes(row))};
}

Post pollPost(const std::string& mapUUID) {
  platform::AWSDynamoDBScanExpression expression;
  expression.filterExpression = "#sessionId = :sessionId";
  expression.expressionAttributeNames = {{"#sessionId", "SessionId"}};
  expression.expressionAttributeValues = {{":sessionId", platform::AWSDynamoDBAttributeValue::text(mapUUID)}};
  return {"/", platform::dynamodb::SCAN_TARGET,
          platform::dynamodb::scanBody(TransformRow::dynamoDBTableName(), expression)};
}

/// Walks through one room; each has coordinates of its own.
std::vector<evaluation::SimulatedWalk> makeWalks(std::size_t count) {
  const auto noise = evaluation::parseNoiseModel(std::string(evaluation::defaultNoiseModel()), "noise.json");
  evaluation::Chance chance(1);
  const auto room = evaluation::makeRoom(*noise, evaluation::Furnishing::furniture, 6, chance);
  std::vector<evaluation::SimulatedWalk> walks;
  for (std::size_t i = 0; i < count; ++i)
    walks.push_back(evaluation::walkThrough(*noise, room, evaluation::WalkConditions{}, chance));
  std::erase_if(walks, [](const auto& walk) { return walk.sightings.empty(); });
  return walks;
}

/// What all phones share. Used on one thread.
struct Load {
  const LoadOptions& options;
  tcp::endpoint service;
  std::vector<evaluation::SimulatedWalk> walks;
  Clock::time_point begin;
  asio::io_context io{1};
  std::array<OperationLoad, OPERATIONS> operations;
  std::size_t open = 0;
  std::size_t answered = 0;

  [[nodiscard]] Clock::time_point measuringFrom() const { return begin + options.ramp; }
  [[nodiscard]] Clock::time_point end() const { return measuringFrom() + options.duration; }
};

/// A session: does what is due next, one request at a time.
class Phone : public std::enable_shared_from_this<Phone> {
 public:
  Phone(Load& load, std::size_t index)
      : load_(load), walk_(load.walks[index % load.walks.size()]), socket_(load.io), timer_(load.io) {
    const auto sessions = static_cast<std::int64_t>(load.options.sessions);
    const Clock::duration late = load.options.ramp * static_cast<std::int64_t>(index) / sessions;
    due_.fill(Clock::time_point::max());
    due_[OPEN] = load.begin + late;
  }

  void next() {
    const auto earliest = std::min_element(due_.begin(), due_.end());
    operation_ = static_cast<Operation>(earliest - due_.begin());
    if (*earliest >= load_.end()) return;
    timer_.expires_at(*earliest);
    timer_.async_wait([self = shared_from_this()](error_code error) {
      if (!error) self->send();
    });
  }

 private:
  [[nodiscard]] Post post() {
    if (operation_ == OPEN) return {"/prod/maps/create_localization_session", {}, openingBody(false)};
    if (operation_ == POLL) return pollPost(mapUUID_);
    if (operation_ == LOCALIZE)
      return {"/dev/scene-understanding/localize", {}, sceneLocalizationBody(mapUUID_, sessionUUID_, 0.5F)};
    const localcloud::Sighting& sighting = walk_.sightings[row_++ % walk_.sightings.size()];
    return rowPost(sessionUUID_, sighting, true);
  }

  void send() {
    const Post post = this->post();
    request_ = {http::verb::post, post.path, 11, post.body};
    request_.set(http::field::host, "load");
    if (!post.target.empty()) request_.set("X-Amz-Target", std::string(post.target));
    request_.prepare_payload();
    if (socket_.is_open()) return write();
    socket_.async_connect(load_.service, [self = shared_from_this()](error_code error) {
      error ? self->finish(false) : self->write();
    });
  }

  void write() {
    http::async_write(socket_, request_, [self = shared_from_this()](error_code error, std::size_t) {
      error ? self->finish(false) : self->read();
    });
  }

  void read() {
    response_ = {};
    http::async_read(socket_, input_, response_, [self = shared_from_this()](error_code error, std::size_t) {
      self->finish(!error && self->response_.result() == http::status::ok);
    });
  }

  void finish(bool good) {
    const Clock::time_point now = Clock::now();
    if (now >= load_.measuringFrom() || operation_ == OPEN) {
      OperationLoad& measured = load_.operations.at(operation_);
      const std::chrono::duration<float, std::milli> taken = now - due_.at(operation_);
      measured.times.push_back(taken.count());
      if (!good) ++measured.errors;
    }
    ++load_.answered;
    if (!good) {
      error_code ignored;
      socket_.close(ignored);  // the next request connects again
    }
    schedule(now, good);
    next();
  }

  void schedule(Clock::time_point now, bool good) {
    Clock::time_point& due = due_.at(operation_);
    if (operation_ == OPEN) {
      if (!good || !readSession()) return void(due = now + POLL_INTERVAL);
      ++load_.open;
      due = Clock::time_point::max();
      due_[POLL] = now + POLL_INTERVAL;
      due_[LOCALIZE] = now + LOCALIZE_INTERVAL;
      if (load_.options.rowsPerSecond > 0) due_[ROW] = now + rowInterval();
    } else if (operation_ == POLL) {
      due = now + POLL_INTERVAL;
    } else {
      due += operation_ == ROW ? rowInterval() : Clock::duration(LOCALIZE_INTERVAL);
    }
  }

  [[nodiscard]] Clock::duration rowInterval() const {
    return std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(1 / load_.options.rowsPerSecond));
  }

  bool readSession() {
    const auto answer = platform::JSON::parse(response_.body());
    if (!answer) return false;
    sessionUUID_ = textOf(*answer, "session_uuid");
    mapUUID_ = textOf(*answer, "map_uuid");
    return !sessionUUID_.empty() && !mapUUID_.empty();
  }

  Load& load_;
  const evaluation::SimulatedWalk& walk_;
  tcp::socket socket_;
  asio::steady_timer timer_;
  std::array<Clock::time_point, OPERATIONS> due_;
  Operation operation_ = OPEN;
  std::size_t row_ = 0;
  std::string sessionUUID_;
  std::string mapUUID_;
  boost::beast::flat_buffer input_;
  http::request<http::string_body> request_;
  http::response<http::string_body> response_;
};

/// Makes the map that the sessions visit, from one walk.
base::Result<void> makeMap(const LoadOptions& options, const evaluation::SimulatedWalk& walk) {
  const auto created = askMappingService(options.service + "/prod/maps", CREATE_MAP_PATH, openingBody(true));
  if (!created) return created.failure();
  const std::string map = textOf(created->json, "uuid");
  if (map.empty())
    return base::Failure{
        fmt::format("{}: the service made no map; does it need a developer key?", options.service)};
  for (const localcloud::Sighting& sighting : walk.sightings) {
    Post post = rowPost(map, sighting, false);
    platform::HTTPRequest request;
    request.url = options.service + post.path;
    request.headers = {{"X-Amz-Target", std::string(post.target)}};
    request.body = std::move(post.body);
    const auto answer = platform::HTTPClient::shared().postAndWait(std::move(request));
    if (!answer) return base::Failure{fmt::format("{}: {}", options.service, answer.failure().message)};
  }
  return {};
}

base::Result<tcp::endpoint> endpointOf(const std::string& service) {
  static const std::regex address("http://(127\\.[0-9.]+|localhost):([0-9]{1,5})/?");
  std::smatch parts;
  if (!std::regex_match(service, parts, address))
    return base::Failure{service + ": give a service of this machine, such as http://127.0.0.1:8808"};
  const std::string host = parts[1] == "localhost" ? "127.0.0.1" : parts[1].str();
  error_code error;
  const auto ip = asio::ip::make_address(host, error);
  if (error) return base::Failure{service + ": " + error.message()};
  return tcp::endpoint(ip, static_cast<std::uint16_t>(std::stoi(parts[2])));
}

void showProgress(Load& load, asio::steady_timer& timer,
                  const std::function<void(const std::string&)>& progress) {
  if (Clock::now() >= load.end()) return;
  timer.expires_after(std::chrono::seconds(1));
  timer.async_wait([&load, &timer, &progress](error_code) {
    std::size_t errors = 0;
    for (const OperationLoad& operation : load.operations) errors += operation.errors;
    progress(fmt::format("{} sessions, {} requests/s, {} errors", load.open, std::exchange(load.answered, 0),
                         errors));
    showProgress(load, timer, progress);
  });
}

}  // namespace

float OperationLoad::quantile(double share) const {
  if (times.empty()) return 0;
  std::vector<float> sorted = times;
  const auto at =
      sorted.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(sorted.size() - 1));
  std::nth_element(sorted.begin(), at, sorted.end());
  return *at;
}

base::Result<LoadResult> runLoad(const LoadOptions& options,
                                 const std::function<void(const std::string&)>& progress) {
  const auto endpoint = endpointOf(options.service);
  if (!endpoint) return endpoint.failure();
  constexpr std::size_t WALKS = 64;
  Load load{
      .options = options, .service = *endpoint, .walks = makeWalks(WALKS), .begin = {}, .operations = {}};
  if (const auto made = makeMap(options, load.walks.front()); !made) return made.failure();
  for (std::size_t i = 0; i < OPERATIONS; ++i) load.operations.at(i).name = NAMES.at(i);
  load.begin = Clock::now();
  for (std::size_t i = 0; i < options.sessions; ++i) std::make_shared<Phone>(load, i)->next();
  asio::steady_timer timer(load.io);
  showProgress(load, timer, progress);
  load.io.run();
  return LoadResult{.operations = {load.operations.begin(), load.operations.end()},
                    .seconds = static_cast<double>(options.duration.count()),
                    .sessions = load.open};
}

}  // namespace geoloom::tools
