#include "vantord/common/trace_provider.h"

#include <type_traits>

namespace {

// Threads of the service may log while the process ends: neither object may have a destructor.
static_assert(std::is_trivially_destructible_v<TraceControlBlock>);
constinit TraceControlBlock g_block{};

/// The head of the list, which holds at most one block. It points to itself while no provider is registered.
constinit TraceLink g_providers{&g_providers};

}  // namespace

TraceControlBlock* RegisteredProvider() {
  // Read once: another thread may change the list at any time.
  TraceLink* const first = g_providers.next.load();
  return first == &g_providers ? nullptr : static_cast<TraceControlBlock*>(first);
}

ULONG WINAPI WppControlCallback(WMIDPREQUESTCODE request, PVOID context, ULONG* reserved, PVOID buffer) {
  *reserved = 0;
  TRACEHANDLE logger = 0;
  UCHAR level = 0;
  ULONG flags = 0;
  if (request == WMI_ENABLE_EVENTS) {
    logger = ::GetTraceLoggerHandle(buffer);
    level = ::GetTraceEnableLevel(logger);
    flags = ::GetTraceEnableFlags(logger);
  } else if (request != WMI_DISABLE_EVENTS) {
    return ERROR_INVALID_PARAMETER;
  }
  auto* block = static_cast<TraceControlBlock*>(context);
  if ((block->options & kTraceOptionForward) != 0 && block->forward != nullptr) block = block->forward;
  block->flags = flags;
  block->logger = logger;
  block->level = level;
  return ERROR_SUCCESS;
}

void TraceProviderInit() {
  g_block.next = nullptr;
  g_block.registration = 0;
  g_block.logger = 0;
  g_block.flagsLength = 1;
  g_block.level = 0;
  g_block.options = 0;
  g_block.flags = 0;
  g_block.forward = nullptr;
  g_block.control = &kTraceControlGuid;
  g_providers.next = &g_block;

  for (TraceControlBlock* block = RegisteredProvider(); block != nullptr;
       block = static_cast<TraceControlBlock*>(block->next.load())) {
    TRACE_GUID_REGISTRATION messages = {block->control, nullptr};
    ::RegisterTraceGuidsW(&WppControlCallback, block, block->control, 1, &messages, nullptr, nullptr,
                          &block->registration);
  }
}

void TraceProviderCleanup() {
  for (TraceControlBlock* block = RegisteredProvider(); block != nullptr;
       block = static_cast<TraceControlBlock*>(block->next.load())) {
    if (block->registration == 0) continue;
    ::UnregisterTraceGuids(block->registration);
    block->registration = 0;
  }
  g_providers.next = &g_providers;
}
