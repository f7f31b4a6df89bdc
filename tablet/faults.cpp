#include "tablet/faults.h"

namespace tablet {

namespace {

/// Apart from Ask, which is asked at every call and has nothing to do most of the time.
[[gnu::noinline]] WinError AskEach(std::string_view call, std::vector<Faults::Counted>& faults, const Faults& told) {
  if (told.on_ask) told.on_ask(call);
  WinError error = 0;
  for (Faults::Counted& entry : faults) {
    if (entry.fault.call != call) continue;
    ++entry.seen;
    bool const hit = entry.seen >= entry.fault.first && entry.seen - entry.fault.first < entry.fault.count;
    if (!hit || error != 0) continue;
    error = entry.fault.error;
    if (++entry.hits == 1 && told.on_first_hit) told.on_first_hit(entry);
  }
  return error;
}

}  // namespace

WinError Faults::Ask(std::string_view call) {
  if (!on_ask && faults_.empty()) return 0;
  return AskEach(call, faults_, *this);
}

std::vector<std::string> Faults::Unused() const {
  std::vector<std::string> calls;
  for (const Counted& entry : faults_) {
    if (entry.seen < entry.fault.first) calls.push_back(entry.fault.call);
  }
  return calls;
}

}  // namespace tablet
