#include "tests/support/ChildProcess.h"

#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace geoloom::test {

namespace {

std::string readUntil(int from, char end) {
  std::string text;
  for (char c = 0; ::read(from, &c, 1) == 1 && c != end;) text.push_back(c);
  return text;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> arguments, Errors errors) {
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

ChildProcess::~ChildProcess() {
  ::close(input_);
  ::close(output_);
  ::close(error_);
  if (process_ > 0) end(SIGTERM);
}

int ChildProcess::end(int signal) {
  ::kill(process_, signal);
  return wait();
}

int ChildProcess::wait() {
  int status = 0;
  ::waitpid(std::exchange(process_, -1), &status, 0);
  return status;
}

bool ChildProcess::writeLine(std::string line) const {
  line.push_back('\n');
  return ::write(input_, line.data(), line.size()) == static_cast<ssize_t>(line.size());
}

std::string ChildProcess::readLine() const {
  return readUntil(output_, '\n');
}

std::string ChildProcess::errors() const {
  return readUntil(error_, '\0');
}

}  // namespace geoloom::test
