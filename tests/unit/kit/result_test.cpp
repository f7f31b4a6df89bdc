#include "kit/result/result.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "kit/result/plan.h"
#include "kit/result/questions.h"
#include "kit/result/redaction.h"

namespace {

using kit::Redaction;

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
