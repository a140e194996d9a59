#pragma once

#include <csignal>
#include <string>
#include <vector>

#include <sys/types.h>
#include <sys/wait.h>

namespace geoloom::test {

/// A child process that exchanges lines with a test. Its standard input stays open while this object exists.
class ChildProcess {
 public:
  /// Standard error goes to that of this program, or errors() reads it.
  enum class Errors { shown, taken };

  explicit ChildProcess(std::vector<std::string> arguments, Errors errors = Errors::shown);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  /// Sends the signal, waits for the end and returns the wait status.
  int end(int signal);
  int wait();

  /// False if the program has ended.
  [[nodiscard]] bool writeLine(std::string line) const;
  /// The next line of output; empty if the program has ended.
  [[nodiscard]] std::string readLine() const;
  /// Standard error until the program ends.
  [[nodiscard]] std::string errors() const;

 private:
  pid_t process_ = -1;
  int input_ = -1;
  int output_ = -1;
  int error_ = -1;
};

}  // namespace geoloom::test
