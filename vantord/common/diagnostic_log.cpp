#include "vantord/common/diagnostic_log.h"

#include <cstdarg>
#include <cwchar>
#include <iterator>

#include "vantord/common/trace_provider.h"
#include "vantord/common/wide_format.h"

constinit std::atomic<DWORD> g_ulZoneMask{kDefaultZoneMask};

namespace {

constexpr GUID kServiceMessages = {0x3AEFEA6F, 0xAED7, 0x398F, {0x0C, 0x1C, 0x68, 0x43, 0x69, 0x03, 0xAE, 0x64}};
constexpr GUID kHelperMessages = {0x6311AFDF, 0x0911, 0x386C, {0xED, 0x5C, 0x69, 0x62, 0x34, 0x0D, 0xA5, 0x87}};
constexpr USHORT kMessageNumber = 10;

void Send(const GUID& module, const WCHAR* format, std::va_list arguments) {
  // Deliberate: A longer message loses its end without a mark. Expected: a mark where it was cut.
  // Test: DiagnosticLogTest.AMessageIsCutAt1023Characters
  WCHAR text[1024] = {};
  FormatWideV(text, std::size(text), format, arguments);
  // The text ends at its terminator, wherever the formatter stopped: an argument may have put one inside.
  std::size_t const length = wcslen(text);
  if (length == 0) return;

  // Deliberate: Messages before TraceProviderInit and after TraceProviderCleanup are lost. Expected: messages that are
  // kept until a session listens.
  // Test: DiagnosticLogTest.MessagesOutsideTheRegistrationAreGone
  const TraceControlBlock* const provider = RegisteredProvider();
  if (provider == nullptr) return;
  // Deliberate: The callback may change the block between these two reads, so a message may be dropped or sent while
  // the provider is enabled or disabled. Expected: a lock.
  // Test: DiagnosticLogTest.AMessageSentWhileTheProviderIsDisabledIsDroppedOrSentWhole
  if ((provider->flags & kTraceEnableFlag) == 0) return;
  ::TraceMessage(provider->logger,
                 TRACE_MESSAGE_SEQUENCE | TRACE_MESSAGE_GUID | TRACE_MESSAGE_TIMESTAMP | TRACE_MESSAGE_SYSTEMINFO,
                 &module, kMessageNumber, static_cast<const WCHAR*>(text), SIZE_T{(length + 1) * sizeof(WCHAR)},
                 static_cast<void*>(nullptr));
}

}  // namespace

void DebugPrint(const WCHAR* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  Send(kServiceMessages, format, arguments);
  va_end(arguments);
}

void HelperDebugPrint(const WCHAR* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  Send(kHelperMessages, format, arguments);
  va_end(arguments);
}

FunctionScope::FunctionScope(const char* name) : m_name(name) {
  DebugPrintZone(ZONE_FUNCTION, TEXT("%S: (+)"), m_name);
}

FunctionScope::~FunctionScope() { DebugPrintZone(ZONE_FUNCTION, TEXT("%S: (-)"), m_name); }
