#include "tools/replay/SessionWatch.h"

namespace geoloom::tools {

void SessionWatch::tell(const std::function<void(Told&)>& change) {
  {
    const platform::MutexLock lock(mutex_);
    change(told_);
  }
  changed_.notify_all();
}

void SessionWatch::consoleLine(std::string_view line) {
  if (line.starts_with("An item was saved. ")) {
    tell([](Told& t) { ++t.rowsSaved; });
  } else if (line.starts_with("Amazon DynamoDB Save Error: ")) {
    tell([](Told& t) { ++t.rowsFailed; });
  } else if (line.starts_with("asking for new transform.")) {
    tell([](Told& t) { ++t.localizationsAsked; });
  } else if (line == "result") {
    tell([](Told& t) { ++t.localizationsAnswered; });
  }
}

SessionWatch::Told SessionWatch::told() const {
  const platform::MutexLock lock(mutex_);
  return told_;
}

bool SessionWatch::waitFor(std::chrono::milliseconds timeout,
                           const std::function<bool(const Told&)>& done) const {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  const platform::MutexLock lock(mutex_);
  while (!done(told_)) {
    if (changed_.wait_until(mutex_, deadline) == std::cv_status::timeout) return done(told_);
  }
  return true;
}

}  // namespace geoloom::tools
