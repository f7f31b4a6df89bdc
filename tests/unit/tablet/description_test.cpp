#include "sim/tablet/base/json_source.h"
#include "sim/tablet/base/nearest.h"
#include "tests/testing/tablet_fixture.h"
#include "tests/unit/tablet/description_fixture.h"

namespace {

using tablet::Description;
using tablet::TimelineEvent;

class DescriptionTest : public description_tests::DescriptionText {};

TEST_F(DescriptionTest, ReadsEveryKey) {
  Description const description = Read(R"({
    "schema": 1,
    "name": "a tablet",
    "assumed": ["the modem: present"],
    "clock": { "start": "2026-03-02T08:00:01Z", "utc_offset_minutes": -330 },
    "modem": { "present": true, "links": ["\\\\?\\first", "\\\\?\\second"] },
    "firmware_driver": { "present": false, "link": "\\\\?\\driver" },
    "registry": { "denied": ["HKEY_LOCAL_MACHINE\\SYSTEM\\Closed"], "read_only": ["SOFTWARE\\Fixed"] },
    "trace": { "collect": false },
    "timeline": [ { "at_ms": 5000, "event": "preshutdown" }, { "at_ms": 10, "event": "stop" } ]
  })");
  EXPECT_EQ(description.name, "a tablet");
  EXPECT_EQ(description.power_on, tablet::kUnixEpoch + 1'772'438'401ULL * tablet::kTicksPerSecond);
  EXPECT_EQ(description.utc_offset_minutes, -330);
  EXPECT_TRUE(description.modem_present);
  EXPECT_THAT(description.modem_links, ElementsAre(u"\\\\?\\first", u"\\\\?\\second"));
  EXPECT_FALSE(description.firmware_driver_present);
  EXPECT_EQ(description.firmware_driver_link, u"\\\\?\\driver");
  EXPECT_THAT(description.denied_keys, ElementsAre(u"SYSTEM\\Closed"));
  EXPECT_THAT(description.read_only_keys, ElementsAre(u"SOFTWARE\\Fixed"));
  EXPECT_FALSE(description.trace_collected);
  ASSERT_EQ(description.timeline.size(), 2U);
  EXPECT_EQ(description.timeline[0].at, Millis(10));
  EXPECT_EQ(description.timeline[0].kind, TimelineEvent::Kind::kControl);
  EXPECT_EQ(description.timeline[1].at, Millis(5000));
  EXPECT_EQ(description.timeline[0].number, tablet::kControlStop);
  EXPECT_EQ(description.timeline[1].number, tablet::kControlPreshutdown);
}

TEST_F(DescriptionTest, ReadsWhatSurroundsTheService) {
  Description const description = Read(R"({
    "schema": 1,
    "partner": {
      "present": false, "state": "stop_pending", "start_error": 1058, "control_error": 1052,
      "starting": { "duration_ms": 2000, "check_point_every_ms": 500, "wait_hint_ms": 3000, "ends_in": "paused",
                    "exit_code": 7, "end_wait_hint_ms": 9 },
      "stopping": { "duration_ms": 100 }
    },
    "radio": { "failing_attempts": "always", "notifications": 3, "notifications_null_context": true, "answers": 0,
               "answer_after_ms": 50, "answers_null_context": true },
    "services": { "controls": "serial", "manager_denied": true, "preshutdown_timeout_ms": 10000 },
    "trace": { "enabled_after_ms": 250 }
  })");
  const tablet::PartnerDescription& partner = description.partner;
  EXPECT_FALSE(partner.present);
  EXPECT_EQ(partner.state, tablet::kServiceStopPending);
  EXPECT_EQ(partner.start_error, 1058U);
  EXPECT_EQ(partner.control_error, 1052U);
  EXPECT_EQ(partner.starting.duration, Millis(2000));
  EXPECT_EQ(partner.starting.check_point_every, Millis(500));
  EXPECT_EQ(partner.starting.wait_hint, 3000U);
  EXPECT_EQ(partner.starting.ends_in, tablet::kServicePaused);
  EXPECT_EQ(partner.starting.exit_code, 7U);
  EXPECT_EQ(partner.starting.end_wait_hint, 9U);
  EXPECT_EQ(partner.stopping.duration, Millis(100));
  EXPECT_EQ(partner.stopping.ends_in, tablet::kServiceStopped);
  EXPECT_EQ(description.radio.failing_attempts, tablet::RadioDescription::kAlways);
  EXPECT_EQ(description.radio.notifications, 3U);
  EXPECT_TRUE(description.radio.notifications_null_context);
  EXPECT_EQ(description.radio.answers, 0U);
  EXPECT_EQ(description.radio.answer_after, Millis(50));
  EXPECT_TRUE(description.radio.answers_null_context);
  EXPECT_TRUE(description.manager_denied);
  EXPECT_TRUE(description.serial_controls);
  EXPECT_EQ(description.preshutdown_timeout, Millis(10'000));
  EXPECT_EQ(description.trace_enabled_after, Millis(250));
}

TEST_F(DescriptionTest, ReadsEveryEvent) {
  Description const description = Read(R"({ "schema": 1, "timeline": [
    { "at_ms": 1, "event": "suspend" }, { "at_ms": 2, "event": "resume" }, { "at_ms": 3, "event": "interrogate" },
    { "at_ms": 4, "event": "control", "control": 130 }, { "at_ms": 5, "event": "power", "type": 10 },
    { "at_ms": 6, "event": "display", "state": "dimmed" },
    { "at_ms": 7, "event": "arrival", "link": "a" },
    { "at_ms": 8, "event": "removal", "link": "a", "class": "d49f5c0e-e540-4dbe-bf78-97ed9bd987a4" },
    { "at_ms": 9, "event": "setting", "guid": "{E00958C0-C213-4ACE-AC77-FECCED2EEEA5}" }
  ] })");
  std::vector<std::string> names;
  for (const TimelineEvent& event : description.timeline) names.push_back(tablet::NameOf(event));
  EXPECT_THAT(
      names, ElementsAre("suspend", "resume", "interrogate control", "control 130", "power event 0xa", "display dimmed",
                         "device arrival", "device removal", "power setting {E00958C0-C213-4ACE-AC77-FECCED2EEEA5}"));
  EXPECT_EQ(description.timeline[6].guid, tablet::kUsbDeviceClass);
  EXPECT_EQ(description.timeline[7].guid, tablet::kModemControlClass);
}

