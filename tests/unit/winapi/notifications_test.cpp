#include <windows.h>

#include <cfgmgr32.h>
#include <powrprof.h>

#include <cstring>

#include "tests/testing/tablet_fixture.h"
#include "tests/unit/winapi/refusal.h"

namespace {

constexpr GUID kUsb = {0xA5DCBF10, 0x6530, 0x11D2, {0x90, 0x1F, 0x00, 0xC0, 0x4F, 0xB9, 0x51, 0xED}};
constexpr GUID kDisplay = {0x6FE69556, 0x704A, 0x47A0, {0x8F, 0x24, 0xC2, 0x8D, 0x93, 0x6F, 0xDA, 0x47}};
constexpr char16_t kLink[] = u"\\\\?\\USB#1";

/// What a callback was given.
struct Seen {
  std::vector<std::string> events;
  DWORD size = 0;
  HCMNOTIFICATION handle = nullptr;
  DWORD answer = ERROR_SUCCESS;
  Millis work{0};  ///< how long it takes
};

DWORD CALLBACK Record(HCMNOTIFICATION notification, PVOID context, CM_NOTIFY_ACTION action, PCM_NOTIFY_EVENT_DATA data,
                      DWORD size) {
  auto* const seen = static_cast<Seen*>(context);
  EXPECT_EQ(data->FilterType, CM_NOTIFY_FILTER_TYPE_DEVICEINTERFACE);
  EXPECT_EQ(std::memcmp(&data->u.DeviceInterface.ClassGuid, &kUsb, sizeof kUsb), 0);
  seen->handle = notification;
  seen->size = size;
  ::Sleep(static_cast<DWORD>(seen->work.count()));
  seen->events.push_back(std::to_string(action) + " " + tablet::ToUtf8(data->u.DeviceInterface.SymbolicLink));
  return seen->answer;
}

class NotificationCalls : public testing_support::TabletTest {
 protected:
  CONFIGRET Register(HCMNOTIFICATION& notification, DWORD size = sizeof(CM_NOTIFY_FILTER),
                     CM_NOTIFY_FILTER_TYPE type = CM_NOTIFY_FILTER_TYPE_DEVICEINTERFACE) {
    CM_NOTIFY_FILTER filter = {};
    filter.cbSize = size;
    filter.FilterType = type;
    filter.u.DeviceInterface.ClassGuid = kUsb;
    return ::CM_Register_Notification(&filter, &seen_, Record, &notification);
  }
  void Announce(std::uint32_t action) {
    machine().notifications().AnnounceDevice(action, tablet::kUsbDeviceClass, kLink);
  }
  /// A handle as RegisterServiceCtrlHandlerExW gives it; any open one will do.
  HANDLE Recipient() { return ::CreateEventW(nullptr, FALSE, FALSE, nullptr); }

