#include "tools/replay/MappingClient.h"

#include <filesystem>
#include <regex>
#include <utility>

#include <fmt/format.h>

#include "geoloom/platform/network/HTTPClient.h"

namespace geoloom::tools {
namespace {

/// The service's program: the one beside this program if it is there, else the one in the PATH.
std::string serviceProgram() {
  constexpr const char* NAME = "geoloom-localcloud";
  std::error_code error;
  const auto beside = std::filesystem::read_symlink("/proc/self/exe", error).replace_filename(NAME);
  return !error && std::filesystem::exists(beside, error) ? beside.string() : NAME;
}

/// How to start a service at an address of this machine to which no connection could be made; empty for other
/// addresses and failures.
std::string startHint(const std::string& address, const std::string& failure) {
  if (!failure.starts_with("Failed to connect")) return {};
  static const std::regex local(R"(http://(127\.0\.0\.1|localhost):([0-9]+)(/.*)?)");
  std::smatch parts;
  if (!std::regex_match(address, parts, local)) return {};
  const std::string port = parts[2];
  return fmt::format("; start the service: {}{}", serviceProgram(), port == "8808" ? "" : " --port " + port);
}

}  // namespace

base::Result<MappingAnswer> askMappingService(const std::string& address, const std::string& operation,
                                              const std::string& body) {
  platform::HTTPRequest request;
  request.url = address + operation;
  request.body = body;
  const auto response = platform::HTTPClient::shared().postAndWait(std::move(request));
  if (!response) {
    return base::Failure{fmt::format("{}: no answer: {}{}", address, response.failure().message,
                                     startHint(address, response.failure().message))};
  }
  auto json = platform::JSON::parse(response->body);
  if (!json) {
    return base::Failure{fmt::format("{}: HTTP {} without a JSON body; is this the mapping service?", address,
                                     response->status)};
  }
  return MappingAnswer{response->status, *std::move(json)};
}

}  // namespace geoloom::tools
