// Hives as imports read them: whole ones, those that are not up to date, and damaged ones.
#include "cli/import/hive_file.h"
#include "cli/import/host_attributes.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/registry/reg_text.h"
#include "tests/testing/empty_hive.h"
#include "tests/testing/matchers.h"
#include "tests/testing/scratch_folder.h"
#include "tests/unit/cli/import/hive_maker.h"

namespace {

using cli::HiveFile;
using tablet::InputError;
using tablet::Registry;
using namespace testing_support;
namespace fs = std::filesystem;

constexpr std::size_t kPrimary = 4, kSecondary = 8;

class HiveTest : public ::testing::Test {
 protected:
  fs::path In(const std::string& name) const { return folder_.path() / name; }

  /// A hive with the keys below HIVE.
  void Make(const Registry& registry) { WriteHive(In("HIVE"), registry, u"HIVE"); }
  void Change(const std::function<void(std::string& hive)>& change) {
    std::string hive = ReadBytes(In("HIVE"));
    change(hive);
    WriteBytes(In("HIVE"), hive);
  }
  HiveFile::Options Options(bool take_dirty = false) const { return {"HIVE", logs_, take_dirty}; }

  /// All of it, as registry text.
  std::string Read(bool take_dirty = false) const {
    Registry registry;
    HiveFile(In("HIVE"), Options(take_dirty)).Copy(u"", u"HIVE", registry);
    return tablet::WriteRegText(registry);
  }
  /// What is said of a hive that is not read.
  std::string Refusal(bool take_dirty = false) const {
    try {
      Read(take_dirty);
    } catch (const InputError& error) {
      EXPECT_THAT(error.place(), ::testing::StartsWith("HIVE"));
      EXPECT_NE(error.next(), "");
      return error.what();
    }
    return "read";
  }
  /// A log of the new form, with an entry of this sequence number.
  void MakeLog(const std::string& name, std::uint32_t sequence) {
    std::string log(1024, '\0');
    log.replace(0, 4, "regf");
    log.replace(512, 4, "HvLE");
    PutHiveNumber(log, 512 + 4, 512);
    PutHiveNumber(log, 512 + 12, sequence);
    WriteBytes(In(name), log);
    logs_.push_back(In(name));
  }
  static Registry& Small(Registry& registry) {
    registry.PutText(u"HIVE\\One\\Two", u"Text", u"content");
    registry.PutDword(u"HIVE\\One", u"Number", 7);
    return registry;
  }

