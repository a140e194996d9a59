#pragma once

namespace geoloom::base {

// When the process exits (by exit, or by a return from main) the libraries that we stand on are taken down,
// also under threads that are at work in them. Sessions live until then, so their work has to end first: what
// has begun is waited for, and nothing begins any more.

/// A stretch of work, from construction to destruction; may be nested. On any thread.
class Work {
 public:
  Work();
  ~Work();
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;

  /// False while the process exits: the work must not begin.
  explicit operator bool() const { return begun_; }

  /// Around a wait in the middle of work, which would hold the exit up. `resume` does not return while the
  /// process exits.
  static void suspend();
  static void resume();

 private:
  bool begun_;
};

/// True from the moment in which the process began to exit.
[[nodiscard]] bool isProcessExiting();

/// Lets all work end before that is taken down which libraries have set up so far; at most two seconds, so
/// that a callback that never returns does not keep the process. Call again when a library has set up more.
void restAtExit();

/// Where a thread of ours stays while the process exits.
[[noreturn]] void parkThread();

}  // namespace geoloom::base
