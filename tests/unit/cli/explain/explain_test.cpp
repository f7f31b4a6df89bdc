// vantord-tablet explain: traces recorded from runs, written as real ones look, and what is read from them.
#include <fmt/format.h>
#include <sys/resource.h>

#include <algorithm>
#include <fstream>

#include "cli/samples/samples.h"
#include "sim/tablet/base/input_error.h"
#include "tests/unit/cli/explain/trace_writer.h"
#include "tests/unit/cli/program.h"

namespace {

using testing_support::AsUtf16;
using testing_support::ReadBack;
using testing_support::ReadTrace;
using testing_support::TraceLine;
using testing_support::TraceStyle;
using testing_support::TraceText;

class ExplainTest : public testing_support::ProgramTest {
 protected:
  /// Runs a sample and keeps its events; returns the document of the run.
  json Record(const std::string& sample, const std::vector<std::string>& more = {}) {
    auto const result = Run(Joined({"run", Make(sample), "--json", "--events", sample + ".jsonl"}, more));
    events_ = Events(sample + ".jsonl");
    return json::parse(result.out);
  }
  ReadTrace ReadText(const std::string& text, const std::optional<std::string>& prefix = std::nullopt) {
    Write("t.txt", text);
    return ReadBack(In("t.txt"), prefix);
  }
  /// What is wrong with a text, as the user is told.
  std::string Problem(const std::string& text) {
    try {
      ReadText(text);
    } catch (const tablet::InputError& error) {
      return error.what();
    }
    return "nothing";
  }
  std::string Text(const TraceStyle& style = {}) const { return TraceText(events_, style); }
  std::size_t Messages() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(events_, [](const json& event) { return event["kind"] == "trace"; }));
  }

  std::vector<json> events_;
};

/// What depends on how the trace was written, and not on what it shows.
json WithoutPlaces(json start) {
  for (const char* const key : {"at", "process", "first_line", "last_line"}) start.erase(key);
  return start;
}

