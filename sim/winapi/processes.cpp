// Processes of the tablet: listing, opening and starting them, and the environment of what is started.
#include <windows.h>
// These need <windows.h> before them.
#include <psapi.h>
#include <userenv.h>

#include <algorithm>

#include "sim/winapi/call.h"
#include "sim/winapi/paths.h"

namespace win32 {

namespace {

/// What an executable has loaded: itself and the two libraries that every process has.
constexpr std::size_t kModules = 3;
constexpr std::uint64_t kFirstModule = 0x7FF6'0000'0000;

/// Modules differ from process to process, so that one process's is not taken for another's.
HMODULE ModuleOf(tablet::Process& process, std::size_t index) {
  return ToHandle<HMODULE>(kFirstModule + process.id * 0x10'0000ULL + index * 0x1'0000ULL);
}

/// The rights that a token must have been opened with for programs to be started with it.
constexpr DWORD kStartingRights = TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_ASSIGN_PRIMARY;

/// A block is one text after the other, each with its terminator, then one more terminator.
std::vector<std::u16string> VariablesOf(const void* block) {
  std::vector<std::u16string> variables;
  for (auto const* text = static_cast<const WCHAR*>(block); *text != 0; text += variables.back().size() + 1) {
    variables.emplace_back(text);
  }
  return variables;
}

/// Whether nothing is set but, perhaps, the structure's size.
bool SaysNothing(STARTUPINFOW info) {
  if (info.cb == sizeof(info)) info.cb = 0;
  auto const* const bytes = reinterpret_cast<const BYTE*>(&info);
  return std::all_of(bytes, bytes + sizeof(info), [](BYTE byte) { return byte == 0; });
}

void RefuseUnmodelledStart(LPCWSTR application, const void* process_security, const void* thread_security, BOOL inherit,
                           DWORD flags, LPCWSTR directory, const STARTUPINFOW& info, const void* environment) {
  constexpr const char* kCall = "CreateProcessAsUserW";
  if (application == nullptr) RefuseUnmodelled(kCall, "a command line without an application");
  if (process_security != nullptr || thread_security != nullptr) RefuseUnmodelled(kCall, "security attributes");
  if (inherit != FALSE) RefuseUnmodelled(kCall, "handles that are inherited");
  if (directory != nullptr) RefuseUnmodelled(kCall, "a current directory");
  if (!SaysNothing(info)) RefuseUnmodelled(kCall, "start information beyond its size");
  if ((flags & ~(CREATE_NEW_CONSOLE | NORMAL_PRIORITY_CLASS | CREATE_UNICODE_ENVIRONMENT)) != 0) {
    RefuseUnmodelled(kCall, fmt::format("flags {:#x}", flags));
  }
  if (environment != nullptr && (flags & CREATE_UNICODE_ENVIRONMENT) == 0) {
    RefuseUnmodelled(kCall, "an environment that is not said to be Unicode");
  }
}

}  // namespace

}  // namespace win32

using namespace win32;

