#include "sim/tablet/registry/reg_text.h"

#include <fstream>
#include <random>

#include "sim/tablet/base/input_error.h"
#include "tests/testing/tablet_fixture.h"

namespace {

using tablet::Registry;
using tablet::RegistryValue;

const std::string kHead = "Windows Registry Editor Version 5.00\n\n";
const std::string kKey = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\A]\n";
constexpr std::u16string_view kPath = u"SOFTWARE\\A";

std::vector<std::uint8_t> DataOf(const std::string& line) {
  Registry registry;
  tablet::ReadRegText(kHead + kKey + "\"v\"=" + line, "t.reg", registry);
  return registry.Get(kPath, u"v").value().data;
}

std::string Refusal(const std::string& text) {
  Registry registry;
  registry.PutDword(u"SOFTWARE\\A", u"before", 1);
  std::unique_ptr<Registry> const before = registry.Snapshot();
  try {
    tablet::ReadRegText(text, "t.reg", registry);
  } catch (const tablet::InputError& error) {
    EXPECT_TRUE(Registry::Compare(*before, registry).empty()) << "a refused text changed the registry";
    EXPECT_FALSE(error.next().empty());
    return error.what();
  }
  return "not refused";
}

TEST(RegTextTest, ReadsEveryFormOfValue) {
  Registry registry;
  tablet::ReadRegText(kHead +
                          "; a comment\r\n"
                          "[hkey_local_machine\\SOFTWARE\\A]\r\n"
                          "@=\"default\"\r\n"
                          "  \"a \\\"b\\\" c:\\\\d\" = \"x \\\\ \\\"y\\\"\" ; behind\r\n"
                          "\"n\"=dword:0001F0ff\r\n"
                          "\"short\"=dword:7\r\n"
                          "\"b\"=hex:00,0A,ff\r\n"
                          "\"empty\"=hex:\r\n"
                          "\"q\"=hex(b):01,00,00,00,00,00,00,80\r\n"
                          "\"x\"=hex(2):25,00,00,00\r\n"
                          "\"odd type\"=hex(ffff0012):\r\n"
                          "\"m\"=hex(7):61,00,\\\r\n"
                          "  00,00,\\ ; more\r\n"
                          "\t00,00\r\n",
                      "t.reg", registry);
  EXPECT_EQ(registry.GetText(kPath, u""), u"default");
  EXPECT_EQ(registry.GetText(kPath, u"a \"b\" c:\\d"), u"x \\ \"y\"");
  EXPECT_EQ(registry.GetDword(kPath, u"n"), 0x1F0FFu);
  EXPECT_EQ(registry.GetDword(kPath, u"short"), 7u);
  EXPECT_EQ(registry.Get(kPath, u"b"), (RegistryValue{3, {0, 10, 255}}));
  EXPECT_EQ(registry.Get(kPath, u"empty"), (RegistryValue{3, {}}));
  EXPECT_EQ(registry.Get(kPath, u"q"), (RegistryValue{11, {1, 0, 0, 0, 0, 0, 0, 0x80}}));
  EXPECT_EQ(registry.Get(kPath, u"x"), (RegistryValue{2, {0x25, 0, 0, 0}}));
  EXPECT_EQ(registry.Get(kPath, u"odd type"), (RegistryValue{0xFFFF0012, {}}));
  EXPECT_EQ(registry.Get(kPath, u"m"), (RegistryValue{7, {0x61, 0, 0, 0, 0, 0}}));
}

TEST(RegTextTest, DeletesValuesAndKeysAndLaterFilesWin) {
  Registry registry;
  tablet::ReadRegText(kHead + kKey + "\"a\"=dword:1\n\"b\"=dword:1\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\B\\C]\n", "1.reg",
                      registry);
  tablet::ReadRegText(kHead + kKey + "\"A\"=-\n@=-\n\"b\"=dword:2\n[-HKEY_LOCAL_MACHINE\\SOFTWARE\\b]\n" +
                          "[-HKEY_LOCAL_MACHINE\\SOFTWARE\\missing\\key]\n",
                      "2.reg", registry);
  EXPECT_THAT(registry.ValueNames(kPath), ElementsAre(u"b"));
  EXPECT_EQ(registry.GetDword(kPath, u"b"), 2u);
  EXPECT_THAT(registry.SubKeyNames(u"SOFTWARE"), ElementsAre(u"A"));
}

