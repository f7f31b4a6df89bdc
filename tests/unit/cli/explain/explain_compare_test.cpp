// explain --tablet, --report and --trace: a start of a trace beside a simulated one, as a page and as a timeline.
#include <algorithm>
#include <fstream>

#include "tests/unit/cli/explain/trace_writer.h"
#include "tests/unit/cli/program.h"

namespace {

using testing_support::TraceText;

class ExplainStart : public testing_support::ProgramTest {
 protected:
  /// Writes the trace of a run of the tablet.
  void Trace(const std::string& tablet, const std::string& file, std::uint32_t process = 0x338) {
    EXPECT_EQ(Run({"run", tablet, "--quiet", "--events", "e.jsonl", "--force"}).exit_code, 0);
    Write(file, Read(file) + TraceText(Events("e.jsonl"), {.process = process}));
  }
  /// The sample with another sales code.
  std::string Korean() {
    Make("fresh");
    std::filesystem::copy(In("fresh"), In("korean"), std::filesystem::copy_options::recursive);
    Write("korean/efi/SALES_CODE-9806d87d-b4fb-4d02-97d2-8597337abc83", std::string("\7\0\0\0KOX", 7));
    return "korean";
  }
};

TEST_F(ExplainStart, ATraceOfTheSameTabletDoesWhatTheSimulationDoes) {
  for (const char* const sample : {"fresh", "already-deployed", "crashed-modem", "oobe-then-desktop", "late-modem"}) {
    SCOPED_TRACE(sample);
    Trace(Make(sample), std::string(sample) + ".txt");
    auto const before = Contents(sample);
    json const document = RunJson({"explain", std::string(sample) + ".txt", "--tablet", sample});
    json const& comparison = document["comparison"];
    EXPECT_EQ(comparison["tablet"], sample);
    EXPECT_GT(comparison["compared"], 20);
    EXPECT_EQ(comparison["partings"], json::array());
    EXPECT_EQ(comparison["answers"], json::array());
    EXPECT_EQ(comparison["texts"], json::array());
    EXPECT_EQ(Contents(sample), before);
  }
}

TEST_F(ExplainStart, AnotherSalesCodeIsNamedAsWhatDiffersBeforeTheyPart) {
  Trace(Korean(), "field.txt");
  json const document = RunJson({"explain", "field.txt", "--tablet", "fresh"}, 5);
  EXPECT_EQ(document["failed_starts"], 0);
  json const& comparison = document["comparison"];
  json const& parting = comparison["partings"][0];
  EXPECT_EQ(parting["part"], "firmware");
  EXPECT_EQ(parting["device"], "SGetRegistrySZ:887  RegQueryValueEx fail, ValueName = KOX");
  EXPECT_EQ(parting["simulation"], "CImageSelector::GetRegMapsCSC:96  Registry CSC(VZW) ModemBinary(VZW.bin)");
  json const& text = comparison["texts"][0];
  EXPECT_EQ(text["message"], "GetUEFISalesCode:235");
  EXPECT_LT(text["line"], parting["line"]);
  json const& answer = comparison["answers"][0];
  EXPECT_EQ(answer["name"], "SALES_CODE");
  EXPECT_EQ(answer["device"], "KOX");
  EXPECT_EQ(answer["simulation"], "VZW");
  auto const result = Run({"explain", "field.txt", "--tablet", "fresh", "--quiet"});
  EXPECT_EQ(result.exit_code, 5);
  EXPECT_THAT(result.out, AllOf(HasSubstr("Parted      firmware at 0.000 s, line "),
                                HasSubstr("  device:      SGetRegistrySZ:887  RegQueryValueEx fail, ValueName = KOX"),
                                HasSubstr("SALES_CODE        device: KOX; simulation: VZW  in firmware")));
}

TEST_F(ExplainStart, ATabletWhoseTraceIsOffCannotBeComparedWith) {
  Trace(Make("fresh"), "field.txt");
  Set("fresh", "/trace/collect", false);
  auto const result = Run({"explain", "field.txt", "--tablet", "fresh"});
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_THAT(result.err, HasSubstr("fresh/tablet.json: its run logs no message; let it collect the trace"));
  EXPECT_EQ(Run({"explain", "field.txt", "--tablet", "nowhere"}).exit_code, 3);
}

TEST_F(ExplainStart, ThePageHasTheSummaryOfTheStartAndNoSimulation) {
  Trace(Make("corrupt-archive"), "field.txt");
  EXPECT_EQ(Run({"explain", "field.txt", "--quiet", "--report", "r.html"}).exit_code, 5);
  std::string const page = Read("r.html");
  std::string const mark = "<script type=\"application/json\" id=\"run\">";
  std::size_t const from = page.find(mark) + mark.size();
  json const data = json::parse(page.substr(from, page.find("</script>", from) - from));
  EXPECT_EQ(data["trace"]["start"], "Start 1: 06/10/2025-14:25:43.968, process 0338");
  EXPECT_EQ(data["summary"]["tablet"], "field.txt");
  EXPECT_EQ(data["summary"]["deployment"], "failed");
  EXPECT_FALSE(data["summary"].contains("changes"));
  EXPECT_FALSE(data.contains("seed"));
  EXPECT_THAT(data["choice"]["why"].get<std::string>(), HasSubstr("maps VZW to VZW.bin"));
  EXPECT_GT(data["steps"].size(), 60U);
  EXPECT_TRUE(std::ranges::any_of(data["steps"], [](const json& step) { return step.value("failure", false); }));
  EXPECT_TRUE(data["meanings"].contains("CImageSelector::UnzipBinary:269"));
}

TEST_F(ExplainStart, TheTimelineHasThreadsAndFunctionsOfTheTrace) {
  Trace(Make("late-modem"), "field.txt");
  EXPECT_EQ(Run({"explain", "field.txt", "--quiet", "--trace", "t.json"}).exit_code, 0);
  json const trace = json::parse(Read("t.json"));
  EXPECT_EQ(trace["otherData"]["clock"], "microseconds since the start's first message");
  std::vector<std::string> names;
  double last = 0;
  for (const json& event : trace["traceEvents"]) {
    if (event["ph"] == "X") names.push_back(event["name"]);
    if (event["ph"] == "M" && event["name"] == "thread_name") names.push_back(event["args"]["name"]);
    if (event["ph"] == "i") last = std::max(last, event["ts"].get<double>());
  }
  EXPECT_THAT(names, Contains("1000"));
  EXPECT_THAT(names, Contains("CImageSelector::UnzipBinary"));
  EXPECT_GT(last, 1'000'000) << "the modem comes late";
}

TEST_F(ExplainStart, AStartIsShownThatFailedOrThatIsNamed) {
  Trace(Make("fresh"), "field.txt", 1);
  Trace(Make("missing-archive"), "field.txt", 2);
  Trace("fresh", "field.txt", 3);
  EXPECT_EQ(RunJson({"explain", "field.txt", "--trace", "t.json"}, 5)["start_shown"], 2);
  EXPECT_EQ(RunJson({"explain", "field.txt", "--trace", "t.json", "--force", "--start", "3"}, 5)["start_shown"], 3);
  EXPECT_EQ(RunJson({"explain", "field.txt"}, 5)["start_shown"], nullptr);
  auto const result = Run({"explain", "field.txt", "--quiet", "--trace", "other.json", "--start", "9"});
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_THAT(result.err, HasSubstr("field.txt: has no start 9; it has 3 starts"));
  EXPECT_FALSE(std::filesystem::exists(In("other.json")));
}

TEST_F(ExplainStart, ATraceIsNeverWrittenTo) {
  Trace(Make("fresh"), "field.txt");
  std::string const before = Read("field.txt");
  EXPECT_EQ(Run({"explain", "field.txt", "--report", "field.txt", "--force"}).exit_code, 3);
  EXPECT_EQ(Run({"explain", "field.txt", "--tablet", "fresh", "--trace", "fresh/t.json"}).exit_code, 3);
  EXPECT_EQ(Run({"explain", "field.txt", "--json", "--report", "-"}).exit_code, 2);
  EXPECT_EQ(Read("field.txt"), before);
  EXPECT_THAT(Run({"explain", "-", "--json"}).err, Not(HasSubstr("terminate")));
}

}  // namespace
