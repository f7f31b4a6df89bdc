// Work in a process of its own: the service keeps process-wide state, and some of what it is given makes it hang.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>

namespace cli {

/// Returns the child's result; the first one counts and ends the child.
using Answer = std::function<void(const nlohmann::ordered_json&)>;

/// Runs `work` in a child of this process and returns its result. InputErrors of the child are thrown here as they are.
/// Throws std::runtime_error, which begins with `what`, for a child that ends without a result. Call it while this
/// process has no thread that a fork must not lose.
nlohmann::ordered_json RunInChild(const std::string& what, const std::function<void(const Answer&)>& work);

}  // namespace cli
