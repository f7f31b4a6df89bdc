// Which tests a mode tries, and what each is in plain words.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kit/result/questions.h"

namespace kit {

/// The mode that a test belongs to.
Mode ModeOf(std::string_view test);
/// Whether it tests the kit itself, and is not one of a mode.
bool IsOfItself(std::string_view test);
/// Why a test is never tried outside of the project's own machines; empty if it is.
std::string_view WhyNot(std::string_view test);
/// The question that a test answers by ending its process, which is one of its own; empty for other tests.
std::string_view QuestionOfEnd(std::string_view test);

/// "APathMayHave259Characters" as "a path may have 259 characters".
std::string PlainWords(std::string_view name);
/// "Files.APathMayHave259Characters" as "files: a path may have 259 characters".
std::string PlainTest(std::string_view test);

}  // namespace kit
