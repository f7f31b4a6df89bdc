#include "sim/tablet/registry/registry.h"

#include "tests/testing/matchers.h"

namespace {

using tablet::KeyGuard;
using tablet::OpenKey;
using tablet::Registry;
using tablet::RegistryChange;
using tablet::RegistryValue;

constexpr std::uint32_t kRead = 0x20019;
constexpr std::uint32_t kWrite = 0x20006;
constexpr std::uint32_t kAll = 0xF003F;

class RegistryTest : public ::testing::Test {
 protected:
  tablet::WinError Open(std::u16string_view path, std::uint32_t access) {
    return registry.Open(nullptr, path, access, opened);
  }
  tablet::WinError Create(std::u16string_view path, std::uint32_t access) {
    return registry.Create(nullptr, path, access, opened, existed);
  }

  Registry registry;
  std::shared_ptr<OpenKey> opened;
  bool existed = false;
};

TEST_F(RegistryTest, NamesAreFoundInAnyCaseAndKeptAsFirstWritten) {
  registry.PutText(u"SYSTEM\\Setup\\State", u"ImageState", u"first");
  registry.PutText(u"system\\SETUP\\state", u"IMAGESTATE", u"second");
  EXPECT_EQ(registry.GetText(u"System\\setup\\STATE", u"imagestate"), u"second");
  EXPECT_THAT(registry.SubKeyNames(u""), ElementsAre(u"SYSTEM"));
  EXPECT_THAT(registry.SubKeyNames(u"system"), ElementsAre(u"Setup"));
  EXPECT_THAT(registry.ValueNames(u"system\\setup\\state"), ElementsAre(u"ImageState"));
}

TEST_F(RegistryTest, ListsAreOrderedByNameWithoutRegardToCase) {
  for (const char16_t* name : {u"b", u"C", u"A", u"\u00e9", u"_"}) registry.MakeKey(std::u16string(u"K\\") + name);
  EXPECT_THAT(registry.SubKeyNames(u"K"), ElementsAre(u"A", u"b", u"C", u"_", u"\u00e9"));
}

TEST_F(RegistryTest, CreatingMakesTheWholeChainAndTellsWhetherTheKeyWasThere) {
  ASSERT_EQ(Create(u"A\\B\\C", kRead), tablet::kSuccess);
  EXPECT_FALSE(existed);
  EXPECT_EQ(opened->path(), u"A\\B\\C");
  EXPECT_TRUE(registry.HasKey(u"a\\b"));
  ASSERT_EQ(Create(u"a\\b\\c", kRead), tablet::kSuccess);
  EXPECT_TRUE(existed);
  EXPECT_EQ(opened->path(), u"A\\B\\C") << "the path is told as first written";
}

TEST_F(RegistryTest, OpeningAMissingKeyFindsNothingAndMakesNothing) {
  EXPECT_EQ(Open(u"A\\B", kRead), tablet::kFileNotFound);
  EXPECT_FALSE(registry.HasKey(u"A"));
}

TEST_F(RegistryTest, DoubledAndTrailingSeparatorsCountForNothingButALeadingOneIsNoPath) {
  registry.MakeKey(u"A\\B");
  EXPECT_EQ(Open(u"A\\\\B\\", kRead), tablet::kSuccess);
  EXPECT_EQ(opened->path(), u"A\\B");
  EXPECT_EQ(Open(u"\\A", kRead), tablet::kBadPathName);
  EXPECT_EQ(Create(u"\\A", kRead), tablet::kBadPathName);
}

TEST_F(RegistryTest, ANameOf255CharactersIsTheLongest) {
  EXPECT_EQ(Create(std::u16string(255, u'x'), kRead), tablet::kSuccess);
  EXPECT_EQ(Create(std::u16string(256, u'x'), kRead), tablet::kInvalidParameter);
}

TEST_F(RegistryTest, ADeniedKeyAndAllBelowItAnswerAccessDenied) {
  registry.MakeKey(u"A\\Denied\\Below");
  registry.MakeKey(u"A\\DeniedNot");
  registry.Guard(u"a\\denied", KeyGuard::kDenied);
  EXPECT_EQ(Open(u"A\\Denied", kRead), tablet::kAccessDenied);
  EXPECT_EQ(Open(u"A\\DENIED\\Below", kRead), tablet::kAccessDenied);
  EXPECT_EQ(Open(u"A\\Denied\\Missing", kRead), tablet::kAccessDenied);
  EXPECT_EQ(Create(u"A\\Denied\\New", kRead), tablet::kAccessDenied);
  EXPECT_FALSE(registry.HasKey(u"A\\Denied\\New"));
  EXPECT_EQ(Open(u"A\\DeniedNot", kAll), tablet::kSuccess);
  EXPECT_EQ(Open(u"A", kAll), tablet::kSuccess);
}

TEST_F(RegistryTest, AReadOnlyKeyCanBeReadButNotOpenedForWritingNorGivenSubKeys) {
  registry.MakeKey(u"A\\Fixed\\Below");
  registry.Guard(u"A\\Fixed", KeyGuard::kReadOnly);
  EXPECT_EQ(Open(u"A\\Fixed\\Below", kRead), tablet::kSuccess);
  EXPECT_EQ(Create(u"A\\Fixed\\Below", kRead), tablet::kSuccess);
  EXPECT_EQ(Open(u"A\\Fixed", kWrite), tablet::kAccessDenied);
  EXPECT_EQ(Open(u"A\\Fixed\\Below", kAll), tablet::kAccessDenied);
  EXPECT_EQ(Create(u"A\\Fixed\\New", kRead), tablet::kAccessDenied);
  EXPECT_EQ(Open(u"A\\Fixed\\Missing", kRead), tablet::kFileNotFound);
  EXPECT_FALSE(registry.HasKey(u"A\\Fixed\\New"));
}

TEST_F(RegistryTest, AGuardCountsAlsoWhereItsKeyDoesNotExistYetAndBelowABase) {
  registry.MakeKey(u"A");
  registry.Guard(u"A\\Later", KeyGuard::kReadOnly);
  EXPECT_EQ(Create(u"A\\Later", kRead), tablet::kAccessDenied);
  ASSERT_EQ(Open(u"A", kAll), tablet::kSuccess);
  std::shared_ptr<OpenKey> const base = opened;
  EXPECT_EQ(registry.Create(base.get(), u"Later\\X", kRead, opened, existed), tablet::kAccessDenied);
  EXPECT_FALSE(registry.HasKey(u"A\\Later"));
}

TEST_F(RegistryTest, TheStricterOfTwoGuardsCounts) {
  registry.MakeKey(u"A\\B");
  registry.Guard(u"A\\B", KeyGuard::kReadOnly);
  registry.Guard(u"A", KeyGuard::kDenied);
  EXPECT_EQ(Open(u"A\\B", kRead), tablet::kAccessDenied);
}

TEST_F(RegistryTest, EachOperationNeedsTheRightItsHandleWasOpenedWith) {
  registry.PutDword(u"A", u"v", 1);
  std::vector<std::u16string> names;
  RegistryValue value;
  tablet::KeySummary summary;
  ASSERT_EQ(Open(u"A", kWrite), tablet::kSuccess);
  EXPECT_EQ(registry.Query(*opened, u"v", value), tablet::kAccessDenied);
  EXPECT_EQ(registry.SubKeys(*opened, names), tablet::kAccessDenied);
  EXPECT_EQ(registry.Describe(*opened, summary), tablet::kAccessDenied);
  ASSERT_EQ(Open(u"A", kRead), tablet::kSuccess);
  EXPECT_EQ(registry.Set(*opened, u"v", tablet::DwordValue(2)), tablet::kAccessDenied);
  EXPECT_EQ(registry.Delete(*opened, u"v"), tablet::kAccessDenied);
  EXPECT_EQ(registry.GetDword(u"A", u"v"), 1u);
}

TEST_F(RegistryTest, AHandleOutlivesItsKeyAndSaysThatItIsGone) {
  registry.PutDword(u"A\\B", u"v", 1);
  ASSERT_EQ(Open(u"A\\B", kAll), tablet::kSuccess);
  registry.RemoveKey(u"A");
  RegistryValue value;
  EXPECT_EQ(registry.Query(*opened, u"v", value), tablet::kKeyDeleted);
  EXPECT_EQ(registry.Set(*opened, u"v", tablet::DwordValue(2)), tablet::kKeyDeleted);
  std::shared_ptr<OpenKey> below;
  EXPECT_EQ(registry.Create(opened.get(), u"C", kAll, below, existed), tablet::kKeyDeleted);
  EXPECT_FALSE(registry.HasKey(u"A"));
}

TEST_F(RegistryTest, ASummaryTellsNumbersAndLongestLengths) {
  registry.MakeKey(u"A\\12345");
  registry.MakeKey(u"A\\123");
  registry.PutText(u"A", u"name", u"four");
  registry.PutDword(u"A", u"", 0);
  ASSERT_EQ(Open(u"A", kRead), tablet::kSuccess);
  tablet::KeySummary summary;
  ASSERT_EQ(registry.Describe(*opened, summary), tablet::kSuccess);
  EXPECT_EQ(summary.sub_keys, 2u);
  EXPECT_EQ(summary.longest_sub_key, 5u);
  EXPECT_EQ(summary.values, 2u);
  EXPECT_EQ(summary.longest_value_name, 4u);
  EXPECT_EQ(summary.longest_value_data, 10u);
}

TEST_F(RegistryTest, TextsAndNumbersAreReadOnlyAsWhatTheyAre) {
  registry.Put(u"A", u"short", {tablet::kTypeDword, {1, 0}});
  registry.Put(u"A", u"open", {tablet::kTypeText, {'a', 0, 'b', 0}});
  registry.PutDword(u"A", u"number", 0x12345678);
  registry.PutText(u"A", u"text", u"hi");
  EXPECT_EQ(registry.GetDword(u"A", u"short"), std::nullopt);
  EXPECT_EQ(registry.GetDword(u"A", u"text"), std::nullopt);
  EXPECT_EQ(registry.GetText(u"A", u"number"), std::nullopt);
  EXPECT_EQ(registry.GetText(u"A", u"open"), u"ab");
  EXPECT_EQ(registry.GetDword(u"A", u"number"), 0x12345678u);
  EXPECT_EQ(registry.Get(u"A", u"text")->data, (std::vector<std::uint8_t>{'h', 0, 'i', 0, 0, 0}));
  EXPECT_EQ(registry.Get(u"Missing", u"x"), std::nullopt);
}

TEST_F(RegistryTest, QueriesAreToldWithTheirOutcome) {
  registry.PutDword(u"Soft\\Key", u"there", 7);
  std::vector<std::string> told;
  registry.on_query = [&](std::u16string_view key, std::u16string_view value, tablet::WinError result,
                          const RegistryValue& data) {
    told.push_back(tablet::ToUtf8(key) + ":" + tablet::ToUtf8(value) + "=" + std::to_string(result) + "/" +
                   std::to_string(data.data.size()));
  };
  ASSERT_EQ(Open(u"SOFT\\key", kRead), tablet::kSuccess);
  RegistryValue value;
  registry.Query(*opened, u"There", value);
  registry.Query(*opened, u"gone", value);
  EXPECT_THAT(told, ElementsAre("Soft\\Key:There=0/4", "Soft\\Key:gone=2/0"));
}

std::vector<std::string> Show(const std::vector<RegistryChange>& changes) {
  static constexpr const char* kNames[] = {"key+", "key-", "value+", "value~", "value-"};
  std::vector<std::string> shown;
  for (const RegistryChange& change : changes) {
    shown.push_back(std::string(kNames[static_cast<int>(change.kind)]) + " " + tablet::ToUtf8(change.key) + ":" +
                    tablet::ToUtf8(change.value));
  }
  return shown;
}

TEST_F(RegistryTest, AComparisonTellsEveryDifferenceInOrderOfPathAndName) {
  registry.PutDword(u"A\\Same", u"v", 1);
  registry.PutDword(u"A", u"changed", 1);
  registry.PutDword(u"A", u"Lost", 1);
  registry.PutDword(u"A\\Gone\\Deep", u"x", 1);
  std::unique_ptr<Registry> const before = registry.Snapshot();
  registry.PutDword(u"a", u"CHANGED", 2);
  registry.RemoveValue(u"A", u"lost");
  registry.RemoveKey(u"A\\Gone");
  registry.PutText(u"A\\New\\Deep", u"", u"x");
  EXPECT_THAT(Show(Registry::Compare(*before, registry)),
              ElementsAre("value~ A:changed", "value- A:Lost",
                          "key- A\\Gone:", "key+ A\\New:", "key+ A\\New\\Deep:", "value+ A\\New\\Deep:"));
  EXPECT_THAT(Registry::Compare(registry, registry), IsEmpty());
}

TEST_F(RegistryTest, ASnapshotKeepsItsStateAndCarriesNoGuards) {
  registry.PutDword(u"A", u"v", 1);
  registry.Guard(u"A", KeyGuard::kDenied);
  std::unique_ptr<Registry> const copy = registry.Snapshot();
  registry.PutDword(u"A", u"v", 2);
  EXPECT_EQ(copy->GetDword(u"A", u"v"), 1u);
  EXPECT_EQ(copy->Open(nullptr, u"A", kAll, opened), tablet::kSuccess);
}

TEST_F(RegistryTest, RemovingTheRootEmptiesTheHive) {
  registry.PutDword(u"A\\B", u"v", 1);
  registry.PutDword(u"", u"v", 1);
  registry.RemoveKey(u"");
  EXPECT_THAT(registry.SubKeyNames(u""), IsEmpty());
  EXPECT_THAT(registry.ValueNames(u""), IsEmpty());
  EXPECT_TRUE(registry.HasKey(u""));
}

}  // namespace