TEST_F(DescriptionTest, RefusesEventsThatMakeNoSense) {
  auto const refusal = [this](const std::string& event) {
    return Refusal("{\"schema\": 1, \"timeline\": [{\"at_ms\": 1, \"event\": " + event + "}]}");
  };
  EXPECT_THAT(refusal("\"control\", \"control\": 127"), HasSubstr("give a number from 128 to 255"));
  EXPECT_THAT(refusal("\"control\""), HasSubstr("timeline[0].control: the key is missing"));
  EXPECT_THAT(refusal("\"display\", \"state\": \"bright\""), HasSubstr("give on, off or dimmed"));
  EXPECT_THAT(refusal("\"stop\", \"link\": \"a\""), HasSubstr("timeline[0].link: has no meaning for \"stop\""));
  EXPECT_THAT(refusal("\"power\", \"type\": 1, \"class\": \"a\""), HasSubstr("class: has no meaning for \"power\""));
  EXPECT_THAT(refusal("\"arrival\", \"link\": \"a\", \"class\": \"usb\""), HasSubstr("\"usb\" is not a GUID"));
  EXPECT_THAT(refusal("\"setting\", \"guid\": \"lid\""), HasSubstr("give the GUID of a power setting"));
}

TEST_F(DescriptionTest, RefusesServicesThatMakeNoSense) {
  EXPECT_THAT(Refusal("{\"schema\": 1, \"partner\": {\"state\": \"runing\"}}"),
              HasSubstr("partner.state: unknown state \"runing\"; did you mean \"running\"?"));
  EXPECT_THAT(Refusal("{\"schema\": 1, \"partner\": {\"starting\": {\"wait_hnt_ms\": 1}}}"),
              HasSubstr("partner.starting.wait_hnt_ms: unknown key; did you mean \"wait_hint_ms\"?"));
  EXPECT_THAT(Refusal("{\"schema\": 1, \"partner\": {\"start_error\": -1}}"),
              HasSubstr("partner.start_error: -1 is out of range"));
  EXPECT_THAT(Refusal("{\"schema\": 1, \"radio\": {\"failing_attempts\": \"often\"}}"),
              HasSubstr("radio.failing_attempts: \"often\" is not a number; give a number or \"always\""));
  EXPECT_THAT(Refusal("{\"schema\": 1, \"services\": {\"controls\": \"serail\"}}"),
              HasSubstr("services.controls: unknown rule \"serail\"; did you mean \"serial\"?"));
  EXPECT_THAT(Refusal("{\"schema\": 1, \"services\": {\"preshutdown_timeout_ms\": true}}"),
              HasSubstr("must be a whole number"));
}

