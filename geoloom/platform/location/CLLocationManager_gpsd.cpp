#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <utility>

#include <fcntl.h>
#include <gps.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "geoloom/base/AtomicValue.h"
#include "geoloom/base/Descriptor.h"
#include "geoloom/base/Thread.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/location/CLLocationProvider.h"

namespace geoloom::platform {
namespace {

using Location = std::shared_ptr<const CLLocation>;

// Between attempts to connect.
constexpr std::chrono::seconds SHORTEST_PAUSE{1};
constexpr std::chrono::seconds LONGEST_PAUSE{30};

Date dateOf(const timespec& time) {
  // A report without a time, or with one beyond the range of Date, counts as of now.
  constexpr auto LAST = std::chrono::floor<std::chrono::seconds>(Date::max().time_since_epoch());
  if (time.tv_sec <= 0 || time.tv_sec >= LAST.count()) return Clock::current()->date();
  return Date(std::chrono::duration_cast<Date::duration>(std::chrono::seconds(time.tv_sec) +
                                                         std::chrono::nanoseconds(time.tv_nsec)));
}

bool isError(double metres) {
  return std::isfinite(metres) && metres >= 0;
}

/// A default if gpsd has no estimate: a negative value would make the location invalid.
double horizontalErrorOf(const gps_fix_t& fix) {
  constexpr double UNKNOWN = 100;
  if (isError(fix.eph)) return fix.eph;
  return isError(fix.epx) && isError(fix.epy) ? std::hypot(fix.epx, fix.epy) : UNKNOWN;
}

/// The location in a report, or nullptr.
Location locationOf(const gps_fix_t& fix) {
  // False for NaN.
  const bool isOnEarth = std::abs(fix.latitude) <= 90 && std::abs(fix.longitude) <= 180;
  if (fix.mode < MODE_2D || !isOnEarth) return nullptr;
  // The name of the field before gpsd 3.20.
  const double altitude = std::isfinite(fix.altMSL) ? fix.altMSL : fix.altitude;
  const bool hasAltitude = fix.mode >= MODE_3D && std::isfinite(altitude);
  return std::make_shared<CLLocation>(CLLocationCoordinate2D{fix.latitude, fix.longitude},
                                      hasAltitude ? altitude : 0, horizontalErrorOf(fix),
                                      hasAltitude && isError(fix.epv) ? fix.epv : -1, dateOf(fix.time));
}

/// A connection to the daemon. Used by one thread.
class Connection {
 public:
  Connection(const std::string& host, const std::string& port)
      : isOpen_(gps_open(host.c_str(), port.c_str(), data_.get()) == 0) {
    if (!isOpen_) return;
    // Not inherited by child processes; reading does not block.
    ::fcntl(descriptor(), F_SETFD, FD_CLOEXEC);
    ::fcntl(descriptor(), F_SETFL, O_NONBLOCK);
    gps_stream(data_.get(), WATCH_ENABLE | WATCH_JSON, nullptr);
  }
  ~Connection() {
    if (isOpen_) gps_close(data_.get());
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  explicit operator bool() const { return isOpen_; }
  [[nodiscard]] int descriptor() const { return static_cast<int>(data_->gps_fd); }

  /// Reports the locations that have arrived; false when the connection has ended.
  template <class Report>
  [[nodiscard]] bool read(Report report) {
    int length = 0;
    do {
      data_->set = 0;
      length = gps_read(data_.get(), nullptr, 0);
      if (length <= 0 || (data_->set & LATLON_SET) == 0) continue;
      if (Location location = locationOf(data_->fix)) report(std::move(location));
    } while (length > 0);
    return length == 0;
  }

 private:
  /// Too large for a stack.
  const std::unique_ptr<gps_data_t> data_ = std::make_unique<gps_data_t>();
  const bool isOpen_;
};

/// Shared by the provider, its thread and the clock. The provider ends the watch without waiting for the
/// thread.
class Watch : public std::enable_shared_from_this<Watch> {
 public:
  Watch(std::string host, std::string port) : host_(std::move(host)), port_(std::move(port)) {}

