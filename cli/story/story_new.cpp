#include "cli/story/story_new.h"

#include <fmt/format.h>

#include <string>
#include <vector>

#include "cli/base/own_drive.h"
#include "cli/base/service_facts.h"
#include "cli/story/story_player.h"
#include "cli/story/story_verbs.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/folder/folder.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

StoryVerb Verb(int line, const std::string& text) {
  return {.line = line,
          .lead = {},
          .text = text,
          .word = text.substr(0, text.find(' ')),
          .rest = Split(text).second,
          .recorded = {}};
}

/// Every outcome of the firmware that this tablet could have.
std::vector<std::string> FirmwareCandidates(const fs::path& folder, const tablet::Description& description) {
  std::vector<std::string> candidates{"expect firmware not needed"};
  OwnDrive const drive(folder, description);
  std::vector<tablet::FileFacts> files;
  drive.get().Find(service_facts::kWideArchives, files);
  for (const tablet::FileFacts& file : files) {
    if ((file.attributes & tablet::kAttributeDirectory) != 0) continue;
    for (const char* const state : {"deployed", "failed"}) {
      candidates.push_back(fmt::format("expect firmware {} {}", tablet::ToUtf8(file.name), state));
    }
  }
  return candidates;
}

}  // namespace

Story NewStory(const fs::path& folder, const fs::path& file) {
  tablet::Description const description = tablet::ReadTabletFolder(folder);
  fs::path const base = file.has_parent_path() ? file.parent_path() : fs::path(".");
  fs::path const place = fs::proximate(folder, base);
  Story story{.file = file,
              .preface = {"# " + description.name, "# A first story, from a run: it boots, rests, and is stopped.",
                          "# Change it to what this tablet must do."},
              .verbs = {}};
  std::vector<std::string> texts{"tablet " + place.string(), "boot quietly"};
  for (std::string& text : FirmwareCandidates(folder, description)) texts.push_back(std::move(text));
  texts.insert(texts.end(), {"expect no message in zone error", "expect status RUNNING", "expect status STOPPED"});
  constexpr std::size_t kAlways = 2;
  auto const play = [&] {
    story.verbs.clear();
    for (const std::string& text : texts) story.verbs.push_back(Verb(static_cast<int>(story.verbs.size()) + 4, text));
    std::vector<std::vector<std::string>> const now = PlayStory(story);
    std::vector<std::string> kept;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      if (i < kAlways || story.verbs[i].word != kExpect || now[i].empty()) kept.push_back(texts[i]);
    }
    texts = std::move(kept);
  };
  play();
  // A service that still runs is stopped; the shortest time that holds stays.
  if (texts.back() == "expect status RUNNING") {
    std::size_t const before = texts.size() + 1;
    texts.emplace_back("stop");
    for (const char* const time : {"1 s", "10 s", "30 s", "125 s"})
      texts.push_back(fmt::format("expect stopped within {}", time));
    play();
    if (texts.size() > before + 1) texts.resize(before + 1);
  }
  story.verbs.clear();
  for (const std::string& text : texts) story.verbs.push_back(Verb(static_cast<int>(story.verbs.size()) + 4, text));
  return story;
}

}  // namespace cli
