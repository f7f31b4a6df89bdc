#include "tablet/drive.h"
namespace tablet {
class Drive::Implementation {};
Drive::Drive(std::filesystem::path, std::filesystem::path, const Clock&) {}
Drive::~Drive() = default;
}  // namespace tablet
