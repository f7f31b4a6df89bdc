#include <windows.h>

#include "tests/testing/tablet_fixture.h"
#include "tests/unit/winapi/refusal.h"
#include "vantord/radio/kavrilproxy.h"

namespace {

class RadioCalls : public testing_support::TabletTest {
 protected:
  HRESULT Connect(HRIL& handle, DWORD port = 1) {
    DWORD classes = 0;
    return RIL_Initialize(port, OnResult, OnNotify, &classes, 0, this, TEXT("Vantord"), &handle);
  }
  static void CALLBACK OnResult(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, void* context) {
    static_cast<RadioCalls*>(context)->results_ += 1;
  }
  static void CALLBACK OnNotify(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, void*) {}

  int results_ = 0;
};

TEST_F(RadioCalls, ACommandIsAnsweredWithTheClientsContext) {
  HRIL handle = nullptr;
  EXPECT_EQ(Connect(handle), 0);
  EXPECT_EQ(RIL_RadioCommand(handle, nullptr, 1), 0);
  ::Sleep(1);
  EXPECT_EQ(results_, 1);
  EXPECT_EQ(RIL_Release(handle), 0);
  EXPECT_LT(RIL_Release(handle), 0);
  EXPECT_LT(RIL_RadioCommand(handle, nullptr, 1), 0);
}

TEST_F(RadioCalls, InjectedErrorsAreFailures) {
  Inject("RIL_Initialize", 5);
  Inject("RIL_RadioCommand", 0x80004004);
  Inject("RIL_Release", 6);
  HRIL handle = nullptr;
  EXPECT_EQ(Connect(handle), static_cast<HRESULT>(0x80070005));
  EXPECT_EQ(RIL_RadioCommand(handle, nullptr, 1), static_cast<HRESULT>(0x80004004));
  EXPECT_EQ(RIL_Release(handle), static_cast<HRESULT>(0x80070006));
  EXPECT_EQ(machine().radio().attempts(), 0u);
}

TEST_F(RadioCalls, WhatIsNotModelledIsRefusedLoudly) {
  HRIL handle = nullptr;
  EXPECT_THAT(testing_support::RefusalOf(machine(), [&] { Connect(handle, 2); }), HasSubstr("a port other than 1"));
}

}  // namespace