/// A look-up as both documents have it: registry keys are compared as Windows does, what messages do not tell is left
/// out.
json Comparable(const json& look_ups) {
  json kept = json::array();
  for (json look_up : look_ups) {
    look_up.erase("type");
    // A run sees what the firmware was asked for; the service logs what it could not read.
    std::string const found = look_up["found"].is_string() ? look_up["found"] : "";
    if (look_up["where"] == "firmware" && (found.empty() || found.starts_with("not read: "))) continue;
    if (look_up["name"] == "Distribute" && !found.empty()) look_up["found"] = "set";
    if (look_up.contains("key")) {
      std::string key = look_up["key"];
      std::ranges::transform(key, key.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
      look_up["key"] = key;
    }
    kept.push_back(look_up);
  }
  return kept;
}

void ExpectSameSummary(const json& run, const json& start) {
  for (const char* const key : {"deployed", "deployment", "warnings", "messages"})
    EXPECT_EQ(run[key], start[key]) << key;
  EXPECT_EQ(Comparable(run["looked_up"]), Comparable(start["looked_up"]));
  ASSERT_EQ(run["archive"].is_null(), start["archive"].is_null());
  if (!run["archive"].is_null()) {
    for (const char* const key : {"path", "opened", "entries", "why"}) {
      EXPECT_EQ(run["archive"][key], start["archive"][key]) << key;
    }
    EXPECT_EQ(run["archive"]["failed_entries"].size(), start["archive"]["failed_entries"].size());
  }
  for (const char* const key : {"looked_for", "found", "failed_toasts", "reset", "reset_at_ms"}) {
    EXPECT_EQ(run["crash"][key], start["crash"][key]) << key;
  }
  EXPECT_EQ(run["crash"]["dumps"].size(), start["crash"]["dumps"].size());
  EXPECT_EQ(run["crash"]["toast"].is_null(), start["crash"]["toast"].is_null());
}

TEST_F(ExplainTest, EachSampleIsSummedUpAsItsRunIs) {
  std::size_t compared = 0;
  for (const cli::Sample& sample : cli::Samples()) {
    SCOPED_TRACE(sample.name);
    json const run = Record(std::string(sample.name));
    auto const starts = std::ranges::count_if(events_, [](const json& event) {
      return event["kind"] == "trace" && event["text"].get<std::string>().starts_with("CVantord::OnStart:62 ");
    });
    if (Messages() == 0) continue;  // a tablet that collects no trace
    ReadTrace const read = ReadBack(In(std::string(sample.name) + ".jsonl"));
    ReadTrace const text = ReadText(Text());
    EXPECT_EQ(read.facts.messages, Messages());
    EXPECT_EQ(text.facts.messages, Messages());
    EXPECT_EQ(static_cast<std::ptrdiff_t>(read.starts.size()), starts);
    ASSERT_EQ(read.starts.size(), text.starts.size());
    if (starts != 1) continue;
    ++compared;
    ExpectSameSummary(run, read.starts[0]);
    ExpectSameSummary(run, text.starts[0]);
  }
  EXPECT_EQ(compared, cli::Samples().size());
}

TEST_F(ExplainTest, EachFormOfATraceIsReadTheSame) {
  Record("corrupt-archive");
  json const wanted = WithoutPlaces(ReadText(Text()).starts.at(0));
  EXPECT_EQ(wanted["deployment"], "failed");
  EXPECT_EQ(WithoutPlaces(ReadText(Text({.numbered = true})).starts.at(0)), wanted);
  EXPECT_EQ(WithoutPlaces(ReadText(Text({.hires = true})).starts.at(0)), wanted);
  EXPECT_EQ(WithoutPlaces(ReadText(Text({.numbered = true, .hires = true})).starts.at(0)), wanted);
  EXPECT_EQ(WithoutPlaces(ReadText(Text({.own = true}), testing_support::OwnPrefix()).starts.at(0)), wanted);
  EXPECT_EQ(WithoutPlaces(ReadText(AsUtf16(Text())).starts.at(0)), wanted);
  EXPECT_EQ(WithoutPlaces(ReadText("\xEF\xBB\xBF" + Text()).starts.at(0)), wanted);
  EXPECT_EQ(WithoutPlaces(ReadText(Text({.provider = "somewhere"})).starts.at(0)), wanted);
  ReadTrace const bare = ReadText(Text({.bare = true}));
  EXPECT_EQ(bare.facts.messages, Messages());
  EXPECT_EQ(bare.starts.at(0)["archive"], wanted["archive"]);
  EXPECT_THAT(bare.notes, ElementsAre(HasSubstr("no prefix: neither times nor processes")));
}

TEST_F(ExplainTest, AFailedStartIsExplainedWithItsMeaningAndWhatToDo) {
  json const run = Record("missing-archive");
  Write("field.txt", Text());
  auto const result = Run({"explain", "field.txt"});
  EXPECT_EQ(result.exit_code, 5);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, HasSubstr("Start 1: 06/10/2025-14:25:43.968, process 0338\n"));
  EXPECT_THAT(result.out, HasSubstr("    0.000  message   CVantord::OnStart:62"));
  EXPECT_THAT(result.out, HasSubstr("the deployment FAILED: c:\\windows\\system32\\modem_core\\"));
  EXPECT_THAT(result.out, HasSubstr("because SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters\\CSC maps"));
  EXPECT_THAT(result.out, HasSubstr("CImageSelector::UnzipBinary:244 at 0.000 s"));
  EXPECT_THAT(result.out, HasSubstr("  The archive could not be opened, nothing is deployed.\n"));
  EXPECT_THAT(result.out, HasSubstr("  Cause: It is missing, or is no zip archive that the service reads.\n"));
  EXPECT_THAT(result.out, HasSubstr("  Do: Vantord-tablet lint ARCHIVE names the reason.\n"));
  EXPECT_THAT(result.out, HasSubstr("Starts      1, 1 failed\n"));
  auto const quiet = Run({"explain", "field.txt", "--quiet"});
  EXPECT_THAT(quiet.out, Not(HasSubstr("message   CVantord")));
  EXPECT_THAT(quiet.out, HasSubstr("the deployment FAILED"));
}

TEST_F(ExplainTest, TheDocumentHasTheStartAndTheTrace) {
  Record("fresh");
  Write("field.txt", Text({.numbered = true}));
  json const document = RunJson({"explain", "field.txt"});
  EXPECT_EQ(document["trace"], "field.txt");
  EXPECT_EQ(document["kind"], "tracefmt text");
  EXPECT_EQ(document["encoding"], "UTF-8");
  EXPECT_EQ(document["messages"], Messages());
  EXPECT_EQ(document["lost"], 0);
  json const& start = document["starts"][0];
  EXPECT_EQ(start["at"], "06/10/2025-14:25:43.968");
  EXPECT_EQ(start["process"], 0x338);
  EXPECT_EQ(start["end"], "stopped");
  EXPECT_EQ(start["failure"], nullptr);
  std::vector<std::string> phases;
  for (const json& phase : start["phases"]) phases.push_back(phase["name"]);
  EXPECT_THAT(phases, ElementsAre("start", "settings", "toast archive", "choice", "extraction", "partner",
                                  "modem reset", "stop"));
}

