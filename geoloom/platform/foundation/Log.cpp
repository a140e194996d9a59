#include "geoloom/platform/foundation/Log.h"

#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace geoloom::platform {

namespace {

/// A stream of lines behind a replaceable sink.
class LineStream {
 public:
  explicit LineStream(std::FILE* file) : sink_(makeSink({}, file)), file_(file) {}

  void print(std::string_view line) {
    const std::shared_ptr<Sink> sink = enter();
    const std::shared_ptr<Sink> outer = std::exchange(callingSink, sink);
    try {
      sink->call(line);
    } catch (...) {
      // A line that the sink cannot take is lost; there is nowhere else to say so.
    }
    callingSink = outer;
    leave(*sink);
  }

  void setSink(LineSink call) {
    const std::shared_ptr<Sink> next = makeSink(std::move(call), file_);
    std::unique_lock lock(mutex_);
    const std::shared_ptr<Sink> old = std::exchange(sink_, next);
    if (callingSink == old) return;
    idle_.wait(lock, [&old] { return old->running == 0; });
  }

 private:
  struct Sink {
    LineSink call;
    /// Calls under way; guarded by the stream's lock.
    int running = 0;
  };

  /// The sink that this thread is in.
  static thread_local std::shared_ptr<Sink> callingSink;

  static std::shared_ptr<Sink> makeSink(LineSink call, std::FILE* file) {
    if (!call) call = [file](std::string_view line) { writeLine(file, line); };
    return std::make_shared<Sink>(Sink{std::move(call)});
  }

  /// The whole line in one call, which stdio keeps together and in order with the application's own output.
  static void writeLine(std::FILE* file, std::string_view line) {
    std::string whole;
    whole.reserve(line.size() + 1);
    whole.append(line).push_back('\n');
    std::fwrite(whole.data(), 1, whole.size(), file);
    std::fflush(file);
  }

  std::shared_ptr<Sink> enter() {
    const std::lock_guard lock(mutex_);
    ++sink_->running;
    return sink_;
  }

  void leave(Sink& sink) {
    const std::lock_guard lock(mutex_);
    if (--sink.running == 0) idle_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable idle_;
  std::shared_ptr<Sink> sink_ GEOLOOM_GUARDED_BY(mutex_);
  std::FILE* const file_;
};

thread_local std::shared_ptr<LineStream::Sink> LineStream::callingSink;

LineStream& console() {
  static LineStream& stream = *new LineStream(stdout);
  return stream;
}

LineStream& systemLog() {
  static LineStream& stream = *new LineStream(stderr);
  return stream;
}

}  // namespace

void Console::print(std::string_view line) {
  console().print(line);
}

void Console::setSink(LineSink sink) {
  console().setSink(std::move(sink));
}

void SystemLog::log(std::string_view line) {
  systemLog().print(line);
}

void SystemLog::setSink(LineSink sink) {
  systemLog().setSink(std::move(sink));
}

}  // namespace geoloom::platform