TEST(RegTextTest, ReadsUtf8WithAndWithoutAByteOrderMarkAndUtf16) {
  std::string const text = kHead + kKey + "\"n\xC3\xA4me\"=\"\xF0\x9F\x98\x80\"\n";
  for (const std::string& bytes : {text, "\xEF\xBB\xBF" + text, tablet::ToExportForm(text)}) {
    Registry registry;
    tablet::ReadRegText(bytes, "t.reg", registry);
    EXPECT_EQ(registry.GetText(kPath, u"n\u00e4me"), u"\U0001F600");
  }
}

TEST(RegTextTest, AKeyMayHoldBracketsAndBlanks) {
  Registry registry;
  tablet::ReadRegText(kHead + "[HKEY_LOCAL_MACHINE\\a]b [c\\ d]  \n@=dword:1", "t.reg", registry);
  EXPECT_EQ(registry.GetDword(u"a]b [c\\ d", u""), 1u);
}

TEST(RegTextTest, TheHiveItselfHoldsValues) {
  Registry registry;
  tablet::ReadRegText(kHead + "[HKEY_LOCAL_MACHINE]\n\"v\"=dword:1\n", "t.reg", registry);
  EXPECT_EQ(registry.GetDword(u"", u"v"), 1u);
  EXPECT_EQ(tablet::WriteRegText(registry), kHead + "[HKEY_LOCAL_MACHINE]\n\"v\"=dword:00000001\n");
}

TEST(RegTextTest, TheHeaderIsRequired) {
  EXPECT_THAT(Refusal(""), HasSubstr("t.reg:1: is not registry text; make the first line \"Windows Registry Editor"));
  EXPECT_THAT(Refusal("\nWindows Registry Editor Version 5.00\n"), HasSubstr("t.reg:1: is not registry text"));
  EXPECT_THAT(Refusal("REGEDIT4\n"), HasSubstr("export it again as version 5.00"));
}

TEST(RegTextTest, OtherHivesAndAbbreviationsAreRefused) {
  EXPECT_THAT(Refusal(kHead + "[HKLM\\SOFTWARE]"), HasSubstr("t.reg:3: [HKLM\\SOFTWARE]: the hive is abbreviated; "
                                                             "write HKEY_LOCAL_MACHINE"));
  EXPECT_THAT(Refusal(kHead + "[HKEY_CURRENT_USER\\A]"),
              HasSubstr("t.reg:3: [HKEY_CURRENT_USER\\A]: not in HKEY_LOCAL"));
  EXPECT_THAT(Refusal(kHead + "[HKEY_LOCAL_MACHINE2\\A]"), HasSubstr("not in HKEY_LOCAL_MACHINE"));
  EXPECT_THAT(Refusal(kHead + "[-HKEY_LOCAL_MACHINE]"), HasSubstr("removes the whole hive"));
}

TEST(RegTextTest, MalformedKeysAreRefused) {
  EXPECT_THAT(Refusal(kHead + "[HKEY_LOCAL_MACHINE\\A"), HasSubstr("t.reg:3: a key without its closing bracket"));
  EXPECT_THAT(Refusal(kHead + "[HKEY_LOCAL_MACHINE\\A\\\\B]"), HasSubstr("an empty name in the path"));
  EXPECT_THAT(Refusal(kHead + "[HKEY_LOCAL_MACHINE\\A\\\\]"), HasSubstr("an empty name in the path"));
  EXPECT_THAT(Refusal(kHead + "[HKEY_LOCAL_MACHINE\\]"), HasSubstr("an empty name in the path"));
  EXPECT_THAT(Refusal(kHead + "[HKEY_LOCAL_MACHINE\\" + std::string(256, 'x') + "]"),
              HasSubstr("a name of 256 characters"));
}

TEST(RegTextTest, KeysAreAsDeepAsWindowsHasThem) {
  std::string path;
  for (int i = 0; i < 512; ++i) path += "\\a";
  Registry registry;
  tablet::ReadRegText(kHead + "[HKEY_LOCAL_MACHINE" + path + "]\n", "t.reg", registry);
  EXPECT_TRUE(registry.HasKey(tablet::ToUtf16(path.substr(1))));
  EXPECT_THAT(Refusal(kHead + "[HKEY_LOCAL_MACHINE" + path + "\\a]\n"), HasSubstr("a key more than 512 deep"));
}

