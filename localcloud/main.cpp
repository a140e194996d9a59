#include <cstdio>
#include <fstream>

#include <CLI/CLI.hpp>
#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <signal.h>

#include "geoloom/base/StandardStreams.h"

#include "localcloud/Server.h"

namespace {

using namespace geoloom::localcloud;

enum class ExitCode : int {
  failed = 1,  ///< something no other code names
  usage = 2,   ///< the arguments make no sense
  data = 3,    ///< the data directory cannot be used
  listen = 4   ///< the address cannot be listened on, or the certificate cannot be used
};

struct Arguments {
  Server::Options server;
  std::string developerKeyFile;
  std::vector<std::string> tls;
};

int failure(ExitCode code, std::string_view line) {
  fmt::print(stderr, "geoloom-localcloud: {}\n", line);
  return static_cast<int>(code);
}

void describe(CLI::App& app, Arguments& arguments) {
  Server::Options& server = arguments.server;
  app.add_option("--port", server.http.port, "Port to listen on; 0 chooses a free one")
      ->required()
      ->check(CLI::Range(0, 65535));
  app.add_option("--data", server.data, "Directory that keeps the maps and tables; made when it is missing")
      ->required();
  app.add_option("--host", server.http.host,
                 "Address to listen on; one that is not loopback needs a developer key and --tls")
      ->capture_default_str();
  auto* const key = app.add_option("--developer-key", server.developerKey,
                                   "Accept only what is signed with this developer key's pair");
  app.add_option("--developer-key-file", arguments.developerKeyFile,
                 "The same, from the first line of a file")
      ->excludes(key);
  app.add_option("--tls", arguments.tls,
                 "Serve HTTPS with this certificate chain and private key, two PEM files")
      ->expected(2)
      ->type_name("CERT KEY");
  app.set_version_flag("--version", "geoloom-localcloud " GEOLOOM_VERSION);
}

bool isLoopback(const std::string& host) {
  in_addr v4{};
  in6_addr v6{};
  if (::inet_pton(AF_INET, host.c_str(), &v4) == 1) return ntohl(v4.s_addr) >> 24U == IN_LOOPBACKNET;
  if (::inet_pton(AF_INET6, host.c_str(), &v6) == 1) return IN6_IS_ADDR_LOOPBACK(&v6) != 0;
  return host == "localhost";
}

/// What the parser cannot check, or an empty line.
std::string complete(Arguments& arguments) {
  Server::Options& server = arguments.server;
  if (!arguments.developerKeyFile.empty()) {
    std::ifstream file(arguments.developerKeyFile);
    std::string line;
    if (!std::getline(file, line) || line.empty()) {
      return fmt::format("cannot read a developer key from {}", arguments.developerKeyFile);
    }
    server.developerKey = line;
  }
  if (server.developerKey && server.developerKey->empty()) return "the developer key is empty";
  if (arguments.tls.size() == 2) server.http.tls = TLSFiles{arguments.tls[0], arguments.tls[1]};
  if (!isLoopback(server.http.host) && !(server.developerKey && server.http.tls)) {
    return fmt::format("--host {} is open to other machines: give --developer-key and --tls too",
                       server.http.host);
  }
  return {};
}

/// Serves until the process is told to end.
void serve(const Server::Options& options) {
  sigset_t ending;
  sigemptyset(&ending);
  sigaddset(&ending, SIGINT);
  sigaddset(&ending, SIGTERM);
  // Before the threads start, so that they do not take the signals.
  pthread_sigmask(SIG_BLOCK, &ending, nullptr);
  const Server server(options);
  fmt::print("listening on {}\n", server.url());
  std::fflush(stdout);
  int signal = 0;
  sigwait(&ending, &signal);
}

}  // namespace

int main(int argc, char** argv) {
  geoloom::base::openMissingStreams();
  CLI::App app{
      "A mapping service for one machine: maps, placements, tables and localization over loopback HTTP.",
      "geoloom-localcloud"};
  Arguments arguments;
  describe(app, arguments);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {
    return app.exit(success);
  } catch (const CLI::ParseError& error) {
    return failure(ExitCode::usage, fmt::format("{} (--help lists the options)", error.what()));
  }
  if (const std::string line = complete(arguments); !line.empty()) return failure(ExitCode::usage, line);
  try {
    serve(arguments.server);
  } catch (const StoreError& error) {
    return failure(ExitCode::data, error.what());
  } catch (const ListenError& error) {
    return failure(ExitCode::listen, error.what());
  } catch (const std::exception& error) {
    return failure(ExitCode::failed, error.what());
  }
  return 0;
}
