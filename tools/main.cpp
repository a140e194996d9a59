#include <cstdio>

#include <fmt/format.h>

#include "geoloom/base/StandardStreams.h"
#include "geoloom/platform/foundation/Log.h"

#include "tools/commands/Commands.h"

namespace geoloom::tools {
namespace {

int fail(ExitCode code, const std::string& line) {
  std::fprintf(stderr, "geoloom: %s\n", line.c_str());
  return static_cast<int>(code);
}

/// What was not a command, where CLI11 only says that one is missing.
std::string describe(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> unknown = app.remaining(true);
  const bool isCommandMissing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
  const std::string line = isCommandMissing && !unknown.empty() && !unknown.front().starts_with('-')
                               ? unknown.front() + ": there is no such command"
                               : error.what();
  return line + " (--help lists the options)";
}

int run(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {
    return app.exit(success);
  } catch (const CLI::ParseError& error) {
    return fail(ExitCode::usage, describe(app, error));
  } catch (const CommandError& error) {
    return fail(error.code(), error.what());
  } catch (const std::exception& error) {
    // Printing threw; main says so.
    if (std::ferror(stdout) != 0) return 0;
    return fail(ExitCode::internal, error.what());
  }
  return 0;
}

}  // namespace
}  // namespace geoloom::tools

int main(int argc, char** argv) {
  using namespace geoloom::tools;
  geoloom::base::openMissingStreams();
  // What a command says belongs to whoever called it, not into the system's journal.
  geoloom::platform::SystemLog::setSink([](std::string_view line) { fmt::print(stderr, "{}\n", line); });
  CLI::App app{"Map rooms, localize in them and recognise what stands there.", "geoloom"};
  app.set_version_flag("--version", "geoloom " GEOLOOM_VERSION);
  app.require_subcommand(1);
  addRecordCommand(app);
  addReplayCommand(app);
  addReportCommand(app);
  addMapsCommand(app);
  addModelCommand(app);
  const int code = run(app, argc, argv);
  const bool isWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  return code == 0 && !isWritten ? fail(ExitCode::badInput, "standard output: cannot be written") : code;
}
