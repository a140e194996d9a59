#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace geoloom::test {

/// A program that a test talks to in lines. Its standard input stays open for as long as it is wanted.
class ChildProcess {
 public:
  /// Its standard error is this program's own, or read with errors().
  enum class Errors { shown, taken };

  explicit ChildProcess(std::vector<std::string> arguments, Errors errors = Errors::shown) {
    int input[2];
    int output[2];
    int error[2];
    if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0 || ::pipe2(error, O_CLOEXEC) != 0)
      throw std::runtime_error("no pipes");
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    process_ = ::fork();
    if (process_ == 0) {
      ::dup2(input[0], STDIN_FILENO);
      ::dup2(output[1], STDOUT_FILENO);
      if (errors == Errors::taken) ::dup2(error[1], STDERR_FILENO);
      ::execvp(pointers[0], pointers.data());
      ::_exit(127);
    }
    ::close(input[0]);
    ::close(output[1]);
    ::close(error[1]);
    input_ = input[1];
    output_ = output[0];
    error_ = error[0];
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess() {
    ::close(input_);
    ::close(output_);
    ::close(error_);
    if (process_ > 0) end(SIGTERM);
  }

  /// Sends the signal, waits for the end and returns the wait status.
  int end(int signal) {
    ::kill(process_, signal);
    return wait();
  }
  int wait() {
    int status = 0;
    ::waitpid(std::exchange(process_, -1), &status, 0);
    return status;
  }

  /// False when the program has ended.
  [[nodiscard]] bool writeLine(std::string line) const {
    line.push_back('\n');
    return ::write(input_, line.data(), line.size()) == static_cast<ssize_t>(line.size());
  }

  /// The next line of output; empty when the program has ended.
  [[nodiscard]] std::string readLine() const { return read(output_, '\n'); }
  /// What it has to say until it ends.
  [[nodiscard]] std::string errors() const { return read(error_, '\0'); }

 private:
  static std::string read(int from, char end) {
    std::string text;
    for (char c = 0; ::read(from, &c, 1) == 1 && c != end;) text.push_back(c);
    return text;
  }

  pid_t process_ = -1;
  int input_ = -1;
  int output_ = -1;
  int error_ = -1;
};

}  // namespace geoloom::test
