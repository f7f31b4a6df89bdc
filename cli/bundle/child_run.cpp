#include "cli/bundle/child_run.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <stdexcept>

#include "cli/bundle/bundle.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

constexpr const char* kThisProgram = "/proc/self/exe";

/// Never returns.
[[noreturn]] void Become(std::vector<std::string>& words, const std::string& out) {
  // Without its parent the run ends too.
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  std::vector<char*> values;
  for (std::string& word : words) values.push_back(word.data());
  values.push_back(nullptr);
  int const file = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  ::dup2(file, STDOUT_FILENO);
  ::execv(kThisProgram, values.data());
  ::_exit(127);
}

std::uint32_t ProgramChecksum() {
  std::ifstream in(kThisProgram, std::ios::binary);
  uLong sum = ::crc32(0, nullptr, 0);
  std::array<char, 1 << 16> block{};
  while (in.read(block.data(), block.size()), in.gcount() > 0) {
    sum = ::crc32(sum, reinterpret_cast<const Bytef*>(block.data()), static_cast<uInt>(in.gcount()));
  }
  return static_cast<std::uint32_t>(sum);
}

}  // namespace

ChildRun RunInChild(const std::filesystem::path& tablet, const std::vector<std::string>& arguments,
                    const std::filesystem::path& work) {
  std::filesystem::path const events = work / kEventsFile;
  std::filesystem::path const out = work / kSummaryFile;
  std::vector<std::string> words{"vantord-tablet", "run",     tablet.string(), "--json",
                                 "--calls",        "--force", "--events",      events.string()};
  words.insert(words.end(), arguments.begin(), arguments.end());
  pid_t const child = ::fork();
  if (child < 0) throw std::runtime_error("no process could be made for the run");
  if (child == 0) Become(words, out.string());
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  ChildRun run;
  run.summary_text = ReadTextFile(out);
  run.summary = nlohmann::ordered_json::parse(run.summary_text, nullptr, false);
  if (run.summary.is_object() && run.summary.contains("error")) {
    auto const& error = run.summary["error"];
    throw tablet::InputError(error.value("place", ""), error.value("problem", ""), error.value("next", ""));
  }
  if (!run.summary.is_object() || !run.summary.contains("end"))
    throw std::runtime_error(fmt::format("the run ended without a summary (status {:#x})", status));
  run.events = ReadTextFile(events);
  return run;
}

nlohmann::ordered_json ProgramVersion() {
  return {{"program", "vantord-tablet"},
          {"version", VANTORD_TABLET_VERSION},
          {"build", fmt::format("{:08x}", ProgramChecksum())}};
}

}  // namespace cli
