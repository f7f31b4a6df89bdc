#include "tests/testing/modem_fixture.h"

namespace modem_tests {

namespace {
constexpr char kSalesCodeVendor[] = "{9806d87d-b4fb-4d02-97d2-8597337abc83}";
constexpr char kImageIdVendor[] = "{B61EB57B-80E6-491C-AFCA-45FF77702391}";
constexpr std::uint32_t kRegSz = 1;
}  // namespace

tablet::RegistryValue TextValue(std::u16string_view text) {
  tablet::RegistryValue value{.type = kRegSz, .data = {}};
  for (char16_t const unit : text) {
    value.data.push_back(static_cast<std::uint8_t>(unit & 0xff));
    value.data.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  value.data.insert(value.data.end(), {0, 0});
  return value;
}

ModemTest::ModemTest() { OpenLog(); }

void ModemTest::PowerOnAgain(const tablet::Description& description) {
  PowerOn(description);
  OpenLog();
}

void ModemTest::PutInstance(std::u16string_view name, std::u16string_view firmware_path) {
  registry().PutText(Instance(name), u"AmssFwImagePath", firmware_path);
}

void ModemTest::PutFirmware(const char16_t* name, const char* vendor, Bytes data) {
  machine().firmware().Put({name, *tablet::Guid::Parse(vendor)}, std::move(data));
}

void ModemTest::PutSalesCode(std::string_view code) { PutFirmware(u"SALES_CODE", kSalesCodeVendor, ToBytes(code)); }

void ModemTest::PutFirmwareImageId(std::string_view id) { PutFirmware(u"ModemImageID", kImageIdVendor, ToBytes(id)); }

Bytes ModemTest::FirmwareImageId() {
  auto const* const variable = machine().firmware().Find({u"ModemImageID", *tablet::Guid::Parse(kImageIdVendor)});
  return variable == nullptr ? Bytes{} : variable->data;
}

void ModemTest::EnterAuditMode() {
  registry().PutText(kSetupState, u"ImageState", u"IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT");
}

void ModemTest::PutArchive(const ZipBuilder& archive, std::u16string_view path) { drive().Put(path, archive.Build()); }

void ModemTest::PutArchive() {
  ZipBuilder archive;
  archive.Add("qcdsp1v2850.mbn", ToBytes("firmware"));
  PutArchive(archive);
}

bool ModemTest::IsDeployed() { return drive().Exists(u"c:\\windows\\system32\\qcdsp1v2850.mbn"); }

}  // namespace modem_tests
