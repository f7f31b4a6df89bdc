// What every call of the Windows API does before and after its own work.
#pragma once

#include <windows.h>

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <type_traits>

#include "sim/tablet/base/text.h"
#include "sim/tablet/kernel/race_edges.h"
#include "sim/tablet/machine/tablet.h"

namespace win32 {

inline tablet::Tablet& Machine() { return tablet::Tablet::Current(); }

/// A handle's number, as the journal and the handle table have it.
inline tablet::HandleValue Number(const void* handle) { return reinterpret_cast<tablet::HandleValue>(handle); }
template <typename Handle = HANDLE>
Handle ToHandle(tablet::HandleValue number) {
  return reinterpret_cast<Handle>(number);
}

// How arguments look in the journal.
inline std::string Show(const WCHAR* text) { return text == nullptr ? "null" : '"' + tablet::ToUtf8(text) + '"'; }
inline std::string ShowHandle(const void* handle) { return fmt::format("{:#x}", Number(handle)); }

/// Stops the run: the product asked for something that the stand-in does not model. A stand-in never succeeds silently
/// at what it does not model.
[[noreturn]] void RefuseUnmodelled(std::string_view call, const std::string& why);

/// One call of the Windows API, from its first statement to its return: leaves the product, yields to other
/// threads, asks the faults, and is journalled with its result and last error when the journal wants calls. `Describe`
/// is a callable that gives the arguments as text; it runs at the end, so that it may show what the call stored.
///
///   auto describe = [&] { return fmt::format("{}, {:#x}", Show(path), access); };
///   Call call("GetFileAttributesW", describe);
///   if (call.fault() != 0) return call.Fail(INVALID_FILE_ATTRIBUTES);
///   ...
///   return call.Done(attributes);                               or call.Fail(INVALID_FILE_ATTRIBUTES, error)
template <typename Describe>
class Call {
 public:
  /// `subject` is the path or key that the call was given, for those who follow a run; it may be null.
  Call(const char* name, const Describe& describe, LPCWSTR subject = nullptr)
      : m_machine(Machine()), m_name(name), m_describe(describe), m_subject(subject) {
    m_number = m_machine.scheduler().Yield(name);
    m_fault = m_machine.faults().Ask(name);
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  /// The error that this very call must fail with, or 0.
  DWORD fault() const { return m_fault; }

  /// Ends the call with `result`; the last error stays.
  template <typename Result>
  Result Done(Result result) {
    if (m_machine.journal().wants_calls()) [[unlikely]]
      Record(result);
    return result;
  }
  void Done() {
    if (m_machine.journal().wants_calls()) [[unlikely]]
      Write("void");
  }

  /// Ends the call with `result` and the given last error (that of the fault, without one).
  template <typename Result>
  Result Fail(Result result) {
    return Fail(result, m_fault);
  }
  template <typename Result>
  Result Fail(Result result, DWORD error) {
    m_machine.scheduler().last_error() = error;
    return Done(result);
  }

 private:
  // Apart from the way that every call takes.
  template <typename Result>
  [[gnu::noinline]] void Record(Result result) {
    if constexpr (std::is_pointer_v<Result>) {
      Write(ShowHandle(result));
    } else if constexpr (sizeof(Result) == 8) {
      Write(fmt::format("{:#x}", result));
    } else {
      Write(fmt::format("{}", result));
    }
  }
  void Write(std::string result) {
    tablet::CallEvent event{m_name, m_describe(), std::move(result), m_machine.scheduler().last_error(),
                            m_subject == nullptr ? std::string() : tablet::ToUtf8(m_subject)};
    m_machine.journal().Record(std::move(event), m_number);
  }

  tablet::OutsideProduct m_outside;  // first: whatever else the call does happens within it
  tablet::Tablet& m_machine;
  const char* m_name;
  const Describe& m_describe;
  LPCWSTR m_subject;
  std::uint64_t m_number = 0;
  DWORD m_fault = 0;
};

}  // namespace win32
