// The process that runs tests. Its parent reads its notes, one line each, fields separated by tabs:
//
//   begin NAME              a test begins
//   saw QUESTION TEXT       it observed an answer
//   text TEXT               a failure, or the reason of a skip
//   end OUTCOME             "passed", "failed", "skipped" or "timed out"
#pragma once

#include <string>
#include <vector>

namespace kit {

inline constexpr const wchar_t* kNotesFile = L"notes.txt";    ///< in Folder()
inline constexpr const wchar_t* kFilterFile = L"filter.txt";  ///< in Folder(): the names of the tests to run

/// A test that does not end within this time is ended with its process.
inline constexpr unsigned kStepMilliseconds = 30000;
inline constexpr unsigned kSelfStepMilliseconds = 1500;       ///< in --self-test
inline constexpr unsigned kServiceStepMilliseconds = 150000;  ///< waits of 30 s of the service manager, several times

/// Names of all tests, as GoogleTest has them, in order.
std::vector<std::string> TestNames();

/// Runs the tests that the filter file names. Returns the process's exit code.
int RunChild();

/// Notes an observation of the test that runs. Leaves the last error as it is.
void Saw(const char* question, const std::string& seen);

}  // namespace kit