TEST(RegTextTest, MalformedValuesAreRefusedWithFileLineAndKey) {
  std::string const place = "t.reg:4: [HKEY_LOCAL_MACHINE\\SOFTWARE\\A]: ";
  auto const refusal = [&](const std::string& line) { return Refusal(kHead + kKey + line + "\n"); };
  EXPECT_THAT(refusal("name=dword:1"), HasSubstr(place + "neither a key, a value nor a comment"));
  EXPECT_THAT(refusal("\"name\""), HasSubstr(place + "no = after the name"));
  EXPECT_THAT(refusal("\"name=dword:1"), HasSubstr(place + "a quote without its end"));
  EXPECT_THAT(refusal("\"v\"=\"c:\\dir\""), HasSubstr(place + "a single backslash between quotes; write it as \\\\"));
  EXPECT_THAT(refusal("\"v\"=\"end\\"), HasSubstr(place + "a quote without its end"));
  EXPECT_THAT(refusal("\"v\"=\"a\" \"b\""), HasSubstr(place + "more after the data: \"b\""));
  EXPECT_THAT(refusal("\"v\"=-1"), HasSubstr(place + "more after the data: 1"));
  EXPECT_THAT(refusal("\"v\"="), HasSubstr(place + "data of no known form"));
  EXPECT_THAT(refusal("\"v\"=qword:1"), HasSubstr(place + "data of no known form"));
  EXPECT_THAT(refusal("\"v\"=dword:"), HasSubstr(place + "no number after dword:"));
  EXPECT_THAT(refusal("\"v\"=dword:123456789"), HasSubstr(place + "no number after dword:"));
  EXPECT_THAT(refusal("\"v\"=dword:0x1"), HasSubstr(place + "more after the data: x1"));
  EXPECT_THAT(refusal("\"v\"=hex(g):00"), HasSubstr(place + "no readable type after hex"));
  EXPECT_THAT(refusal("\"v\"=hex(:00"), HasSubstr(place + "no readable type after hex"));
  EXPECT_THAT(refusal("\"v\"=hex 00"), HasSubstr(place + "no readable type after hex"));
  EXPECT_THAT(refusal("\"v\"=hex:0g"), HasSubstr(place + "more after the data: g"));
  EXPECT_THAT(refusal("\"v\"=hex:000"), HasSubstr(place + "no byte where one must stand"));
  EXPECT_THAT(refusal("\"v\"=hex:00,"), HasSubstr(place + "no byte where one must stand"));
  EXPECT_THAT(refusal("\"v\"=hex:00 01"), HasSubstr(place + "more after the data: 01"));
  EXPECT_THAT(refusal("\"v\"=hex:00,\\ 01"), HasSubstr(place + "more after the data: 01"));
  EXPECT_THAT(refusal("\"v\"=hex:00,\\"), HasSubstr(place + "the data ends after a backslash"));
  EXPECT_THAT(refusal("\"v\"=hex:00,\\\n\"w\"=dword:1"), HasSubstr("t.reg:5: [HKEY_LOCAL_MACHINE\\SOFTWARE\\A]: no b"));
}

TEST(RegTextTest, ValuesNeedAKeyThatStays) {
  EXPECT_THAT(Refusal(kHead + "\"v\"=dword:1"), HasSubstr("t.reg:3: a value without a key"));
  EXPECT_THAT(Refusal(kHead + "[-HKEY_LOCAL_MACHINE\\A]\n\"v\"=dword:1"),
              HasSubstr("t.reg:4: [-HKEY_LOCAL_MACHINE\\A]: a value in a key that is removed"));
}

TEST(RegTextTest, BytesThatAreNoTextAreRefused) {
  EXPECT_THAT(Refusal(kHead + kKey + "\"v\"=\"\xE4\""), HasSubstr("t.reg:4: holds bytes that are no UTF-8"));
  EXPECT_THAT(Refusal("\xFE\xFF"), HasSubstr("big-endian"));
  EXPECT_THAT(Refusal("\xFF\xFEW"), HasSubstr("in the middle of a character"));
  std::string half = tablet::ToExportForm(kHead + "; ?");
  half.replace(half.size() - 2, 2, "\x3D\xD8");
  EXPECT_THAT(Refusal(half), HasSubstr("t.reg:3: holds a character that is not text"));
  EXPECT_THAT(Refusal(kHead + std::string(1, '\0')), HasSubstr("t.reg:3: holds a character that is not text"));
}

TEST(RegTextTest, ACarriageReturnEndsNoLineByItself) {
  // A name with one could be read but not be saved again.
  EXPECT_THAT(Refusal(kHead + "[HKEY_LOCAL_MACHINE\\A\rB]\n"),
              HasSubstr("t.reg:3: a carriage return in the middle of a line; end the lines with a line feed"));
  EXPECT_THAT(Refusal(kHead + kKey + "\"a\rb\"=\"c\"\r\n"), HasSubstr("t.reg:4: [HKEY_LOCAL_MACHINE\\SOFTWARE\\A]"));
  EXPECT_THAT(Refusal("Windows Registry Editor Version 5.00\r\r[HKEY_LOCAL_MACHINE\\A]\r"),
              HasSubstr("t.reg:1: a carriage return"));
}

