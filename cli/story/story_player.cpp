#include "cli/story/story_player.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>

#include "cli/base/child_process.h"
#include "cli/base/work_folder.h"
#include "cli/boot/changes.h"
#include "cli/boot/observer.h"
#include "cli/boot/tablet_run.h"
#include "cli/output/story_teller.h"
#include "cli/samples/samples.h"
#include "cli/story/story_expect.h"
#include "cli/story/story_verbs.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/json_source.h"
#include "sim/tablet/folder/folder.h"
#include "sim/tablet/kernel/fault_catalog.h"
#include "sim/tablet/registry/reg_text.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

/// A service that does not come to rest, as in first-boot setup that never ends, is left alone after this long.
constexpr tablet::Millis kLongestWait = std::chrono::hours(1);

// --- one run -----------------------------------------------------------------------------------------------------

/// The build's own time would make each build tell another story.
std::string WithoutBuildTime(std::string text) {
  constexpr std::string_view kStart = "VantorService OnStart [";
  if (text.starts_with(kStart) && text.ends_with(']')) text = std::string(kStart) + "BUILD DATE, BUILD TIME]";
  return text;
}

/// A number above 0.
std::optional<std::int64_t> WholeNumber(const std::string& text) {
  std::int64_t number = 0;
  auto const [last, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || last != text.data() + text.size() || number <= 0) return std::nullopt;
  return number;
}

/// The verbs of one run, played in the process that is made for it.
class RunPlayer {
 public:
  /// `observes`: the verbs hold expectations.
  RunPlayer(const fs::path& folder, const fs::path& work, bool observes)
      : run_(tablet::ReadTabletFolder(folder), folder, work, {}),
        teller_([this](const StoryLine& line) { Tell(line); }, StoryTeller::Detail::kRecord) {
    if (observes) observer_.emplace(run_);
    run_.machine().journal().Listen([this](const tablet::Event& event) { teller_.Tell(event); });
  }

  TabletRun& run() { return run_; }

  Lines Play(const StoryVerb& verb) {
    lines_.clear();
    if (verb.word == "show") {
      Show(verb);
    } else if (verb.word == "file") {
      PutFile(verb);
    } else if (verb.word == "fault") {
      AddFault(verb);
    } else if (verb.word == "cut") {
      CutPower(verb);
    } else if (verb.word == kExpect) {
      if (!started_) Refuse(verb, "the tablet is off", "write it after \"boot\"");
      if (std::string found = Unmet(verb, run_, observer_->findings(), told_at_); !found.empty())
        lines_.push_back(std::move(found));
    } else {
      Act(verb);
    }
    return std::exchange(lines_, {});
  }

  /// What there is to say of a service that hangs.
  Lines HangingLines(const RunEnd& end) {
    AfterEnd(end);
    return std::exchange(lines_, {});
  }

 private:
  void Tell(StoryLine line) {
    if (quiet_ && (line.kind == "message" || line.kind.empty())) return;
    line.text = WithoutBuildTime(std::move(line.text));
    Add(Format(line));
  }
  void Add(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    lines_.push_back(std::move(line));
  }
  void AddFact(std::string_view kind, std::string_view text) { Add(fmt::format("{:>9}  {:<8}  {}", "", kind, text)); }

  void Act(const StoryVerb& verb) {
    bool const boots = verb.word == "boot";
    if (boots == started_)
      Refuse(verb, boots ? "the service was booted already" : "no service runs", "begin a run with \"boot\"");
    if (over_) Refuse(verb, "the service has ended", "\"boot\" begins another run");
    std::optional<RunEnd> end;
    if (boots) {
      if (!verb.rest.empty() && verb.rest != "quietly") {
        Refuse(verb, fmt::format("\"{}\" is not known here", verb.rest), "write \"boot\" or \"boot quietly\"",
               verb.rest);
      }
      quiet_ = verb.rest == "quietly";
      started_ = true;
      told_at_ = run_.machine().scheduler().Now();
      run_.Start();
      end = run_.RunUntilRest(run_.machine().scheduler().Now() + kLongestWait);
    } else if (verb.word == "wait") {
      auto const duration = WholeNumber(verb.rest);
      if (!duration)
        Refuse(verb, fmt::format("\"{}\" is no time", verb.rest), "give milliseconds: wait 1500", verb.rest);
      end = run_.Advance(tablet::Millis(*duration));
    } else {
      if (verb.word == "stop" || verb.word == "preshutdown") told_at_ = run_.machine().scheduler().Now();
      run_.Happen(EventOf(verb));
      end = run_.RunUntilRest(run_.machine().scheduler().Now() + kLongestWait);
    }
    teller_.Flush();
    if (end) AfterEnd(*end);
  }

