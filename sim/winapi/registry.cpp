// The registry calls of winreg.h. They return their error code and leave the last error unchanged.
#include <windows.h>

#include <algorithm>
#include <cstring>

#include "sim/winapi/call.h"

namespace {

using tablet::OpenKey;
using win32::Call;
using win32::Machine;
using win32::RefuseUnmodelled;
using win32::Show;
using win32::ShowHandle;

std::string ShowKey(HKEY key) { return key == HKEY_LOCAL_MACHINE ? "HKEY_LOCAL_MACHINE" : ShowHandle(key); }

template <typename Number>
std::string ShowPointed(const Number* number) {
  return number == nullptr ? "null" : fmt::format("{}", *number);
}

std::u16string_view ViewOf(LPCWSTR text) { return text == nullptr ? std::u16string_view() : std::u16string_view(text); }

/// The open key of an HKEY: the predefined key has every right; null for handles that are closed or not keys.
std::shared_ptr<OpenKey> Resolve(std::string_view call, HKEY key) {
  if (key == HKEY_LOCAL_MACHINE) {
    std::shared_ptr<OpenKey> root;
    Machine().registry().Open(nullptr, {}, KEY_ALL_ACCESS, root);
    return root;
  }
  if (win32::Number(key) >> 4 == win32::Number(HKEY_LOCAL_MACHINE) >> 4) {
    RefuseUnmodelled(call, "the predefined key " + ShowHandle(key));
  }
  return Machine().handles().Get<OpenKey>(win32::Number(key));
}

void RefuseOtherAccess(std::string_view call, REGSAM access) {
  if (access == 0 || (access & ~KEY_ALL_ACCESS) != 0) {
    RefuseUnmodelled(call, fmt::format("the access rights {:#x}", access));
  }
}

HKEY Hand(std::shared_ptr<OpenKey> opened) { return win32::ToHandle<HKEY>(Machine().handles().Add(std::move(opened))); }

/// Fills the caller's buffer after a query; the error says whether it was large enough.
LSTATUS Deliver(const tablet::RegistryValue& value, LPDWORD type, LPBYTE data, LPDWORD dataBytes) {
  DWORD const needed = static_cast<DWORD>(value.data.size());
  if (type != nullptr) *type = value.type;
  if (dataBytes == nullptr) return ERROR_SUCCESS;
  DWORD const room = *dataBytes;
  *dataBytes = needed;
  if (data == nullptr) return ERROR_SUCCESS;
  if (needed > room) return ERROR_MORE_DATA;
  std::copy(value.data.begin(), value.data.end(), data);
  // A text that was stored without its terminator gets one where there is room; the size does not count it.
  bool const isText = value.type == REG_SZ || value.type == REG_EXPAND_SZ || value.type == REG_MULTI_SZ;
  bool const ends = needed >= 2 && data[needed - 1] == 0 && data[needed - 2] == 0;
  if (isText && needed != 0 && !ends && room - needed >= 2) std::memset(data + needed, 0, 2);
  return ERROR_SUCCESS;
}

void Store(LPDWORD out, std::size_t number) {
  if (out != nullptr) *out = static_cast<DWORD>(number);
}

}  // namespace

LSTATUS WINAPI RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR classText, DWORD options, REGSAM access,
                               const LPSECURITY_ATTRIBUTES security, PHKEY result, LPDWORD disposition) {
  auto describe = [&] { return fmt::format("{}, {}, {:#x}", ShowKey(key), Show(subKey), access); };
  Call call("RegCreateKeyExW", describe, subKey);
  if (call.fault() != 0) return call.Done(static_cast<LSTATUS>(call.fault()));
  if (subKey == nullptr) RefuseUnmodelled("RegCreateKeyExW", "no name");
  if (classText != nullptr && *classText != 0) RefuseUnmodelled("RegCreateKeyExW", "the class " + Show(classText));
  if (options != REG_OPTION_NON_VOLATILE) {
    RefuseUnmodelled("RegCreateKeyExW", fmt::format("the options {:#x}", options));
  }
  if (security != nullptr) RefuseUnmodelled("RegCreateKeyExW", "security attributes");
  RefuseOtherAccess("RegCreateKeyExW", access);
  if (reserved != 0 || result == nullptr) return call.Done<LSTATUS>(ERROR_INVALID_PARAMETER);
  std::shared_ptr<OpenKey> const base = Resolve("RegCreateKeyExW", key);
  if (base == nullptr) return call.Done<LSTATUS>(ERROR_INVALID_HANDLE);
  std::shared_ptr<OpenKey> opened;
  bool existed = false;
  tablet::WinError const error = Machine().registry().Create(base.get(), subKey, access, opened, existed);
  if (error != tablet::kSuccess) return call.Done(static_cast<LSTATUS>(error));
  *result = Hand(std::move(opened));
  Store(disposition, existed ? REG_OPENED_EXISTING_KEY : REG_CREATED_NEW_KEY);
  return call.Done<LSTATUS>(ERROR_SUCCESS);
}

