// The cost of a log message: messages off|silent|sent COUNT. Prints nanoseconds of CPU time for one message.
//
// off: its zone is off. silent: no listener; the text is formatted all the same, since the log looks for listeners
// afterwards. sent: a collector listens; most of the time is the simulated collector's.
#include <windows.h>

#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "cli/base/service_facts.h"
#include "sim/tablet/machine/tablet.h"
#include "tests/testing/scratch_folder.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/common/trace_provider.h"

namespace {

double Now() {
  timespec now;
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

}  // namespace

/// A call site as in the service. Not inlined, so that its instructions are counted.
__attribute__((noinline)) void OneMessage(const WCHAR* path) {
  DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : %d (%s)"), "TUnzip::Unzip", 4189, 4189, path);
}

int main(int count, char** arguments) {
  if (count != 3) {
    std::fputs("usage: messages off|silent|sent COUNT\n", stderr);
    return 2;
  }
  std::string_view const kind = arguments[1];
  int const messages = std::atoi(arguments[2]);
  testing_support::ScratchFolder const folder;
  tablet::Tablet machine(tablet::Description{}, folder.path());
  if (kind == "off") g_ulZoneMask = ~ZONE_ERROR;
  if (kind == "sent") {
    machine.trace().Collect(*tablet::Guid::Parse(service_facts::kTraceProvider), 1, 5);
    TraceProviderInit();
  }
  double const begun = Now();
  for (int i = 0; i < messages; ++i) OneMessage(TEXT("c:\\windows\\system32\\qcdsp1v2850.mbn"));
  std::printf("%.2f\n", messages == 0 ? 0.0 : (Now() - begun) / messages);
  if (kind == "sent") TraceProviderCleanup();
  return 0;
}
