#pragma once

#include <utility>

#include <unistd.h>

namespace geoloom::base {

/// A file descriptor, closed with its owner.
class Descriptor {
 public:
  /// Owns the result of a system call; negative is none.
  explicit Descriptor(int value = -1) : value_(value) {}
  ~Descriptor() {
    if (value_ >= 0) ::close(value_);
  }
  Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }

  explicit operator bool() const { return value_ >= 0; }
  [[nodiscard]] int get() const { return value_; }

 private:
  int value_;
};

}  // namespace geoloom::base
