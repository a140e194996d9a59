#include "geoloom/session/SessionObserver.h"

#include <utility>

#include "geoloom/base/AtomicValue.h"

namespace geoloom {
namespace {

base::AtomicValue<std::shared_ptr<SessionObserver>>& current() {
  // Not destroyed: sessions live until the process ends.
  static auto* const value =
      new base::AtomicValue<std::shared_ptr<SessionObserver>>(std::make_shared<SessionObserver>());
  return *value;
}

}  // namespace

void SessionObserver::install(std::shared_ptr<SessionObserver> observer) {
  current().store(observer ? std::move(observer) : std::make_shared<SessionObserver>());
}

std::shared_ptr<SessionObserver> SessionObserver::installed() {
  return current().load();
}

}  // namespace geoloom
