#include "tests/unit/cli/import/hive_maker.h"

#include <fmt/format.h>
#include <hivex.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "sim/tablet/base/text.h"
#include "sim/tablet/folder/folder.h"
#include "tests/testing/empty_hive.h"

namespace testing_support {

namespace fs = std::filesystem;

namespace {

void Require(bool good, const std::string& what) {
  if (!good) throw std::runtime_error(what + ": " + std::strerror(errno));
}

void Fill(hive_h* hive, hive_node_h node, const tablet::Registry& registry, const std::u16string& path) {
  for (const std::u16string& name : registry.ValueNames(path)) {
    tablet::RegistryValue data = *registry.Get(path, name);
    std::string key = tablet::ToUtf8(name);
    data.data.reserve(1);  // never null
    hive_set_value const value{key.data(), static_cast<hive_type>(data.type), data.data.size(),
                               reinterpret_cast<char*>(data.data.data())};
    Require(::hivex_node_set_value(hive, node, &value, 0) == 0, key);
  }
  for (const std::u16string& name : registry.SubKeyNames(path)) {
    hive_node_h const child = ::hivex_node_add_child(hive, node, tablet::ToUtf8(name).c_str());
    Require(child != 0, tablet::ToUtf8(name));
    Fill(hive, child, registry, path + u'\\' + name);
  }
}

void CopyBelow(const tablet::Registry& from, const std::u16string& path, const std::u16string& to,
               tablet::Registry& registry) {
  registry.MakeKey(to);
  for (const std::u16string& value : from.ValueNames(path)) registry.Put(to, value, *from.Get(path, value));
  for (const std::u16string& name : from.SubKeyNames(path))
    CopyBelow(from, path + u'\\' + name, to + u'\\' + name, registry);
}

}  // namespace

void WriteHive(const fs::path& file, const tablet::Registry& registry, std::u16string_view hive) {
  fs::create_directories(file.parent_path());
  WriteBytes(file, EmptyHive());
  hive_h* const handle = ::hivex_open(file.c_str(), HIVEX_OPEN_WRITE);
  Require(handle != nullptr, file.string());
  Fill(handle, ::hivex_root(handle), registry, std::u16string(hive));
  Require(::hivex_commit(handle, file.c_str(), 0) == 0, file.string());
  ::hivex_close(handle);
}

void MakeWindowsVolume(const fs::path& tablet, const fs::path& volume, int control_set) {
  tablet::CopyTree(tablet / "C", volume);
  tablet::Registry registry;
  tablet::ReadRegistryFolder(tablet, registry);
  tablet::Registry offline;
  CopyBelow(registry, u"SOFTWARE", u"SOFTWARE", offline);
  std::u16string const system = u"SYSTEM\\" + tablet::ToUtf16(fmt::format("ControlSet{:03}", control_set));
  CopyBelow(registry, u"SYSTEM\\CurrentControlSet", system, offline);
  offline.PutText(system + u"\\Services\\Pelt", u"ImagePath", u"C:\\Windows\\System32\\PeltService.exe");
  offline.PutDword(u"SYSTEM\\Select", u"Current", static_cast<std::uint32_t>(control_set));
  offline.PutText(u"SYSTEM\\Setup", u"Elsewhere", u"no key of a tablet");
  WriteHive(volume / "Windows/System32/config/SYSTEM", offline, u"SYSTEM");
  WriteHive(volume / "Windows/System32/config/SOFTWARE", offline, u"SOFTWARE");
}

std::string ReadBytes(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

void WriteBytes(const fs::path& file, const std::string& bytes) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << bytes;
}

}  // namespace testing_support
