#pragma once

#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>

/// The sub-commands of `geoloom`. Each function adds its command to the application; the command's callback
/// does the work and reports failure by throwing CommandError, which becomes one line on standard error and
/// the exit code.
namespace geoloom::tools {

/// What a command exits with besides 0.
enum class ExitCode : int {
  internal = 1,     ///< what should not happen
  usage = 2,        ///< the arguments make no sense
  badInput = 3,     ///< a file or folder cannot be read or is not what it should be
  service = 4,      ///< the mapping service refused, failed or did not answer
  notLocalized = 5  ///< the session ended without a transform
};

/// One line that names the input and what to do.
class CommandError : public std::runtime_error {
 public:
  CommandError(ExitCode code, const std::string& line) : std::runtime_error(line), code_(code) {}
  [[nodiscard]] ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

void addMapsCommand(CLI::App& app);
void addModelCommand(CLI::App& app);
void addRecordCommand(CLI::App& app);
void addReplayCommand(CLI::App& app);
void addReportCommand(CLI::App& app);

}  // namespace geoloom::tools
