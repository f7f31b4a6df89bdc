#include "vantord/common/registry.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <new>
#include <utility>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"

namespace {

/// Names whose failed reads are not logged.
/// Deliberate: The list holds names that this service never reads, and "Interuption" as it is spelled here. Expected:
/// only names that are read, spelled right.
/// Test: RegistryHelperTest.AMissingValueOfAQuietNameIsNotLogged, RegistryHelperTest.OnlyTheExactSpellingIsQuiet
constexpr const WCHAR* kQuietNames[] = {
    TEXT("ExecutionTime"),    TEXT("Timeout"),
    TEXT("TimeoutCmdInit"),   TEXT("TimeoutCmdNoOp"),
    TEXT("TimeoutCmdOnline"), TEXT("TimeoutAPIDefault"),
    TEXT("TimeoutDTRDrop"),   TEXT("TimeoutWaitForInit"),
    TEXT("BaudRate"),         TEXT("DataModeInteruptionQuantum"),
    TEXT("MaxTimeouts"),      TEXT("MaxOpenAttempts"),
    TEXT("OpenTimeout"),      TEXT("CBSLanguageSetting"),
};

bool IsQuietName(const WCHAR* valueName) {
  return std::any_of(std::begin(kQuietNames), std::end(kQuietNames),
                     [&](const WCHAR* quiet) { return wcscmp(valueName, quiet) == 0; });
}

/// Opens or creates a key; readers use it too. Returns an empty owner on failure.
/// Deliberate: A reader creates its missing key, empty, and then finds no value. A key that cannot be opened is not
/// logged. Expected: a failure, and a message.
/// Test: RegistryHelperTest.ReadingFromAMissingKeyMakesTheKey, RegistryHelperTest.AKeyThatCannotBeOpenedIsNotLogged
RegistryKey CreateOrOpenKey(const WCHAR* keyPath, REGSAM access) {
  WCHAR noClass[] = TEXT("");
  RegistryKey key;
  LSTATUS const status = ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, keyPath, 0, noClass, REG_OPTION_NON_VOLATILE, access,
                                           nullptr, key.Receive(), nullptr);
  return status == ERROR_SUCCESS ? std::move(key) : RegistryKey();
}

