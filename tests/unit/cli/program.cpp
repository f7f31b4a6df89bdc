#include "tests/unit/cli/program.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <fstream>
#include <sstream>

#include "tests/testing/places.h"

namespace testing_support {

ProgramTest::ProgramTest() { fs::create_directory(In("tmp")); }

ProgramResult ProgramTest::Run(const std::vector<std::string>& arguments) {
  return Run(TabletProgram(), Joined({"vantord-tablet"}, arguments));
}

ProgramResult ProgramTest::Shell(const std::string& script) {
  return Run("/bin/sh", {"sh", "-c", "P='" + TabletProgram() + "'; " + script});
}

std::vector<std::string> ProgramTest::Joined(std::vector<std::string> arguments, const std::vector<std::string>& more) {
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

void ProgramTest::Become(const std::string& program, const std::vector<std::string>& arguments) const {
  std::vector<char*> values;
  for (const std::string& argument : arguments) values.push_back(const_cast<char*>(argument.c_str()));
  values.push_back(nullptr);
  ::setenv("TMPDIR", In("tmp").c_str(), 1);
  if (::chdir(scratch().c_str()) == 0) ::execv(program.c_str(), values.data());
  ::_exit(127);
}

ProgramResult ProgramTest::Run(const std::string& program, const std::vector<std::string>& arguments) {
  pid_t const child = ::fork();
  if (child == 0) {
    int const out = ::open(In("out.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int const err = ::open(In("err.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    Become(program, arguments);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  int const code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return {code, Read("out.txt"), Read("err.txt")};
}

std::optional<ProgramResult> ProgramTest::RunOnTerminal(const std::vector<std::string>& arguments,
                                                        std::string_view interrupt_at) {
  int terminal = -1;
  pid_t const child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child < 0) return std::nullopt;
  if (child == 0) {
    ::setenv("TERM", "xterm", 1);
    Become(TabletProgram(), Joined({"vantord-tablet"}, arguments));
  }
  std::string seen;
  std::array<char, 4096> buffer{};
  for (ssize_t count = 0; (count = ::read(terminal, buffer.data(), buffer.size())) > 0;) {
    seen.append(buffer.data(), static_cast<std::size_t>(count));
    if (!interrupt_at.empty() && seen.find(interrupt_at) != std::string::npos) {
      ::kill(child, SIGINT);
      interrupt_at = {};
    }
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ::close(terminal);
  return ProgramResult{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), seen, ""};
}

nlohmann::json ProgramTest::RunJson(std::vector<std::string> arguments, int expected_code) {
  arguments.emplace_back("--json");
  ProgramResult const result = Run(arguments);
  EXPECT_EQ(result.exit_code, expected_code) << result.out << result.err;
  EXPECT_EQ(result.err, "");
  nlohmann::json document = nlohmann::json::parse(result.out, nullptr, false);
  EXPECT_FALSE(document.is_discarded()) << result.out;
  EXPECT_EQ(document.value("schema", 0), 1);
  EXPECT_EQ(document.value("exit_code", -1), expected_code);
  return document;
}

std::string ProgramTest::Make(const std::string& sample) {
  ProgramResult const result = Run({"init", sample, "--small", "--sample", sample});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  return sample;
}

std::string ProgramTest::Read(const std::string& name) const {
  std::ifstream in(In(name), std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::vector<json> ProgramTest::Events(const std::string& name) const {
  std::vector<json> events;
  std::ifstream in(In(name));
  for (std::string line; std::getline(in, line);) events.push_back(json::parse(line));
  return events;
}

void ProgramTest::Write(const std::string& name, const std::string& text) const {
  std::ofstream(In(name), std::ios::binary) << text;
}

void ProgramTest::Write(const std::string& name, const std::vector<std::uint8_t>& bytes) const {
  Write(name, std::string(bytes.begin(), bytes.end()));
}

void ProgramTest::Set(const std::string& tablet, const std::string& pointer, const json& value) const {
  json document = json::parse(Read(tablet + "/tablet.json"));
  document[json::json_pointer(pointer)] = value;
  Write(tablet + "/tablet.json", document.dump(2));
}

void ProgramTest::PutRegistry(const std::string& tablet, const std::string& text) const {
  Write(tablet + "/registry/90-test.reg", "Windows Registry Editor Version 5.00\n\n" + text);
}

std::map<std::string, std::string> ProgramTest::Contents(const std::string& name) const {
  std::map<std::string, std::string> contents;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(In(name))) {
    std::string const path = fs::relative(entry.path(), scratch()).string();
    contents[path] = entry.is_regular_file() ? Read(path) : "";
  }
  return contents;
}

bool ProgramTest::LeftSomething() const { return !fs::is_empty(In("tmp")); }

}  // namespace testing_support
