#include "tablet/trace_controller.h"
namespace tablet {
void TraceController::Collect(const Guid&, std::uint32_t, std::uint8_t) {}
}  // namespace tablet
