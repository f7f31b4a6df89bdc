// The simulated tablet: one machine with its registry, drive C:, firmware, devices, service manager, trace controller
// and time. The names of the Windows API act on the one that is current.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "sim/tablet/description/description.h"
#include "sim/tablet/devices/amss_driver.h"
#include "sim/tablet/devices/device_bus.h"
#include "sim/tablet/devices/firmware.h"
#include "sim/tablet/drive/drive.h"
#include "sim/tablet/kernel/clock.h"
#include "sim/tablet/kernel/faults.h"
#include "sim/tablet/kernel/handles.h"
#include "sim/tablet/kernel/heap.h"
#include "sim/tablet/kernel/journal.h"
#include "sim/tablet/kernel/scheduler.h"
#include "sim/tablet/registry/registry.h"
#include "sim/tablet/system/notifications.h"
#include "sim/tablet/system/partner.h"
#include "sim/tablet/system/privileges.h"
#include "sim/tablet/system/processes.h"
#include "sim/tablet/system/radio_proxy.h"
#include "sim/tablet/system/service_manager.h"
#include "sim/tablet/system/trace_controller.h"

namespace tablet {

class Tablet {
 public:
  /// Powers a tablet on. `folder` holds drive C: in its subfolder C (made when missing); registry and firmware start
  /// empty. The calling thread becomes the scheduler's thread 0 and the tablet the current one.
  Tablet(const Description& description, const std::filesystem::path& folder, Scheduler::Options options = {});
  ~Tablet();
  Tablet(const Tablet&) = delete;
  Tablet& operator=(const Tablet&) = delete;

  Scheduler& scheduler() { return scheduler_; }
  Clock& clock() { return clock_; }
  Journal& journal() { return journal_; }
  HandleTable& handles() { return handles_; }
  Heap& heap() { return heap_; }
  Privileges& privileges() { return privileges_; }
  Faults& faults() { return faults_; }
  Registry& registry() { return registry_; }
  Drive& drive() { return drive_; }
  Firmware& firmware() { return firmware_; }
  DeviceBus& devices() { return devices_; }
  TraceController& trace() { return trace_; }
  ServiceManager& services() { return services_; }
  Notifications& notifications() { return notifications_; }
  Partner& partner() { return partner_; }
  RadioProxy& radio() { return radio_; }
  Processes& processes() { return processes_; }
  AmssDriver& amss() { return amss_; }

  /// What the service's process held when it ended last: the kinds of its handles, "device registration",
  /// "power registration", "trace registration", "memory".
  const std::vector<std::string>& left_open() const { return left_open_; }

  /// The tablet that the calls of the Windows API act on. Aborts without a tablet.
  static Tablet& Current() {
    if (current_ == nullptr) RefuseWithoutTablet();
    return *current_;
  }

 private:
  [[noreturn]] static void RefuseWithoutTablet();

  static Tablet* current_;
  void NoteWhatIsOpen(ProcessId process);

  Scheduler scheduler_;
  Clock clock_;
  Journal journal_;
  HandleTable handles_;
  Heap heap_;
  Privileges privileges_;
  Faults faults_;
  Registry registry_;
  Drive drive_;
  Firmware firmware_;
  DeviceBus devices_;
  TraceController trace_;
  ServiceManager services_;
  Notifications notifications_;
  Partner partner_;
  RadioProxy radio_;
  Processes processes_;
  AmssDriver amss_;
  std::vector<std::string> left_open_;
};

/// The interface class of the modem's control device.
extern const Guid kModemControlClass;
/// The interface class of the driver that gives access to firmware variables.
extern const Guid kSafiClass;

/// Makes the devices that a description names arrive on the bus.
void PlugInDevices(const Description& description, Tablet& machine);

}  // namespace tablet
