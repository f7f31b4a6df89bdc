// Bad input: what is wrong, where, and what to do about it.
#pragma once

#include <stdexcept>
#include <string>

namespace tablet {

class InputError : public std::runtime_error {
 public:
  /// `place`: "file", "file:line" or "file:line: key"; `next`: what the user can do, a sentence without a full stop.
  InputError(const std::string& place, const std::string& problem, const std::string& next)
      : std::runtime_error(place + ": " + problem + (next.empty() ? "" : "; " + next)),
        place_(place),
        problem_(problem),
        next_(next) {}

  const std::string& place() const { return place_; }
  const std::string& problem() const { return problem_; }
  const std::string& next() const { return next_; }

 private:
  std::string place_;
  std::string problem_;
  std::string next_;
};

}  // namespace tablet
