// The world of the tests of conformance in the hosted build: a simulated tablet, powered on afresh for each test.
#pragma once

#include <map>
#include <string>

#include "kit/result/questions.h"
#include "tests/testing/tablet_fixture.h"

namespace conformance {

inline constexpr bool kOnTablet = true;

/// Under Wine, root on the host may do more.
inline bool HostIsRoot() { return false; }

inline const WCHAR* Place() { return TEXT("C:\\conformance"); }
inline const WCHAR* KeyPlace() { return TEXT("SOFTWARE\\VantordConformance"); }
inline HKEY Hive() { return HKEY_LOCAL_MACHINE; }
/// A drive that does not exist.
inline const WCHAR* NoDrive() { return TEXT("q:"); }
inline const WCHAR* PartnerName() { return TEXT("Pelt"); }

/// The answers of the test that runs, by question.
inline std::map<std::string, std::string>& Answers() {
  static std::map<std::string, std::string> answers;
  return answers;
}

inline bool Judged(const char* question, const std::string& seen, bool equal) {
  std::string& answer = Answers()[question];
  answer += (answer.empty() ? "" : "; ") + seen;
  return equal;
}

class WorldBase : public testing_support::TabletTest {
 protected:
  /// A firmware variable that both worlds have: a sales code.
  WorldBase() {
    machine().firmware().Put({u"SALES_CODE", *tablet::Guid::Parse("9806d87d-b4fb-4d02-97d2-8597337abc83")},
                             {'V', 'Z', 'W'});
  }
  /// The list of questions, with which results of real machines are compared, has the stand-in's answers.
  ~WorldBase() override {
    for (const auto& [name, answer] : Answers()) {
      const kit::Question* const question = kit::FindQuestion(name);
      EXPECT_NE(question, nullptr) << name << " is not listed in kit/result/questions.cpp";
      if (question == nullptr) continue;
      EXPECT_EQ(answer, question->stand_in == nullptr ? "" : question->stand_in) << name;
    }
    Answers().clear();
  }
};

}  // namespace conformance
