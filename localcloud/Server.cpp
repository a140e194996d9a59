#include "localcloud/Server.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "geoloom/base/PrintableText.h"

namespace geoloom::localcloud {

namespace {

std::string address(const Server::Options& options, int port) {
  const std::string& host = options.http.host;
  const bool isIPv6 = host.find(':') != std::string::npos;
  return fmt::format("{}://{}:{}", options.http.tls ? "https" : "http", isIPv6 ? "[" + host + "]" : host,
                     port);
}

std::string logLine(const Request& request, const Answer& answer, Now::result_type arrived,
                    Now::result_type answered) {
  const auto target = request.header("x-amz-target");
  const double milliseconds = std::chrono::duration<double, std::milli>(answered - arrived).count();
  return base::printable(fmt::format("{:%FT%TZ} {} {}{}{} {} {} B {:.1f} ms",
                                     fmt::gmtime(std::chrono::system_clock::to_time_t(arrived)),
                                     request.method, request.target, target ? " " : "", target.value_or(""),
                                     answer.status, answer.body.size(), milliseconds));
}

Answer answer(const Service& service, const Server::Options& options, const Request& request) {
  const auto arrived = options.now();
  Answer answer = service.answer(request);
  const auto answered = options.now();
  // Clients with a wrong clock sign by this time.
  answer.headers.emplace_back(
      "Date",
      fmt::format("{:%a, %d %b %Y %T GMT}", fmt::gmtime(std::chrono::system_clock::to_time_t(answered))));
  if (options.log) options.log(logLine(request, answer, arrived, answered));
  return answer;
}

}  // namespace

Server::Server(const Options& options)
    : store_(options.data),
      service_(store_, options.now, options.developerKey),
      http_(options.http,
            [this, options](const Request& request) { return answer(service_, options, request); }),
      url_(address(options, http_.port())) {}

}  // namespace geoloom::localcloud
