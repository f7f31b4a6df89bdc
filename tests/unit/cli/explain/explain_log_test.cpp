// explain of an event trace log: the logs are written here, after the layout as it is described.
#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "sim/tablet/base/input_error.h"
#include "tests/unit/cli/explain/trace_writer.h"
#include "tests/unit/cli/program.h"

namespace {

using testing_support::LogBytes;
using testing_support::LogStyle;
using testing_support::ReadBack;
using testing_support::ReadTrace;
using testing_support::TraceText;

class ExplainLog : public testing_support::ProgramTest {
 protected:
  void Record(const std::string& sample) {
    EXPECT_EQ(Run({"run", Make(sample), "--quiet", "--events", "e.jsonl", "--force"}).exit_code, 0);
    events_ = Events("e.jsonl");
  }
  ReadTrace ReadLog(const std::string& bytes) {
    Write("t.etl", bytes);
    return ReadBack(In("t.etl"));
  }
  std::string Problem(const std::string& bytes) {
    try {
      ReadLog(bytes);
    } catch (const tablet::InputError& error) {
      return error.what();
    }
    return "nothing";
  }

  std::vector<json> events_;
};

TEST_F(ExplainLog, ALogIsReadAsItsTextIs) {
  for (const char* const sample : {"fresh", "corrupt-archive", "late-modem", "crashed-modem"}) {
    SCOPED_TRACE(sample);
    Record(sample);
    ReadTrace const log = ReadLog(LogBytes(events_, {}));
    Write("t.txt", TraceText(events_, {}));
    ReadTrace const text = ReadBack(In("t.txt"));
    EXPECT_EQ(log.facts.kind, "trace log");
    EXPECT_EQ(log.facts.messages, text.facts.messages);
    EXPECT_GT(log.facts.others, 5U);
    EXPECT_EQ(log.gaps.lost(), 0U);
    ASSERT_EQ(log.starts.size(), 1U);
    for (const auto& [key, value] : text.starts[0].items()) {
      if (key == "first_line" || key == "last_line") continue;
      EXPECT_EQ(log.starts[0][key], value) << key;
    }
  }
}

TEST_F(ExplainLog, TheProgramTellsOfTheLog) {
  Record("fresh");
  Write("field.etl", LogBytes(events_, {.lost = 3}));
  auto const result = Run({"explain", "field.etl", "--quiet", "--tablet", "fresh"});
  EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
  EXPECT_THAT(result.out, AllOf(HasSubstr("Trace       trace log, "), HasSubstr("times are UTC"),
                                HasSubstr("3 events were lost while the session ran"),
                                HasSubstr("nowhere: the device did what the simulation does")));
  EXPECT_EQ(RunJson({"explain", "field.etl"})["lost_events"], 3);
}

TEST_F(ExplainLog, LostMessagesAreSeenByTheirNumbers) {
  Record("fresh");
  std::string const whole = LogBytes(events_, {});
  std::size_t const messages = ReadLog(whole).facts.messages;
  // Of the second processor, whose buffers come last.
  ReadTrace const cut = ReadLog(whole.substr(0, whole.size() - 4096));
  EXPECT_GE(cut.gaps.lost(), messages - cut.facts.messages) << "those of others count too";
  EXPECT_THAT(cut.notes, Contains(HasSubstr("missing: messages may be lost")));
}

TEST_F(ExplainLog, WhatIsNotCertainIsRefusedByName) {
  Record("wifi-only");
  EXPECT_THAT(Problem(LogBytes(events_, {.clock = 1})),
              AllOf(HasSubstr("t.etl: its clock is the performance counter, whose times are not read; give the text of "
                              "\"tracefmt trace.etl -p FOLDER\""),
                    HasSubstr("logman -ct system")));
  EXPECT_THAT(Problem(LogBytes(events_, {.clock = 3})), HasSubstr("its clock is the processor's cycles"));
  EXPECT_THAT(Problem(LogBytes(events_, {.clock = 9})), HasSubstr("its clock is number 9"));
  EXPECT_THAT(Problem(LogBytes(events_, {.header_type = 1})), HasSubstr("was written by 32-bit Windows"));
  EXPECT_THAT(Problem(LogBytes(events_, {.buffer_flags = 0x40})),
              HasSubstr("offset 0x1034: the buffer there is compressed"));
  EXPECT_THAT(Problem(LogBytes(events_, {.message_number = 11})),
              HasSubstr("has number 11 and flags 0x2b, not 10 and 0x2b"));
  EXPECT_THAT(Problem(LogBytes(events_, {.message_flags = 0x3B})), HasSubstr("has number 10 and flags 0x3b"));
  EXPECT_THAT(Problem("no log"), HasSubstr("t.etl: is no trace log of a known layout; give the text"));
  EXPECT_THAT(Problem(LogBytes(events_, {}).substr(0, 0x100)), HasSubstr("the log ends within its header"));
}

TEST_F(ExplainLog, ALogThatIsCutOffOrDamagedIsReadOrRefusedWithItsPlace) {
  Record("wifi-only");
  events_.resize(24);  // a log of some kilobytes: it is read anew for each byte
  std::string const whole = LogBytes(events_, {.buffer_size = 2048});
  std::size_t const all = ReadLog(whole).facts.messages;
  ReadTrace const cut = ReadLog(whole.substr(0, whole.size() - 100));
  EXPECT_LT(cut.facts.messages, all);
  EXPECT_THAT(cut.notes, Contains("the log ends within a buffer: it may be cut off"));
  std::map<bool, int> outcomes;
  for (std::size_t at = 0; at < whole.size(); at += at < 0x400 ? 1 : 13) {
    std::string bytes = whole;
    bytes[at] = static_cast<char>(~bytes[at]);
    std::string const problem = Problem(bytes);
    EXPECT_TRUE(problem == "nothing" || problem.find("; ") != std::string::npos) << problem;
    ++outcomes[problem == "nothing"];
  }
  EXPECT_GT(outcomes[false], 20) << "damage is refused where it can be seen";
  EXPECT_GT(outcomes[true], 20) << "and cannot be where it is a letter of a text";
}

}  // namespace
