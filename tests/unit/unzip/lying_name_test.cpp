// Archives whose names are longer than they may be, no UTF-8, or meant to lead somewhere else.
#include <algorithm>

#include "sim/tablet/base/text.h"
#include "tests/unit/unzip/extraction_fixture.h"

namespace unzip_tests {
namespace {

class LyingNameTest : public ExtractionTest {
 protected:
  /// The name of an archive's only entry, as the deployment gets it.
  std::u16string NameFrom(const std::string& stored) {
    BeginAgain();
    zip_.Add(stored, ToBytes("1"));
    return NameOf(0);
  }
};

TEST_F(LyingNameTest, NamesOf259CharactersComeWholeAndLongerOnesAreCutThere) {
  for (std::size_t length : {258u, 259u, 260u, 261u, 300u, 65'535u}) {
    SCOPED_TRACE(length);
    EXPECT_EQ(NameFrom(std::string(length, 'n')), std::u16string(std::min<std::size_t>(length, 259), u'n'));
  }
}

TEST_F(LyingNameTest, ANameThatIsCutInTheMiddleOfACharacterEndsInAReplacement) {
  // 258 bytes and the first two of three; 260 bytes are kept of every name.
  EXPECT_EQ(NameFrom(std::string(258, 'n') + "\xE2\x82\xAC"), std::u16string(258, u'n') + u"\uFFFD");
  EXPECT_EQ(NameFrom(std::string(256, 'n') + "\xE2\x82\xAC"), std::u16string(256, u'n') + u"\u20AC");
}

TEST_F(LyingNameTest, APathThatIsTooLongIsCutAt259CharactersAndExtractedThere) {
  for (std::size_t length : {248u, 249u, 250u, 259u, 261u}) {
    SCOPED_TRACE(length);
    std::u16string const name = NameFrom(std::string(length, 'n'));
    std::u16string const target = u"c:\\target\\" + name;
    EXPECT_EQ(Unzip(0, target.c_str()), UNZIP_OK);
    EXPECT_TRUE(drive().Exists(target.substr(0, 259)));
    drive().Remove(target.substr(0, 259));
  }
}

TEST_F(LyingNameTest, ANameEndsAtItsFirstZero) {
  EXPECT_EQ(NameFrom(std::string("a\0../b", 6)), u"a");
  EXPECT_EQ(NameFrom(std::string("\0a", 2)), u"");
}

TEST_F(LyingNameTest, ANameLengthThatReachesIntoTheDataIsTakenAtItsWord) {
  // Both headers claim two bytes more than there are: the central name runs on into the end record, and the data are
  // looked for two bytes past their start.
  zip_.Add("a", ToBytes("content"), 0).EditBoth([](auto& header) { header.name_length = 3; });
  EXPECT_EQ(NameOf(0), u"aPK");
  ASSERT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
  EXPECT_EQ(drive().Contents(u"c:\\a"), ToBytes("ntentPK"));
}

TEST_F(LyingNameTest, BytesThatAreNoUtf8BecomeReplacements) {
  EXPECT_EQ(NameFrom("\x80"), u"\uFFFD") << "a continuation without a start";
  EXPECT_EQ(NameFrom("a\xC3"), u"a\uFFFD") << "a start without its continuation";
  EXPECT_EQ(NameFrom("\xC3(b"), u"\uFFFD(b");
  EXPECT_EQ(NameFrom("\xFE.\xFF"), u"\uFFFD.\uFFFD");
  EXPECT_EQ(NameFrom("\xED\xA0\x80").find(u'\xD800'), std::u16string::npos) << "half a surrogate pair";
  EXPECT_EQ(NameFrom("\xF4\x90\x80\x80z").back(), u'z') << "past the last Unicode character";
}

TEST_F(LyingNameTest, AnOverlongSeparatorIsNone) {
  // In a careless reading these are "../b" and "/b".
  for (const char* stored : {"a/\xC0\xAE\xC0\xAE/b", "\300\257b", "\340\200\257b"}) {
    std::u16string const name = NameFrom(stored);
    EXPECT_EQ(name.find(u".."), std::u16string::npos);
    EXPECT_NE(name.front(), u'/');
    EXPECT_NE(name.find(u'\uFFFD'), std::u16string::npos);
  }
}

TEST_F(LyingNameTest, NamesThatBecomeTheSameReplacementAreTheSameFile) {
  zip_.Add("\xE4.bin", ToBytes("first"));
  zip_.Add("\xF6.bin", ToBytes("second"));
  EXPECT_EQ(NameOf(0), NameOf(1));
  for (INT i = 0; i < 2; ++i) EXPECT_EQ(Unzip(i, (u"c:\\target\\" + NameOf(i)).c_str()), UNZIP_OK);
  EXPECT_EQ(drive().Contents(u"c:\\target\\\uFFFD.bin"), ToBytes("second"));
}

TEST_F(LyingNameTest, OnlyANameThatBeginsWithAStepUpLeadsOutOfTheTarget) {
  struct Case {
    const char* stored;
    const char16_t* file;
  };
  Case const cases[] = {
      {"../out", u"c:\\out"},
      {"..\\out2", u"c:\\out2"},
      {"a/../in", u"c:\\target\\in"},
      {"/../out3", u"c:\\out3"},
      {"c:../out4", u"c:\\out4"},
      {"a/..\\../in4", u"c:\\target\\in4"},
      {".../in5", u"c:\\target\\...\\in5"},
      {"D:\\in6", u"c:\\target\\in6"},
      {"\\\\server\\share\\in7", u"c:\\target\\server\\share\\in7"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.stored);
    std::u16string const name = NameFrom(c.stored);
    EXPECT_EQ(Unzip(0, (u"c:\\target\\" + name).c_str()), UNZIP_OK);
    EXPECT_TRUE(drive().Exists(c.file)) << tablet::ToUtf8(name);
  }
}

}  // namespace
}  // namespace unzip_tests
