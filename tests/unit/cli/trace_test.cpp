// run --trace: a file in the Trace Event Format, as its readers take it.
#include <algorithm>
#include <set>

#include "tests/unit/cli/program.h"

namespace {

class TraceFileTest : public ProgramTest {
 protected:
  json Trace(const std::string& sample, const std::vector<std::string>& more = {}) {
    auto const result = Run(Joined({"run", Make(sample), "--quiet", "--force", "--trace", "t.json"}, more));
    EXPECT_TRUE(result.exit_code == 0 || result.exit_code == 6) << result.err;
    return json::parse(Read("t.json"));
  }
};

std::vector<json> Of(const json& trace, const std::string& phase, const std::string& category = {}) {
  std::vector<json> events;
  for (const json& event : trace["traceEvents"]) {
    if (event["ph"] == phase && (category.empty() || event["cat"] == category)) events.push_back(event);
  }
  return events;
}

std::vector<std::string> Names(const std::vector<json>& events) {
  std::vector<std::string> names;
  for (const json& event : events) names.push_back(event["name"]);
  return names;
}

/// The thread with that name.
int Thread(const json& trace, const std::string& name) {
  for (const json& event : Of(trace, "M")) {
    if (event["name"] == "thread_name" && event["args"]["name"] == name) return event["tid"];
  }
  ADD_FAILURE() << "no thread " << name;
  return 0;
}

double EndOf(const json& span) { return span["ts"].get<double>() + span["dur"].get<double>(); }

/// What the format asks of each event: the keys of its phase and no others, and times that never go back.
void ExpectWellFormed(const json& trace) {
  std::set<std::string> const common{"name", "cat", "ph", "ts", "pid", "tid"};
  std::map<int, std::vector<double>> ends;  // of the spans that enclose the present moment, by thread
  double now = 0;
  for (const json& event : trace["traceEvents"]) {
    std::string const phase = event["ph"];
    if (phase == "M") continue;
    std::set<std::string> keys;
    for (const auto& [key, value] : event.items()) {
      if (key != "args" && key != (phase == "i" ? "s" : "dur")) keys.insert(key);
    }
    EXPECT_EQ(keys, common) << event;
    EXPECT_GE(event["ts"], now) << event;
    now = event["ts"];
    if (phase == "i") {
      EXPECT_EQ(event["s"], "t") << event;
      continue;
    }
    ASSERT_EQ(phase, "X") << event;
    ASSERT_GE(event["dur"], 0) << event;
    constexpr double kNanosecond = 0.001;
    std::vector<double>& around = ends[event["tid"]];
    while (!around.empty() && around.back() <= now + kNanosecond / 2) around.pop_back();
    EXPECT_LE(EndOf(event), around.empty() ? EndOf(event) : around.back() + kNanosecond / 2) << event;
    around.push_back(EndOf(event));
  }
}

TEST_F(TraceFileTest, SpansOfAThreadNest) {
  for (const char* sample : {"fresh", "wifi-only", "crashed-modem", "oobe-then-desktop"}) {
    SCOPED_TRACE(sample);
    ExpectWellFormed(Trace(sample));
  }
}

TEST_F(TraceFileTest, ThreadsAreNamedTracksBelowTheStatus) {
  json const trace = Trace("fresh");
  std::map<int, std::string> names;
  for (const json& event : Of(trace, "M")) {
    if (event["name"] == "thread_name") names[event["tid"]] = event["args"]["name"];
  }
  EXPECT_EQ(names.begin()->second, "service status");
  for (const char* name : {"machine", "main", "service", "worker", "thread", "radio"}) Thread(trace, name);
  for (const json& event : trace["traceEvents"]) {
    if (event["ph"] == "M") continue;
    EXPECT_EQ(names.count(event["tid"]), 1U) << event;
  }
}

TEST_F(TraceFileTest, StatesFunctionsAndWaitsAreSpansOfVirtualMicroseconds) {
  json const trace = Trace("wifi-only");
  EXPECT_THAT(Names(Of(trace, "X", "status")), ::testing::ElementsAre("START_PENDING", "STOPPED"));
  EXPECT_GT(EndOf(Of(trace, "X", "status").front()), 20'000'000);
  EXPECT_LT(EndOf(Of(trace, "X", "status").front()), 20'001'000);
  EXPECT_THAT(Names(Of(trace, "X", "function")), Contains("CModemCtrlDevice::Open"));
  auto const sleeps = Of(trace, "X", "wait");
  EXPECT_EQ(std::count_if(sleeps.begin(), sleeps.end(), [](const json& e) { return e["name"] == "Sleep"; }), 40);
  json const& sleep = *std::find_if(sleeps.begin(), sleeps.end(), [](const json& e) { return e["name"] == "Sleep"; });
  EXPECT_EQ(sleep["args"]["call"], "Sleep(500) = void");
  EXPECT_EQ(sleep["tid"], Thread(trace, "service"));
  EXPECT_LT(sleep["ts"], 1000) << "the first one begins in the first millisecond";
}

TEST_F(TraceFileTest, MessagesAndControlsAreInstants) {
  json const trace = Trace("fresh");
  EXPECT_THAT(Names(Of(trace, "i", "control")), Contains("stop control sent"));
  auto const messages = Of(trace, "i", "message");
  auto const chosen = std::find_if(messages.begin(), messages.end(),
                                   [](const json& e) { return e["name"] == "CImageSelector::DetermineImageByCSC:62"; });
  ASSERT_NE(chosen, messages.end());
  EXPECT_EQ((*chosen)["args"]["text"], "DetermineModemBinary VZW.bin by CSC VZW");
  EXPECT_EQ((*chosen)["args"]["zone"], "ZONE_DETAIL");
  EXPECT_EQ((*chosen)["tid"], Thread(trace, "worker"));
  for (const json& message : messages) EXPECT_NE(message["args"]["zone"], "unknown") << message;
}

TEST_F(TraceFileTest, WhatIsStillOpenWhenTheRunEndsIsMarked) {
  json const trace = Trace("wifi-only", {"--until", "5250"});
  ExpectWellFormed(trace);
  std::vector<json> open;
  for (const json& span : Of(trace, "X", "function")) {
    if (span.value("args", json::object()).contains("end")) open.push_back(span);
  }
  ASSERT_FALSE(open.empty());
  for (const json& span : open) {
    EXPECT_EQ(span["args"]["end"], "not seen");
    EXPECT_NEAR(EndOf(span), 5'250'000, 0.002) << span;
  }
}

TEST_F(TraceFileTest, BothRunsAroundAPowerCutAreShown) {
  json const trace = Trace("fresh", {"--cut-at", "1500"});
  ExpectWellFormed(trace);
  EXPECT_THAT(Names(Of(trace, "X", "status")), ::testing::ElementsAre("START_PENDING", "RUNNING", "START_PENDING",
                                                                      "RUNNING", "STOP_PENDING", "STOPPED"));
  EXPECT_THAT(Names(Of(trace, "i", "control")), Contains(HasSubstr("the power is cut")));
}

TEST_F(TraceFileTest, TheSameRunGivesTheSameBytes) {
  Trace("fresh", {"--report", "r.html"});
  std::string const trace = Read("t.json");
  std::string const report = Read("r.html");
  EXPECT_EQ(Run({"run", "fresh", "--quiet", "--trace", "t.json", "--report", "r.html", "--force"}).exit_code, 0);
  EXPECT_EQ(Read("t.json"), trace);
  EXPECT_EQ(Read("r.html"), report);
  EXPECT_THAT(report, HasSubstr("<!DOCTYPE html>"));
}

TEST_F(TraceFileTest, TheFilesChangeNothingInTheRun) {
  for (const char* sample : {"fresh", "crashed-modem", "oobe-then-desktop"}) {
    Make(sample);
    EXPECT_EQ(Run({"run", sample, "--quiet", "--calls", "--events", "plain.jsonl", "--force"}).exit_code, 0);
    EXPECT_EQ(
        Run({"run", sample, "--quiet", "--calls", "--events", "e.jsonl", "--trace", "t", "--report", "r", "--force"})
            .exit_code,
        0);
    EXPECT_EQ(Read("e.jsonl"), Read("plain.jsonl")) << sample;
    EXPECT_FALSE(LeftSomething());
  }
}

TEST_F(TraceFileTest, AFileThatCannotBeWrittenIsSaidBeforeTheRun) {
  Make("fresh");
  for (const char* option : {"--trace", "--report"}) {
    auto const result = Run({"run", "fresh", "--save", "kept", option, "missing/file"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_THAT(result.err, HasSubstr("missing/file: cannot be written: No such file or directory; choose a folder"));
    EXPECT_FALSE(std::filesystem::exists(In("kept")));
  }
}

}  // namespace
