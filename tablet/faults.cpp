#include "tablet/faults.h"

namespace tablet {

WinError Faults::Ask(std::string_view call) {
  WinError error = 0;
  for (Counted& entry : faults_) {
    if (entry.fault.call != call) continue;
    ++entry.seen;
    bool const hit = entry.seen >= entry.fault.first && entry.seen - entry.fault.first < entry.fault.count;
    if (hit && error == 0) error = entry.fault.error;
  }
  return error;
}

}  // namespace tablet