TEST_F(DescriptionTest, NeedsNothingButTheSchema) {
  Description const description = Read(R"({"schema": 1})");
  EXPECT_TRUE(description.modem_present);
  EXPECT_EQ(description.modem_links.size(), 1U);
  EXPECT_TRUE(description.firmware_driver_present);
  EXPECT_FALSE(description.firmware_driver_link.empty());
  EXPECT_TRUE(description.trace_collected);
  EXPECT_TRUE(description.timeline.empty());
  EXPECT_THAT(Refusal("{}"), HasSubstr("tablet.json:1: schema: the key is missing"));
  EXPECT_THAT(Refusal(R"({"schema": 2})"), HasSubstr("schema: version 2 is not known here; write 1"));
}

TEST_F(DescriptionTest, NamesTheNearestKeyForAnUnknownOne) {
  EXPECT_THAT(Refusal("{\n  \"schema\": 1,\n  \"modme\": {}\n}"),
              HasSubstr("tablet.json:3: modme: unknown key; did you mean \"modem\"?"));
  EXPECT_THAT(Refusal("{\n\"schema\": 1, \"clock\": {\n\n\"Start\": 1 } }"),
              HasSubstr("tablet.json:4: clock.Start: unknown key; did you mean \"start\"?"));
  EXPECT_THAT(Refusal("{\"schema\": 1, \"timeline\": [{\"at_ms\": 1, \"event\": \"stpo\"}]}"),
              HasSubstr("timeline[0].event: unknown event \"stpo\"; did you mean \"stop\"?"));
}

TEST_F(DescriptionTest, NamesTheLineOfAValueOfAnotherType) {
  EXPECT_THAT(Refusal("{\n\"schema\":\n\"1\"\n}"),
              HasSubstr("tablet.json:3: schema: must be a whole number, is a text"));
  EXPECT_THAT(Refusal("{\"schema\": 1,\n\"modem\": { \"present\": 1\n}\n}"),
              HasSubstr("tablet.json:2: modem.present: must be true or false, is a whole number"));
  EXPECT_THAT(Refusal("{\"schema\": 1, \"modem\": { \"links\": [\"a\",\n 7] }}"),
              HasSubstr("tablet.json:2: modem.links[1]: must be a text, is a whole number"));
  EXPECT_THAT(Refusal("{\"schema\": 1, \"trace\": []}"), HasSubstr("trace: must be an object, is a list"));
  EXPECT_THAT(Refusal("[]"), HasSubstr("tablet.json:1: the file: must be an object, is a list"));
  EXPECT_THAT(Refusal("{\"schema\": 1.5}"), HasSubstr("schema: must be a whole number, is a number with a fraction"));
}

