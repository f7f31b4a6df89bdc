// A proxy that writes to the mask of notification classes: this program's linker leads the service's calls here first.
#include <windows.h>

#include "tests/unit/service/service_fixture.h"
#include "vantord/radio/ril_handler.h"

namespace {
DWORD left_in_mask = 0xFFFFFFFF;  ///< what the proxy leaves there
}  // namespace

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
HRESULT WINAPI __real_RIL_Initialize(DWORD, RILRESULTCALLBACK, RILNOTIFYCALLBACK, DWORD*, DWORD, void*, const WCHAR*,
                                     HRIL*);
HRESULT WINAPI __wrap_RIL_Initialize(DWORD port, RILRESULTCALLBACK onResult, RILNOTIFYCALLBACK onNotify, DWORD* classes,
                                     DWORD reserved, void* context, const WCHAR* clientName, HRIL* handle) {
  HRESULT const result =
      __real_RIL_Initialize(port, onResult, onNotify, classes, reserved, context, clientName, handle);
  *classes &= left_in_mask;
  return result;
}
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

class NotificationMask : public service_tests::ServiceTest {
 protected:
  ~NotificationMask() override { left_in_mask = 0xFFFFFFFF; }
};

TEST_F(NotificationMask, EachAttemptAsksForAllClassesWhateverTheOneBeforeLeft) {
  PowerOnDeployed(With([](auto& description) { description.radio = {.failing_attempts = 3}; }));
  left_in_mask = 0;
  CRILHandler handler;
  ASSERT_TRUE(handler.Init());
  auto const calls = machine().journal().Calls("RIL_Initialize");
  ASSERT_EQ(calls.size(), 4u);
  for (const tablet::CallEvent& call : calls) EXPECT_EQ(call.args, "1, classes=0xffffffff, \"Vantord\"");
}

}  // namespace
