#include "cli/base/service_facts.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "sim/tablet/base/guid.h"
#include "vantord/common/trace_provider.h"

namespace {

TEST(ServiceFacts, TheProviderIsTheOneThatTheServiceRegisters) {
  tablet::Guid const fact = *tablet::Guid::Parse(service_facts::kTraceProvider);
  EXPECT_EQ(std::memcmp(fact.bytes.data(), &kTraceControlGuid, sizeof(GUID)), 0);
}

}  // namespace
