#include "cli/run/typed_commands.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "sim/tablet/base/nearest.h"

namespace cli {

namespace {

constexpr std::string_view kBlanks = " \t\r";

/// Words that are nearer to the tongue than those of the timeline.
std::string_view InTheTimelinesWords(std::string_view word) {
  if (word == "arrive") return "arrival";
  if (word == "remove") return "removal";
  return word;
}

std::vector<std::string_view> KnownWords() {
  auto const events = tablet::EventWords();
  std::vector<std::string_view> words(events.begin(), events.end());
  words.insert(words.end(), {"arrive", "remove", "help"});
  return words;
}

std::string_view Trim(std::string_view text) {
  std::size_t const first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

}  // namespace

Typed Interpret(std::string_view line) {
  line = Trim(line);
  if (line.empty()) return {};
  std::size_t const end = std::min(line.find_first_of(kBlanks), line.size());
  std::string_view const word = line.substr(0, end);
  std::string const argument(Trim(line.substr(end)));
  std::vector<std::string_view> const known = KnownWords();
  if (word == "help") return {{}, fmt::format("words: {}", fmt::join(known, ", "))};
  if (std::find(known.begin(), known.end(), word) == known.end()) {
    return {{}, fmt::format("unknown word \"{}\"; {}", word, tablet::SuggestOneOf(word, known))};
  }
  std::optional<tablet::TimelineEvent> event = tablet::MakeEvent(InTheTimelinesWords(word), argument);
  if (!event) {
    return {{}, fmt::format("\"{}\" does not fit {}; {}", argument, word, tablet::HintFor(InTheTimelinesWords(word)))};
  }
  return {std::move(event), {}};
}

std::vector<std::string> TypedCommands::Take() {
  pollfd waiting{.fd = descriptor_, .events = POLLIN, .revents = 0};
  while (!ended_ && ::poll(&waiting, 1, 0) > 0) {
    std::array<char, 512> bytes;
    ssize_t const count = ::read(descriptor_, bytes.data(), bytes.size());
    if (count <= 0) {
      ended_ = true;
    } else {
      begun_.append(bytes.data(), static_cast<std::size_t>(count));
    }
  }
  // The last line may lack its end.
  if (ended_ && !begun_.empty() && !begun_.ends_with('\n')) begun_ += '\n';
  std::vector<std::string> lines;
  for (std::size_t end = begun_.find('\n'); end != std::string::npos; end = begun_.find('\n')) {
    lines.push_back(begun_.substr(0, end));
    begun_.erase(0, end + 1);
  }
  return lines;
}

}  // namespace cli
