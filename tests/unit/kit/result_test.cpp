#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "kit/result/plan.h"
#include "kit/result/questions.h"
#include "kit/result/redaction.h"
#include "kit/result/result.h"
#include "kit/result/zip_file.h"

namespace {

using kit::Redaction;

struct ReaderCloser {
  void operator()(archive* reader) const { archive_read_free(reader); }
};

/// What another reader finds in a zip file: {name: data}.
std::map<std::string, std::string> Unpacked(const std::string& zip) {
  std::map<std::string, std::string> files;
  std::unique_ptr<archive, ReaderCloser> const reader(archive_read_new());
  archive_read_support_format_zip_seekable(reader.get());
  EXPECT_EQ(archive_read_open_memory(reader.get(), zip.data(), zip.size()), ARCHIVE_OK);
  archive_entry* entry = nullptr;
  while (archive_read_next_header(reader.get(), &entry) == ARCHIVE_OK) {
    std::string data(static_cast<std::size_t>(archive_entry_size(entry)), '\0');
    EXPECT_EQ(archive_read_data(reader.get(), data.data(), data.size()), static_cast<la_ssize_t>(data.size()));
    files[archive_entry_pathname(entry)] = data;
  }
  EXPECT_EQ(archive_errno(reader.get()), 0) << archive_error_string(reader.get());
  return files;
}

TEST(KitZip, AnotherReaderFindsWhatWasAdded) {
  std::map<std::string, std::string> const files = {
      {"result.json", std::string(100000, 'x') + "end"}, {"a/empty", ""}, {"a/bytes", std::string("\0\xFF\x80", 3)}};
  kit::ZipFile zip;
  for (const auto& [name, data] : files) zip.Add(name, data);
  std::string const bytes = zip.Finish();
  EXPECT_EQ(Unpacked(bytes), files);
  EXPECT_LT(bytes.size(), 1000u) << "not compressed";
}

TEST(KitRedaction, NamesAreReplacedAsWholeWordsInEitherCase) {
  Redaction redaction;
  redaction.Hide("kim", "<user>");
  EXPECT_EQ(redaction.Redacted("C:\\Users\\Kim\\a, KIM-PC, kimono, Joakim, kim"),
            "C:\\Users\\<user>\\a, <user>-PC, kimono, Joakim, <user>");
}

TEST(KitRedaction, AFolderIsReplacedBeforeTheNameInIt) {
  Redaction redaction;
  redaction.Hide("kim", "<user>");
  redaction.Hide("C:\\Users\\kim\\Temp", "<temp>");
  EXPECT_EQ(redaction.Redacted("c:\\users\\kim\\temp\\file"), "<temp>\\file");
}

TEST(KitRedaction, AccountsAreReplacedWhoeverTheyBelongTo) {
  EXPECT_EQ(Redaction().Redacted("of S-1-5-21-1004336348-1177238915-682003330-512 and S-1-5-18"),
            "of <account> and S-1-5-18");
  EXPECT_EQ(Redaction().Redacted("s-1-5-21-1"), "<account>");
}

TEST(KitRedaction, LettersOutsideOfAsciiContinueAWord) {
  Redaction redaction;
  redaction.Hide("mül", "<user>");
  EXPECT_EQ(redaction.Redacted("mül müller"), "<user> müller");
}

kit::Result SomeResult() {
  kit::Result result;
  result.version = "1.0.0";
  result.date = "2026-11-22";
  result.machine = "windows-10.0.19045-arm64";
  result.modes = {"plain"};
  result.facts = {{"build", "19045"}, {"edition", "of kim"}};
  result.steps = {{"Files.A", "failed", {"in C:\\Users\\kim\\\"x\"\nand\ttab \xFF \xC3\xA9"}}};
  kit::AddAnswer(result, "long-paths", "206", "Files.A");
  kit::AddAnswer(result, "long-paths", "3", "Files.A");
  result.run = {{"status", "kim"}};
  return result;
}

TEST(KitDocument, HoldsWhatWasSeen) {
  auto const document = nlohmann::json::parse(kit::Document(SomeResult(), Redaction()));
  EXPECT_EQ(document["schema"], 1);
  EXPECT_EQ(document["machine"], "windows-10.0.19045-arm64");
  ASSERT_EQ(document["answers"].size(), 1u);
  EXPECT_EQ(document["answers"][0]["seen"], "206; 3");
  EXPECT_EQ(document["steps"][0]["texts"][0], "in C:\\Users\\kim\\\"x\"\nand\ttab \u00FF \u00E9");
}

TEST(KitDocument, HoldsNoNameThatIsHidden) {
  Redaction redaction;
  redaction.Hide("kim", "<user>");
  EXPECT_NE(kit::Document(SomeResult(), Redaction()).find("kim"), std::string::npos);
  EXPECT_EQ(kit::Document(SomeResult(), redaction).find("kim"), std::string::npos);
}

TEST(KitQuestions, AreListedOnceInOrderOfTheirNames) {
  std::string last;
  for (const kit::Question& question : kit::Questions()) {
    EXPECT_LT(last, question.name);
    EXPECT_EQ(kit::FindQuestion(question.name), &question);
    EXPECT_TRUE(std::string(question.text).ends_with('.') || std::string(question.text).ends_with('?'))
        << question.name;
    last = question.name;
  }
  EXPECT_EQ(kit::FindQuestion("nothing"), nullptr);
}

TEST(KitPlan, NamesBecomePlainWords) {
  EXPECT_EQ(kit::PlainTest("Files.APathMayHave259CharactersAndAFolder247"),
            "files: a path may have 259 characters and a folder 247");
}

TEST(KitPlan, WhatInstallsSomethingIsNotOfThePlainMode) {
  EXPECT_EQ(kit::ModeOf("Services.HandlesAreClosedOnce"), kit::Mode::kService);
  EXPECT_EQ(kit::ModeOf("ServiceTraceQuestions.AProviderThatUnregisters"), kit::Mode::kService);
  EXPECT_EQ(kit::ModeOf("Files.ReadingStopsAtTheEnd"), kit::Mode::kPlain);
  EXPECT_FALSE(kit::WhyNot("Devices.OnlyDevicesTakeRequests").empty());
  EXPECT_TRUE(kit::WhyNot("Files.ReadingStopsAtTheEnd").empty());
}

}  // namespace
