#include <sys/xattr.h>

#include "tests/unit/cli/program.h"

namespace {

class ValidateTest : public ProgramTest {
 protected:
  ValidateTest() { Make("fresh"); }

  /// "place: problem" of each, without the folder.
  std::vector<std::string> Problems() {
    json const document = RunJson({"validate", "fresh"}, 3);
    EXPECT_EQ(document["valid"], false);
    std::vector<std::string> problems;
    for (const json& one : document["problems"]) {
      EXPECT_NE(one["next"], "") << one;
      std::string const place = one["place"];
      problems.push_back(place.substr(place.find('/') + 1) + ": " + one["problem"].get<std::string>());
    }
    EXPECT_NE(Run({"run", "fresh"}).exit_code, 0) << "a run takes what is told to be wrong";
    return problems;
  }
};

TEST_F(ValidateTest, TheSamplesAreWellFormed) {
  for (const char* sample : {"wifi-only", "already-deployed", "crashed-two-sessions", "oobe-then-desktop"}) {
    json const document = RunJson({"validate", Make(sample)});
    EXPECT_EQ(document["valid"], true);
    EXPECT_EQ(document["problems"], json::array());
  }
  EXPECT_EQ(Run({"validate", "fresh"}).out, "fresh is a well-formed tablet\n");
}

TEST_F(ValidateTest, EveryBadKeyOfTheDescriptionIsToldWithItsLine) {
  Write("fresh/tablet.json", R"({
  "schema": 2,
  "modem": { "present": "yes",
    "linkz": [] },
  "radio": { "answers": -1 },
  "timeline": [
    { "at_ms": 1, "event": "stop" },
    { "at_ms": 2, "event": "stopp" },
    { "event": "stop" },
    { "at_ms": "soon", "event": "stop" }
  ],
  "colour": 1
}
)");
  std::vector<std::string> const problems = Problems();
  ASSERT_EQ(problems.size(), 8u) << json(problems).dump(1);
  std::string const all = json(problems).dump();
  for (const char* place :
       {"tablet.json:2: schema", "tablet.json:3: modem.present", "tablet.json:4: modem.linkz",
        "tablet.json:5: radio.answers", "tablet.json:8: timeline[1].event", "tablet.json:9: timeline[2].at_ms",
        "tablet.json:10: timeline[3].at_ms", "tablet.json:12: colour"}) {
    EXPECT_THAT(all, HasSubstr(place));
  }
}

TEST_F(ValidateTest, EveryBadKeyOfAnItemIsTold) {
  Write("fresh/tablet.json", R"({
  "schema": 1,
  "timeline": [
    { "at_ms": "soon", "event": "stopp", "colour": 1 },
    { "at_ms": -1, "event": "stop" }
  ]
}
)");
  EXPECT_THAT(Problems(), testing::UnorderedElementsAre(HasSubstr("tablet.json:4: timeline[0].at_ms"),
                                                        HasSubstr("timeline[0].event"), HasSubstr("timeline[0].colour"),
                                                        HasSubstr("tablet.json:5: timeline[1].at_ms")));
}

TEST_F(ValidateTest, WhatCannotBeReadIsOneProblemAmongTheOthers) {
  Write("fresh/registry/50.reg", "Windows Registry Editor Version 5.00\n[HKEY_LOCAL_MACHINE\\A]\n\"b\"=wrong\n");
  fs::create_directory(In("fresh/registry/60.reg"));
  fs::remove(In("fresh/attributes.txt"));
  fs::create_directory(In("fresh/attributes.txt"));
  fs::create_directory(In("fresh/efi/SALES_CODE"));
  fs::remove_all(In("fresh/C"));
  Write("fresh/tablet.json", "{ \"schema\": 2 }");
  EXPECT_THAT(Problems(), ElementsAre(HasSubstr("tablet.json:1: schema"), HasSubstr("registry/50.reg:3"),
                                      HasSubstr("registry/60.reg: cannot be read"), HasSubstr("has no folder C"),
                                      HasSubstr("attributes.txt: cannot be read"), HasSubstr("efi/SALES_CODE")));
}

