#include "sim/tablet/devices/safi_driver.h"

#include <algorithm>
#include <optional>

#include "sim/tablet/base/text.h"

namespace tablet {

namespace {

constexpr std::uint32_t kWriteRequest = 0x68922002;
constexpr std::uint32_t kReadRequest = 0x68922006;
constexpr std::uint32_t kSizeRequest = 0x6892200A;

constexpr std::size_t kTextBytes = 520;
constexpr std::size_t kHeaderBytes = 2 * kTextBytes;
constexpr std::size_t kStatusBytes = 4;
constexpr std::size_t kWrittenBytes = 10;
constexpr std::size_t kBracedGuidCharacters = 38;

using Bytes = std::span<const std::uint8_t>;

std::uint32_t NumberAt(Bytes bytes, std::size_t at) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i) number |= std::uint32_t{bytes[at + i]} << (8 * i);
  return number;
}

void PutNumber(std::span<std::uint8_t> bytes, std::size_t at, std::uint32_t number) {
  for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<std::uint8_t>(number >> (8 * i));
}

/// A field's text up to its terminator, or the whole field without one.
std::u16string TextAt(Bytes bytes, std::size_t at) {
  std::u16string text;
  for (std::size_t i = at; i < at + kTextBytes; i += 2) {
    auto const character = static_cast<char16_t>(bytes[i] | bytes[i + 1] << 8);
    if (character == 0) break;
    text += character;
  }
  return text;
}

/// None for a text that does not begin with a braced GUID, has no name after it or one that no file can have.
std::optional<FirmwareKey> KeyOf(const std::u16string& text) {
  if (text.size() <= kBracedGuidCharacters) return std::nullopt;
  std::optional<Guid> const vendor = Guid::Parse(ToUtf8(text.substr(0, kBracedGuidCharacters)));
  std::u16string name = text.substr(kBracedGuidCharacters);
  if (!vendor || name.find(u'/') != std::u16string::npos) return std::nullopt;
  return FirmwareKey{std::move(name), *vendor};
}

/// Whether a request's buffers have exactly the lengths of its record.
bool HasItsLengths(std::uint32_t code, Bytes in, std::size_t out_bytes) {
  if (code == kSizeRequest) return in.size() == kHeaderBytes && out_bytes == kStatusBytes + 4;
  if (code == kReadRequest) {
    return in.size() == kHeaderBytes + 4 && out_bytes == std::uint64_t{NumberAt(in, kHeaderBytes)} + kStatusBytes + 1;
  }
  return in.size() == kHeaderBytes + 4 + kWrittenBytes + 1 && out_bytes == kStatusBytes &&
         NumberAt(in, kHeaderBytes) == kWrittenBytes;
}

}  // namespace

WinError SafiDriver::Control(std::uint32_t code, std::span<const std::uint8_t> in, std::span<std::uint8_t> out,
                             std::uint32_t& returned) {
  if (code != kSizeRequest && code != kReadRequest && code != kWriteRequest) return kInvalidFunction;
  if (!HasItsLengths(code, in, out.size())) return kInvalidParameter;
  if (WinError const fault = faults_.Ask("Pstatus")) {
    PutNumber(out, 0, fault);
    returned = static_cast<std::uint32_t>(kStatusBytes);
    return kSuccess;
  }
  FirmwareTrouble& trouble = firmware_.trouble();
  if (trouble.status != 0 && trouble.count != 0) return Trouble(out, returned);

  std::optional<FirmwareKey> const key = KeyOf(TextAt(in, 0));
  WinError status = kInvalidParameter;
  if (key && TextAt(in, kTextBytes) == u"OEM") {
    switch (code) {
      case kSizeRequest:
        status = Size(*key, out);
        break;
      case kReadRequest:
        status = Read(*key, NumberAt(in, kHeaderBytes), out);
        break;
      default:
        status = Write(*key, in.subspan(kHeaderBytes + 4, kWrittenBytes));
        break;
    }
  }
  PutNumber(out, 0, status);
  returned = static_cast<std::uint32_t>(out.size());
  return kSuccess;
}

WinError SafiDriver::Trouble(std::span<std::uint8_t> out, std::uint32_t& returned) {
  FirmwareTrouble& trouble = firmware_.trouble();
  if (trouble.count != FirmwareTrouble::kEvery) --trouble.count;
  PutNumber(out, 0, trouble.status);
  returned = trouble.request_error == kSuccess ? static_cast<std::uint32_t>(kStatusBytes) : 0;
  return trouble.request_error;
}

WinError SafiDriver::Size(const FirmwareKey& key, std::span<std::uint8_t> out) {
  std::deque<std::uint32_t>& lies = firmware_.trouble().sizes;
  if (!lies.empty()) {
    PutNumber(out, kStatusBytes, lies.front());
    lies.pop_front();
    return kSuccess;
  }
  const FirmwareVariable* const variable = firmware_.Find(key);
  if (variable == nullptr) return kEnvironmentVariableNotFound;
  PutNumber(out, kStatusBytes, static_cast<std::uint32_t>(variable->data.size()));
  return kSuccess;
}

WinError SafiDriver::Read(const FirmwareKey& key, std::uint32_t size, std::span<std::uint8_t> out) const {
  const FirmwareVariable* const variable = firmware_.Find(key);
  if (variable == nullptr) return kEnvironmentVariableNotFound;
  if (size < variable->data.size()) return kInsufficientBuffer;
  std::copy(variable->data.begin(), variable->data.end(), out.begin() + kStatusBytes);
  return kSuccess;
}

WinError SafiDriver::Write(const FirmwareKey& key, std::span<const std::uint8_t> data) {
  firmware_.Put(key, {data.begin(), data.end()});
  return kSuccess;
}

}  // namespace tablet
