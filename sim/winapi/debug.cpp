// The last error, the texts of error numbers, and the debugger.
#include <windows.h>

#include "sim/winapi/call.h"
#include "sim/winapi/system_messages.h"

using win32::Call;
using win32::Machine;
using win32::RefuseUnmodelled;

// These two cannot fail and touch only the running thread: neither a hand-over nor a line in the journal.
DWORD GetLastError() { return Machine().scheduler().last_error(); }
void SetLastError(DWORD error) { Machine().scheduler().last_error() = error; }

void OutputDebugStringW(LPCWSTR text) {
  auto describe = [&] { return win32::Show(text); };
  Call call("OutputDebugStringW", describe);
  if (call.fault() == 0) {
    std::u16string_view const shown = text == nullptr ? std::u16string_view() : std::u16string_view(text);
    Machine().journal().Record(tablet::DebuggerEvent{tablet::ToUtf8(shown)});
  }
  call.Done();
}

DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId, LPWSTR buffer, DWORD size,
                     std::va_list* arguments) {
  auto describe = [&] { return fmt::format("{:#x}, message {}, language {:#x}", flags, messageId, languageId); };
  Call call("FormatMessageW", describe);
  if (call.fault() != 0) return call.Fail(DWORD{0});
  if ((flags & ~FORMAT_MESSAGE_IGNORE_INSERTS) != (FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_ALLOCATE_BUFFER)) {
    RefuseUnmodelled("FormatMessageW", fmt::format("flags {:#x}", flags));
  }
  constexpr DWORD kUserDefault = 0x400;
  constexpr DWORD kEnglish = 0x409;
  if (languageId != 0 && languageId != kUserDefault && languageId != kEnglish) {
    RefuseUnmodelled("FormatMessageW", fmt::format("language {:#x}", languageId));
  }
  if (source != nullptr || arguments != nullptr) RefuseUnmodelled("FormatMessageW", "a source or inserts");
  if (buffer == nullptr) return call.Fail(DWORD{0}, ERROR_NOT_ENOUGH_MEMORY);

  // With ALLOCATE_BUFFER the argument is the address of a pointer, and `size` the least number of characters.
  auto* const result = reinterpret_cast<LPWSTR*>(buffer);
  *result = nullptr;
  auto const message = win32::SystemMessage(messageId);
  if (!message) return call.Fail(DWORD{0}, ERROR_MR_MID_NOT_FOUND);
  std::size_t const characters = std::max<std::size_t>(message->size() + 1, size);
  void* const memory = Machine().heap().Allocate(tablet::HeapKind::kLocal, characters * sizeof(WCHAR));
  std::memcpy(memory, message->data(), message->size() * sizeof(WCHAR));
  *result = static_cast<LPWSTR>(memory);
  return call.Done(static_cast<DWORD>(message->size()));
}
