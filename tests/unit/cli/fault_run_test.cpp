// run --fault, run --cut-at and fault list, as users meet them.
#include <fmt/format.h>

#include <set>

#include "sim/tablet/kernel/fault_catalog.h"
#include "tests/unit/cli/program.h"

namespace {

using tablet::CatalogedCall;
using tablet::Failure;

/// What the journal shows of a call that failed with `error`.
std::string ResultOf(const CatalogedCall& call, std::uint32_t error) {
  switch (call.failure) {
    case Failure::kFalse:
    case Failure::kZero:
      return "0";
    case Failure::kNull:
      return "0x0";
    case Failure::kInvalidHandle:
    case Failure::kInvalidTrace:
      return "0xffffffffffffffff";
    case Failure::kAllOnes:
    case Failure::kWaitFailed:
      return "4294967295";
    case Failure::kResult:
      return fmt::format("{}", static_cast<std::int32_t>(error));
    case Failure::kStatus:
    case Failure::kConfigRet:
      return fmt::format("{}", error);
    default:
      return "";
  }
}

class FaultRunTest : public ProgramTest {};

TEST_F(FaultRunTest, AFaultIsToldWhenItComesAndCountedAtTheEnd) {
  Make("already-deployed");
  ProgramResult const result = Run({"run", "already-deployed", "--fault", "QueueUserWorkItem"});
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_THAT(result.out, HasSubstr("fault: QueueUserWorkItem number 1 fails with ERROR_NOT_ENOUGH_MEMORY (8)"));
  EXPECT_THAT(result.out, HasSubstr("QueueUserWorkItem:ERROR_NOT_ENOUGH_MEMORY  came 1 time\n"));
  EXPECT_THAT(result.out, HasSubstr("the service stopped with error 8 (ERROR_NOT_ENOUGH_MEMORY)\n"));
  EXPECT_THAT(result.out, HasSubstr("STOPPED, exit code 8 (ERROR_NOT_ENOUGH_MEMORY)\n"));
}

TEST_F(FaultRunTest, TheMessageOfAnEndNamesItsError) {
  Make("already-deployed");
  json const document = RunJson({"run", "already-deployed", "--fault", "QueueUserWorkItem"}, 4);
  EXPECT_EQ(document["message"], "the service stopped with error 8 (ERROR_NOT_ENOUGH_MEMORY)");
}

TEST_F(FaultRunTest, SeveralFaultsAndOneThatNeverComes) {
  Make("already-deployed");
  json const document = RunJson({"run", "already-deployed", "--fault", "OpenSCManagerW@1:5", "--fault", "StartTraceW"});
  ASSERT_EQ(document["faults"].size(), 2u);
  EXPECT_EQ(document["faults"][0]["fault"], "OpenSCManagerW@1:ERROR_ACCESS_DENIED");
  EXPECT_EQ(document["faults"][0]["hits"], 1);
  EXPECT_EQ(document["faults"][1]["hits"], 0);
  ProgramResult const told = Run({"run", "already-deployed", "--quiet", "--fault", "StartTraceW"});
  EXPECT_THAT(told.out, HasSubstr("never came: StartTraceW was called 0 times"));
}

TEST_F(FaultRunTest, AnAllocationOfTheServiceFailsAsACallDoes) {
  Make("crashed-modem");
  json const whole = RunJson({"run", "crashed-modem", "--fault", "allocation@100000"});
  EXPECT_GE(whole["faults"][0]["seen"], 9) << "the service asks for memory";
  EXPECT_EQ(whole["faults"][0]["hits"], 0);
  ProgramResult const first = Run({"run", "crashed-modem", "--fault", "allocation@2"});
  EXPECT_EQ(first.exit_code, 0) << first.err;
  EXPECT_THAT(first.out, HasSubstr("fault: allocation number 2 fails with ERROR_NOT_ENOUGH_MEMORY (8)"));
  EXPECT_THAT(first.out, HasSubstr("VantorService do not start for WIFI device"));
}

TEST_F(FaultRunTest, UnknownWordsAreUsageErrorsWithSuggestions) {
  Make("already-deployed");
  ProgramResult const result = Run({"run", "already-deployed", "--fault", "RaedFile"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_THAT(result.err, HasSubstr("did you mean \"ReadFile\"?"));
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(Run({"run", "already-deployed", "--cut-at", "0"}).exit_code, 2);
}

TEST_F(FaultRunTest, TheListHasEveryCallOfTheCatalogueForPeopleAndPrograms) {
  json const document = RunJson({"fault", "list"});
  ASSERT_EQ(document["calls"].size(), tablet::FaultCatalog().size());
  ProgramResult const table = Run({"fault", "list"});
  EXPECT_EQ(table.exit_code, 0);
  for (const json& call : document["calls"]) {
    EXPECT_THAT(table.out, HasSubstr("\n" + call["call"].get<std::string>() + " "));
  }
  EXPECT_THAT(table.out, HasSubstr("ERROR_SHARING_VIOLATION (32)"));
  EXPECT_EQ(Run({"fault"}).exit_code, 2);
}

/// One error for each call: from every caller, it fails as the catalogue says.
TEST_F(FaultRunTest, EachCallThatASampleMakesFailsAsTheListSays) {
  std::set<std::string_view> seen;
  for (const char* const sample : {"fresh", "crashed-modem"}) {
    Make(sample);
    for (const CatalogedCall& call : tablet::FaultCatalog()) {
      if (ResultOf(call, 0).empty() || seen.contains(call.name)) continue;
      tablet::WinError const error = call.errors.back();
      Run({"run", sample, "--quiet", "--events", "e.jsonl", "--calls", "--force", "--timeout", "0.3", "--fault",
           fmt::format("{}@1:{}", call.name, error)});
      std::vector<json> const events = Events("e.jsonl");
      auto const made = std::ranges::find_if(
          events, [&](const json& event) { return event["kind"] == "call" && event["name"] == call.name; });
      if (made == events.end()) continue;
      seen.insert(call.name);
      EXPECT_EQ((*made)["result"], ResultOf(call, error)) << call.name << ": " << *made;
      bool const sets_none = call.name == "StringFromGUID2" || call.name == "HeapAlloc";
      bool const by_last_error = ResultOf(call, error) == ResultOf(call, error + 1) && !sets_none;
      if (by_last_error) {
        EXPECT_EQ((*made)["last_error"], error) << call.name;
      }
    }
  }
  EXPECT_GT(seen.size(), 50u);
}

TEST_F(FaultRunTest, AfterAPowerCutTheTabletBootsAgainAndBothAreTold) {
  Make("fresh");
  ProgramResult const result = Run({"run", "fresh", "--cut-at", "1500", "--fault", "OpenSCManagerW:5"});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  std::size_t const cut = result.out.find("the power is cut at call 1500, ReadFile");
  std::size_t const again = result.out.find("the tablet boots again, without faults");
  ASSERT_NE(cut, std::string::npos) << result.out;
  ASSERT_NE(again, std::string::npos);
  std::string const first = result.out.substr(0, cut);
  std::string const second = result.out.substr(again);
  EXPECT_THAT(first, HasSubstr("fault: OpenSCManagerW number 1"));
  EXPECT_THAT(second, Not(HasSubstr("fault: ")));
  EXPECT_THAT(second, HasSubstr("deployed: c:\\windows\\system32\\modem_core\\VZW.bin was extracted completely"));
}

TEST_F(FaultRunTest, WhatWasWrittenBeforeThePowerCutIsThereAfterIt) {
  Make("fresh");
  json const whole = RunJson({"run", "fresh"});
  json const cut = RunJson({"run", "fresh", "--cut-at", "1500"});
  // The changes are told of both runs together, and come to the same in the end.
  EXPECT_EQ(cut["changes"]["registry"], whole["changes"]["registry"]);
  EXPECT_EQ(cut["changes"]["files_written"], whole["changes"]["files_written"]);
  EXPECT_EQ(cut["power_cut"]["call"], 1500);
  EXPECT_TRUE(whole["power_cut"].is_null());
}

TEST_F(FaultRunTest, ACutBehindTheLastCallNeverComes) {
  Make("wifi-only");
  ProgramResult const result = Run({"run", "wifi-only", "--quiet", "--cut-at", "1000000"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, HasSubstr("Power       never cut: there were only "));
}

TEST_F(FaultRunTest, ThePowerCanBeCutAtTheVeryFirstCall) {
  Make("already-deployed");
  json const document = RunJson({"run", "already-deployed", "--cut-at", "1"});
  EXPECT_EQ(document["end"], "stopped");
  EXPECT_EQ(document["power_cut"]["time_ms"], 0);
}

}  // namespace
