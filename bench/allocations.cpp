// Counts memory allocations of log messages, from the call site to the system's call: for a zone that is off, for a
// provider without a listener, and for a message that is sent. Exit code 1 if one of the numbers is not 0.
#include <windows.h>

#include <cstdio>
#include <cstdlib>

#include "cli/base/service_facts.h"
#include "sim/tablet/machine/tablet.h"
#include "tests/testing/scratch_folder.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/common/trace_provider.h"

// The C library's own functions, which the ones below call; operator new allocates through malloc.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
}

namespace {

constexpr int kMessages = 100;

unsigned g_allocations = 0;

}  // namespace

extern "C" {
void* malloc(std::size_t size) {
  ++g_allocations;
  return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  ++g_allocations;
  return __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) {
  ++g_allocations;
  return __libc_realloc(block, size);
}
void free(void* block) { __libc_free(block); }
}

namespace {

/// Allocations of many messages up to the system's call; what the collector allocates is not the service's.
unsigned Count(tablet::Tablet& machine) {
  unsigned before_the_system = 0;
  unsigned begun = 0;
  bool sent = false;
  machine.faults().on_ask = [&](std::string_view call) {
    if (call == "TraceMessage") {
      before_the_system += g_allocations - begun;
      sent = true;
    }
  };
  for (int i = 0; i < kMessages; ++i) {
    sent = false;
    begun = g_allocations;
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : %d (%s), hr = 0x%08x, %-8S|"), "TUnzip::Unzip", 4189, 4189,
                   TEXT("c:\\windows\\system32\\qcdsp1v2850.mbn"), 0x80070005, "narrow");
    if (!sent) before_the_system += g_allocations - begun;
  }
  machine.faults().on_ask = nullptr;
  return before_the_system;
}

}  // namespace

int main() {
  testing_support::ScratchFolder const folder;
  unsigned off = 0;
  unsigned silent = 0;
  unsigned sent = 0;
  std::size_t arrived = 0;
  {
    tablet::Tablet machine(tablet::Description{}, folder.path());
    g_ulZoneMask = ~ZONE_ERROR;
    off = Count(machine);
    g_ulZoneMask = ZONE_ERROR;
    TraceProviderInit();
    silent = Count(machine);
    TraceProviderCleanup();
    machine.trace().Collect(*tablet::Guid::Parse(service_facts::kTraceProvider), 1, 5);
    TraceProviderInit();
    sent = Count(machine);
    arrived = machine.journal().Messages().size();
    TraceProviderCleanup();
  }
  std::printf("allocations of %d messages: zone off %u, no listener %u, sent %u\n", kMessages, off, silent, sent);
  if (arrived != kMessages) {
    std::printf("%zu messages arrived, expected %d\n", arrived, kMessages);
    return 1;
  }
  return off == 0 && silent == 0 && sent == 0 ? 0 : 1;
}