TEST_F(ValidateTest, TextThatIsNoJsonIsToldOnce) {
  Write("fresh/tablet.json", "{\n  \"schema\": 1,\n  oops\n}\n");
  EXPECT_THAT(Problems(), ElementsAre(HasSubstr("tablet.json:3")));
}

TEST_F(ValidateTest, EveryBadLineOfTheRegistryIsTold) {
  Write("fresh/registry/50.reg",
        "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\A]\n\"a\"=dword:1\n\"b\"=wrong\n"
        "\"c\"=hex:01,\\\n  zz\n\"d\"=dword:xyz\n[HKEY_CURRENT_USER\\B]\n\"e\"=\"fine\"\n");
  Write("fresh/registry/60.reg", "no header\n[HKEY_LOCAL_MACHINE\\A]\n\"a\"=nothing\n");
  std::vector<std::string> const problems = Problems();
  ASSERT_EQ(problems.size(), 6u) << json(problems).dump(1);
  EXPECT_THAT(problems[0], HasSubstr("registry/50.reg:5"));
  EXPECT_THAT(problems[1], HasSubstr("registry/50.reg:7"));
  EXPECT_THAT(problems[2], HasSubstr("registry/50.reg:8"));
  EXPECT_THAT(problems[3], HasSubstr("registry/50.reg:9"));
  EXPECT_THAT(problems[4], HasSubstr("registry/60.reg:1"));
  EXPECT_THAT(problems[5], HasSubstr("registry/60.reg:3"));
}

TEST_F(ValidateTest, EveryBadFileOfTheDriveIsTold) {
  Write("fresh/C/Windows/a|b", "");
  Write("fresh/C/Windows/same", "");
  Write("fresh/C/Windows/SAME", "");
  Write("fresh/C/odd", "");
  ASSERT_EQ(::setxattr(In("fresh/C/odd").c_str(), "user.DOSATTRIB", "no", 2, 0), 0);
  Write("fresh/attributes.txt", "0x20\t-\tC:\\odd\nnonsense\n0x20\t-\tD:\\x\n");
  EXPECT_THAT(Problems(), ElementsAre(HasSubstr("C/Windows/a|b: is not a name that Windows allows"),
                                      HasSubstr("C/Windows/same: differs from \"SAME\" in case only"),
                                      HasSubstr("C/odd: user.DOSATTRIB is \"no\""), HasSubstr("attributes.txt:2"),
                                      HasSubstr("attributes.txt:3")));
}

TEST_F(ValidateTest, EveryBadVariableIsTold) {
  Write("fresh/efi/SALES_CODE", "xxxxVZW");
  Write("fresh/efi/SALES_CODE-9806D87D-B4FB-4D02-97D2-8597337ABC83", "xxxxVZW");
  Write("fresh/efi/Short-9806d87d-b4fb-4d02-97d2-8597337abc84", "x");
  EXPECT_THAT(Problems(), ElementsAre(HasSubstr("efi/SALES_CODE: is not named as"),
                                      HasSubstr("SALES_CODE-9806d87d-b4fb-4d02-97d2-8597337abc83: names a variable"),
                                      HasSubstr("efi/Short-9806d87d-b4fb-4d02-97d2-8597337abc84: has 1 bytes")));
}

TEST_F(ValidateTest, ProblemsOfAllPartsAreToldTogether) {
  Write("fresh/efi/SALES_CODE", "xxxxVZW");
  Write("fresh/registry/50.reg", "Windows Registry Editor Version 5.00\n[HKEY_LOCAL_MACHINE\\A]\n\"b\"=wrong\n");
  Write("fresh/C/a|b", "");
  auto const before = Contents("fresh");
  ProgramResult const result = Run({"validate", "fresh"});
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_THAT(result.out, HasSubstr("fresh/registry/50.reg:3"));
  EXPECT_THAT(result.out, HasSubstr("3 problems"));
  EXPECT_EQ(Contents("fresh"), before);
  EXPECT_FALSE(LeftSomething());
}

TEST_F(ValidateTest, WhatIsNoTabletIsBadInput) {
  EXPECT_EQ(RunJson({"validate", "nowhere"}, 3)["error"]["problem"], "there is no such folder");
}

}  // namespace
