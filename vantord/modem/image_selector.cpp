#include "vantord/modem/image_selector.h"

#include <cstring>
#include <memory>
#include <new>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"
#include "vantord/common/registry.h"
#include "vantord/common/wide_format.h"
#include "vantord/modem/registry_names.h"
#include "vantord/uefi/uefi_handler.h"

namespace {

constexpr WCHAR kCscMapKey[] = TEXT("SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters\\CSC");
constexpr WCHAR kImageIdMapKey[] = TEXT("SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters\\ImageID");
constexpr WCHAR kImageIdVendor[] = TEXT("{B61EB57B-80E6-491C-AFCA-45FF77702391}");

struct DefaultImage {
  char id[kModemImageIdBytes];
  WCHAR fileName[100];
};
/// Deliberate: Only the first row's file name is used, as the default image; the IDs are not looked up. Expected: a
/// lookup by ID.
/// Test: ImageSelector.TheBuiltInTableIsNotLookedUpById
constexpr DefaultImage kDefaultImages[] = {
    {"VZW", TEXT("VZW.bin")},
    {"KOR", TEXT("KOR.bin")},
    {"ATT", TEXT("ATT.bin")},
};

/// A modem image ID as text; one of 10 bytes has no terminator.
struct IdText {
  explicit IdText(const ModemImageId& id) { std::memcpy(text, id, kModemImageIdBytes); }
  char text[kModemImageIdBytes + 1] = {};
};

void UseDefaultImage(ModemBinaryName& modemBinary) {
  CopyWide(modemBinary, kModemBinaryCharacters, kDefaultImages[0].fileName);
}

/// Queries a map's entry of more than 9 characters and keeps the first 9; `bytes` is its whole size.
LSTATUS QueryCut(HKEY map, const WCHAR* name, DWORD bytes, ModemBinaryName& modemBinary) {
  std::unique_ptr<BYTE[]> const whole(new (std::nothrow) BYTE[bytes]);
  if (whole == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
  LSTATUS const status = ::RegQueryValueExW(map, name, nullptr, nullptr, whole.get(), &bytes);
  if (status == ERROR_SUCCESS) {
    std::memcpy(modemBinary, whole.get(), bytes < sizeof(ModemBinaryName) ? bytes : sizeof(ModemBinaryName));
  }
  return status;
}

/// Reads a map's entry as SGetRegistrySZ does, with one difference.
/// What a failed query leaves in the buffer is undefined, so the cut needs a query of its own.
/// Deliberate: An entry of more than 9 characters is cut to 9. Expected: the failure of SGetRegistrySZ.
/// Test: ImageSelector.AMapEntryOf15CharactersIsCutTo9
bool ReadMapEntry(const WCHAR* mapKey, const WCHAR* name, ModemBinaryName& modemBinary) {
  RegistryKey map;
  WCHAR noClass[] = TEXT("");
  if (::RegCreateKeyExW(HKEY_LOCAL_MACHINE, mapKey, 0, noClass, REG_OPTION_NON_VOLATILE, KEY_READ, nullptr,
                        map.Receive(), nullptr) != ERROR_SUCCESS) {
    return false;
  }
  DWORD bytes = sizeof(ModemBinaryName);
  LSTATUS status = ::RegQueryValueExW(map.get(), name, nullptr, nullptr, reinterpret_cast<LPBYTE>(modemBinary), &bytes);
  if (status == ERROR_MORE_DATA) status = QueryCut(map.get(), name, bytes, modemBinary);
  modemBinary[kModemBinaryCharacters - 1] = 0;
  map.Close();  // before the message
  if (status != ERROR_SUCCESS) {
    HelperDebugPrint(TEXT("%S:%d : RegQueryValueEx fail, ValueName = %s"), "SGetRegistrySZ", 887, name);
    return false;
  }
  return true;
}

}  // namespace

// Deliberate: The constructor and the destructor log the same name. Expected: a "~" in the destructor's name.
// Test: ImageSelector.ConstructorAndDestructorLogUnderOneName
CImageSelector::CImageSelector() { FunctionScope const scope("CImageSelector::CImageSelector"); }
CImageSelector::~CImageSelector() { FunctionScope const scope("CImageSelector::CImageSelector"); }

bool CImageSelector::DetermineImageByCSC(ModemBinaryName& modemBinary) {
  char code[4] = {};
  if (!GetUEFISalesCode(code)) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Device CSC Not Exist"), "CImageSelector::DetermineImageByCSC", 53);
    return false;
  }
  // A code has three letters. A fourth byte from firmware would replace the terminator.
  code[3] = 0;
  if (!GetRegMapsCSC(code, modemBinary)) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Maps CSC Reg Not Exist. Try to find by Modem Image ID"),
                   "CImageSelector::DetermineImageByCSC", 59);
    return false;
  }
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : DetermineModemBinary %s by CSC %S"), "CImageSelector::DetermineImageByCSC",
                 62, modemBinary, code);
  return true;
}

