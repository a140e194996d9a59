#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace geoloom::testing {

/// A program that a test talks to by its first line of output. Its standard input stays open for as long as
/// it is wanted.
class ChildProcess {
 public:
  explicit ChildProcess(std::vector<std::string> arguments) {
    int input[2];
    int output[2];
    if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0)
      throw std::runtime_error("no pipes");
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    process_ = ::fork();
    if (process_ == 0) {
      ::dup2(input[0], STDIN_FILENO);
      ::dup2(output[1], STDOUT_FILENO);
      ::execvp(pointers[0], pointers.data());
      ::_exit(127);
    }
    ::close(input[0]);
    ::close(output[1]);
    input_ = input[1];
    output_ = output[0];
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess() {
    ::close(input_);
    ::close(output_);
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
  }

  /// False when the program has ended.
  [[nodiscard]] bool writeLine(std::string line) const {
    line.push_back('\n');
    return ::write(input_, line.data(), line.size()) == static_cast<ssize_t>(line.size());
  }

  /// The next line of output; empty when the program has ended.
  [[nodiscard]] std::string readLine() const {
    std::string line;
    for (char c = 0; ::read(output_, &c, 1) == 1 && c != '\n';) line.push_back(c);
    return line;
  }

 private:
  pid_t process_ = -1;
  int input_ = -1;
  int output_ = -1;
};

}  // namespace geoloom::testing
