#include "geoloom/platform/foundation/Log.h"

#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include <unistd.h>

#include "geoloom/base/Mutex.h"
#include "geoloom/base/PrintableText.h"
#include "geoloom/platform/foundation/Journal.h"

namespace geoloom::platform {

namespace {

class LineStream;

/// The calls of sinks on this thread, innermost first.
struct SinkCall {
  const LineStream* stream;
  const SinkCall* outer;
};
thread_local const SinkCall* sinkCalls = nullptr;

/// A stream of lines behind a replaceable sink.
class LineStream {
 public:
  /// Without a sink, a line goes to `system` if that accepts it, else to `file`.
  explicit LineStream(std::FILE* file, bool (*system)(std::string_view line) = nullptr)
      : file_(file), system_(system) {}

  void print(std::string_view line) {
    // A sink that prints on its own stream must not call itself.
    const std::shared_ptr<Sink> sink = isInSink() ? nullptr : enter();
    if (!sink) {
      if (system_ == nullptr || !system_(line)) writeLine(line);
      return;
    }
    const SinkCall call{this, sinkCalls};
    sinkCalls = &call;
    try {
      sink->call(line);
    } catch (...) {
      // The line is lost: a failing sink cannot be reported to itself.
    }
    sinkCalls = call.outer;
    leave(*sink);
  }

  void setSink(LineSink call) {
    // The old sink is destroyed after the lock is released, since its destructor may print.
    std::shared_ptr<Sink> old = call ? std::make_shared<Sink>(Sink{std::move(call)}) : nullptr;
    const base::MutexLock lock(mutex_);
    sink_.swap(old);
    if (!old || sinkCalls != nullptr) return;
    while (old->running > 0) idle_.wait(mutex_);
  }

 private:
  struct Sink {
    LineSink call;
    /// Number of running calls; guarded by the stream's lock.
    int running = 0;
  };

  bool isInSink() const {
    const SinkCall* call = sinkCalls;
    while (call != nullptr && call->stream != this) call = call->outer;
    return call != nullptr;
  }

  std::shared_ptr<Sink> enter() {
    const base::MutexLock lock(mutex_);
    if (sink_) ++sink_->running;
    return sink_;
  }

  void leave(Sink& sink) {
    const base::MutexLock lock(mutex_);
    if (--sink.running == 0) idle_.notify_all();
  }

  /// Writes the whole line with one system call, after flushing the application's own output. The stream's
  /// lock keeps lines separate if the system writes a long one in pieces.
  void writeLine(std::string_view line) {
    std::string whole;
    whole.reserve(line.size() + 1);
    whole.append(line).push_back('\n');
    std::string_view rest = whole;
    flockfile(file_);
    std::fflush(file_);
    while (!rest.empty()) {
      const ssize_t written = ::write(fileno(file_), rest.data(), rest.size());
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) break;
      rest.remove_prefix(static_cast<std::size_t>(written));
    }
    funlockfile(file_);
  }

  base::Mutex mutex_;
  std::condition_variable_any idle_;
  /// Null for the default.
  std::shared_ptr<Sink> sink_ GEOLOOM_GUARDED_BY(mutex_);
  std::FILE* const file_;
  bool (*const system_)(std::string_view line);
};

LineStream& console() {
  static LineStream& stream = *new LineStream(stdout);
  return stream;
}

LineStream& systemLog() {
  static LineStream& stream =
      *new LineStream(stderr, [](std::string_view line) { return sendToJournal(line); });
  return stream;
}

}  // namespace

void Console::print(std::string_view line) {
  console().print(base::printable(line));
}

void Console::setSink(LineSink sink) {
  console().setSink(std::move(sink));
}

void SystemLog::log(std::string_view line) {
  systemLog().print(base::printable(line));
}

void SystemLog::setSink(LineSink sink) {
  systemLog().setSink(std::move(sink));
}

}  // namespace geoloom::platform
