#include "tablet/registry.h"
namespace tablet {
class Registry::Implementation {};
Registry::Registry() = default;
Registry::~Registry() = default;
void Registry::Guard(std::u16string, KeyGuard) {}
}  // namespace tablet
