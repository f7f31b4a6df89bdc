#include "sim/tablet/devices/amss_driver.h"

namespace tablet {

namespace {

constexpr std::uint32_t kResetRequest = 0x9CA30C00;
constexpr std::size_t kRecordBytes = 1042;
constexpr std::size_t kResetOffset = 1040;

class AmssFile final : public DeviceFile {
 public:
  explicit AmssFile(AmssDriver& driver) : driver_(driver) {}
  WinError Control(std::uint32_t code, std::span<const std::uint8_t> in, std::span<std::uint8_t>,
                   std::uint32_t& returned) override {
    returned = 0;
    return driver_.Control(code, in);
  }

 private:
  AmssDriver& driver_;
};

}  // namespace

DeviceInterface AmssDriver::Device() {
  return {Guid{}, u"\\\\.\\AMSSStats", [this](std::shared_ptr<DeviceFile>& out) {
            if (description_.open_error != 0) return description_.open_error;
            out = std::make_shared<AmssFile>(*this);
            return kSuccess;
          }};
}

WinError AmssDriver::Control(std::uint32_t code, std::span<const std::uint8_t> in) {
  if (code != kResetRequest) return kInvalidFunction;
  if (in.size() != kRecordBytes) return kInvalidParameter;
  requests_.push_back({scheduler_.Now(), {in.begin(), in.end()}, description_.request_error});
  if (description_.request_error != 0) return description_.request_error;
  if (in[kResetOffset] == 1) {
    ++resets_;
    journal_.Note("the modem is reset");
  }
  return kSuccess;
}

}  // namespace tablet