  void AfterEnd(const RunEnd& end) {
    over_ = true;
    teller_.Flush();
    for (const std::string& call : run_.machine().faults().Unused()) AddFact("fault", "of " + call + " never came");
    AddFact("end", end.message);
    Changes const changes = ChangesOf(run_);
    for (const std::string& line : Describe(changes.registry)) AddFact("registry", line);
    for (const auto& change : changes.firmware) AddFact("firmware", Describe(change));
    for (const auto& change : changes.files) AddFact("file", Describe(change, run_.machine().drive()));
    if (changes.registry.empty() && changes.firmware.empty() && changes.files.empty()) AddFact("changes", "none");
  }

  void AddFault(const StoryVerb& verb) {
    if (started_) Refuse(verb, "the tablet is on", "write faults before \"boot\"");
    try {
      run_.machine().faults().Add(tablet::ParseFault(verb.rest));
    } catch (const tablet::InputError& error) {
      Refuse(verb, error.problem(), error.next(), verb.rest);
    }
  }

  void CutPower(const StoryVerb& verb) {
    if (started_) Refuse(verb, "the tablet is on", "write \"cut\" before \"boot\"");
    auto const call = WholeNumber(verb.rest);
    if (!call)
      Refuse(verb, fmt::format("\"{}\" is not a number", verb.rest), "give the number of a call: cut 250", verb.rest);
    run_.machine().scheduler().CutPowerAt(static_cast<std::uint64_t>(*call));
  }

  void PutFile(const StoryVerb& verb) {
    auto const [path, text] = SplitPath(verb);
    if (started_) Refuse(verb, "the tablet is on", "change files before \"boot\"");
    if (path.empty() || text.empty())
      Refuse(verb, "no path and text", "write: file C:\\folder\\name text, or - to remove it");
    tablet::Drive& drive = run_.machine().drive();
    if (text != "-") {
      drive.Put(tablet::ToUtf16(path), std::vector<std::uint8_t>(text.begin(), text.end()));
    } else if (drive.Exists(tablet::ToUtf16(path))) {
      drive.Remove(tablet::ToUtf16(path));
    } else {
      Refuse(verb, fmt::format("there is no {}", path), "check the path");
    }
  }

  void Show(const StoryVerb& verb) {
    auto const [what, name] = Split(verb.rest);
    if (what == "registry") {
      ShowKey(verb, name);
    } else if (what == "file") {
      tablet::Drive& drive = run_.machine().drive();
      std::u16string const path = tablet::ToUtf16(name);
      if (!drive.Exists(path)) {
        AddFact("file", name + " is not there");
        return;
      }
      tablet::FileFacts const facts = drive.Facts(path);
      AddFact("file", fmt::format("{}: attributes {:#x}, {} bytes", name, facts.attributes, facts.size));
    } else if (what == "firmware") {
      for (auto const& [key, variable] : run_.machine().firmware().variables()) {
        std::string const text(variable.data.begin(), variable.data.end());
        AddFact("firmware", fmt::format("{} = {:?}", tablet::ToUtf8(key.name), text));
      }
    } else if (what == "radio") {
      const tablet::RadioProxy& radio = run_.machine().radio();
      AddFact("radio", fmt::format("connections tried {}, commands {}, releases {}", radio.attempts(), radio.commands(),
                                   radio.releases()));
    } else {
      Refuse(verb, fmt::format("\"{}\" cannot be shown", what),
             "show registry KEY, show file PATH, show firmware or show radio", verb.rest);
    }
  }