LSTATUS WINAPI RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, PHKEY result) {
  auto describe = [&] { return fmt::format("{}, {}, {:#x}", ShowKey(key), Show(subKey), access); };
  Call call("RegOpenKeyExW", describe, subKey);
  if (call.fault() != 0) return call.Done(static_cast<LSTATUS>(call.fault()));
  if (options != 0) RefuseUnmodelled("RegOpenKeyExW", fmt::format("the options {:#x}", options));
  RefuseOtherAccess("RegOpenKeyExW", access);
  if (result == nullptr) return call.Done<LSTATUS>(ERROR_INVALID_PARAMETER);
  std::shared_ptr<OpenKey> const base = Resolve("RegOpenKeyExW", key);
  if (base == nullptr) return call.Done<LSTATUS>(ERROR_INVALID_HANDLE);
  if (key == HKEY_LOCAL_MACHINE && ViewOf(subKey).empty()) {  // the predefined key is its own handle
    *result = key;
    return call.Done<LSTATUS>(ERROR_SUCCESS);
  }
  std::shared_ptr<OpenKey> opened;
  tablet::WinError const error = Machine().registry().Open(base.get(), ViewOf(subKey), access, opened);
  if (error != tablet::kSuccess) return call.Done(static_cast<LSTATUS>(error));
  *result = Hand(std::move(opened));
  return call.Done<LSTATUS>(ERROR_SUCCESS);
}

LSTATUS WINAPI RegQueryValueExW(HKEY key, LPCWSTR valueName, LPDWORD reserved, LPDWORD type, LPBYTE data,
                                LPDWORD dataBytes) {
  auto describe = [&] { return fmt::format("{}, {}, {}", ShowKey(key), Show(valueName), ShowPointed(dataBytes)); };
  Call call("RegQueryValueExW", describe);
  if (call.fault() != 0) return call.Done(static_cast<LSTATUS>(call.fault()));
  if (reserved != nullptr || (data != nullptr && dataBytes == nullptr)) {
    return call.Done<LSTATUS>(ERROR_INVALID_PARAMETER);
  }
  std::shared_ptr<OpenKey> const opened = Resolve("RegQueryValueExW", key);
  if (opened == nullptr) return call.Done<LSTATUS>(ERROR_INVALID_HANDLE);
  tablet::RegistryValue value;
  tablet::WinError const error = Machine().registry().Query(*opened, ViewOf(valueName), value);
  if (error != tablet::kSuccess) return call.Done(static_cast<LSTATUS>(error));
  return call.Done(Deliver(value, type, data, dataBytes));
}

LSTATUS WINAPI RegSetValueExW(HKEY key, LPCWSTR valueName, DWORD reserved, DWORD type, const BYTE* data,
                              DWORD dataBytes) {
  auto describe = [&] {
    return fmt::format("{}, {}, type {}, {} bytes", ShowKey(key), Show(valueName), type, dataBytes);
  };
  Call call("RegSetValueExW", describe);
  if (call.fault() != 0) return call.Done(static_cast<LSTATUS>(call.fault()));
  if (data == nullptr && dataBytes != 0) RefuseUnmodelled("RegSetValueExW", "a size without data");
  if (reserved != 0) return call.Done<LSTATUS>(ERROR_INVALID_PARAMETER);
  std::shared_ptr<OpenKey> const opened = Resolve("RegSetValueExW", key);
  if (opened == nullptr) return call.Done<LSTATUS>(ERROR_INVALID_HANDLE);
  tablet::RegistryValue value{type, {data, data + dataBytes}};
  return call.Done(static_cast<LSTATUS>(Machine().registry().Set(*opened, ViewOf(valueName), std::move(value))));
}

LSTATUS WINAPI RegDeleteValueW(HKEY key, LPCWSTR valueName) {
  auto describe = [&] { return fmt::format("{}, {}", ShowKey(key), Show(valueName)); };
  Call call("RegDeleteValueW", describe);
  if (call.fault() != 0) return call.Done(static_cast<LSTATUS>(call.fault()));
  std::shared_ptr<OpenKey> const opened = Resolve("RegDeleteValueW", key);
  if (opened == nullptr) return call.Done<LSTATUS>(ERROR_INVALID_HANDLE);
  return call.Done(static_cast<LSTATUS>(Machine().registry().Delete(*opened, ViewOf(valueName))));
}

