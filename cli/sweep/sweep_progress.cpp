#include "cli/sweep/sweep_progress.h"

#include <zlib.h>

#include <string>

#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

using nlohmann::json;

/// What the file begins with: the sum of everything that decides which run a number stands for.
json Head(const std::vector<KnownCall>& calls, const std::vector<SweepTask>& tasks) {
  std::string all;
  for (const KnownCall& call : calls) all += call.name + ' ' + call.function + ' ' + call.args + '\n';
  for (const SweepTask& task : tasks) all += RepeatOptions(task) + '\n';
  auto const sum = ::crc32(0, reinterpret_cast<const Bytef*>(all.data()), static_cast<uInt>(all.size()));
  return {{"sweep", sum}, {"runs", tasks.size()}};
}

}  // namespace

SweepProgress::SweepProgress(const std::filesystem::path& file, const std::vector<KnownCall>& calls,
                             const std::vector<SweepTask>& tasks) {
  json const head = Head(calls, tasks);
  std::ifstream in(file);
  std::string line;
  bool const begins = !std::getline(in, line);
  if (begins && std::filesystem::exists(file) && std::filesystem::file_size(file) != 0) {
    throw tablet::InputError(file.string(), "cannot be read", "name a file of an earlier sweep, or a new one");
  }
  if (!begins && !(json::parse(line, nullptr, false) == head)) {  // != is false for what is not JSON
    throw tablet::InputError(file.string(),
                             "is not the progress of this sweep: the tablet, the options or the program differ",
                             "name another file, or delete this one");
  }
  // A line that was cut off does not count.
  while (std::getline(in, line) && !in.eof()) {
    json const entry = json::parse(line, nullptr, false);
    if (!entry.is_array() || entry.size() != 2) continue;
    known_[entry[0].get<std::size_t>()] = entry[1];
  }
  out_.open(file, std::ios::app);
  out_ << (begins ? head.dump() : "") << std::endl;
  if (!out_) throw tablet::InputError(file.string(), "cannot be written", "check its rights");
}

void SweepProgress::Keep(std::size_t task, const json& answer) {
  out_ << json{task, answer}.dump(-1, ' ', false, json::error_handler_t::replace) << std::endl;
}

}  // namespace cli