TEST_F(DescriptionTest, RefusesValuesOutOfRange) {
  for (const char* const time : {"2026-02-30T08:00:00Z", "2026-03-02 08:00:00Z", "2026-03-02T24:00:00Z",
                                 "1979-12-31T00:00:00Z", "2026-03-02T08:00:00", "2026-3-2T8:0:0Z", ""}) {
    EXPECT_THAT(Refusal(std::string("{\"schema\": 1, \"clock\": {\"start\": \"") + time + "\"}}"),
                HasSubstr("clock.start"))
        << time;
  }
  EXPECT_THAT(Refusal("{\"schema\": 1, \"clock\": {\"utc_offset_minutes\": 841}}"),
              HasSubstr("841 is not a time zone"));
  EXPECT_THAT(Refusal("{\"schema\": 1, \"timeline\": [{\"at_ms\": -1, \"event\": \"stop\"}]}"),
              HasSubstr("timeline[0].at_ms: -1 is out of range"));
  EXPECT_THAT(Refusal("{\"schema\": 1, \"timeline\": [{\"event\": \"stop\"}]}"),
              HasSubstr("timeline[0].at_ms: the key is missing"));
  EXPECT_THAT(Refusal("{\"schema\": 99999999999999999999}"), HasSubstr("is too large"));
  EXPECT_THAT(Refusal("{\"schema\": 1, \"registry\": {\"denied\": [\"A\\\\\\\\B\"]}}"), HasSubstr("registry.denied"));
  EXPECT_THAT(Refusal("{\"schema\": 1, \"modem\": {\"links\": []}}"), HasSubstr("modem.links"));
}

TEST_F(DescriptionTest, NamesTheLineWhereTheTextIsNoJson) {
  EXPECT_THAT(Refusal("{\n\"schema\": 1\n\"name\": \"x\"\n}"), HasSubstr("tablet.json:3: this is not JSON"));
  EXPECT_THAT(Refusal("{\"schema\": 1"), HasSubstr("tablet.json:1: this is not JSON"));
  EXPECT_THAT(Refusal(""), HasSubstr("this is not JSON"));
  EXPECT_THAT(Refusal("{\"schema\": 1,\n\"schema\": 1}"),
              HasSubstr("tablet.json:2: schema: the key is given twice, first in line 1"));
}

TEST_F(DescriptionTest, RefusesTextThatIsNestedTooDeeply) {
  // Without a limit such a text brings the reader down.
  constexpr std::size_t kMany = 400'000;
  EXPECT_THAT(Refusal("{\"name\":\n" + std::string(kMany, '[') + std::string(kMany, ']') + "}"),
              HasSubstr("tablet.json:2: objects and lists more than 100 deep; nest them less deeply"));
  std::string objects;
  for (std::size_t i = 0; i < kMany; ++i) objects += "{\"a\":";
  EXPECT_THAT(Refusal(objects + "1" + std::string(kMany, '}')), HasSubstr("more than 100 deep"));
  // The object around them counts as well.
  EXPECT_THAT(Refusal("{\"name\":" + std::string(99, '[') + std::string(99, ']') + "}"),
              HasSubstr("the key is missing"));
  EXPECT_THAT(Refusal("{\"name\":" + std::string(100, '[') + std::string(100, ']') + "}"), HasSubstr("100 deep"));
}

TEST(JsonSource, CountsLinesAlsoBehindNumbers) {
  tablet::JsonNode const tree = tablet::ParseJsonWithLines("{\n\"a\": 1\n,\n\"b\": [\n2,\n\n3 ] }", "f");
  ASSERT_EQ(tree.members.size(), 2U);
  EXPECT_EQ(tree.members[0].line, 2);
  EXPECT_EQ(tree.members[0].value.line, 2);
  EXPECT_EQ(tree.members[1].line, 4);
  ASSERT_EQ(tree.members[1].value.items.size(), 2U);
  EXPECT_EQ(tree.members[1].value.items[0].line, 5);
  EXPECT_EQ(tree.members[1].value.items[1].line, 7);
}

TEST(Nearest, ForgivesSlipsOfTheFingers) {
  constexpr std::string_view kWords[] = {"fresh", "wifi-only", "already-deployed"};
  EXPECT_EQ(tablet::NearestOf("fersh", kWords), "fresh");
  EXPECT_EQ(tablet::NearestOf("WIFI", kWords), "wifi-only");
  EXPECT_EQ(tablet::NearestOf("deployed", kWords), "already-deployed");
  EXPECT_EQ(tablet::NearestOf("x", {}), "");
  EXPECT_EQ(tablet::DidYouMean("fersh", kWords), "did you mean \"fresh\"?");
  EXPECT_EQ(tablet::DidYouMean("frash", kWords), "did you mean \"fresh\"?");
  EXPECT_EQ(tablet::DidYouMean("foo", kWords), "");
  EXPECT_EQ(tablet::DidYouMean("help", kWords), "");
}

}  // namespace
