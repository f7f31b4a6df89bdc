// Chooses the modem firmware archive that fits this device and puts it in place; keeps the device's modem image ID
// mirrored in firmware.
#pragma once

#include <windows.h>

#include <cstddef>

/// Characters of a modem binary name, terminator included ("VZW.bin"). Longer names are cut to 9 characters.
inline constexpr std::size_t kModemBinaryCharacters = 10;
/// Bytes of a modem image ID. An ID of 10 bytes has no terminator.
inline constexpr std::size_t kModemImageIdBytes = 10;

using ModemBinaryName = WCHAR[kModemBinaryCharacters];
using ModemImageId = char[kModemImageIdBytes];

/// Made on the stack for one use; holds no data.
class CImageSelector {
 public:
  CImageSelector();
  virtual ~CImageSelector();
  CImageSelector(const CImageSelector&) = delete;
  CImageSelector& operator=(const CImageSelector&) = delete;

  /// Unpacks the toast resources and the modem archive that fits, and hides the archives. 1 when the modem archive was
  /// extracted completely (the "Distribute" request is then gone), else 0. Files extracted before a failure stay.
  DWORD SelectAndDeployImage();

  /// Names the archive that the firmware's sales code maps to. `modemBinary` is zeroed by the caller.
  [[nodiscard]] bool DetermineImageByCSC(ModemBinaryName& modemBinary);
  /// Names the archive that the modem image ID maps to, else the default one: always leaves a name.
  void DetermineImageByModemID(ModemBinaryName& modemBinary);

  /// Reads the registry's modem image ID. `id` is zeroed by the caller.
  [[nodiscard]] bool GetRegModemID(ModemImageId& id);
  /// Writes all 10 bytes of `id` to the firmware's "ModemImageID".
  [[nodiscard]] bool UpdateUEFIModemID(const ModemImageId& id);
  /// Copies the registry's modem image ID, when there is one, to the firmware.
  void UpdateUEFIModemIDinAudit();

  /// Extracts every entry of an archive. `targetFolder` ends with a backslash: names are appended to it directly.
  /// 1 when the archive opened and no entry failed, else 0; an entry that fails does not stop the others.
  [[nodiscard]] DWORD UnzipBinary(const WCHAR* archivePath, const WCHAR* targetFolder);
  /// Sets the hidden attribute of the archives' folder and of the files in it.
  void HideModemFiles();

 private:
  [[nodiscard]] bool GetRegMapsCSC(const char* code, ModemBinaryName& modemBinary);
  [[nodiscard]] bool GetRegMapsImageID(const char* id, ModemBinaryName& modemBinary);
  [[nodiscard]] bool GetUEFIModemID(ModemImageId& id);
};

static_assert(sizeof(CImageSelector) == sizeof(void*), "nothing but the virtual table's pointer");