/// Appends the names of a key's sub-keys. False if there are none or memory runs out.
bool AppendSubKeys(HKEY key, std::vector<WideString>& names) {
  DWORD count = 0;
  DWORD longestSubKey = 0;
  DWORD valueCount = 0;
  DWORD longestValueName = 0;
  LSTATUS const status = ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &count, &longestSubKey, nullptr,
                                            &valueCount, &longestValueName, nullptr, nullptr, nullptr);
  // Deliberate: A key without sub-keys is a failure. Expected: an empty list.
  // Test: RegistryHelperTest.AKeyWithoutSubKeysIsAFailure
  if (status != ERROR_SUCCESS || count == 0) return false;
  WCHAR name[MAX_PATH] = {};
  for (DWORD index = 0; index < count; ++index) {
    DWORD nameLength = MAX_PATH;
    // Deliberate: An index that cannot be read is skipped, even if every one is. Expected: a failure.
    // Test: RegistryHelperTest.ASubKeyThatCannotBeReadIsSkipped,
    // RegistryHelperTest.ListingSucceedsEvenIfNoSubKeyCanBeRead
    if (::RegEnumKeyExW(key, index, name, &nameLength, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) continue;
    HelperDebugPrint(TEXT("%S:%d : SRegistrySubKeys Index(%d) = %s"), "SRegistrySubKeys", 1072, index + 1, name);
    try {
      names.emplace_back(name);
    } catch (const std::bad_alloc&) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool SGetRegistryDWORD(const WCHAR* keyPath, const WCHAR* valueName, DWORD& value) {
  RegistryKey key = CreateOrOpenKey(keyPath, KEY_READ);
  if (!key) return false;
  DWORD data = 0;
  DWORD dataBytes = sizeof(data);
  LSTATUS const status =
      ::RegQueryValueExW(key.get(), valueName, nullptr, nullptr, reinterpret_cast<LPBYTE>(&data), &dataBytes);
  key.Close();  // before the message
  // Deliberate: The type is not checked: any value of 4 bytes is a number. Expected: REG_DWORD alone.
  // Test: RegistryHelperTest.AnyValueOfFourBytesReadsAsANumber
  if (status == ERROR_SUCCESS && dataBytes == sizeof(data)) {
    value = data;
    return true;
  }
  if (!IsQuietName(valueName)) {
    HelperDebugPrint(TEXT("%S:%d : RegQueryValueEx fail, ValueName = %s"), "SGetRegistryDWORD", 820, valueName);
  }
  return false;
}

bool SSetRegistryDWORD(const WCHAR* keyPath, const WCHAR* valueName, DWORD value) {
  RegistryKey key = CreateOrOpenKey(keyPath, KEY_WRITE);
  if (!key) return false;
  LSTATUS const status =
      ::RegSetValueExW(key.get(), valueName, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
  key.Close();  // before the message
  if (status != ERROR_SUCCESS) {
    HelperDebugPrint(TEXT("%S:%d : RegSetValueEx fail, ValueName = %s"), "SSetRegistryDWORD", 842, valueName);
    return false;
  }
  return true;
}

bool SGetRegistrySZ(const WCHAR* keyPath, const WCHAR* valueName, WCHAR* buffer, DWORD bufferBytes) {
  RegistryKey key = CreateOrOpenKey(keyPath, KEY_READ);
  if (!key) return false;
  DWORD dataBytes = bufferBytes;
  LSTATUS const status =
      ::RegQueryValueExW(key.get(), valueName, nullptr, nullptr, reinterpret_cast<LPBYTE>(buffer), &dataBytes);
  // Deliberate: The buffer's last character becomes 0, after a failure too; a text that fills the buffer without a
  // terminator loses its last character. Expected: a terminator after the text, and an untouched buffer after a
  // failure.
  // Test: RegistryHelperTest.ATextThatFillsTheBufferLosesItsLastCharacter,
  // RegistryHelperTest.AFailedReadStillTerminatesTheBuffer
  buffer[bufferBytes / sizeof(WCHAR) - 1] = 0;
  key.Close();  // before the message
  if (status != ERROR_SUCCESS) {
    HelperDebugPrint(TEXT("%S:%d : RegQueryValueEx fail, ValueName = %s"), "SGetRegistrySZ", 887, valueName);
    return false;
  }
  return true;
}

bool SSetRegistrySZ(const WCHAR* keyPath, const WCHAR* valueName, const WCHAR* text) {
  RegistryKey key = CreateOrOpenKey(keyPath, KEY_WRITE);
  if (!key) return false;
  DWORD const textBytes = static_cast<DWORD>((wcslen(text) + 1) * sizeof(WCHAR));
  LSTATUS const status =
      ::RegSetValueExW(key.get(), valueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), textBytes);
  key.Close();  // before the message
  if (status != ERROR_SUCCESS) {
    HelperDebugPrint(TEXT("%S:%d : RegSetValueEx fail, ValueName = %s"), "SSetRegistrySZ", 908, valueName);
    return false;
  }
  return true;
}

bool SRegistryDeleteValue(const WCHAR* keyPath, const WCHAR* valueName) {
  // Deliberate: The key stays open: each call that opens it leaves one handle. Expected: a close.
  // Test: RegistryHelperTest.EachDeletionLeavesOneKeyHandleOpen
  HKEY key = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, keyPath, 0, KEY_ALL_ACCESS, &key) == ERROR_SUCCESS &&
      ::RegDeleteValueW(key, valueName) == ERROR_SUCCESS) {
    return true;
  }
  // Deliberate: The message is the same for every cause, denied access included. Expected: the cause.
  // Test: RegistryHelperTest.AFailedDeletionSaysDoesNotExistWhateverTheCause
  HelperDebugPrint(TEXT("%S:%d : RegistryDeleteValue fail, the value(%s) does not exist"), "SRegistryDeleteValue", 1043,
                   valueName);
  return false;
}

bool SRegistrySubKeys(const WCHAR* keyPath, std::vector<WideString>& names) {
  // Deliberate: The key is opened for all access although nothing is written. Expected: KEY_READ.
  // Test: RegistryHelperTest.SubKeysOfAReadOnlyKeyCannotBeListed
  RegistryKey key;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, keyPath, 0, KEY_ALL_ACCESS, key.Receive()) != ERROR_SUCCESS) {
    HelperDebugPrint(TEXT("%S:%d : RegistrySubKeys fail"), "SRegistrySubKeys", 1083);
    return false;
  }
  bool const listed = AppendSubKeys(key.get(), names);
  key.Close();  // before the message
  if (!listed) HelperDebugPrint(TEXT("%S:%d : RegistrySubKeys fail"), "SRegistrySubKeys", 1083);
  return listed;
}
