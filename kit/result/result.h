// What the kit found out on one machine, and its JSON document: docs/schemas/kit-result.schema.json.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kit/result/redaction.h"

namespace kit {

/// One test that was tried, or not.
struct Step {
  std::string name;     ///< "Suite.Name"
  std::string outcome;  ///< "passed", "failed", "died", "timed out", "skipped", "not tried"
  std::vector<std::string> texts;
};

struct Answer {
  std::string question;
  std::string seen;  ///< several observations are joined by "; "
  std::string step;  ///< the test that asked
};

/// One line of a list with a name: facts of the machine, events of a run.
using Fact = std::pair<std::string, std::string>;

struct Result {
  std::string version;  ///< of the kit
  std::string date;     ///< "2026-11-22"
  std::string machine;  ///< "windows-10.0.19045-arm64"
  std::vector<std::string> modes;
  std::vector<Fact> facts;
  std::vector<Step> steps;
  std::vector<Answer> answers;
  std::vector<Fact> run;  ///< of --run, in order; empty without it
};

/// Adds an observation to the answer of its question.
void AddAnswer(Result& result, std::string_view question, std::string_view seen, std::string_view step);

/// The document; what was seen, found or said is redacted, the names of machine, tests and questions are not. Texts
/// that are not UTF-8 are escaped byte by byte.
std::string Document(const Result& result, const Redaction& redaction);

/// A text as JSON, quotes included.
std::string Quoted(std::string_view text);

}  // namespace kit
