// Writes the binary seeds: fuzz_seeds FOLDER makes FOLDER/<harness>/<seed> for the harnesses of archives, names,
// extra fields and hives. The same bytes every time.
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/testing/zip_builder.h"

namespace {

using namespace testing_support;
namespace fs = std::filesystem;

class Seeds {
 public:
  explicit Seeds(fs::path folder) : folder_(std::move(folder)) {}

  void Write(const std::string& harness, const std::string& name, const Bytes& bytes) {
    fs::create_directories(folder_ / harness);
    std::ofstream stream(folder_ / harness / name, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    good_ = good_ && stream.good();
  }
  void Archive(const std::string& name, const ZipBuilder& zip) {
    Write("zip_memory", name, zip.Build());
    Write("zip_file", name, zip.Build());
  }
  bool good() const { return good_; }

 private:
  fs::path folder_;
  bool good_ = true;
};

template <typename Edit>
void EditBoth(ZipItem& item, Edit edit) {
  item.edit_local = edit;
  item.edit_central = edit;
}

/// A valid archive with one entry of each kind.
ZipBuilder Ordinary() {
  ZipBuilder zip;
  zip.Add("stored.bin", Incompressible(40), 0);
  zip.AddFolder("sub/");
  zip.Add("sub/deflated.bin", Compressible(2000)).local_extra = TimestampBlock(7, {1, 2, 3});
  zip.Add("later.bin", Compressible(300)).data_descriptor = true;
  return zip;
}

void WriteGoodArchives(Seeds& seeds) {
  seeds.Archive("ordinary", Ordinary());
  seeds.Archive("empty", ZipBuilder());
  ZipBuilder prefixed = Ordinary();
  prefixed.prefix = Bytes(100, 0x4D);
  prefixed.comment = ToBytes("a comment");
  seeds.Archive("prefix-and-comment", prefixed);
  ZipBuilder secret;
  secret.Add("secret-stored", ToBytes("content"), 0).password = "password";
  secret.Add("secret", Compressible(300)).password = "password";
  ZipItem& later = secret.Add("secret-later", Compressible(300));
  later.password = "password";
  later.data_descriptor = true;
  seeds.Archive("encrypted", secret);
  ZipBuilder unix_host = Ordinary();
  ZipItem& read_only = unix_host.Add("T\xC3\xB6n", ToBytes("x"), 0);
  read_only.version_made_by = 0x031E;
  read_only.external_attributes = 0100444u << 16;
  seeds.Archive("unix-host", unix_host);
}

void WriteLyingArchives(Seeds& seeds) {
  ZipBuilder sizes;
  EditBoth(sizes.Add("short-stored", ToBytes("abcdef"), 0), [](auto& header) { header.uncompressed_size = 60; });
  EditBoth(sizes.Add("long-deflated", Compressible(500)), [](auto& header) { header.uncompressed_size = 100; });
  EditBoth(sizes.Add("endless", ToBytes("abc"), 0), [](auto& header) { header.compressed_size = 0xFFFFFFFF; });
  seeds.Archive("sizes-that-lie", sizes);

  ZipBuilder counts = Ordinary();
  counts.edit_end = [](EndRecord& end) { end.entries = end.entries_on_disk = 65535; };
  seeds.Archive("65535-entries", counts);

  ZipBuilder overlap;
  for (int i = 0; i < 4; ++i) {
    overlap.Add("same", Compressible(900)).edit_central = [](CentralHeader& header) { header.local_header_offset = 0; };
  }
  seeds.Archive("overlapping", overlap);

  ZipBuilder names;
  for (const char* name : {"../out", "a/../b", "C:\\x\\y", "/etc/z", "..\\..\\z", "a\\..", "\xFF\xFE", "con", ""}) {
    names.Add(name, ToBytes("x"), 0);
  }
  names.Add(std::string(261, 'n'), ToBytes("x"), 0);
  seeds.Archive("names-that-lie", names);

  ZipBuilder extras;
  extras.Add("255", ToBytes("x"), 0).local_extra = ExtraBlock(1, Bytes(255, 'U'));
  extras.Add("256", ToBytes("x"), 0).local_extra = ExtraBlock(1, Bytes(256, 'T'));
  extras.Add("cut", ToBytes("x"), 0).local_extra = Bytes{'U', 'T', 13, 0, 7, 1, 2};
  extras.Add("beyond", ToBytes("x"), 0).edit_local = [](LocalHeader& header) { header.extra_length = 0xFFFF; };
  seeds.Archive("extra-fields-that-lie", extras);

  ZipBuilder headers = Ordinary();
  headers.Add("method", ToBytes("x"), 12);
  headers.Add("offset", ToBytes("x")).edit_central = [](CentralHeader& h) { h.local_header_offset = 0x80000000; };
  headers.Add("bad", ToBytes("x")).edit_central = [](CentralHeader& h) { h.signature = 0; };
  seeds.Archive("headers-that-lie", headers);

  ZipBuilder twice = Ordinary();
  twice.comment = ZipBuilder().Build();
  seeds.Archive("second-end-record", twice);
}

void WriteNamesAndExtraFields(Seeds& seeds) {
  for (const char* name : {"plain.bin", "C:\\x\\y.bin", "/etc/z", "a/../b", "../b", "a\\..\\b/../c\\../d/..\\e",
                           "a:b:c", "T\xC3\xB6n/\xF0\x9F\x93\xB1", "\xFF\xC3(\xE2\x82", "\\\\server\\share", "a\\.."}) {
    std::string file = "name-";
    for (const char* c = name; *c != 0; ++c) file += std::isalnum(static_cast<unsigned char>(*c)) != 0 ? *c : '_';
    seeds.Write("entry_name", file, ToBytes(name));
  }
  seeds.Write("entry_name", "long", ToBytes(std::string(250, 'n') + "/../" + std::string(20, 'm')));
  for (std::uint8_t flags = 0; flags < 8; ++flags) {
    seeds.Write("extra_field", "timestamps-" + std::to_string(flags), TimestampBlock(flags, {1, -2, 3}));
  }
  Bytes behind = ExtraBlock(0x7875, Bytes(11, 1));
  for (std::uint8_t byte : TimestampBlock(7, {1, 2})) behind.push_back(byte);
  seeds.Write("extra_field", "behind-another-block", behind);
  seeds.Write("extra_field", "a-block-of-256", ExtraBlock(1, Bytes(256, 'U')));
  seeds.Write("extra_field", "a-block-of-300", ExtraBlock(1, Bytes(300, 'T')));
}

/// Cells of a hive, the first of them its root key; places count from the bin's header.
class HiveCells {
 public:
  /// A used cell; returns its place.
  std::uint32_t Add(const Bytes& body) {
    auto const at = static_cast<std::uint32_t>(kFirst + bytes_.size());
    std::size_t const size = (4 + body.size() + 7) & ~std::size_t{7};
    Number(bytes_, static_cast<std::uint32_t>(-static_cast<std::int32_t>(size)), 4);
    bytes_.insert(bytes_.end(), body.begin(), body.end());
    bytes_.resize(bytes_.size() + size - 4 - body.size());
    return at;
  }
  static void Number(Bytes& to, std::uint32_t number, int bytes) {
    for (int i = 0; i < bytes; ++i) to.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
  }
  /// A key; lists that are kNone have nothing in them.
  static Bytes Key(std::string_view name, std::uint32_t keys, std::uint32_t key_list, std::uint32_t values,
                   std::uint32_t value_list) {
    Bytes key = ToBytes("nk");
    Number(key, 0x20, 2);
    key.resize(key.size() + 16);  // time, access, parent
    for (std::uint32_t const field : {keys, 0u, key_list, kNone, values, value_list, kNone, kNone})
      Number(key, field, 4);
    key.resize(key.size() + 20);
    Number(key, static_cast<std::uint32_t>(name.size()), 4);
    key.insert(key.end(), name.begin(), name.end());
    return key;
  }
  static Bytes Value(std::string_view name, std::uint32_t type, std::uint32_t length, std::uint32_t data) {
    Bytes value = ToBytes("vk");
    Number(value, static_cast<std::uint32_t>(name.size()), 2);
    for (std::uint32_t const field : {length, data, type, 1u}) Number(value, field, 4);
    value.insert(value.end(), name.begin(), name.end());
    return value;
  }
  static Bytes List(std::string_view kind, std::initializer_list<std::uint32_t> places) {
    Bytes list = ToBytes(std::string(kind));
    if (!kind.empty()) Number(list, static_cast<std::uint32_t>(places.size()), 2);
    for (std::uint32_t const place : places) {
      Number(list, place, 4);
      if (kind == "lf" || kind == "lh") Number(list, 0, 4);
    }
    return list;
  }
  const Bytes& bytes() const { return bytes_; }

