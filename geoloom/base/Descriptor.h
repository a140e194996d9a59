#pragma once

#include <utility>

#include <unistd.h>

namespace geoloom::base {

/// Owns a file descriptor and closes it.
class Descriptor {
 public:
  /// Takes the result of a system call; negative: no descriptor.
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