  Seen seen_;
};

TEST_F(NotificationCalls, ACallbackGetsTheActionTheLinkAndItsOwnHandle) {
  HCMNOTIFICATION notification = nullptr;
  EXPECT_EQ(Register(notification), CR_SUCCESS);
  Announce(0);
  Announce(1);
  Settle();
  EXPECT_THAT(seen_.events, ElementsAre(R"(0 \\?\USB#1)", R"(1 \\?\USB#1)"));
  EXPECT_EQ(seen_.handle, notification);
  EXPECT_EQ(seen_.size, 24u + sizeof kLink);
}

TEST_F(NotificationCalls, NothingComesBehindTheUnregistration) {
  HCMNOTIFICATION notification = nullptr;
  Register(notification);
  EXPECT_EQ(::CM_Unregister_Notification(notification), CR_SUCCESS);
  Announce(0);
  Settle();
  EXPECT_THAT(seen_.events, IsEmpty());
  EXPECT_EQ(::CM_Unregister_Notification(notification), CONFIGRET{0x13}) << "it is known no longer";
}

TEST_F(NotificationCalls, TheUnregistrationWaitsForACallbackThatRuns) {
  HCMNOTIFICATION notification = nullptr;
  seen_.work = Millis{300};
  Register(notification);
  Announce(0);
  machine().scheduler().Sleep(Millis{100});
  EXPECT_THAT(seen_.events, IsEmpty());
  EXPECT_EQ(::CM_Unregister_Notification(notification), CR_SUCCESS);
  EXPECT_EQ(seen_.events.size(), 1u);
  EXPECT_EQ(machine().scheduler().Now(), Millis{300});
}

TEST_F(NotificationCalls, AFilterOfAnotherSizeIsRefusedWithWindowsCode) {
  HCMNOTIFICATION notification = nullptr;
  EXPECT_EQ(Register(notification, 400), CONFIGRET{0x1F});
  EXPECT_EQ(notification, nullptr);
}

TEST_F(NotificationCalls, InjectedErrorsAreTheAnswer) {
  Inject("CM_Register_Notification", 0x0D);
  Inject("CM_Unregister_Notification", 0x0E);
  Inject("PowerSettingRegisterNotification", 5);
  Inject("PowerSettingUnregisterNotification", 6);
  HCMNOTIFICATION notification = nullptr;
  HPOWERNOTIFY power = nullptr;
  EXPECT_EQ(Register(notification), CONFIGRET{0x0D});
  EXPECT_EQ(::CM_Unregister_Notification(notification), CONFIGRET{0x0E});
  EXPECT_EQ(::PowerSettingRegisterNotification(&kDisplay, DEVICE_NOTIFY_SERVICE_HANDLE, Recipient(), &power), 5u);
  EXPECT_EQ(::PowerSettingUnregisterNotification(power), 6u);
  EXPECT_EQ(machine().notifications().device_registrations(), 0u);
  EXPECT_EQ(machine().notifications().power_registrations(), 0u);
}

TEST_F(NotificationCalls, PowerSettingsAreWantedFromTheRegistrationToItsEnd) {
  tablet::Guid const display = *tablet::Guid::Parse("{6FE69556-704A-47A0-8F24-C28D936FDA47}");
  HPOWERNOTIFY power = nullptr;
  EXPECT_FALSE(machine().notifications().WantsPower(display));
  EXPECT_EQ(::PowerSettingRegisterNotification(&kDisplay, DEVICE_NOTIFY_SERVICE_HANDLE, Recipient(), &power), 0u);
  EXPECT_NE(power, nullptr);
  EXPECT_TRUE(machine().notifications().WantsPower(display));
  EXPECT_FALSE(machine().notifications().WantsPower(tablet::kUsbDeviceClass)) << "another setting is not wanted";
  EXPECT_EQ(::PowerSettingUnregisterNotification(power), 0u);
  EXPECT_FALSE(machine().notifications().WantsPower(display));
  EXPECT_EQ(::PowerSettingUnregisterNotification(power), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(NotificationCalls, ARecipientThatIsNoHandleIsRefused) {
  HPOWERNOTIFY power = nullptr;
  EXPECT_EQ(::PowerSettingRegisterNotification(&kDisplay, DEVICE_NOTIFY_SERVICE_HANDLE, nullptr, &power),
            DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(NotificationCalls, RegistrationsEndWithTheirProcess) {
  machine().services().Start(u"Probe", [this] {
    HCMNOTIFICATION notification = nullptr;
    HPOWERNOTIFY power = nullptr;
    Register(notification);
    ::PowerSettingRegisterNotification(&kDisplay, DEVICE_NOTIFY_SERVICE_HANDLE, Recipient(), &power);
    return 0;
  });
  Settle();
  Announce(0);
  Settle();
  EXPECT_THAT(seen_.events, IsEmpty());
  EXPECT_EQ(machine().notifications().device_registrations(), 0u);
  EXPECT_EQ(machine().notifications().power_registrations(), 0u);
}

TEST_F(NotificationCalls, WhatIsNotModelledIsRefusedLoudly) {
  HCMNOTIFICATION notification = nullptr;
  EXPECT_THAT(
      RefusalOf(machine(),
                [&] { Register(notification, sizeof(CM_NOTIFY_FILTER), CM_NOTIFY_FILTER_TYPE_DEVICEINSTANCE); }),
      HasSubstr("other than one device-interface class"));
  PowerOn(DefaultDescription());
  HPOWERNOTIFY power = nullptr;
  EXPECT_THAT(RefusalOf(machine(), [&] { ::PowerSettingRegisterNotification(&kDisplay, 0, Recipient(), &power); }),
              HasSubstr("not a service"));
  PowerOn(DefaultDescription());
  seen_.answer = ERROR_ACCESS_DENIED;
  EXPECT_THAT(RefusalOf(machine(),
                        [&] {
                          Register(notification);
                          Announce(0);
                        }),
              HasSubstr("a callback that returns an error"));
}

}  // namespace
