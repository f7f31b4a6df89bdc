#include "tablet/service_manager.h"
namespace tablet {
ServiceManager::ServiceManager(Scheduler& s, Journal& j, HandleTable& h) : scheduler_(s), journal_(j), handles_(h) {}
}  // namespace tablet
