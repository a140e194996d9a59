#include <cstdio>
#include <vector>

#include <fmt/format.h>

#include "geoloom/base/StandardStreams.h"
#include "geoloom/platform/foundation/Log.h"

#include "tools/commands/Commands.h"
#include "tools/terminal/Terminal.h"

namespace geoloom::tools {
namespace {

int fail(ExitCode code, const std::string& line) {
  complain("geoloom: " + line);
  return static_cast<int>(code);
}

/// The first argument that is neither an option nor a command, or an empty text.
std::string unknownCommand(const CLI::App& app) {
  const std::vector<std::string> unknown = app.remaining(true);
  return unknown.empty() || unknown.front().starts_with('-') ? std::string() : unknown.front();
}

/// The message of an error. For an unknown command CLI11 says only that a command is missing.
std::string describe(const CLI::App& app, const CLI::ParseError& error) {
  const std::string unknown = unknownCommand(app);
  const bool isCommandMissing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr ||
                                dynamic_cast<const CLI::Success*>(&error) != nullptr;
  const std::string line =
      isCommandMissing && !unknown.empty() ? unknown + ": there is no such command" : error.what();
  return line + " (--help lists the options)";
}

/// `help COMMAND...` is `COMMAND... --help`. In reverse order, as CLI11 takes arguments.
std::vector<std::string> argumentsOf(int argc, char** argv) {
  std::vector<std::string> arguments(argv + 1, argv + argc);
  if (!arguments.empty() && arguments.front() == "help") {
    arguments.erase(arguments.begin());
    arguments.emplace_back("--help");
  }
  return {arguments.rbegin(), arguments.rend()};
}

int run(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(argumentsOf(argc, argv));
  } catch (const CLI::Success& success) {
    if (!unknownCommand(app).empty()) return fail(ExitCode::usage, describe(app, success));
    return app.exit(success);
  } catch (const CLI::ParseError& error) {
    return fail(ExitCode::usage, describe(app, error));
  } catch (const CommandError& error) {
    return fail(error.code(), error.what());
  } catch (const std::exception& error) {
    // fmt::print throws if standard output cannot be written, which main reports.
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
  // The log of a command belongs on its terminal, not in the system's journal.
  geoloom::platform::SystemLog::setSink(complain);
  CLI::App app{"Map rooms, localize in them and recognise the objects in them.", "geoloom"};
  app.set_version_flag("--version", "geoloom " GEOLOOM_VERSION);
  app.require_subcommand(1);
  app.footer("`geoloom help COMMAND` lists a command's options.");
  addRecordCommand(app);
  addReplayCommand(app);
  addReportCommand(app);
  addEvaluateCommand(app);
  addLoadCommand(app);
  addMapsCommand(app);
  addModelCommand(app);
  const int code = run(app, argc, argv);
  const bool isWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  return code == 0 && !isWritten ? fail(ExitCode::badInput, "standard output: cannot be written") : code;
}