// An empty code reads the key's default value, here and in the map of IDs.
bool CImageSelector::GetRegMapsCSC(const char* code, ModemBinaryName& modemBinary) {
  WCHAR name[4] = {};
  ::MultiByteToWideChar(CP_ACP, 0, code, -1, name, 4);
  if (!ReadMapEntry(kCscMapKey, name, modemBinary)) return false;
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Registry CSC(%S) ModemBinary(%s)"), "CImageSelector::GetRegMapsCSC", 96,
                 code, modemBinary);
  return true;
}

// Deliberate: An ID in the registry that the map does not list selects the default image; the firmware's ID is read
// only if the registry has none. Expected: the firmware's ID next.
// Test: ImageSelector.AnUnmappedRegistryIdIsNotRetriedWithTheFirmwareId
void CImageSelector::DetermineImageByModemID(ModemBinaryName& modemBinary) {
  ModemImageId id = {};
  if (!GetRegModemID(id) && !GetUEFIModemID(id)) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Device ModemImageId Reg/UEFI Not Exist"),
                   "CImageSelector::DetermineImageByModemID", 72);
    UseDefaultImage(modemBinary);
    return;
  }
  IdText const text(id);
  if (!GetRegMapsImageID(text.text, modemBinary)) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Maps ImageID Reg Not Exist. Use Default Modem Binary"),
                   "CImageSelector::DetermineImageByModemID", 79);
    UseDefaultImage(modemBinary);
    return;
  }
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : DetermineModemBinary %s by ModemImageID %S"),
                 "CImageSelector::DetermineImageByModemID", 84, modemBinary, text.text);
}

bool CImageSelector::GetRegMapsImageID(const char* id, ModemBinaryName& modemBinary) {
  WCHAR name[kModemImageIdBytes + 1] = {};
  ::MultiByteToWideChar(CP_ACP, 0, id, -1, name, kModemImageIdBytes + 1);
  if (!ReadMapEntry(kImageIdMapKey, name, modemBinary)) return false;
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Registry ModemImageID(%S) ModemBinary(%s)"),
                 "CImageSelector::GetRegMapsImageID", 123, id, modemBinary);
  return true;
}

// Deliberate: The ID is converted to UTF-8 here and back by the ANSI code page in the map's lookup. An ID of more than
// 10 bytes of UTF-8 is not converted, and still counts as read. Expected: one encoding, and a failure.
// Test: ImageSelector.AnIdBeyondAsciiIsLookedUpByOtherLetters,
// ImageSelector.AnIdOfMoreThan10BytesOfUtf8StillCountsAsRead
bool CImageSelector::GetRegModemID(ModemImageId& id) {
  WCHAR wideId[10] = {};
  if (!SGetRegistrySZ(kServiceKey, kModemImageIdValue, wideId, sizeof(wideId))) return false;
  ::WideCharToMultiByte(CP_UTF8, 0, wideId, -1, id, kModemImageIdBytes, nullptr, nullptr);
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Registry Modem Image ID = %S!!!"), "CImageSelector::GetRegModemID", 109,
                 IdText(id).text);
  return true;
}

bool CImageSelector::GetUEFIModemID(ModemImageId& id) {
  CKAVRILUEFIHandler handler(kModemImageIdValue, kImageIdVendor);
  (void)handler.Ready();  // Read calls it again and reports its failure
  if (handler.Read(id, kModemImageIdBytes) == 0) return false;
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : UEFI Modem Image ID = %S!!!"), "CImageSelector::GetUEFIModemID", 164,
                 IdText(id).text);
  return true;
}

bool CImageSelector::UpdateUEFIModemID(const ModemImageId& id) {
  CKAVRILUEFIHandler handler(kModemImageIdValue, kImageIdVendor);
  bool const written = handler.Write(id);
  if (written) {
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Update UEFI Modem Image ID = %S!!!"), "CImageSelector::UpdateUEFIModemID",
                   175, IdText(id).text);
  }
  return written;
}

// Deliberate: A successful update is logged twice with the same text. Expected: one message.
// Test: ImageSelector.AMirroredIdIsToldTwice
void CImageSelector::UpdateUEFIModemIDinAudit() {
  ModemImageId id = {};
  if (!GetRegModemID(id)) return;
  if (!UpdateUEFIModemID(id)) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Fail to Update Modem ID UEFI"), "CImageSelector::UpdateUEFIModemIDinAudit",
                   137);
    return;
  }
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Update UEFI Modem Image ID = %S!!!"),
                 "CImageSelector::UpdateUEFIModemIDinAudit", 141, IdText(id).text);
}