LSTATUS WINAPI RegQueryInfoKeyW(HKEY key, LPWSTR classText, LPDWORD classLength, LPDWORD reserved, LPDWORD subKeys,
                                LPDWORD longestSubKey, LPDWORD longestClass, LPDWORD values, LPDWORD longestValueName,
                                LPDWORD longestValueData, LPDWORD securityBytes, PFILETIME lastWrite) {
  auto describe = [&] { return fmt::format("{}, {} sub-keys", ShowKey(key), ShowPointed(subKeys)); };
  Call call("RegQueryInfoKeyW", describe);
  if (call.fault() != 0) return call.Done(static_cast<LSTATUS>(call.fault()));
  if (classText != nullptr || classLength != nullptr || longestClass != nullptr) {
    RefuseUnmodelled("RegQueryInfoKeyW", "classes");
  }
  if (securityBytes != nullptr) RefuseUnmodelled("RegQueryInfoKeyW", "the security descriptor");
  if (lastWrite != nullptr) RefuseUnmodelled("RegQueryInfoKeyW", "the time of the last write");
  if (reserved != nullptr) return call.Done<LSTATUS>(ERROR_INVALID_PARAMETER);
  std::shared_ptr<OpenKey> const opened = Resolve("RegQueryInfoKeyW", key);
  if (opened == nullptr) return call.Done<LSTATUS>(ERROR_INVALID_HANDLE);
  tablet::KeySummary summary;
  tablet::WinError const error = Machine().registry().Describe(*opened, summary);
  if (error != tablet::kSuccess) return call.Done(static_cast<LSTATUS>(error));
  Store(subKeys, summary.sub_keys);
  Store(longestSubKey, summary.longest_sub_key);
  Store(values, summary.values);
  Store(longestValueName, summary.longest_value_name);
  Store(longestValueData, summary.longest_value_data);
  return call.Done<LSTATUS>(ERROR_SUCCESS);
}

LSTATUS WINAPI RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameLength, LPDWORD reserved, LPWSTR classText,
                             LPDWORD classLength, PFILETIME lastWrite) {
  auto describe = [&] { return fmt::format("{}, {}, {}", ShowKey(key), index, ShowPointed(nameLength)); };
  Call call("RegEnumKeyExW", describe);
  if (call.fault() != 0) return call.Done(static_cast<LSTATUS>(call.fault()));
  if (classText != nullptr || classLength != nullptr) RefuseUnmodelled("RegEnumKeyExW", "classes");
  if (lastWrite != nullptr) RefuseUnmodelled("RegEnumKeyExW", "the time of the last write");
  if (reserved != nullptr || name == nullptr || nameLength == nullptr) {
    return call.Done<LSTATUS>(ERROR_INVALID_PARAMETER);
  }
  std::shared_ptr<OpenKey> const opened = Resolve("RegEnumKeyExW", key);
  if (opened == nullptr) return call.Done<LSTATUS>(ERROR_INVALID_HANDLE);
  std::vector<std::u16string> names;
  tablet::WinError const error = Machine().registry().SubKeys(*opened, names);
  if (error != tablet::kSuccess) return call.Done(static_cast<LSTATUS>(error));
  if (index >= names.size()) return call.Done<LSTATUS>(ERROR_NO_MORE_ITEMS);
  const std::u16string& found = names[index];
  if (found.size() >= *nameLength) return call.Done<LSTATUS>(ERROR_MORE_DATA);
  std::copy_n(found.c_str(), found.size() + 1, name);
  *nameLength = static_cast<DWORD>(found.size());
  return call.Done<LSTATUS>(ERROR_SUCCESS);
}

LSTATUS WINAPI RegCloseKey(HKEY key) {
  auto describe = [&] { return ShowKey(key); };
  Call call("RegCloseKey", describe);
  if (call.fault() != 0) return call.Done(static_cast<LSTATUS>(call.fault()));
  if (key == HKEY_LOCAL_MACHINE) return call.Done<LSTATUS>(ERROR_SUCCESS);
  if (Resolve("RegCloseKey", key) == nullptr) return call.Done<LSTATUS>(ERROR_INVALID_HANDLE);
  Machine().handles().Close(win32::Number(key));
  return call.Done<LSTATUS>(ERROR_SUCCESS);
}
