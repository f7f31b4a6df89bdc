// Questions that only Windows itself can be asked, and that need no administrator.
#include <gtest/gtest.h>

#include <windows.h>

// These need <windows.h> before them.
#include <cfgmgr32.h>
#include <evntrace.h>
#include <winioctl.h>
#include <winver.h>

#include <atomic>
#include <cstring>
#include <string>

#include "kit/check/child.h"
#include "kit/machine/places.h"

namespace {

using kit::Saw;

constexpr DWORD kSettleMilliseconds = 300;

std::wstring In(const WCHAR* name) {
  ::CreateDirectoryW(kit::Folder().c_str(), nullptr);
  return kit::Folder() + L"\\" + name;
}

/// A routine that not every Windows has.
template <typename Routine>
Routine Find(const WCHAR* library, const char* name) {
  return reinterpret_cast<Routine>(reinterpret_cast<void*>(::GetProcAddress(::LoadLibraryW(library), name)));
}

/// What a name in a folder opens: "file", "device", or the error.
std::string KindOf(const WCHAR* name) {
  HANDLE const file = ::CreateFileW(In(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return std::to_string(::GetLastError());
  DWORD const type = ::GetFileType(file);
  ::CloseHandle(file);
  // A name that is a file can be removed only in this form.
  ::DeleteFileW((L"\\\\?\\" + In(name)).c_str());
  return type == FILE_TYPE_DISK ? "file" : "device";
}

TEST(PlainQuestions, ReservedNamesInAFolder) {
  std::string kinds;
  for (const WCHAR* name : {L"NUL", L"COM1.txt", L"aux.bin"}) kinds += (kinds.empty() ? "" : ", ") + KindOf(name);
  Saw("reserved-names", kinds);
}

TEST(PlainQuestions, KeysMayBeNested) {
  HKEY key = nullptr;
  std::wstring const top = std::wstring(kit::kKey) + L"\\Deep";
  ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, top.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  int made = 0;
  LSTATUS error = ERROR_SUCCESS;
  for (; made < 600; ++made) {
    HKEY below = nullptr;
    error = ::RegCreateKeyExW(key, L"k", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &below, nullptr);
    if (error != ERROR_SUCCESS) break;
    ::RegCloseKey(key);
    key = below;
  }
  ::RegCloseKey(key);
  Saw("registry-deep-key", made == 600 ? "600" : std::to_string(made) + ", then error " + std::to_string(error));
  EXPECT_EQ(::RegDeleteTreeW(HKEY_CURRENT_USER, top.c_str()), ERROR_SUCCESS);
}

TEST(PlainQuestions, TheSizeOfAVersionBlock) {
  std::wstring const own = kit::OwnPath();
  HRSRC const resource = ::FindResourceW(nullptr, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(16));  // RT_VERSION
  ASSERT_NE(resource, nullptr);
  // The resource begins with its own length; the linker may pad it.
  WORD length = 0;
  std::memcpy(&length, ::LockResource(::LoadResource(nullptr, resource)), sizeof(length));
  DWORD ignored = 0;
  DWORD const size = ::GetFileVersionInfoSizeW(own.c_str(), &ignored);
  ASSERT_NE(size, 0u) << "error " << ::GetLastError();
  Saw("version-size", std::to_string(static_cast<int>(size) - 2 * static_cast<int>(length)));
}

TEST(PlainQuestions, EnablingAProviderForAnUnknownSession) {
  GUID const provider = {0x5b1d2f6a, 0x3c47, 0x4d8e, {0x9a, 0x10, 0x7e, 0x52, 0x61, 0x0c, 0x4f, 0x01}};
  ULONG const error = ::EnableTraceEx2(0x7FFF, &provider, EVENT_CONTROL_CODE_ENABLE_PROVIDER, 5, 0xFFFF, 0, 0, nullptr);
  Saw("enable-unknown-session", std::to_string(error));
}

using Callback = DWORD(CALLBACK*)(HCMNOTIFICATION, PVOID, CM_NOTIFY_ACTION, PCM_NOTIFY_EVENT_DATA, DWORD);
using Register = CONFIGRET(WINAPI*)(PCM_NOTIFY_FILTER, PVOID, Callback, PHCMNOTIFICATION);
using Unregister = CONFIGRET(WINAPI*)(HCMNOTIFICATION);

DWORD CALLBACK CountIt(HCMNOTIFICATION, PVOID count, CM_NOTIFY_ACTION, PCM_NOTIFY_EVENT_DATA, DWORD) {
  ++*static_cast<std::atomic<int>*>(count);
  return ERROR_SUCCESS;
}

/// Registers for volumes, of which every machine has some. Null if it fails.
HCMNOTIFICATION RegisterForVolumes(std::atomic<int>& count) {
  auto const enroll = Find<Register>(L"cfgmgr32.dll", "CM_Register_Notification");
  if (enroll == nullptr) return nullptr;
  CM_NOTIFY_FILTER filter = {};
  filter.cbSize = sizeof(filter);
  filter.FilterType = CM_NOTIFY_FILTER_TYPE_DEVICEINTERFACE;
  filter.u.DeviceInterface.ClassGuid = {0x53f5630d, 0xb6bf, 0x11d0, {0x94, 0xf2, 0x00, 0xa0, 0xc9, 0x1e, 0xfb, 0x8b}};
  HCMNOTIFICATION notification = nullptr;
  EXPECT_EQ(enroll(&filter, &count, &CountIt, &notification), CONFIGRET{CR_SUCCESS});
  return notification;
}

TEST(PlainQuestions, DevicesThatAreThereAlreadyAreNotNotified) {
  std::atomic<int> count{0};
  HCMNOTIFICATION const notification = RegisterForVolumes(count);
  if (notification == nullptr) GTEST_SKIP() << "this system has no CM_Register_Notification";
  ::Sleep(kSettleMilliseconds);
  Saw("cm-notify-present", count == 0 ? "no" : "yes");
  EXPECT_EQ(Find<Unregister>(L"cfgmgr32.dll", "CM_Unregister_Notification")(notification), CONFIGRET{CR_SUCCESS});
}

TEST(MayEndTheProcess, EndingANotificationTwice) {
  std::atomic<int> count{0};
  HCMNOTIFICATION const notification = RegisterForVolumes(count);
  if (notification == nullptr) GTEST_SKIP() << "this system has no CM_Register_Notification";
  auto const end = Find<Unregister>(L"cfgmgr32.dll", "CM_Unregister_Notification");
  EXPECT_EQ(end(notification), CONFIGRET{CR_SUCCESS});
  Saw("cm-unregister-twice", std::to_string(end(notification)));
}

TEST(MayEndTheProcess, ClosingASearchTwice) {
  WIN32_FIND_DATAW data = {};
  HANDLE const search = ::FindFirstFileW((kit::Folder() + L"\\*").c_str(), &data);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(::FindClose(search));
  BOOL const closed = ::FindClose(search);
  Saw("find-closed", closed ? "succeeds" : std::to_string(::GetLastError()));
}

/// The number of the disk behind the volume: any user may ask for it, and nothing changes.
TEST(MayEndTheProcess, ADeviceRequestWithoutAPlaceForTheCount) {
  std::wstring const volume = L"\\\\.\\" + kit::Folder().substr(0, 2);
  HANDLE const device =
      ::CreateFileW(volume.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  if (device == INVALID_HANDLE_VALUE) GTEST_SKIP() << "the volume cannot be opened: " << ::GetLastError();
  STORAGE_DEVICE_NUMBER number = {};
  BOOL const done =
      ::DeviceIoControl(device, IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, &number, sizeof(number), nullptr, nullptr);
  Saw("device-no-count", done ? "succeeds" : std::to_string(::GetLastError()));
  ::CloseHandle(device);
}

}  // namespace