  void run() {
    auto pause = SHORTEST_PAUSE;
    while (!ended_) {
      if (follow()) pause = SHORTEST_PAUSE;
      sleep(pause);
      pause = std::min(2 * pause, LONGEST_PAUSE);
    }
  }

  void end() {
    ended_ = true;
    wake();
  }

  [[nodiscard]] Location latest() const { return latest_.load(); }

  void add(std::weak_ptr<CLLocationProvider::Observer> observer) {
    const base::MutexLock lock(mutex_);
    std::erase_if(observers_, [](const auto& other) { return other.expired(); });
    observers_.push_back(std::move(observer));
  }

 private:
  /// Reports the daemon's locations until the connection or the watch ends; false without a connection.
  bool follow() {
    Connection daemon(host_, port_);
    if (!daemon) return false;
    pollfd events[] = {{daemon.descriptor(), POLLIN, 0}, {wake_.get(), POLLIN, 0}};
    do {
      ::poll(events, std::size(events), -1);
    } while (!ended_ && daemon.read([this](Location location) { report(std::move(location)); }));
    return true;
  }

  void report(Location location) {
    latest_.store(location);
    DispatchQueue::main()->async([observers = observers(), location = std::move(location)] {
      for (const auto& observer : observers)
        if (const auto still = observer.lock()) still->locations({location});
    });
  }

  std::vector<std::weak_ptr<CLLocationProvider::Observer>> observers() {
    const base::MutexLock lock(mutex_);
    return observers_;
  }

  void sleep(std::chrono::nanoseconds span) {
    Clock::current()->schedule(span, [weak = weak_from_this()] {
      if (const auto watch = weak.lock()) watch->wake();
    });
    pollfd event{wake_.get(), POLLIN, 0};
    ::poll(&event, 1, -1);
    // Reset for the next pause; `ended_` stays.
    std::uint64_t count = 0;
    static_cast<void>(::read(wake_.get(), &count, sizeof count));
  }

  void wake() const {
    const std::uint64_t one = 1;
    static_cast<void>(::write(wake_.get(), &one, sizeof one));
  }

  const std::string host_;
  const std::string port_;
  const base::Descriptor wake_{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
  std::atomic<bool> ended_{false};
  base::AtomicValue<Location> latest_;
  base::Mutex mutex_;
  std::vector<std::weak_ptr<CLLocationProvider::Observer>> observers_ GEOLOOM_GUARDED_BY(mutex_);
};

class DaemonLocation final : public CLLocationProvider {
 public:
  DaemonLocation(std::string host, std::string port)
      : watch_(std::make_shared<Watch>(std::move(host), std::move(port))) {
    if (!base::startThread("geoloom-gpsd", [watch = watch_] { watch->run(); }))
      SystemLog::log("location: cannot start the gpsd thread");
  }
  ~DaemonLocation() override { watch_->end(); }
  DaemonLocation(const DaemonLocation&) = delete;
  DaemonLocation& operator=(const DaemonLocation&) = delete;

  [[nodiscard]] CLAuthorizationStatus authorizationStatus() const override {
    return CLAuthorizationStatus::authorizedWhenInUse;
  }

  [[nodiscard]] Location location() const override { return watch_->latest(); }

  [[nodiscard]] std::shared_ptr<void> observe(Observer observer) override {
    if (!observer.locations) return nullptr;
    auto observation = std::make_shared<Observer>(std::move(observer));
    watch_->add(observation);
    return observation;
  }

 private:
  const std::shared_ptr<Watch> watch_;
};

}  // namespace

std::shared_ptr<CLLocationProvider> CLLocationProvider::gpsd(std::string host, std::string port) {
  return std::make_shared<DaemonLocation>(std::move(host), std::move(port));
}

}  // namespace geoloom::platform
