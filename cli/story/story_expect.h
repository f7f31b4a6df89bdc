// Expectations: what a story wants of a run in place of a whole transcript.
#pragma once

#include <string>

#include "cli/boot/findings.h"
#include "cli/boot/tablet_run.h"
#include "cli/story/story_file.h"

namespace cli {

/// What an expectation finds in place of what it wants; empty if it holds. `seen` is what was seen of the run since
/// power-on, `told_at` is when the service was last told to end (or started). Throws InputError with the verb's place
/// for what is not an expectation.
///
///   expect firmware NAME deployed | failed             expect firmware not needed
///   expect [no] message "TEXT"                         expect [no] message in zone error
///   expect stopped within 10 s                         expect status RUNNING
///   expect [no] registry [KEY] "NAME"                  expect registry [KEY] "NAME"=DATA, as in a .reg file
///   expect [no] file PATH                              expect file PATH from ENTRY
std::string Unmet(const StoryVerb& verb, TabletRun& run, const Findings& seen, tablet::Millis told_at);

}  // namespace cli
