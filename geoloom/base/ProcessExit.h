#pragma once

namespace geoloom::base {

// When the process exits (by exit, or by a return from main), the destructors of libraries run, although the
// kit's threads may still use them. Therefore the exit first waits for running work, and no other work
// starts.

/// A piece of work, from construction to destruction; may be nested, on any thread.
class Work {
 public:
  Work();
  ~Work();
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;

  /// False during process exit: the work must not begin.
  explicit operator bool() const { return begun_; }

  /// Call these around a wait within work, so that it does not delay the exit. `resume` does not return
  /// during process exit.
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

/// Blocks the calling thread for ever, to keep it from running during process exit.
[[noreturn]] void parkThread();

}  // namespace geoloom::base