TEST(RegTextTest, FilesAreReadByNameAndMissingOnesAreRefused) {
  testing_support::ScratchFolder const folder;
  std::filesystem::path const file = folder.path() / "a.reg";
  std::ofstream(file, std::ios::binary) << kHead << kKey << "\"v\"=dword:5\n";
  Registry registry;
  tablet::ReadRegFile(file, registry);
  EXPECT_EQ(registry.GetDword(kPath, u"v"), 5u);
  EXPECT_THROW(tablet::ReadRegFile(folder.path() / "none.reg", registry), tablet::InputError);
  EXPECT_THROW(tablet::ReadRegFile(folder.path(), registry), tablet::InputError) << "a folder is no file";
}

TEST(RegTextTest, WritesKeysAndValuesInOrderOfTheirNames) {
  Registry registry;
  registry.PutText(u"SYSTEM\\b", u"path", u"c:\\\"x\"");
  registry.PutDword(u"SYSTEM\\A", u"Z", 0xABC);
  registry.PutDword(u"SYSTEM\\A", u"a", 1);
  registry.PutText(u"SYSTEM\\A", u"", u"default");
  registry.Put(u"SYSTEM\\A", u"odd", {tablet::kTypeDword, {1, 2}});
  registry.Put(u"SYSTEM\\A", u"open", {tablet::kTypeText, {'a', 0}});
  registry.PutText(u"SYSTEM\\A", u"two lines", u"\n");
  EXPECT_EQ(tablet::WriteRegText(registry), kHead +
                                                "[HKEY_LOCAL_MACHINE\\SYSTEM]\n\n"
                                                "[HKEY_LOCAL_MACHINE\\SYSTEM\\A]\n"
                                                "@=\"default\"\n"
                                                "\"a\"=dword:00000001\n"
                                                "\"odd\"=hex(4):01,02\n"
                                                "\"open\"=hex(1):61,00\n"
                                                "\"two lines\"=hex(1):0a,00,00,00\n"
                                                "\"Z\"=dword:00000abc\n\n"
                                                "[HKEY_LOCAL_MACHINE\\SYSTEM\\b]\n"
                                                "\"path\"=\"c:\\\\\\\"x\\\"\"\n");
}

TEST(RegTextTest, LongDataIsBrokenIntoLinesOf80) {
  Registry registry;
  registry.Put(u"A", u"data", {tablet::kTypeBinary, std::vector<std::uint8_t>(100, 0x5A)});
  std::string const text = tablet::WriteRegText(registry);
  std::size_t longest = 0;
  std::size_t lines = 0;
  for (std::size_t at = 0; at < text.size(); ++lines) {
    std::size_t const end = text.find('\n', at);
    longest = std::max(longest, end - at);
    at = end + 1;
  }
  EXPECT_LE(longest, 80u);
  EXPECT_GT(longest, 76u);
  EXPECT_EQ(lines, 8u) << "header, blank line, key, and five lines of data";
  EXPECT_EQ(DataOf(text.substr(text.find("hex:"))), std::vector<std::uint8_t>(100, 0x5A));
}

TEST(RegTextTest, NamesThatNoLineCanHoldAreRefusedOnWriting) {
  for (const std::u16string& name : {std::u16string(u"two\nlines"), std::u16string(1, 0xD800), std::u16string(1, 0)}) {
    Registry values;
    values.PutDword(u"A", name, 1);
    EXPECT_THROW(tablet::WriteRegText(values), tablet::InputError);
    Registry keys;
    keys.MakeKey(u"A\\" + name);
    EXPECT_THROW(tablet::WriteRegText(keys), tablet::InputError);
  }
}

TEST(RegTextTest, TheExportFormIsUtf16WithCarriageReturns) {
  EXPECT_EQ(tablet::ToExportForm("a\n\xC3\xA4\r\n"), std::string("\xFF\xFE"
                                                                 "a\0\r\0\n\0\xE4\0\r\0\n\0",
                                                                 14));
}

/// Draws registries whose names and data are awkward on purpose.
class Drawer {
 public:
  explicit Drawer(std::uint32_t seed) : random_(seed) {}

  std::size_t Below(std::size_t limit) { return random_() % limit; }

  std::u16string Name() {
    static constexpr std::u16string_view kLetters = u"aAbB]\"[;=@-, \t\u00e9\u0439\u20ac#0%";
    std::u16string name;
    for (std::size_t i = 0, length = 1 + Below(4); i < length; ++i) name += kLetters[Below(kLetters.size())];
    if (Below(8) == 0) name += u"\U0001F600";
    return name;
  }

