// The reader of .reg files. Accepted text is written and read again; refused text changes nothing.
#include "sim/tablet/registry/reg_text.h"

#include <string>

#include "sim/tablet/base/input_error.h"
#include "tests/fuzz/harness.h"

using namespace fuzzing;

namespace {

constexpr const char* kName = "fuzz.reg";

void CheckWriting(const tablet::Registry& registry) {
  std::string const text = tablet::WriteRegText(registry);
  tablet::Registry again;
  tablet::ReadRegText(text, kName, again);
  Check(tablet::Registry::Compare(registry, again).empty(), "written text gives the same registry");
  tablet::Registry exported;
  tablet::ReadRegText(tablet::ToExportForm(text), kName, exported);
  Check(tablet::Registry::Compare(registry, exported).empty(), "exported text gives the same registry");
  Check(tablet::WriteRegText(again) == text, "writing again gives the same text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tablet::Registry registry;
  registry.PutText(u"SOFTWARE\\Before", u"kept", u"as it was");
  std::unique_ptr<tablet::Registry> const before = registry.Snapshot();
  try {
    tablet::ReadRegText({reinterpret_cast<const char*>(data), size}, kName, registry);
  } catch (const tablet::InputError& error) {
    Check(std::string_view(error.what()).starts_with(kName), "a refusal names the file");
    Check(!error.next().empty(), "a refusal names the next step");
    Check(tablet::Registry::Compare(*before, registry).empty(), "a refused text changes nothing");
    return 0;
  }
  CheckWriting(registry);
  // The changes as text turn the first state into the second.
  std::string const changes = tablet::WriteRegChanges(tablet::Registry::Compare(*before, registry));
  tablet::ReadRegText(changes, kName, *before);
  Check(tablet::Registry::Compare(*before, registry).empty(), "the changes as text give the changed state");
  return 0;
}