 private:
  ScratchFolder folder_;
  std::vector<fs::path> logs_;
};

TEST_F(HiveTest, KeysAndValuesComeByteForByte) {
  Registry registry;
  std::u16string const key = u"HIVE\\A key\\\u00E4\\\uD55C";
  registry.PutText(key, u"Text", u"\u00FC and \uAC00");
  registry.PutText(key, u"", u"the default value");
  registry.PutDword(key, u"Number", 0x8000'0001);
  registry.Put(key, u"Odd length", {tablet::kTypeText, {'x', 0, 'y'}});
  registry.Put(key, u"Empty", {tablet::kTypeBinary, {}});
  registry.Put(key, u"Own type \u00E9", {0x8000'1234, {1, 2, 3, 4, 5}});
  registry.Put(key, u"Large", {tablet::kTypeBinary, std::vector<std::uint8_t>(20'000, 0xA5)});
  registry.MakeKey(u"HIVE\\Empty key");
  Make(registry);
  EXPECT_EQ(Read(), tablet::WriteRegText(registry));
}

TEST_F(HiveTest, NamesAreFoundInAnyCase) {
  Registry registry;
  registry.PutDword(u"HIVE\\Sel\u00E4ct", u"Curr\u00E9nt", 3);
  registry.MakeKey(u"HIVE\\Other");
  Make(registry);
  HiveFile const hive(In("HIVE"), Options());
  EXPECT_EQ(hive.Dword(u"SEL\u00C4CT", u"CURR\u00C9NT"), 3u);
  EXPECT_TRUE(hive.Has(u"other"));
  EXPECT_FALSE(hive.Has(u"other\\below"));
  EXPECT_THAT(hive.SubKeys(u""), ::testing::UnorderedElementsAre(u"Sel\u00E4ct", u"Other"));
  Registry none;
  EXPECT_FALSE(hive.Copy(u"missing", u"x", none));
}

TEST_F(HiveTest, SequenceNumbersThatDifferAreRefusedWithTheWayOut) {
  Registry registry;
  Make(Small(registry));
  Change([](std::string& hive) {
    PutHiveNumber(hive, kPrimary, 12);
    PutHiveNumber(hive, kSecondary, 11);
    SealHive(hive);
  });
  EXPECT_THAT(Refusal(), HasSubstr("HIVE: is not up to date: its sequence numbers are 12 and 11; let Windows write"));
  EXPECT_EQ(Read(true), tablet::WriteRegText(registry));
  EXPECT_EQ(HiveFile(In("HIVE"), Options(true)).pending(), "its sequence numbers are 12 and 11");
}

TEST_F(HiveTest, AWrongChecksumIsRefused) {
  Registry registry;
  Make(Small(registry));
  Change([](std::string& hive) { hive[0x1F0] = 1; });
  EXPECT_THAT(Refusal(), HasSubstr("the checksum of its first page is wrong"));
}

TEST_F(HiveTest, NewerChangesInALogAreRefusedAndOlderOnesAreNot) {
  Registry registry;
  Make(Small(registry));
  Change([](std::string& hive) {
    PutHiveNumber(hive, kPrimary, 20);
    PutHiveNumber(hive, kSecondary, 20);
    SealHive(hive);
  });
  MakeLog("HIVE.LOG1", 20);
  EXPECT_EQ(Refusal(), "read");
  MakeLog("HIVE.LOG2", 21);
  EXPECT_THAT(Refusal(), HasSubstr("not up to date: HIVE.LOG2 has newer changes"));
  EXPECT_EQ(Refusal(true), "read");
}

TEST_F(HiveTest, WhatIsNoHiveOrCutOffIsRefused) {
  Registry registry;
  Make(Small(registry));
  std::string const whole = ReadBytes(In("HIVE"));
  WriteBytes(In("HIVE"), whole.substr(0, whole.size() - kHiveHead));
  EXPECT_THAT(Refusal(), HasSubstr("is cut off: it has " + std::to_string(whole.size() - kHiveHead) + " of "));
  for (const std::string& other : {std::string(), std::string(100, 'x'), std::string(9000, '\0')}) {
    WriteBytes(In("HIVE"), other);
    EXPECT_THAT(Refusal(), HasSubstr("is not a registry hive"));
  }
  fs::remove(In("HIVE"));
  EXPECT_THAT(Refusal(), HasSubstr("cannot be read"));
}

TEST_F(HiveTest, AKeyThatIsBelowItselfIsRefused) {
  Registry registry;
  registry.MakeKey(u"HIVE\\Outer\\Inner");
  Make(registry);
  // The list of sub-keys of "Outer" names the key "Outer" in place of "Inner". Lists: "lf", "lh" or "li", a count, then
  // places of keys.
  Change([](std::string& hive) {
    std::size_t const outer = hive.find("Outer") - 0x50 - kHiveHead;
    std::size_t const inner = hive.find("Inner") - 0x50 - kHiveHead;
    std::string from(4, '\0');
    std::string to(4, '\0');
    PutHiveNumber(from, 0, static_cast<std::uint32_t>(inner));
    PutHiveNumber(to, 0, static_cast<std::uint32_t>(outer));
    std::size_t const at = hive.find(from, kHiveHead);
    ASSERT_NE(at, std::string::npos);
    hive.replace(at, 4, to);
  });
  EXPECT_THAT(Refusal(), HasSubstr("is a key in two places"));
}

TEST_F(HiveTest, ANameThatIsNoTextIsRefused) {
  Registry registry;
  registry.MakeKey(u"HIVE\\\uD55C");
  Make(registry);
  Change([](std::string& hive) {
    std::size_t const at = hive.find("\x5C\xD5", kHiveHead);
    ASSERT_NE(at, std::string::npos);
    hive.replace(at, 2, std::string("\0\xD8", 2));  // half of a pair
  });
  EXPECT_THAT(Refusal(), HasSubstr("a sub-key has a name that is no text"));
}

// Cells have no checksum: what a byte of a name or of data was nobody can know. All else is an error or the same
// answer.
TEST_F(HiveTest, EveryDamagedByteIsAnErrorOrAnAnswer) {
  Registry registry;
  Make(Small(registry));
  std::string const whole = ReadBytes(In("HIVE"));
  std::string const answer = Read();
  std::size_t const used = whole.find_last_not_of('\0') + 1;
  std::size_t refused = 0;
  std::size_t same = 0;
  std::size_t other = 0;
  for (std::size_t at = 0; at < used; ++at) {
    if (at >= 512 && at < kHiveHead && at % 256 != 0) continue;  // never read
    std::string damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ 0xFF);
    WriteBytes(In("HIVE"), damaged);
    std::string now;
    try {
      now = Read();
    } catch (const InputError& error) {
      EXPECT_NE(error.next(), "") << error.what();
      ++refused;
      continue;
    }
    ++(now == answer ? same : other);
    Registry again;
    tablet::ReadRegText(now, "answer", again);
    EXPECT_EQ(tablet::WriteRegText(again), now) << "at " << at;
    EXPECT_TRUE(at >= kHiveHead || now == answer) << "at " << at;
  }
  EXPECT_GT(refused, 512u);  // the header alone
  EXPECT_GT(same, 0u);
  RecordProperty("refused", static_cast<int>(refused));
  RecordProperty("same", static_cast<int>(same));
  RecordProperty("other", static_cast<int>(other));
}

TEST(HostAttributesTest, EachFormOfSambaIsRead) {
  EXPECT_EQ(cli::ParseDosAttrib("0x22"), 0x22u);
  EXPECT_EQ(cli::ParseDosAttrib(std::string_view("0x7\0", 4)), 0x7u);
  std::string record("\0\0\3\0\3\0\0\0\1\0\0\0\x26\0\0\0", 16);
  EXPECT_EQ(cli::ParseDosAttrib(record + std::string(20, '\5')), 0x26u);
  record[8] = 2;  // the attributes are not valid
  EXPECT_EQ(cli::ParseDosAttrib(record), std::nullopt);
  EXPECT_EQ(cli::ParseDosAttrib("0x22 "), std::nullopt);
  EXPECT_EQ(cli::ParseDosAttrib("hidden"), std::nullopt);
  EXPECT_EQ(cli::ParseDosAttrib(""), std::nullopt);
}

}  // namespace
