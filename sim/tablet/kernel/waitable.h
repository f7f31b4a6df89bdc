// Events of the simulated processes.
#pragma once

#include "sim/tablet/kernel/handles.h"
#include "sim/tablet/kernel/race_edges.h"

namespace tablet {

class EventObject final : public Object {
 public:
  EventObject(bool manual_reset, bool signaled) : manual_reset_(manual_reset), signaled_(signaled) {}
  std::string_view kind() const override { return "event"; }
  bool waitable() const override { return true; }
  bool signaled() const override { return signaled_; }
  void Consume() override {
    HappensAfter(this);
    if (!manual_reset_) signaled_ = false;
  }
  void Set() {
    HappensBefore(this);
    signaled_ = true;
  }

 private:
  bool manual_reset_;
  bool signaled_;
};

}  // namespace tablet
