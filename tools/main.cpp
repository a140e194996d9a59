#include <cstdio>

#include <fmt/format.h>

#include "geoloom/platform/foundation/Log.h"

#include "tools/commands/Commands.h"

int main(int argc, char** argv) {
  using namespace geoloom::tools;
  // What a command says belongs to whoever called it, not into the system's journal.
  geoloom::platform::SystemLog::setSink([](std::string_view line) { fmt::print(stderr, "{}\n", line); });
  CLI::App app{"Map rooms, localize in them and recognise what stands there.", "geoloom"};
  app.require_subcommand(1);
  addRecordCommand(app);
  addReplayCommand(app);
  addReportCommand(app);
  addMapsCommand(app);
  addModelCommand(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {
    return app.exit(success);
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "geoloom: %s (--help lists the options)\n", error.what());
    return static_cast<int>(ExitCode::usage);
  } catch (const CommandError& error) {
    std::fprintf(stderr, "geoloom: %s\n", error.what());
    return static_cast<int>(error.code());
  }
  return 0;
}
