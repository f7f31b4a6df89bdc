// Calendar time, and the times of files: setting them and making them of calendar time.
#include <windows.h>

#include <chrono>

#include "sim/winapi/call.h"

namespace win32 {

namespace {

std::uint64_t TicksOf(const FILETIME& time) {
  return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

FILETIME FileTimeOf(std::uint64_t ticks) { return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)}; }

/// One field of SetFileTime: 0, like no field, leaves the time alone. False for times that Windows rejects.
bool TakeTime(const FILETIME* time, tablet::FileTicks& out) {
  if (time == nullptr) return true;
  out = TicksOf(*time);
  // The topmost values make Windows stop, and resume, updating a time by itself.
  if (out >= UINT64_MAX - 1) RefuseUnmodelled("SetFileTime", "the values that stop and resume the keeping of times");
  return out <= INT64_MAX;
}

}  // namespace

}  // namespace win32

using namespace win32;

BOOL WINAPI SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* access, const FILETIME* write) {
  auto const show = [](const FILETIME* time) { return time == nullptr ? "null" : fmt::format("{}", TicksOf(*time)); };
  auto const describe = [&] {
    return fmt::format("{}, {}, {}, {}", ShowHandle(file), show(creation), show(access), show(write));
  };
  Call call("SetFileTime", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  tablet::OpenFile* const open = Machine().handles().FindFile(Number(file));
  if (open == nullptr) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  tablet::FileTimes times;
  if (!TakeTime(creation, times.creation) || !TakeTime(access, times.access) || !TakeTime(write, times.write)) {
    return call.Fail(FALSE, ERROR_INVALID_PARAMETER);
  }
  DWORD const error = open->SetTimes(times);
  if (error != NO_ERROR) return call.Fail(FALSE, error);
  return call.Done(TRUE);
}

void WINAPI GetSystemTime(LPSYSTEMTIME systemTime) {
  auto const describe = [&] {
    const SYSTEMTIME& t = *systemTime;
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}", t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute,
                       t.wSecond, t.wMilliseconds);
  };
  Call call("GetSystemTime", describe);
  using namespace std::chrono;
  sys_days const start = year_month_day{year(1601), month(1), day(1)};
  milliseconds const since(static_cast<std::int64_t>(Machine().clock().UtcNow() / tablet::kTicksPerMilli));
  days const whole = floor<days>(since);
  year_month_day const date{start + whole};
  hh_mm_ss const time{since - whole};
  *systemTime = {.wYear = static_cast<WORD>(static_cast<int>(date.year())),
                 .wMonth = static_cast<WORD>(static_cast<unsigned>(date.month())),
                 .wDayOfWeek = static_cast<WORD>(weekday{start + whole}.c_encoding()),
                 .wDay = static_cast<WORD>(static_cast<unsigned>(date.day())),
                 .wHour = static_cast<WORD>(time.hours().count()),
                 .wMinute = static_cast<WORD>(time.minutes().count()),
                 .wSecond = static_cast<WORD>(time.seconds().count()),
                 .wMilliseconds = static_cast<WORD>(time.subseconds().count())};
  call.Done();
}

BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* systemTime, LPFILETIME fileTime) {
  auto const describe = [&] {
    const SYSTEMTIME& t = *systemTime;
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}", t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute,
                       t.wSecond, t.wMilliseconds);
  };
  Call call("SystemTimeToFileTime", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  const SYSTEMTIME& time = *systemTime;
  using namespace std::chrono;
  year_month_day const date{year(time.wYear), month(time.wMonth), day(time.wDay)};
  // The day of the week is not looked at. chrono keeps months and days in bytes: their range is tested before.
  bool const valid = time.wYear >= 1601 && time.wYear <= 30827 && time.wMonth <= 12 && time.wDay <= 31 && date.ok() &&
                     time.wHour < 24 && time.wMinute < 60 && time.wSecond < 60 && time.wMilliseconds < 1000;
  if (!valid) return call.Fail(FALSE, ERROR_INVALID_PARAMETER);
  auto const days = sys_days(date) - sys_days(year_month_day{year(1601), month(1), day(1)});
  std::uint64_t const seconds =
      static_cast<std::uint64_t>(days.count()) * 86'400 + time.wHour * 3600u + time.wMinute * 60u + time.wSecond;
  *fileTime = FileTimeOf(seconds * tablet::kTicksPerSecond + time.wMilliseconds * tablet::kTicksPerMilli);
  return call.Done(TRUE);
}

BOOL WINAPI LocalFileTimeToFileTime(const FILETIME* local, LPFILETIME utc) {
  auto const describe = [&] { return fmt::format("{}", TicksOf(*local)); };
  Call call("LocalFileTimeToFileTime", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  // Like Windows, today's distance from UTC is used, whatever season the time lies in.
  std::int64_t const offset = Machine().clock().utc_offset_minutes() * 60 * std::int64_t{tablet::kTicksPerSecond};
  std::int64_t ticks = 0;
  bool const overflow = __builtin_sub_overflow(static_cast<std::int64_t>(TicksOf(*local)), offset, &ticks);
  if (TicksOf(*local) > INT64_MAX || overflow || ticks < 0) return call.Fail(FALSE, ERROR_INVALID_PARAMETER);
  *utc = FileTimeOf(static_cast<std::uint64_t>(ticks));
  return call.Done(TRUE);
}
