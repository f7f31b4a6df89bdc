#include "sim/tablet/kernel/faults.h"

namespace tablet {

WinError Faults::AskEach(std::string_view call) {
  if (on_ask) on_ask(call);
  WinError error = 0;
  for (Counted& entry : faults_) {
    if (entry.fault.call != call) continue;
    ++entry.seen;
    bool const hit = entry.seen >= entry.fault.first && entry.seen - entry.fault.first < entry.fault.count;
    if (!hit || error != 0) continue;
    error = entry.fault.error;
    if (++entry.hits == 1 && on_first_hit) on_first_hit(entry);
  }
  return error;
}

std::vector<std::string> Faults::Unused() const {
  std::vector<std::string> calls;
  for (const Counted& entry : faults_) {
    if (entry.seen < entry.fault.first) calls.push_back(entry.fault.call);
  }
  return calls;
}

}  // namespace tablet
