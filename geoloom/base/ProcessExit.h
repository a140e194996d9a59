#pragma once

namespace geoloom::base {

// When the process exits (by exit, or by a return from main), the destructors of libraries run while our
// threads may still use them. Sessions live until then, so work that has begun is waited for first, and no
// more begins.

/// A stretch of work, from construction to destruction; may be nested. On any thread.
class Work {
 public:
  Work();
  ~Work();
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;

  /// False while the process exits: the work must not begin.
  explicit operator bool() const { return begun_; }

  /// Around a wait within work, which would delay the exit. `resume` does not return while the process exits.
  static void suspend();
  static void resume();

 private:
  bool begun_;
};

/// True once the process has begun to exit.
[[nodiscard]] bool isProcessExiting();

/// Registers an exit handler that waits for all work, at most two seconds, before the destructors registered
/// so far run. Call it after each library that work depends on is initialised.
void restAtExit();

/// Blocks the calling thread for ever: it must not run while the process exits.
[[noreturn]] void parkThread();

}  // namespace geoloom::base