  static constexpr std::uint32_t kNone = 0xFFFFFFFF, kFirst = 0x20, kInline = 0x80000000;
  /// Of the root, whose name has one character: what follows begins here.
  static constexpr std::uint32_t kAfterRoot = kFirst + 88;

 private:
  Bytes bytes_;
};

void WriteHives(Seeds& seeds) {
  using Cells = HiveCells;
  constexpr std::uint32_t kNone = Cells::kNone;
  for (const char* const kind : {"lf", "lh", "li"}) {
    Cells cells;
    cells.Add(Cells::Key("R", 1, Cells::kAfterRoot, 0, kNone));
    std::uint32_t const place = Cells::kAfterRoot + 16;
    cells.Add(Cells::List(kind, {place}));
    cells.Add(Cells::Key("a", 0, kNone, 0, kNone));
    seeds.Write("hive", std::string("list-") + kind, cells.bytes());
  }
  Cells values;
  values.Add(Cells::Key("R", 0, kNone, 2, Cells::kAfterRoot));
  values.Add(Cells::List({}, {Cells::kAfterRoot + 16, Cells::kAfterRoot + 48}));
  values.Add(Cells::Value("c", 4, 4 | Cells::kInline, 7));
  values.Add(Cells::Value("", 1, 6, Cells::kAfterRoot + 72));
  values.Add(ToBytes(std::string("x\0y\0\0\0", 6)));
  seeds.Write("hive", "values", values.bytes());
  Cells below;
  below.Add(Cells::Key("R", 1, Cells::kAfterRoot, 0, kNone));
  below.Add(Cells::List("lf", {Cells::kFirst}));
  seeds.Write("hive", "below-itself", below.bytes());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: fuzz_seeds FOLDER\n", stderr);
    return 2;
  }
  Seeds seeds(argv[1]);
  WriteGoodArchives(seeds);
  WriteLyingArchives(seeds);
  WriteNamesAndExtraFields(seeds);
  WriteHives(seeds);
  if (!seeds.good()) std::fprintf(stderr, "%s: cannot be written\n", argv[1]);
  return seeds.good() ? 0 : 1;
}