BOOL WINAPI K32EnumProcesses(DWORD* ids, DWORD bytes, LPDWORD bytesStored) {
  auto const describe = [&] { return fmt::format("{} bytes", bytes); };
  Call call("K32EnumProcesses", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  std::size_t stored = 0;
  for (auto const& process : Machine().processes().running()) {
    if (stored == bytes / sizeof(DWORD)) break;
    ids[stored++] = process->id;
  }
  *bytesStored = static_cast<DWORD>(stored * sizeof(DWORD));
  return call.Done(TRUE);
}

HANDLE WINAPI OpenProcess(DWORD access, BOOL inherit, DWORD processId) {
  auto const describe = [&] { return fmt::format("{:#x}, {}", access, processId); };
  Call call("OpenProcess", describe);
  if (call.fault() != 0) return call.Fail(HANDLE{});
  if (inherit != FALSE) RefuseUnmodelled("OpenProcess", "a handle that is inherited");
  if (access != PROCESS_ALL_ACCESS && access != MAXIMUM_ALLOWED) {
    RefuseUnmodelled("OpenProcess", fmt::format("desired access {:#x}", access));
  }
  auto const process = Machine().processes().Find(processId);
  if (process == nullptr) return call.Fail(HANDLE{}, ERROR_INVALID_PARAMETER);
  if (process->open_error != 0) return call.Fail(HANDLE{}, process->open_error);
  return call.Done(ToHandle(Machine().handles().Add(std::make_shared<tablet::ProcessAccess>(process))));
}

BOOL WINAPI K32EnumProcessModules(HANDLE process, HMODULE* modules, DWORD bytes, LPDWORD bytesNeeded) {
  auto const describe = [&] { return fmt::format("{}, {} bytes", ShowHandle(process), bytes); };
  Call call("K32EnumProcessModules", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  auto const access = Machine().handles().Get<tablet::ProcessAccess>(Number(process));
  if (access == nullptr) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  if (access->process->modules_error != 0) return call.Fail(FALSE, access->process->modules_error);
  // An array that is too small is not an error.
  std::size_t const room = std::min<std::size_t>(bytes / sizeof(HMODULE), kModules);
  for (std::size_t i = 0; i < room; ++i) modules[i] = ModuleOf(*access->process, i);
  *bytesNeeded = kModules * sizeof(HMODULE);
  return call.Done(TRUE);
}

DWORD WINAPI K32GetModuleBaseNameW(HANDLE process, HMODULE module, LPWSTR name, DWORD characters) {
  auto const describe = [&] { return fmt::format("{}, {} characters", ShowHandle(process), characters); };
  Call call("K32GetModuleBaseNameW", describe);
  if (call.fault() != 0) return call.Fail(DWORD{0});
  auto const access = Machine().handles().Get<tablet::ProcessAccess>(Number(process));
  if (access == nullptr) return call.Fail(DWORD{0}, ERROR_INVALID_HANDLE);
  if (module != ModuleOf(*access->process, 0)) return call.Fail(DWORD{0}, ERROR_INVALID_HANDLE);
  if (characters == 0) RefuseUnmodelled("K32GetModuleBaseNameW", "no room for a name");
  const std::u16string& whole = access->process->name;
  DWORD const length = std::min(static_cast<DWORD>(whole.size()), characters - 1);
  std::copy_n(whole.c_str(), length, name);
  name[length] = 0;
  return call.Done(length);
}

BOOL WINAPI ProcessIdToSessionId(DWORD processId, DWORD* sessionId) {
  auto const describe = [&] { return fmt::format("{}", processId); };
  Call call("ProcessIdToSessionId", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  auto const process = Machine().processes().Find(processId);
  if (process == nullptr) return call.Fail(FALSE, ERROR_INVALID_PARAMETER);
  if (process->session_error != 0) return call.Fail(FALSE, process->session_error);
  *sessionId = process->session;
  return call.Done(TRUE);
}

BOOL WINAPI CreateEnvironmentBlock(LPVOID* environment, HANDLE token, BOOL inherit) {
  auto const describe = [&] { return fmt::format("{}, inherit={}", ShowHandle(token), inherit); };
  Call call("CreateEnvironmentBlock", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  auto const user = Machine().handles().Get<tablet::ProcessToken>(Number(token));
  if (user == nullptr) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  if ((user->access & (TOKEN_QUERY | TOKEN_DUPLICATE)) != (TOKEN_QUERY | TOKEN_DUPLICATE)) {
    return call.Fail(FALSE, ERROR_ACCESS_DENIED);
  }
  std::u16string text;
  for (const std::u16string& variable : Machine().processes().Environment(*user, inherit != FALSE)) {
    text += variable;
    text += u'\0';
  }
  text += u'\0';
  *environment = Machine().heap().Allocate(tablet::HeapKind::kEnvironment, text.size() * sizeof(WCHAR));
  std::copy(text.begin(), text.end(), static_cast<WCHAR*>(*environment));
  return call.Done(TRUE);
}

BOOL WINAPI DestroyEnvironmentBlock(LPVOID environment) {
  auto const describe = [] { return std::string("a block"); };
  Call call("DestroyEnvironmentBlock", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  if (!Machine().heap().Free(tablet::HeapKind::kEnvironment, environment)) {
    RefuseUnmodelled("DestroyEnvironmentBlock", "memory that is not an environment block, or is freed already");
  }
  return call.Done(TRUE);
}

BOOL WINAPI CreateProcessAsUserW(HANDLE token, LPCWSTR application, LPWSTR commandLine,
                                 LPSECURITY_ATTRIBUTES processSecurity, LPSECURITY_ATTRIBUTES threadSecurity,
                                 BOOL inheritHandles, DWORD flags, LPVOID environment, LPCWSTR currentDirectory,
                                 LPSTARTUPINFOW startupInfo, LPPROCESS_INFORMATION processInformation) {
  std::string const line = Show(commandLine);
  auto const describe = [&] {
    return fmt::format("{}, {}, {}, {:#x}", ShowHandle(token), Show(application), line, flags);
  };
  Call call("CreateProcessAsUserW", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  RefuseUnmodelledStart(application, processSecurity, threadSecurity, inheritHandles, flags, currentDirectory,
                        *startupInfo, environment);
  auto const user = Machine().handles().Get<tablet::ProcessToken>(Number(token));
  if (user == nullptr) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  if (!user->primary) return call.Fail(FALSE, ERROR_BAD_TOKEN_TYPE);
  if ((user->access & kStartingRights) != kStartingRights) return call.Fail(FALSE, ERROR_ACCESS_DENIED);
  std::uint32_t attributes = 0;
  DWORD error = Machine().drive().Attributes(DrivePathOf("CreateProcessAsUserW", application), attributes);
  if (error == NO_ERROR && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) error = ERROR_ACCESS_DENIED;
  if (error == NO_ERROR && !Machine().drive().IsExecutable(application)) error = ERROR_BAD_EXE_FORMAT;
  if (error != NO_ERROR) return call.Fail(FALSE, error);

  tablet::StartedProgram program;
  program.path = application;
  program.flags = flags;
  program.start_information_bytes = startupInfo->cb;
  if (commandLine != nullptr) {
    program.command_line = commandLine;
    // Windows may write into the text: a constant text ends the process, and the content afterwards is undefined.
    commandLine[0] = 0;
  }
  if (environment != nullptr) program.environment = VariablesOf(environment);
  error = Machine().processes().Start(*user, program);
  if (error != NO_ERROR) return call.Fail(FALSE, error);
  tablet::HandleTable& handles = Machine().handles();
  auto process = std::make_shared<tablet::ProcessAccess>(Machine().processes().Find(program.id));
  *processInformation = {ToHandle(handles.Add(std::move(process))),
                         ToHandle(handles.Add(std::make_shared<tablet::StartedThread>())), program.id, program.id + 4};
  return call.Done(TRUE);
}
