// What only a real Windows can settle, as questions with names. The tests of conformance and of this folder's
// neighbours ask them; vantord-tablet compares the answers with what the stand-in for Windows does.
#pragma once

#include <span>
#include <string_view>

namespace kit {

/// Whose work a question is.
enum class Mode {
  kPlain,    ///< needs no administrator
  kService,  ///< installs small services of its own: --service
  kRun,      ///< installs Vantord itself: --run
};

struct Question {
  const char* name;      ///< as in the tables of sim/winapi/README.md
  const char* text;      ///< in plain words
  const char* stand_in;  ///< what the stand-in gives; null: it does not model this
  Mode mode;
};

/// All questions, by name.
std::span<const Question> Questions();
/// Null for an unknown name.
const Question* FindQuestion(std::string_view name);

}  // namespace kit