TEST_F(ExplainTest, PhasesTakeAsLongAsTheirMessagesAreApart) {
  Record("late-modem");
  ReadTrace const read = ReadText(Text());
  json const& start = read.starts.at(0)["phases"][0];
  EXPECT_EQ(start["name"], "start");
  auto const running = std::ranges::find_if(events_, [](const json& event) { return event.value("line", 0) == 101; });
  EXPECT_EQ(start["took_ms"], (*running)["time_ms"]);
  EXPECT_GT(start["took_ms"], 0);
}

TEST_F(ExplainTest, ATabletWithoutAModemFailsItsStart) {
  Record("wifi-only");
  Write("field.txt", Text());
  json const document = RunJson({"explain", "field.txt"}, 5);
  EXPECT_EQ(document["starts"][0]["end"], "no modem");
  EXPECT_EQ(document["starts"][0]["failure"], "the service stopped itself: it found no modem");
  EXPECT_EQ(document["failed_starts"], 1);
}

TEST_F(ExplainTest, StartsAreToldApart) {
  Record("fresh");
  std::string const first = Text();
  std::string const second = Text({.process = 0x1A2B4, .power_on = 1'749'569'000'000});
  ReadTrace const read = ReadText(first + second + Text({.power_on = 1'749'580'000'000}));
  ASSERT_EQ(read.starts.size(), 3U);
  EXPECT_EQ(read.starts[1]["process"], 0x1A2B4) << "the old processes may still log, so they end last";
  EXPECT_EQ(read.starts[0]["messages"]["all"], Messages());
  EXPECT_EQ(read.starts[2]["messages"]["all"], Messages());
  EXPECT_EQ(read.starts[1]["length_ms"], read.starts[0]["length_ms"]);
}

TEST_F(ExplainTest, ATraceThatBeginsInTheMiddleSaysSo) {
  Record("fresh");
  std::string const text = Text();
  std::size_t const middle = text.find("\r\n", text.size() / 2) + 2;
  ReadTrace const read = ReadText(text.substr(middle) + Text({.process = 0x400}));
  ASSERT_EQ(read.starts.size(), 2U);
  EXPECT_EQ(read.starts[0]["whole_beginning"], false);
  EXPECT_THAT(read.starts[0]["notes"].dump(), HasSubstr("the trace begins after the start"));
  EXPECT_EQ(read.starts[1]["deployed"], true);
}

TEST_F(ExplainTest, AnotherProvidersMessagesAreLeftOut) {
  Record("fresh");
  json const wanted = WithoutPlaces(ReadText(Text()).starts.at(0));
  TraceStyle const other{.process = 0x44, .provider = "modemdrv"};
  std::string mixed;
  std::istringstream in(Text());
  std::size_t lines = 0;
  for (std::string line; std::getline(in, line); ++lines) {
    mixed += line + '\n' + TraceLine(other, 0, 8, 0, "Open: Ger\xE4t bereit") + TraceLine(other, 0, 8, 0, "Foo:12 : x");
  }
  ReadTrace const read = ReadText(mixed);
  EXPECT_EQ(read.facts.others, 2 * lines);
  ASSERT_EQ(read.starts.size(), 1U);
  EXPECT_EQ(WithoutPlaces(read.starts[0]), wanted);
  EXPECT_THAT(read.notes, ElementsAre(HasSubstr("not UTF-8 from line 2 on: such lines are read by code page 1252")));
}

TEST_F(ExplainTest, LostMessagesAreNamed) {
  Record("fresh");
  std::istringstream in(Text({.numbered = true}));
  std::string text;
  int number = 0;
  for (std::string line; std::getline(in, line); ++number) {
    if (number != 10 && (number < 20 || number > 22)) text += line + '\n';
  }
  Write("field.txt", text);
  auto const result = Run({"explain", "field.txt", "--quiet"});
  EXPECT_THAT(result.out, HasSubstr("4 sequence numbers are missing: messages may be lost"));
  EXPECT_THAT(result.out, HasSubstr("number 10 after line 10, 06/10/2025-14:25:43.968"));
  EXPECT_THAT(result.out, HasSubstr("numbers 20 to 22 after line 19, 06/10/2025"));
}

