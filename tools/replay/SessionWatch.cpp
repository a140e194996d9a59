#include "tools/replay/SessionWatch.h"

#include "geoloom/platform/foundation/JSON.h"

namespace geoloom::tools {
namespace {

constexpr std::string_view saveFailed = "Amazon DynamoDB Save Error: ";

/// What an answer of the service complains of; empty when the line is none or it does not.
std::string complaintIn(std::string_view line) {
  if (!line.starts_with('{')) return {};
  const auto answer = platform::JSON::parse(line);
  const auto message = answer ? (*answer)["errorMessage"] : std::nullopt;
  return message ? message->stringValue() : std::string();
}

}  // namespace

void SessionWatch::tell(const std::function<void(Told&)>& change) {
  {
    const base::MutexLock lock(mutex_);
    change(told_);
  }
  changed_.notify_all();
}

void SessionWatch::consoleLine(std::string_view line) {
  if (line.starts_with("An item was saved. ")) {
    tell([](Told& t) { ++t.rowsSaved; });
  } else if (line.starts_with(saveFailed)) {
    tell([line](Told& t) {
      ++t.rowsFailed;
      t.rowFailure = line.substr(saveFailed.size());
    });
  } else if (line.starts_with("asking for new transform.")) {
    tell([](Told& t) { ++t.localizationsAsked; });
  } else if (line == "result") {
    tell([](Told& t) { ++t.localizationsAnswered; });
  } else if (std::string complaint = complaintIn(line); !complaint.empty()) {
    tell([&complaint](Told& t) {
      if (!t.status) t.refusal = std::move(complaint);
    });
  }
}

SessionWatch::Told SessionWatch::told() const {
  const base::MutexLock lock(mutex_);
  return told_;
}

bool SessionWatch::waitFor(std::chrono::milliseconds timeout,
                           const std::function<bool(const Told&)>& done) const {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  const base::MutexLock lock(mutex_);
  while (!done(told_)) {
    if (changed_.wait_until(mutex_, deadline) == std::cv_status::timeout) return done(told_);
  }
  return true;
}

}  // namespace geoloom::tools
