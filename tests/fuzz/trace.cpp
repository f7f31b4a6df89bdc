// The readers of traces: text, JSON Lines and logs. Whatever the input is, it is read to its end or refused with its
// place.
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "cli/explain/explain_output.h"
#include "cli/explain/start_splitter.h"
#include "sim/tablet/base/input_error.h"
#include "tests/fuzz/harness.h"

using namespace fuzzing;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static int const file = ::memfd_create("input", MFD_CLOEXEC);
  Check(::ftruncate(file, 0) == 0 && ::pwrite(file, data, size, 0) == static_cast<ssize_t>(size),
        "the input can be written");
  std::string const name = "/proc/self/fd/" + std::to_string(file);
  try {
    cli::TraceReader reader(name, std::nullopt);
    cli::StartSplitter starts;
    std::uint64_t messages = 0;
    std::uint64_t counted = 0;
    std::size_t ended = 0;
    starts.on_event = [&](const cli::TraceStart& start, const tablet::Event& event) {
      Check(event.time == start.length(), "time does not go back");
      messages += std::holds_alternative<tablet::TraceEvent>(event.what) ? 1 : 0;
    };
    starts.on_end = [&](const cli::TraceStart& start) {
      ++ended;
      counted += start.counts().all;
      for (const cli::Phase& phase : start.phases())
        Check(!phase.to || *phase.to >= phase.from, "a phase ends after it began");
      static_cast<void>(cli::ToJson(start).dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
    };
    for (cli::TraceRecord record; reader.Next(record);) {
      if (record.is_own) starts.Take(record);
    }
    starts.Finish();
    Check(ended == starts.starts(), "each start ends once");
    Check(messages == reader.facts().messages && messages == counted, "each message belongs to one start");
    static_cast<void>(cli::NotesOf(reader));
    static_cast<void>(cli::GapLines(reader.gaps()));
    reader.CheckThatMessagesCame();
  } catch (const tablet::InputError& error) {
    Check(error.place().starts_with(name), "a refusal names the file");
    Check(!error.next().empty(), "a refusal names the next step");
  }
  return 0;
}
