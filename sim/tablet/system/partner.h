// The partner service "Pelt", played by description: another service of the machine, whose process is not simulated.
#pragma once

#include <cstdint>
#include <vector>

#include "sim/tablet/system/service_manager.h"

namespace tablet {

/// A pending state and what comes of it.
struct PartnerPhase {
  Millis duration{0};
  Millis check_point_every{0};  ///< how often the check point grows; 0: it does not change
  std::uint32_t wait_hint = 0;  ///< milliseconds
  std::uint32_t ends_in = kServiceStopped;
  std::uint32_t exit_code = 0;      ///< reported with the state it ends in
  std::uint32_t end_wait_hint = 0;  ///< milliseconds; reported with the state it ends in, as services do that leave it
};

struct PartnerDescription {
  bool present = true;
  std::uint32_t state = kServiceStopped;  ///< at power-on; a pending state begins its phase then
  PartnerPhase starting{.ends_in = kServiceRunning};
  PartnerPhase stopping{};
  WinError start_error = 0;    ///< what starting it fails with; 0: it starts
  WinError control_error = 0;  ///< what sending it a control fails with; 0: it is received
};

class Partner {
 public:
  struct Received {
    Millis time;
    std::uint32_t control;
  };

  Partner(const PartnerDescription& description, const Scheduler& scheduler, Journal& journal);

  bool present() const { return description_.present; }
  ServiceStatus Status() const;
  WinError Start();
  WinError Control(std::uint32_t control);
  const std::vector<Received>& received() const { return received_; }

 private:
  /// The phase that the current state began, or null.
  const PartnerPhase* Phase() const;

  PartnerDescription description_;
  const Scheduler& scheduler_;
  Journal& journal_;
  std::uint32_t state_;
  bool started_ = false;  ///< by Start; otherwise the state is that at power-on
  Millis since_{0};
  std::vector<Received> received_;
};

}  // namespace tablet
