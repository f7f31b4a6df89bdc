// Searches in folders. A search lists the folder as it was when the search began.
#include <windows.h>

#include <algorithm>

#include "sim/winapi/call.h"
#include "sim/winapi/paths.h"

namespace win32 {

namespace {

class Search : public tablet::Object {
 public:
  explicit Search(std::vector<tablet::FileFacts> found) : m_found(std::move(found)) {}
  std::string_view kind() const override { return "search"; }
  /// Null when every match was given.
  const tablet::FileFacts* Next() { return m_next < m_found.size() ? &m_found[m_next++] : nullptr; }

 private:
  std::vector<tablet::FileFacts> m_found;
  std::size_t m_next = 0;
};

/// Windows reads memory through a search's handle: what a wrong one does is open.
constexpr const char* kNoSearch = "a handle that is not a search, or a search that is closed";

FILETIME FileTimeOf(tablet::FileTicks ticks) { return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)}; }

/// Short names are not modelled: files have none, as on a volume that does not make them.
void Give(const tablet::FileFacts& facts, WIN32_FIND_DATAW& data) {
  data = {};
  data.dwFileAttributes = facts.attributes == 0 ? FILE_ATTRIBUTE_NORMAL : facts.attributes;
  data.ftCreationTime = FileTimeOf(facts.times.creation);
  data.ftLastAccessTime = FileTimeOf(facts.times.access);
  data.ftLastWriteTime = FileTimeOf(facts.times.write);
  data.nFileSizeHigh = static_cast<DWORD>(facts.size >> 32);
  data.nFileSizeLow = static_cast<DWORD>(facts.size);
  std::copy_n(facts.name.c_str(), std::min<std::size_t>(facts.name.size(), MAX_PATH - 1), data.cFileName);
}

}  // namespace

}  // namespace win32

using namespace win32;

HANDLE WINAPI FindFirstFileW(LPCWSTR pattern, LPWIN32_FIND_DATAW data) {
  auto const describe = [&] { return Show(pattern); };
  Call call("FindFirstFileW", describe);
  if (call.fault() != 0) return call.Fail(INVALID_HANDLE_VALUE);
  if (data == nullptr) RefuseUnmodelled("FindFirstFileW", "no place for the first match");
  std::vector<tablet::FileFacts> found;
  DWORD const error = Machine().drive().Find(DrivePathOf("FindFirstFileW", pattern), found);
  if (error != NO_ERROR) return call.Fail(INVALID_HANDLE_VALUE, error);
  auto search = std::make_shared<Search>(std::move(found));
  Give(*search->Next(), *data);
  return call.Done(ToHandle(Machine().handles().Add(std::move(search))));
}

BOOL WINAPI FindNextFileW(HANDLE find, LPWIN32_FIND_DATAW data) {
  auto const describe = [&] { return ShowHandle(find); };
  Call call("FindNextFileW", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  if (data == nullptr) RefuseUnmodelled("FindNextFileW", "no place for the next match");
  if (find == INVALID_HANDLE_VALUE) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  auto const search = Machine().handles().Get<Search>(Number(find));
  if (search == nullptr) RefuseUnmodelled("FindNextFileW", kNoSearch);
  const tablet::FileFacts* const facts = search->Next();
  if (facts == nullptr) return call.Fail(FALSE, ERROR_NO_MORE_FILES);
  Give(*facts, *data);
  return call.Done(TRUE);
}

BOOL WINAPI FindClose(HANDLE find) {
  auto const describe = [&] { return ShowHandle(find); };
  Call call("FindClose", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  if (find == INVALID_HANDLE_VALUE) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  if (Machine().handles().Get<Search>(Number(find)) == nullptr) RefuseUnmodelled("FindClose", kNoSearch);
  Machine().handles().Close(Number(find));
  return call.Done(TRUE);
}
