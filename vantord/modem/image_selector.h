// Selects and deploys the modem firmware archive of this device; mirrors the device's modem image ID to firmware.
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
  /// Runs at the end of the use, on the worker thread.
  virtual ~CImageSelector();
  CImageSelector(const CImageSelector&) = delete;
  CImageSelector& operator=(const CImageSelector&) = delete;

  /// Extracts the toast resources and the selected modem archive, and hides the archives. Returns 1 if the modem
  /// archive was extracted completely (the "Distribute" request is then deleted), else 0. Files extracted before a
  /// failure stay.
  DWORD SelectAndDeployImage();

  /// Stores the name of the archive that the firmware's sales code maps to. The caller zeroes `modemBinary`.
  [[nodiscard]] bool DetermineImageByCSC(ModemBinaryName& modemBinary);
  /// Stores the name of the archive that the modem image ID maps to, else the default one.
  void DetermineImageByModemID(ModemBinaryName& modemBinary);

  /// Reads the registry's modem image ID. The caller zeroes `id`.
  [[nodiscard]] bool GetRegModemID(ModemImageId& id);
  /// Writes all 10 bytes of `id` to the firmware's "ModemImageID".
  [[nodiscard]] bool UpdateUEFIModemID(const ModemImageId& id);
  /// Copies the registry's modem image ID, if there is one, to firmware.
  void UpdateUEFIModemIDinAudit();

  /// Extracts every entry of an archive. `targetFolder` ends with a backslash: names are appended to it directly.
  /// Returns 1 if the archive opened and no entry failed, else 0; a failed entry does not stop the others.
  [[nodiscard]] DWORD UnzipBinary(const WCHAR* archivePath, const WCHAR* targetFolder);
  /// Sets the hidden attribute of the archives' folder and of the files in it.
  void HideModemFiles();

 private:
  [[nodiscard]] bool GetRegMapsCSC(const char* code, ModemBinaryName& modemBinary);
  [[nodiscard]] bool GetRegMapsImageID(const char* id, ModemBinaryName& modemBinary);
  [[nodiscard]] bool GetUEFIModemID(ModemImageId& id);
};

static_assert(sizeof(CImageSelector) == sizeof(void*), "nothing but the virtual table's pointer");