  void ShowKey(const StoryVerb& verb, const std::string& name) {
    constexpr std::string_view kHive = "HKEY_LOCAL_MACHINE\\";
    if (!name.starts_with(kHive)) Refuse(verb, "no key", "write: show registry HKEY_LOCAL_MACHINE\\...");
    const tablet::Registry& registry = run_.machine().registry();
    std::u16string const key = tablet::ToUtf16(name.substr(kHive.size()));
    if (!registry.HasKey(key)) {
      AddFact("registry", "there is no such key");
      return;
    }
    for (const std::u16string& value : registry.ValueNames(key)) {
      std::string const shown = value.empty() ? "@" : '"' + tablet::ToUtf8(value) + '"';
      AddFact("registry", fmt::format("{}={}", shown, ShowValue(*registry.Get(key, value))));
    }
  }

  TabletRun run_;
  std::optional<Observer> observer_;
  StoryTeller teller_;
  Lines lines_;
  tablet::Millis told_at_{0};  ///< when the service was started or told to end
  bool started_ = false;
  bool over_ = false;
  bool quiet_ = false;  ///< messages are left out
};

/// Plays a run in a process of its own and keeps the tablet as it ends.
std::vector<Lines> PlayRun(std::span<const StoryVerb> verbs, const fs::path& folder) {
  WorkFolder const work(folder / ".run-");
  std::string const what = fmt::format("the run that begins in line {}", verbs.front().line);
  bool const observes = std::ranges::any_of(verbs, [](const StoryVerb& verb) { return verb.word == kExpect; });
  auto lines = RunInChild(what, [&](const Answer& answer) {
                 tablet::CopyDrive(folder, work.path());
                 RunPlayer player(folder, work.path(), observes);
                 nlohmann::ordered_json list = nlohmann::ordered_json::array();
                 player.run().OnHang([&](const RunEnd& end) {
                   list.push_back(player.HangingLines(end));
                   answer(list);
                 });
                 for (const StoryVerb& verb : verbs) list.push_back(player.Play(verb));
                 tablet::ReplaceState(folder, player.run().machine(), work.path());
                 answer(list);
               }).get<std::vector<Lines>>();
  while (lines.size() < verbs.size()) {
    lines.emplace_back();
    if (verbs[lines.size() - 1].word == kExpect) lines.back().push_back("the run hung before");
  }
  return lines;
}

std::vector<Lines> PlayIn(const Story& story, const fs::path& folder) {
  fs::path const base = story.file.parent_path();
  std::vector<Lines> all;
  for (std::size_t i = 0; i < story.verbs.size();) {
    const StoryVerb& verb = story.verbs[i];
    if (!BelongsToRun(verb)) {
      DoSetUp(verb, folder, base);
      all.emplace_back();
      ++i;
      continue;
    }
    std::size_t end = i;
    bool booted = false;
    while (end < story.verbs.size() && BelongsToRun(story.verbs[end])) {
      bool const boots = story.verbs[end].word == "boot";
      if (booted && (boots || story.verbs[end].word == "file" || story.verbs[end].word == "fault" ||
                     story.verbs[end].word == "cut"))
        break;
      booted = booted || boots;
      ++end;
    }
    auto lines = PlayRun(std::span(story.verbs).subspan(i, end - i), folder);
    all.insert(all.end(), lines.begin(), lines.end());
    i = end;
  }
  return all;
}

}  // namespace

std::vector<Lines> PlayStory(const Story& story) {
  WorkFolder const work = WorkFolder::Temporary();
  fs::path const folder = work.path() / "tablet";
  try {
    return PlayIn(story, folder);
  } catch (const tablet::InputError& error) {
    // "LINE: ..." of a verb, or a file of the tablet.
    std::string place = error.place();
    bool const of_tablet = place.starts_with(folder.string());
    if (of_tablet) place = " the tablet" + place.substr(folder.string().size());
    bool const of_story = of_tablet || (!place.empty() && std::isdigit(static_cast<unsigned char>(place.front())) != 0);
    if (!of_story) throw;  // a file of the user's own tablet
    throw tablet::InputError(fmt::format("{}:{}", story.file.string(), place), error.problem(), error.next());
  }
}

}  // namespace cli
