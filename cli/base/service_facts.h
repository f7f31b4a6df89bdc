// Facts of the service that the program, the tests and the measurements share. The service has them in its own types;
// ServiceFacts in tests/unit/common compares both.
#pragma once

namespace service_facts {

/// The control GUID of the service's trace provider.
inline constexpr char kTraceProvider[] = "{2170F42F-27B0-4B8B-AE84-949191000F66}";
/// The message GUID of the service and framework module.
inline constexpr char kServiceMessages[] = "{3AEFEA6F-AED7-398F-0C1C-68436903AE64}";
/// The message GUID of the helper module.
inline constexpr char kHelperMessages[] = "{6311AFDF-0911-386C-ED5C-6962340DA587}";

/// The folder of the firmware archives, as the service writes it.
inline constexpr char kArchiveFolder[] = "c:\\windows\\system32\\modem_core";
inline constexpr char16_t kWideArchiveFolder[] = u"c:\\windows\\system32\\modem_core";

inline constexpr char16_t kWideArchives[] = u"c:\\windows\\system32\\modem_core\\*";
/// The folder's name within a path.
inline constexpr char kArchivePart[] = "\\modem_core\\";

/// The maps that name an archive, below HKEY_LOCAL_MACHINE.
inline constexpr char kCscMap[] = "SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters\\CSC";
inline constexpr char16_t kWideCscMap[] = u"SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters\\CSC";
inline constexpr char kImageIdMap[] = "SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters\\ImageID";
inline constexpr char16_t kWideImageIdMap[] = u"SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters\\ImageID";

/// Below HKEY_LOCAL_MACHINE.
inline constexpr char16_t kServiceKey[] = u"SYSTEM\\CurrentControlSet\\Services\\Vantord";
inline constexpr char16_t kParametersKey[] = u"SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters";

/// The class of the modem's driver, below HKEY_LOCAL_MACHINE.
inline constexpr char16_t kModemClass[] =
    u"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e97d-e325-11ce-bfc1-08002be10318}";
/// The vendors of the firmware variables SALES_CODE and ModemImageID.
inline constexpr char kSalesCodeVendor[] = "9806d87d-b4fb-4d02-97d2-8597337abc83";
inline constexpr char kImageIdVendor[] = "B61EB57B-80E6-491C-AFCA-45FF77702391";

}  // namespace service_facts
