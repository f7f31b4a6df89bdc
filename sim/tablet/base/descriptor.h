// A file descriptor of the host, closed by its owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace tablet {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int value) : value_(value) {}  ///< takes ownership; -1: none
  ~Descriptor() {
    if (valid()) ::close(value_);
  }
  Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }

  bool valid() const { return value_ >= 0; }
  int get() const { return value_; }
  [[nodiscard]] int Release() { return std::exchange(value_, -1); }

 private:
  int value_ = -1;
};

}  // namespace tablet
