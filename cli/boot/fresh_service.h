// The service once more, with process-wide state of its own: what a process that the service manager restarts begins
// with.
#pragma once

#include <functional>

namespace cli {

/// The entry of a copy of the service whose static variables are as at the start of a process. Each call gives another
/// copy; none is ever given back, since threads of a process that died stay in it. Throws std::runtime_error
/// when it cannot be loaded.
std::function<int()> FreshService();

/// Loads copies that the next calls of FreshService take: for many processes made from this one.
void LoadFreshServices(int copies);

}  // namespace cli
