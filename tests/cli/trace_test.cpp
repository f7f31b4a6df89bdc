// run --trace: a file in the Trace Event Format, as its readers take it.
#include <algorithm>
#include <set>

#include "tests/cli/program.h"

namespace {

using nlohmann::json;
using ::testing::Contains;
using ::testing::HasSubstr;
using testing_support::ProgramTest;

class TraceFileTest : public ProgramTest {
 protected:
  json Trace(const std::string& sample, const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{"run", Make(sample), "--quiet", "--trace", "t.json"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    auto const result = Run(arguments);
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

/// What the format asks of each event: the keys of its phase and no others, and times that never go back.
void ExpectWellFormed(const json& trace) {
  std::set<std::string> const common{"name", "cat", "ph", "ts", "pid", "tid"};
  std::map<int, std::vector<std::string>> open;
  double now = 0;
  for (const json& event : trace["traceEvents"]) {
    std::string const phase = event["ph"];
    if (phase == "M") continue;
    std::set<std::string> keys;
    for (const auto& [key, value] : event.items()) {
      if (key != "args" && !(phase == "i" && key == "s")) keys.insert(key);
    }
    EXPECT_EQ(keys, common) << event;
    EXPECT_GE(event["ts"], now) << event;
    now = event["ts"];
    std::vector<std::string>& stack = open[event["tid"]];
    if (phase == "B") {
      stack.push_back(event["name"]);
    } else if (phase == "E") {
      ASSERT_FALSE(stack.empty()) << event;
      EXPECT_EQ(stack.back(), event["name"]);
      stack.pop_back();
    } else {
      EXPECT_EQ(phase, "i") << event;
      EXPECT_EQ(event["s"], "t") << event;
    }
  }
  for (const auto& [thread, stack] : open) EXPECT_TRUE(stack.empty()) << "thread " << thread << ": " << stack.back();
}

TEST_F(TraceFileTest, SpansNestAndEachHasAnEnd) {
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
  EXPECT_THAT(Names(Of(trace, "B", "status")), ::testing::ElementsAre("START_PENDING", "STOPPED"));
  EXPECT_GT(Of(trace, "E", "status").front()["ts"], 20'000'000);
  EXPECT_LT(Of(trace, "E", "status").front()["ts"], 20'001'000);
  EXPECT_THAT(Names(Of(trace, "B", "function")), Contains("CModemCtrlDevice::Open"));
  auto const sleeps = Of(trace, "B", "wait");
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
  auto const ends = Of(trace, "E", "function");
  ASSERT_FALSE(ends.empty());
  EXPECT_EQ(ends.back()["args"]["end"], "not seen");
  EXPECT_EQ(ends.back()["ts"], 5'250'000);
}

TEST_F(TraceFileTest, BothLivesAroundAPowerCutAreShown) {
  json const trace = Trace("fresh", {"--cut-at", "1500"});
  ExpectWellFormed(trace);
  EXPECT_THAT(Names(Of(trace, "B", "status")), ::testing::ElementsAre("START_PENDING", "RUNNING", "START_PENDING",
                                                                      "RUNNING", "STOP_PENDING", "STOPPED"));
  EXPECT_THAT(Names(Of(trace, "i", "control")), Contains(HasSubstr("the power is cut")));
}

TEST_F(TraceFileTest, TheSameRunGivesTheSameBytes) {
  Trace("fresh", {"--report", "r.html"});
  std::string const trace = Read("t.json");
  std::string const report = Read("r.html");
  EXPECT_EQ(Run({"run", "fresh", "--quiet", "--trace", "t.json", "--report", "r.html"}).exit_code, 0);
  EXPECT_EQ(Read("t.json"), trace);
  EXPECT_EQ(Read("r.html"), report);
  EXPECT_THAT(report, HasSubstr("<!DOCTYPE html>"));
}

TEST_F(TraceFileTest, TheFilesChangeNothingInTheRun) {
  for (const char* sample : {"fresh", "crashed-modem", "oobe-then-desktop"}) {
    Make(sample);
    EXPECT_EQ(Run({"run", sample, "--quiet", "--calls", "--events", "plain.jsonl"}).exit_code, 0);
    EXPECT_EQ(
        Run({"run", sample, "--quiet", "--calls", "--events", "e.jsonl", "--trace", "t", "--report", "r"}).exit_code,
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
    EXPECT_THAT(result.err, HasSubstr("missing/file: cannot be written; choose a file in a folder"));
    EXPECT_FALSE(std::filesystem::exists(In("kept")));
  }
}

}  // namespace
