// The engineers' program as its users meet it: started with arguments, judged by what it writes and how it ends.
#pragma once

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/testing/tablet_fixture.h"

namespace testing_support {

struct ProgramResult {
  int exit_code = -1;  ///< 128 + N for an end by signal N
  std::string out;
  std::string err;
};

class ProgramTest : public ::testing::Test {
 protected:
  ProgramTest();

  /// Runs the program in the scratch folder until it ends.
  ProgramResult Run(const std::vector<std::string>& arguments);
  /// Another program, with all its arguments.
  ProgramResult Run(const std::string& program, const std::vector<std::string>& arguments);
  /// With /bin/sh, where $P is the program: for redirections and pipes.
  ProgramResult Shell(const std::string& script);
  /// Runs the program on a terminal of its own; `out` is what the terminal gets. Nothing: this machine gives no
  /// terminals. Ctrl-C is pressed once the terminal has shown `interrupt_at`.
  std::optional<ProgramResult> RunOnTerminal(const std::vector<std::string>& arguments,
                                             std::string_view interrupt_at = {});
  /// For a process of its own, its files being as they should: it becomes the program in the scratch folder.
  [[noreturn]] void Become(const std::string& program, const std::vector<std::string>& arguments) const;
  /// The program with --json; expects one document and nothing else on standard output.
  nlohmann::json RunJson(std::vector<std::string> arguments, int expected_code = 0);
  /// Some arguments and more of them.
  static std::vector<std::string> Joined(std::vector<std::string> arguments, const std::vector<std::string>& more);
  /// Makes the small variant of a sample; returns its folder's name.
  std::string Make(const std::string& sample);

  std::filesystem::path In(const std::string& name) const { return folder_.path() / name; }
  std::string Read(const std::string& name) const;
  /// The lines of a file of JSON Lines.
  std::vector<nlohmann::json> Events(const std::string& name) const;
  void Write(const std::string& name, const std::string& text) const;
  void Write(const std::string& name, const std::vector<std::uint8_t>& bytes) const;
  /// Changes a tablet's description at a place like "/drive/free_bytes".
  void Set(const std::string& tablet, const std::string& pointer, const nlohmann::json& value) const;
  /// Adds registry text to a tablet, without its first line.
  void PutRegistry(const std::string& tablet, const std::string& text) const;
  /// Each file of a folder with its content, each folder with "": what must not change.
  std::map<std::string, std::string> Contents(const std::string& name) const;
  /// Whether the program left something in the folder for temporary files.
  bool LeftSomething() const;

  const std::filesystem::path& scratch() const { return folder_.path(); }

 private:
  ScratchFolder folder_;
};

}  // namespace testing_support

namespace fs = std::filesystem;
using nlohmann::json;
using testing_support::ProgramResult;
using testing_support::ProgramTest;
