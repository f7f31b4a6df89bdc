// What a sweep checks runs against, by name; docs/promises.md gives the reason of each. And the known limitations: how
// a promise fails to hold, each with the window in which that may happen. The page names the test of each.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/sweep/sweep_calls.h"
#include "cli/sweep/sweep_plan.h"

namespace cli {

struct Promise {
  std::string_view name;
  std::string_view holds;  ///< half a sentence
};
std::span<const Promise> Promises();

/// How a run went, as far as known limitations depend on it.
struct RunFacts {
  const std::vector<KnownCall>& calls;   ///< of the undisturbed run
  std::vector<const KnownCall*> failed;  ///< those that were made to fail
  std::uint64_t cut_at = 0;              ///< 0: the power was not cut
  RunEnd::Kind end = RunEnd::Kind::kStopped;
  std::uint32_t status = 0;  ///< the service's last
  std::size_t deaths = 0;
  std::vector<std::string> broken = {};  ///< what was found: a line for each difference, leak, ...
};

/// The end of a line of RunFacts::broken about a file outside of the target folders: by which rule it came there.
inline constexpr std::string_view kStepUp = ": by a name that begins with a step up";
inline constexpr std::string_view kTargetFolder = ": other attributes of the target's folder";

struct KnownLimitation {
  std::string_view name;  ///< "ends/no-handler": the promise's name comes first
  std::string_view what;  ///< half a sentence
  bool (*holds)(const RunFacts& facts);
};
std::span<const KnownLimitation> KnownLimitations();

/// The known limitation of a promise that covers these facts; null without one.
const KnownLimitation* LimitationFor(std::string_view promise, const RunFacts& facts);

}  // namespace cli
