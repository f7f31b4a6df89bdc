// Version information of executables: the block is the version resource as the file has it.
#include <windows.h>
#include <winver.h>

#include <algorithm>
#include <cstring>

#include "sim/tablet/drive/pe_version.h"
#include "sim/winapi/call.h"
#include "sim/winapi/paths.h"

namespace win32 {

namespace {

/// A block begins with its length, the length of its value and the kind of that value, 16 bits each, and its key.
constexpr std::size_t kBlockHead = 6;
constexpr std::u16string_view kRootKey = u"VS_VERSION_INFO";

WORD WordAt(const void* block, std::size_t index) {
  WORD word = 0;
  std::memcpy(&word, static_cast<const BYTE*>(block) + index * sizeof(WORD), sizeof(WORD));
  return word;
}

/// Windows keeps room after the resource for a copy of its texts in another character set.
DWORD BlockSizeFor(std::size_t resource_bytes) { return static_cast<DWORD>(2 * resource_bytes + 4); }

/// The version resource of a file, when it is one: its own length must lie inside it.
DWORD ReadResource(const char* call, LPCWSTR file_name, std::vector<std::uint8_t>& out) {
  if (DWORD const error = Machine().drive().VersionResource(DrivePathOf(call, file_name), out)) return error;
  bool const whole = out.size() >= kBlockHead && WordAt(out.data(), 0) <= out.size();
  return whole ? NO_ERROR : ERROR_RESOURCE_DATA_NOT_FOUND;
}

bool HoldsFixedRecord(LPCVOID block) {
  if (WordAt(block, 0) < tablet::kLeastVersionResource || WordAt(block, 1) < tablet::kFixedVersionSize) return false;
  for (std::size_t i = 0; i <= kRootKey.size(); ++i) {
    char16_t const expected = i < kRootKey.size() ? kRootKey[i] : u'\0';
    if (WordAt(block, 3 + i) != expected) return false;
  }
  return true;
}

}  // namespace

}  // namespace win32

using namespace win32;

DWORD WINAPI GetFileVersionInfoSizeW(LPCWSTR fileName, LPDWORD ignored) {
  auto const describe = [&] { return Show(fileName); };
  Call call("GetFileVersionInfoSizeW", describe);
  if (ignored != nullptr) *ignored = 0;
  if (call.fault() != 0) return call.Fail(DWORD{0});
  std::u16string_view const path = DrivePathOf("GetFileVersionInfoSizeW", fileName);
  if (auto const bytes = Machine().drive().OverriddenVersionBlockSize(path)) return call.Done(DWORD{*bytes});
  std::vector<std::uint8_t> resource;
  DWORD const error = ReadResource("GetFileVersionInfoSizeW", fileName, resource);
  if (error != NO_ERROR) return call.Fail(DWORD{0}, error);
  return call.Done(BlockSizeFor(resource.size()));
}

BOOL WINAPI GetFileVersionInfoW(LPCWSTR fileName, DWORD /*ignored*/, DWORD bytes, LPVOID data) {
  auto const describe = [&] { return fmt::format("{}, {}", Show(fileName), bytes); };
  Call call("GetFileVersionInfoW", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  if (data == nullptr || bytes < kBlockHead) RefuseUnmodelled("GetFileVersionInfoW", "no room for a block's head");
  std::vector<std::uint8_t> resource;
  DWORD const error = ReadResource("GetFileVersionInfoW", fileName, resource);
  if (error != NO_ERROR) return call.Fail(FALSE, error);
  // A buffer that is too small gets the beginning. The length in it then is what is there, so that no query reads on.
  std::size_t const copied = std::min<std::size_t>(bytes, resource.size());
  std::memset(data, 0, std::min(bytes, BlockSizeFor(resource.size())));
  std::memcpy(data, resource.data(), copied);
  WORD const length = static_cast<WORD>(std::min<std::size_t>(WordAt(data, 0), copied));
  std::memcpy(data, &length, sizeof(length));
  return call.Done(TRUE);
}

BOOL WINAPI VerQueryValueW(LPCVOID block, LPCWSTR subBlock, LPVOID* buffer, PUINT length) {
  auto const describe = [&] { return Show(subBlock); };
  Call call("VerQueryValueW", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  if (block == nullptr || buffer == nullptr || length == nullptr) RefuseUnmodelled("VerQueryValueW", "a null pointer");
  if (subBlock == nullptr || std::u16string_view(subBlock) != u"\\") {
    RefuseUnmodelled("VerQueryValueW", fmt::format("the sub-block {}", Show(subBlock)));
  }
  if (!HoldsFixedRecord(block)) return call.Fail(FALSE, ERROR_RESOURCE_DATA_NOT_FOUND);
  *buffer = static_cast<BYTE*>(const_cast<void*>(block)) + tablet::kVersionValueOffset;
  *length = tablet::kFixedVersionSize;
  return call.Done(TRUE);
}
