#include <cstdio>
#include <fstream>

#include <CLI/CLI.hpp>
#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <signal.h>

#include "geoloom/base/OpenFiles.h"
#include "geoloom/base/PrintableText.h"
#include "geoloom/base/StandardStreams.h"
#include "geoloom/platform/foundation/Bundle.h"
#include "geoloom/platform/foundation/FileManager.h"

#include "localcloud/Server.h"

namespace {

using namespace geoloom::localcloud;

enum class ExitCode : int {
  failed = 1,  ///< any other failure
  usage = 2,   ///< invalid arguments
  data = 3,    ///< the data directory cannot be used
  listen = 4   ///< the address cannot be listened on, or the certificate cannot be used
};

constexpr int DEFAULT_PORT = 8808;  // of the kit's endpoints and of the geoloom command

struct Arguments {
  Server::Options server;
  std::string developerKeyFile;
  std::vector<std::string> tls;
  bool log = false;
};

int failure(ExitCode code, std::string_view line) {
  fmt::print(stderr, "geoloom-localcloud: {}\n", geoloom::base::printable(line));
  return static_cast<int>(code);
}

void describe(CLI::App& app, Arguments& arguments) {
  Server::Options& server = arguments.server;
  server.http.port = DEFAULT_PORT;
  app.add_option("--port", server.http.port, "Port to listen on; 0 chooses a free one")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  app.add_option("--data", server.data,
                 "Directory of the maps and tables, created if it is missing; without it "
                 "geoloom-localcloud in the user's data directory");
  app.add_option("--host", server.http.host,
                 "Address to listen on; one that is not loopback needs a developer key and --tls")
      ->capture_default_str();
  auto* const key = app.add_option("--developer-key", server.developerKey,
                                   "Accept only requests signed with this developer key's pair");
  app.add_option("--developer-key-file", arguments.developerKeyFile,
                 "The same, from the first line of a file")
      ->excludes(key);
  app.add_option("--tls", arguments.tls,
                 "Serve HTTPS with this certificate chain and private key, two PEM files")
      ->expected(2)
      ->type_name("CERT KEY");
  app.add_flag("--log", arguments.log, "Write a line for each request to standard error");
  app.set_version_flag("--version", "geoloom-localcloud " GEOLOOM_VERSION);
}

bool isLoopback(const std::string& host) {
  in_addr v4{};
  in6_addr v6{};
  if (::inet_pton(AF_INET, host.c_str(), &v4) == 1) return ntohl(v4.s_addr) >> 24U == IN_LOOPBACKNET;
  if (::inet_pton(AF_INET6, host.c_str(), &v6) == 1) return IN6_IS_ADDR_LOOPBACK(&v6) != 0;
  return host == "localhost";
}

/// Makes the checks that the parser cannot, and sets the defaults that depend on several options. Returns an
/// error, or an empty text.
std::string complete(Arguments& arguments) {
  Server::Options& server = arguments.server;
  if (server.data.empty()) {
    const auto documents = geoloom::platform::FileManager::documentsDirectory();
    if (!documents) return "no home directory is known: name a directory with --data";
    server.data = documents->parent_path();
  }
  if (arguments.log) {
    // Not fmt::print, which throws on a full disk: requests must be answered even if the log cannot be
    // written.
    server.log = [](std::string_view line) { std::fputs((std::string(line) + '\n').c_str(), stderr); };
  }
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

/// Serves until SIGINT or SIGTERM.
void serve(const Server::Options& options) {
  sigset_t ending;
  sigemptyset(&ending);
  sigaddset(&ending, SIGINT);
  sigaddset(&ending, SIGTERM);
  // Before the threads start, because they inherit the mask.
  pthread_sigmask(SIG_BLOCK, &ending, nullptr);
  geoloom::base::allowManyOpenFiles();
  const Server server(options);
  fmt::print("listening on {}\nkeeping maps in {}\n", server.url(),
             geoloom::base::printable(options.data.string()));
  std::fflush(stdout);
  int signal = 0;
  sigwait(&ending, &signal);
}

}  // namespace

int main(int argc, char** argv) {
  geoloom::base::openMissingStreams();
  geoloom::platform::Bundle::setMainBundleIdentifier("geoloom-localcloud");
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
