#include "tests/unit/tablet/description_fixture.h"

namespace {

class DescriptionCrashTest : public description_tests::DescriptionText {
 protected:
  tablet::CrashDescription Read(const std::string& keys) { return DescriptionText::Read(Whole(keys)).crash; }
  std::string Refusal(const std::string& keys) { return DescriptionText::Refusal(Whole(keys)); }

 private:
  static std::string Whole(const std::string& keys) { return "{\n\"schema\": 1,\n" + keys + "\n}\n"; }
};

TEST_F(DescriptionCrashTest, ReadsEveryKey) {
  tablet::CrashDescription const crash = Read(R"(
    "sessions": [ { "id": 2, "user": "kim" }, { "id": 1 } ],
    "processes": [ { "name": "winlogon.exe", "session": 7, "account": "kim", "open_error": 1, "modules_error": 2,
                     "session_error": 3, "token_error": 4, "duplicate_error": 5 }, { "name": "tool.exe" } ],
    "toast": { "failures": 3, "error": 1455 },
    "amss": { "present": false, "open_error": 32, "request_error": 170 },
    "setup": [ { "at_ms": 12000, "image_state": "IMAGE_STATE_COMPLETE" } ])");
  ASSERT_EQ(crash.sessions.size(), 2u);
  EXPECT_EQ(crash.sessions[0].id, 2u);
  EXPECT_EQ(crash.sessions[0].user, u"kim");
  EXPECT_EQ(crash.sessions[1].user, u"");
  ASSERT_EQ(crash.processes.size(), 2u);
  EXPECT_EQ(crash.processes[0].name, u"winlogon.exe");
  EXPECT_EQ(crash.processes[0].session, 7u);
  EXPECT_EQ(crash.processes[0].account, u"kim");
  EXPECT_EQ(crash.processes[0].open_error, 1u);
  EXPECT_EQ(crash.processes[0].modules_error, 2u);
  EXPECT_EQ(crash.processes[0].session_error, 3u);
  EXPECT_EQ(crash.processes[0].token_error, 4u);
  EXPECT_EQ(crash.processes[0].duplicate_error, 5u);
  EXPECT_EQ(crash.processes[1].session, 0u);
  EXPECT_EQ(crash.processes[1].account, u"SYSTEM");
  EXPECT_EQ(crash.toast.failures, 3u);
  EXPECT_EQ(crash.toast.error, 1455u);
  EXPECT_FALSE(crash.amss.present);
  EXPECT_EQ(crash.amss.open_error, 32u);
  EXPECT_EQ(crash.amss.request_error, 170u);
  ASSERT_EQ(crash.setup.size(), 1u);
  EXPECT_EQ(crash.setup[0].at, tablet::Millis{12'000});
  EXPECT_EQ(crash.setup[0].state, u"IMAGE_STATE_COMPLETE");
}

TEST_F(DescriptionCrashTest, WithoutKeysOneSessionShowsTheLogonScreen) {
  tablet::CrashDescription const crash = Read("\"name\": \"plain\"");
  ASSERT_EQ(crash.sessions.size(), 1u);
  EXPECT_EQ(crash.sessions[0].id, 1u);
  EXPECT_EQ(crash.sessions[0].user, u"");
  EXPECT_EQ(crash.toast.failures, 0u);
  EXPECT_TRUE(crash.amss.present);
  EXPECT_TRUE(crash.setup.empty());
  EXPECT_TRUE(Read("\"sessions\": []").sessions.empty());
}

TEST_F(DescriptionCrashTest, ATabletWithoutAModemHasNoDriverForIt) {
  EXPECT_FALSE(Read("\"modem\": { \"present\": false }").amss.present);
  EXPECT_TRUE(Read("\"modem\": { \"present\": false }, \"amss\": { \"present\": true }").amss.present);
}

TEST_F(DescriptionCrashTest, WhatIsWrongIsNamedWithItsPlace) {
  EXPECT_THAT(Refusal("\"sessions\": [{ \"user\": \"kim\" }]"), HasSubstr("sessions[0].id: the key is missing"));
  EXPECT_THAT(Refusal("\"sessions\": [{ \"id\": 1 }, { \"id\": 1 }]"), HasSubstr("there is a session 1 already"));
  EXPECT_THAT(Refusal("\"sessions\": [{ \"id\": 0 }]"), HasSubstr("tablet.json:3: sessions[0].id"));
  EXPECT_THAT(Refusal("\"processes\": [{ \"session\": 1 }]"), HasSubstr("processes[0].name: the key is missing"));
  EXPECT_THAT(Refusal("\"toast\": { \"error\": 0 }"), HasSubstr("tablet.json:3: toast.error"));
  EXPECT_THAT(Refusal("\"amss\": { \"presnet\": true }"), HasSubstr("amss.presnet: unknown key"));
  EXPECT_THAT(Refusal("\"setup\": [{ \"at_ms\": -1, \"image_state\": \"X\" }]"), HasSubstr("setup[0].at_ms"));
}

}  // namespace
