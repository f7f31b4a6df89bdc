// The catalogue of faults against the headers that declare the calls.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "sim/tablet/kernel/fault_catalog.h"
#include "tests/testing/places.h"

namespace {

namespace fs = std::filesystem;

std::string WithoutComments(const fs::path& file) {
  std::ifstream in(file);
  std::string text;
  for (std::string line; std::getline(in, line);) text += line.substr(0, line.find("//")) + '\n';
  return text;
}

bool IsCall(const tablet::CatalogedCall& entry) {
  return entry.failure != tablet::Failure::kAnswerOfFirmware && entry.failure != tablet::Failure::kNoMemory;
}

/// What a header declares with C linkage: the calls of the Windows API. The wide-character functions of the C runtime
/// are C++ overloads; they can neither fail nor be made to.
std::set<std::string> DeclaredIn(const fs::path& file) {
  std::string const text = WithoutComments(file);
  std::set<std::string> names;
  std::size_t const begin = text.find("extern \"C\" {");
  if (begin == std::string::npos) return names;
  std::size_t const end = text.find("\n}", begin);
  std::string const block = text.substr(begin + 12, end - begin - 12);
  static const std::regex kName("([A-Za-z_][A-Za-z0-9_]*)\\(");
  for (std::sregex_iterator at(block.begin(), block.end(), kName); at != std::sregex_iterator(); ++at) {
    names.insert((*at)[1].str());
  }
  return names;
}

std::set<std::string> DeclaredCalls() {
  fs::path const source = testing_support::SourceFolder();
  std::set<std::string> names = DeclaredIn(source / "vantord" / "radio" / "kavrilproxy.h");
  for (const fs::directory_entry& header : fs::directory_iterator(source / "sim" / "winapi" / "include")) {
    names.merge(DeclaredIn(header.path()));
  }
  return names;
}

TEST(FaultCatalogHeaders, EveryDeclaredCallIsInTheCatalogueAndNothingElse) {
  std::set<std::string> cataloged;
  for (const tablet::CatalogedCall& call : tablet::FaultCatalog()) {
    if (IsCall(call)) cataloged.insert(std::string(call.name));
  }
  std::set<std::string> const declared = DeclaredCalls();
  EXPECT_GT(declared.size(), 80u);
  EXPECT_THAT(cataloged, testing::ContainerEq(declared));
}

/// Calls that the stand-in's sources make, with whether they ask whether they must fail.
TEST(FaultCatalogHeaders, ExactlyTheCallsThatCanFailAskForFaults) {
  static const std::regex kCall("Call call\\(\"([A-Za-z0-9_]+)\", describe(?:, [^;]*)?\\);");
  std::set<std::string> asking;
  for (const fs::directory_entry& source :
       fs::directory_iterator(fs::path(testing_support::SourceFolder()) / "sim/winapi")) {
    if (source.path().extension() != ".cpp") continue;
    std::string const text = WithoutComments(source.path());
    for (std::sregex_iterator at(text.begin(), text.end(), kCall); at != std::sregex_iterator(); ++at) {
      std::size_t const from = static_cast<std::size_t>(at->position());
      std::string const body = text.substr(from, text.find("\n}", from) - from);
      if (body.find("call.fault() != 0") != std::string::npos) asking.insert((*at)[1].str());
    }
  }
  std::set<std::string> failing;
  for (const tablet::CatalogedCall& call : tablet::FaultCatalog()) {
    if (IsCall(call) && call.failure != tablet::Failure::kNever) failing.insert(std::string(call.name));
  }
  EXPECT_THAT(asking, testing::ContainerEq(failing));
}

}  // namespace