  RegistryValue Value() {
    if (Below(3) == 0) return tablet::TextValue(Name() + (Below(4) == 0 ? u"\r\n\\" : u"\\"));
    if (Below(3) == 0) return tablet::DwordValue(static_cast<std::uint32_t>(random_()));
    static constexpr std::uint32_t kTypes[] = {0, 1, 2, 3, 4, 7, 11, 0x80000001};
    RegistryValue value{kTypes[Below(std::size(kTypes))], {}};
    for (std::size_t i = Below(Below(5) == 0 ? 120 : 9); i > 0; --i) {
      value.data.push_back(static_cast<std::uint8_t>(Below(2) == 0 ? 0 : random_()));
    }
    return value;
  }

  void Change(Registry& registry) {
    std::u16string path = Below(12) == 0 ? u"" : Name();
    while (!path.empty() && Below(2) == 0) path += u'\\' + Name();
    switch (Below(8)) {
      case 0:
        if (!path.empty()) registry.RemoveKey(path);
        break;
      case 1:
        registry.RemoveValue(path, Name());
        break;
      case 2:
        registry.MakeKey(path);
        break;
      default:
        registry.Put(path, Below(6) == 0 ? u"" : Name(), Value());
    }
  }

 private:
  std::mt19937 random_;
};

TEST(RegTextTest, AnyRegistryReadsBackAsItWasWritten) {
  for (std::uint32_t seed = 1; seed <= 200; ++seed) {
    Drawer drawer(seed);
    Registry registry;
    for (int i = 0; i < 40; ++i) drawer.Change(registry);
    std::string const text = tablet::WriteRegText(registry);
    for (const std::string& form : {text, tablet::ToExportForm(text)}) {
      Registry again;
      tablet::ReadRegText(form, "again.reg", again);
      ASSERT_TRUE(Registry::Compare(registry, again).empty()) << "seed " << seed << "\n" << text;
      ASSERT_EQ(tablet::WriteRegText(again), text) << "seed " << seed;
    }
  }
}

TEST(RegTextTest, ChangesAppliedToTheStateBeforeGiveTheStateAfter) {
  for (std::uint32_t seed = 1; seed <= 200; ++seed) {
    Drawer drawer(seed);
    Registry registry;
    for (int i = 0; i < 30; ++i) drawer.Change(registry);
    std::unique_ptr<Registry> const before = registry.Snapshot();
    std::unique_ptr<Registry> const patched = registry.Snapshot();
    for (int i = 0; i < 20; ++i) drawer.Change(registry);
    std::string const changes = tablet::WriteRegChanges(Registry::Compare(*before, registry));
    tablet::ReadRegText(changes, "changes.reg", *patched);
    ASSERT_TRUE(Registry::Compare(*patched, registry).empty()) << "seed " << seed << "\n" << changes;
  }
}

TEST(RegTextTest, ChangesAreWrittenAsSectionsOfTheirKeys) {
  Registry before;
  before.PutDword(u"A", u"gone", 1);
  before.MakeKey(u"Old\\Deep");
  Registry after;
  after.PutDword(u"A", u"new", 1);
  after.MakeKey(u"Fresh");
  EXPECT_EQ(tablet::WriteRegChanges(Registry::Compare(before, after)),
            kHead + "[HKEY_LOCAL_MACHINE\\A]\n\"gone\"=-\n\"new\"=dword:00000001\n\n[HKEY_LOCAL_MACHINE\\Fresh]\n\n" +
                "[-HKEY_LOCAL_MACHINE\\Old]\n");
  EXPECT_EQ(tablet::WriteRegChanges({}), "Windows Registry Editor Version 5.00\n");
}

TEST(RegTextTest, DamagedTextIsRefusedOrReadButNeverMore) {
  Drawer drawer(7);
  Registry registry;
  for (int i = 0; i < 60; ++i) drawer.Change(registry);
  std::string const text = tablet::WriteRegText(registry);
  int refused = 0;
  for (int i = 0; i < 3000; ++i) {
    std::string damaged = text;
    for (std::size_t n = 1 + drawer.Below(3); n > 0; --n) {
      damaged[drawer.Below(damaged.size())] = static_cast<char>(drawer.Below(256));
    }
    Registry target;
    try {
      tablet::ReadRegText(damaged.substr(0, drawer.Below(damaged.size() + 1)), "d.reg", target);
    } catch (const tablet::InputError&) {
      ++refused;
    }
  }
  EXPECT_GT(refused, 300);
  EXPECT_LT(refused, 3000);
}

}  // namespace
