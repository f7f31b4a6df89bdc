// Where the text of a trace message ends.
#include "tests/testing/tablet_fixture.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/common/trace_provider.h"

namespace {

class MessageTextTest : public testing_support::TabletTest {
 protected:
  MessageTextTest() { OpenLog(); }

  /// The arguments of the TraceMessage calls until now.
  std::vector<std::string> Sent() {
    std::vector<std::string> sent;
    for (const tablet::CallEvent& call : machine().journal().Calls("TraceMessage")) sent.push_back(call.args);
    return sent;
  }
};

TEST_F(MessageTextTest, ANullCharacterInsideAMessageEndsIt) {
  DebugPrint(TEXT("code = %c%c%c!!!"), 'A', 0, 0);
  ASSERT_EQ(Sent().size(), 1u);
  EXPECT_THAT(Sent()[0], HasSubstr(", 18 bytes")) << "\"code = A\" and its terminator";
  EXPECT_THAT(messages(), testing::ElementsAre("code = A"));
}

TEST_F(MessageTextTest, AMessageThatBeginsWithANullCharacterIsEmptyAndNotSent) {
  DebugPrint(TEXT("%c and more"), 0);
  EXPECT_THAT(Sent(), testing::IsEmpty());
}

TEST_F(MessageTextTest, AFormatterThatFailsSendsNoMoreThanTheTextItLeft) {
  std::u16string const much(5000, u'x');
  DebugPrint(TEXT("short%c%s"), 0, reinterpret_cast<const WCHAR*>(much.c_str()));
  ASSERT_EQ(Sent().size(), 1u);
  EXPECT_THAT(Sent()[0], HasSubstr(", 12 bytes"));
}

}  // namespace
