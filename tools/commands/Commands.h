#pragma once

#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>

#include "geoloom/base/Result.h"

/// The sub-commands of `geoloom`. Each function adds its command to the application. The command's callback
/// does the work and throws CommandError on failure, which main() turns into one line on standard error and
/// the exit code.
namespace geoloom::tools {

/// Exit codes besides 0.
enum class ExitCode : int {
  internal = 1,      ///< unexpected failure
  usage = 2,         ///< invalid arguments
  badInput = 3,      ///< a file or folder cannot be read or written, or has invalid content
  service = 4,       ///< a service rejected a request, failed or did not answer
  notLocalized = 5,  ///< no transform was found
  interrupted = 130  ///< SIGINT, as shells count it; 143 for SIGTERM
};

/// One line that names the input and what to do.
class CommandError : public std::runtime_error {
 public:
  CommandError(ExitCode code, const std::string& line) : std::runtime_error(line), code_(code) {}
  [[nodiscard]] ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

/// The value, or a CommandError for invalid input.
template <class T>
[[nodiscard]] T valueOf(base::Result<T> result) {
  if (!result) throw CommandError(ExitCode::badInput, result.failure().message);
  return *std::move(result);
}

/// The failure of a command that was interrupted by a signal.
[[nodiscard]] CommandError interruptedBy(int signal, const std::string& kept);

void addEvaluateCommand(CLI::App& app);
void addLoadCommand(CLI::App& app);
void addMapsCommand(CLI::App& app);
void addModelCommand(CLI::App& app);
void addRecordCommand(CLI::App& app);
void addReplayCommand(CLI::App& app);
void addReportCommand(CLI::App& app);

}  // namespace geoloom::tools