TEST_F(ExplainTest, ATraceThatIsCutOffAnywhereIsReadAsFarAsItGoes) {
  Record("fresh");
  std::string const text = Text();
  for (std::size_t const step : {1U, 2U, 3U, 7U, 11U, 13U, 17U, 19U}) {
    std::size_t const size = text.size() * step / 20;
    ReadTrace const read = ReadText(text.substr(0, size));
    ASSERT_EQ(read.starts.size(), 1U) << size;
    EXPECT_THAT(read.notes, ::testing::Contains(HasSubstr("the trace ends within line"))) << size;
    EXPECT_LT(read.facts.messages, Messages());
  }
  std::string const half = text.substr(0, text.find("Unzipping c:\\windows") + 60);
  EXPECT_EQ(ReadText(half).starts[0]["failure"],
            "the extraction of c:\\windows\\system32\\modem_core\\VZW.bin was not completed");
}

TEST_F(ExplainTest, LinesThatAreNoRecordsAreCountedOrBelongToAMessage) {
  TraceStyle const style;
  std::string const text =
      "junk at the start\r\n" +
      TraceLine(style, 0, 1, 1, "CVantord::OnStart:62 : VantorService OnStart [Jan  1 2025, 00:00:00]") +
      "second line of the message\r\n\r\n" + "[0]0338.0001::06/10/20\r\n" +
      TraceLine(style, 5, 1, 2, "CModemTemplate::ExistModemCtrl:118 : m_pModemCtrl Open Fail\n") + "CVantord::OnSt\r\n";
  ReadTrace const read = ReadText(text);
  EXPECT_EQ(read.facts.messages, 2U);
  EXPECT_EQ(read.facts.unreadable, 2U);
  EXPECT_THAT(read.notes, ElementsAre(HasSubstr("2 lines could not be read as part of a trace, the first is line 1")));
  EXPECT_EQ(read.starts.at(0)["explained"].size(), 1U);
}

TEST_F(ExplainTest, WhatIsNoTraceIsRefusedWithTheNextStep) {
  TraceStyle const style;
  std::string const unknown = TraceLine({.provider = "Unknown"}, 0, 1, 1, "No Format Information found.");
  EXPECT_THAT(Problem(unknown + unknown),
              AllOf(HasSubstr("t.txt: No Format Information found for 2 messages"), HasSubstr("-p FOLDER")));
  EXPECT_THAT(
      Problem(TraceLine({.provider = "modemdrv"}, 0, 1, 1, "Open")),
      AllOf(HasSubstr("has 1 message of other providers and none of the service"), HasSubstr("{2170F42F-27B0-")));
  EXPECT_THAT(Problem(""), HasSubstr("t.txt: is empty; give the text of \"tracefmt"));
  EXPECT_THAT(Problem("EventTrace\r\n"), HasSubstr("no line of it is a message of a trace; give the text"));
  EXPECT_THAT(Problem("PK\x03\x04rest"), HasSubstr("is an archive; unpack it"));
  std::string many;
  for (int i = 0; i < 1200; ++i) many += "no record\n";
  EXPECT_THAT(Problem(many), HasSubstr("none of the first 1000 lines is a message of a trace"));
  EXPECT_THAT(Problem("{\"kind\":1\n[]\n{\n"), HasSubstr("no line of it is a message"));
  auto const result = Run({"explain", "nowhere.txt"});
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_EQ(result.err, "vantord-tablet: nowhere.txt: cannot be read: No such file or directory; check the name\n");
  EXPECT_EQ(Run({"explain", "tmp"}).exit_code, 3);
  EXPECT_EQ(Run({"explain", "t.txt", "--prefix", "%a"}).exit_code, 2);
}

TEST_F(ExplainTest, ALargeTraceIsReadInLittleMemory) {
  Record("corrupt-archive");
  std::string const one = Text();
  constexpr std::size_t kBytes = 24'000'000;
  {
    std::ofstream out(In("large.txt"), std::ios::binary);
    out << std::string(100'000, 'x') << "\r\n";
    for (std::size_t written = 0; written < kBytes; written += one.size()) out << one;
  }
  auto const result = Run({"explain", "large.txt", "--quiet", "--json"});
  EXPECT_EQ(result.exit_code, 5);
  json const document = json::parse(result.out);
  EXPECT_EQ(document["starts_in_trace"], kBytes / one.size() + 1);
  EXPECT_EQ(document["failed_starts"], document["starts_in_trace"]);
  EXPECT_EQ(document["starts"].size(), 200U);
  rusage used{};
  ASSERT_EQ(::getrusage(RUSAGE_CHILDREN, &used), 0);
  EXPECT_LT(used.ru_maxrss, 100 * 1024) << "KB; the run of the sample is among them";
}

}  // namespace
