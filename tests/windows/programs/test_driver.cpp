// The test driver: the firmware driver, the modem control device and "\\.\AMSSStats". Programs control it through a
// device of its own (steering.h).
#include <ntddk.h>

#include "tests/windows/programs/steering.h"

namespace {

constexpr GUID kModemClass = {0xD49F5C0E, 0xE540, 0x4DBE, {0xBF, 0x78, 0x97, 0xED, 0x9B, 0xD9, 0x87, 0xA4}};
constexpr GUID kSafiClass = {0xFD9FF848, 0x46D1, 0x4CE7, {0x89, 0x40, 0x6D, 0xF2, 0xF1, 0xE6, 0xEF, 0xF6}};
constexpr GUID kUsbClass = {0xA5DCBF10, 0x6530, 0x11D2, {0x90, 0x1F, 0x00, 0xC0, 0x4F, 0xB9, 0x51, 0xED}};

// The firmware driver's requests. Their method is direct output: the reply is in an MDL.
constexpr ULONG kSafiWrite = 0x68922002;
constexpr ULONG kSafiRead = 0x68922006;
constexpr ULONG kSafiSize = 0x6892200A;
constexpr ULONG kSafiHeaderBytes = 1040;
constexpr ULONG kSafiWrittenBytes = 10;
constexpr ULONG kModemReset = 0x9CA30C00;

constexpr ULONG kVariableNotFound = 203;    // ERROR_ENVVAR_NOT_FOUND
constexpr ULONG kInvalidParameter = 87;     // ERROR_INVALID_PARAMETER
constexpr ULONG kInsufficientBuffer = 122;  // ERROR_INSUFFICIENT_BUFFER

enum class Role : ULONG { kSteering, kStatistics, kTablet };

struct Extension {
  Role role;
  DEVICE_OBJECT* below;  ///< of the tablet's device: the next lower device
  UNICODE_STRING links[kSteerInterfaces];
};

DEVICE_OBJECT* g_steering;
DEVICE_OBJECT* g_statistics;
DEVICE_OBJECT* g_tablet;
SteerVariable g_variables[16];
SteerTrouble g_trouble;
SteerArrivals g_arrivals;
FAST_MUTEX g_mutex;

Extension& ExtensionOf(DEVICE_OBJECT* device) { return *static_cast<Extension*>(device->DeviceExtension); }

NTSTATUS Complete(IRP* irp, NTSTATUS status, ULONG_PTR bytes = 0) {
  irp->IoStatus.Status = status;
  irp->IoStatus.Information = bytes;
  IoCompleteRequest(irp, IO_NO_INCREMENT);
  return status;
}

WCHAR LowerCase(WCHAR character) {
  return character >= 'A' && character <= 'Z' ? static_cast<WCHAR>(character + 'a' - 'A') : character;
}

/// GUIDs are compared without case, names with case.
bool SameKey(const WCHAR* one, const WCHAR* other) {
  constexpr ULONG kGuidCharacters = 38;
  for (ULONG i = 0; i < 130; ++i) {
    if (i < kGuidCharacters ? LowerCase(one[i]) != LowerCase(other[i]) : one[i] != other[i]) return false;
    if (one[i] == 0) return true;
  }
  return true;
}

/// The variable of that key, or null. A free slot has an empty key.
SteerVariable* FindVariable(const WCHAR* key) {
  for (SteerVariable& variable : g_variables) {
    if (variable.key[0] != 0 && SameKey(variable.key, key)) return &variable;
  }
  return nullptr;
}

NTSTATUS PutVariable(const SteerVariable& given) {
  if (given.bytes > sizeof(given.data)) return STATUS_INVALID_PARAMETER;
  SteerVariable* place = FindVariable(given.key);
  for (SteerVariable& variable : g_variables) {
    if (place == nullptr && variable.key[0] == 0) place = &variable;
  }
  if (place == nullptr) return STATUS_INSUFFICIENT_RESOURCES;
  *place = given;
  if (given.bytes == 0) place->key[0] = 0;
  return STATUS_SUCCESS;
}

/// Handles a request to the firmware driver. The buffers are at least as long as their records.
ULONG AnswerSafi(ULONG code, const UCHAR* in, UCHAR* out, ULONG outBytes) {
  if (g_trouble.status != 0 && g_trouble.count != 0) {
    if (g_trouble.count != kSteerAlways) --g_trouble.count;
    return g_trouble.status;
  }
  auto const* const key = reinterpret_cast<const WCHAR*>(in);
  auto const* const name = reinterpret_cast<const WCHAR*>(in + kSafiHeaderBytes / 2);
  if (name[0] != 'O' || name[1] != 'E' || name[2] != 'M' || name[3] != 0) return kInvalidParameter;
  if (code == kSafiWrite) {
    SteerVariable written = {};
    for (ULONG i = 0; i + 1 < 130 && key[i] != 0; ++i) written.key[i] = key[i];
    written.bytes = kSafiWrittenBytes;
    RtlCopyMemory(written.data, in + kSafiHeaderBytes + 4, kSafiWrittenBytes);
    return PutVariable(written) == STATUS_SUCCESS ? 0 : kInsufficientBuffer;
  }
  const SteerVariable* const variable = FindVariable(key);
  if (variable == nullptr) return kVariableNotFound;
  if (code == kSafiSize) {
    RtlCopyMemory(out + 4, &variable->bytes, 4);
    return 0;
  }
  if (outBytes < variable->bytes + 5) return kInsufficientBuffer;
  RtlCopyMemory(out + 4, variable->data, variable->bytes);
  return 0;
}

NTSTATUS ControlTablet(IRP* irp, const IO_STACK_LOCATION& at) {
  const ULONG code = at.Parameters.DeviceIoControl.IoControlCode;
  const ULONG inBytes = at.Parameters.DeviceIoControl.InputBufferLength;
  const ULONG outBytes = at.Parameters.DeviceIoControl.OutputBufferLength;
  ULONG wantedIn = kSafiHeaderBytes;
  ULONG wantedOut = 8;
  if (code == kSafiRead) {
    wantedIn = kSafiHeaderBytes + 4;
    wantedOut = 5;
  } else if (code == kSafiWrite) {
    wantedIn = kSafiHeaderBytes + 4 + kSafiWrittenBytes + 1;
    wantedOut = 4;
  } else if (code != kSafiSize) {
    return Complete(irp, STATUS_INVALID_DEVICE_REQUEST);
  }
  if (inBytes != wantedIn || outBytes < wantedOut || irp->MdlAddress == nullptr) {
    return Complete(irp, STATUS_INVALID_PARAMETER);
  }
  auto* const out = static_cast<UCHAR*>(MmGetSystemAddressForMdlSafe(irp->MdlAddress, NormalPagePriority));
  if (out == nullptr) return Complete(irp, STATUS_INSUFFICIENT_RESOURCES);
  ULONG const status = AnswerSafi(code, static_cast<const UCHAR*>(irp->AssociatedIrp.SystemBuffer), out, outBytes);
  RtlCopyMemory(out, &status, 4);
  return Complete(irp, STATUS_SUCCESS, outBytes);
}

NTSTATUS ControlStatistics(IRP* irp, const IO_STACK_LOCATION& at) {
  if (at.Parameters.DeviceIoControl.IoControlCode != kModemReset) return Complete(irp, STATUS_INVALID_DEVICE_REQUEST);
  const ULONG bytes = at.Parameters.DeviceIoControl.InputBufferLength;
  if (bytes > sizeof(g_arrivals.reset)) return Complete(irp, STATUS_INVALID_PARAMETER);
  g_arrivals.resetBytes = bytes;
  RtlCopyMemory(g_arrivals.reset, irp->AssociatedIrp.SystemBuffer, bytes);
  return Complete(irp, STATUS_SUCCESS);
}

NTSTATUS ToggleStatistics(bool present) {
  UNICODE_STRING link;
  UNICODE_STRING device;
  RtlInitUnicodeString(&link, L"\\DosDevices\\AMSSStats");
  RtlInitUnicodeString(&device, L"\\Device\\AMSSStats");
  return present ? IoCreateSymbolicLink(&link, &device) : IoDeleteSymbolicLink(&link);
}

NTSTATUS ToggleInterface(const SteerInterface& wanted) {
  if (wanted.which == kSteerStatistics) return ToggleStatistics(wanted.present != 0);
  if (wanted.which >= kSteerInterfaces || g_tablet == nullptr) return STATUS_INVALID_PARAMETER;
  return IoSetDeviceInterfaceState(&ExtensionOf(g_tablet).links[wanted.which], wanted.present != 0 ? TRUE : FALSE);
}

NTSTATUS ControlSteering(IRP* irp, const IO_STACK_LOCATION& at) {
  const ULONG inBytes = at.Parameters.DeviceIoControl.InputBufferLength;
  const ULONG outBytes = at.Parameters.DeviceIoControl.OutputBufferLength;
  void* const buffer = irp->AssociatedIrp.SystemBuffer;
  switch (at.Parameters.DeviceIoControl.IoControlCode) {
    case kSteerInterface:
      if (inBytes != sizeof(SteerInterface)) break;
      return Complete(irp, ToggleInterface(*static_cast<SteerInterface*>(buffer)));
    case kSteerVariable:
      if (inBytes != sizeof(SteerVariable)) break;
      return Complete(irp, PutVariable(*static_cast<SteerVariable*>(buffer)));
    case kSteerTrouble:
      if (inBytes != sizeof(SteerTrouble)) break;
      g_trouble = *static_cast<SteerTrouble*>(buffer);
      return Complete(irp, STATUS_SUCCESS);
    case kReadVariable: {
      if (inBytes != sizeof(SteerVariable) || outBytes != sizeof(SteerVariable)) break;
      auto& asked = *static_cast<SteerVariable*>(buffer);
      const SteerVariable* const found = FindVariable(asked.key);
      if (found == nullptr) return Complete(irp, STATUS_OBJECT_NAME_NOT_FOUND);
      asked = *found;
      return Complete(irp, STATUS_SUCCESS, sizeof(SteerVariable));
    }
    case kReadArrivals:
      if (outBytes != sizeof(SteerArrivals)) break;
      *static_cast<SteerArrivals*>(buffer) = g_arrivals;
      RtlZeroMemory(&g_arrivals, sizeof(g_arrivals));
      return Complete(irp, STATUS_SUCCESS, sizeof(SteerArrivals));
    default:
      return Complete(irp, STATUS_INVALID_DEVICE_REQUEST);
  }
  return Complete(irp, STATUS_INVALID_PARAMETER);
}

NTSTATUS NTAPI Control(DEVICE_OBJECT* device, IRP* irp) {
  const IO_STACK_LOCATION& at = *IoGetCurrentIrpStackLocation(irp);
  Role const role = ExtensionOf(device).role;
  ExAcquireFastMutex(&g_mutex);
  if (role != Role::kSteering) {
    if (g_arrivals.requests < kSteerKeptCodes) {
      g_arrivals.codes[g_arrivals.requests] = at.Parameters.DeviceIoControl.IoControlCode;
    }
    ++g_arrivals.requests;
  }
  NTSTATUS status = STATUS_SUCCESS;
  switch (role) {
    case Role::kSteering:
      status = ControlSteering(irp, at);
      break;
    case Role::kStatistics:
      status = ControlStatistics(irp, at);
      break;
    case Role::kTablet:
      status = ControlTablet(irp, at);
      break;
  }
  ExReleaseFastMutex(&g_mutex);
  return status;
}

NTSTATUS NTAPI OpenOrClose(DEVICE_OBJECT* device, IRP* irp) {
  if (IoGetCurrentIrpStackLocation(irp)->MajorFunction == IRP_MJ_CREATE) {
    Role const role = ExtensionOf(device).role;
    ExAcquireFastMutex(&g_mutex);
    if (role == Role::kTablet) ++g_arrivals.modemOrSafiOpened;
    if (role == Role::kStatistics) ++g_arrivals.statisticsOpened;
    ExReleaseFastMutex(&g_mutex);
  }
  return Complete(irp, STATUS_SUCCESS);
}

NTSTATUS NTAPI PlugAndPlay(DEVICE_OBJECT* device, IRP* irp) {
  Extension& extension = ExtensionOf(device);
  // Interfaces arrive on the test's command, not when the device starts.
  UCHAR const minor = IoGetCurrentIrpStackLocation(irp)->MinorFunction;
  if (minor == IRP_MN_START_DEVICE || minor == IRP_MN_REMOVE_DEVICE) irp->IoStatus.Status = STATUS_SUCCESS;
  IoSkipCurrentIrpStackLocation(irp);
  NTSTATUS const status = IoCallDriver(extension.below, irp);
  if (minor == IRP_MN_REMOVE_DEVICE) {
    for (UNICODE_STRING& link : extension.links) {
      IoSetDeviceInterfaceState(&link, FALSE);
      RtlFreeUnicodeString(&link);
    }
    g_tablet = nullptr;
    IoDetachDevice(extension.below);
    IoDeleteDevice(device);
  }
  return status;
}

NTSTATUS NTAPI AddDevice(DRIVER_OBJECT* driver, DEVICE_OBJECT* physical) {
  DEVICE_OBJECT* device = nullptr;
  NTSTATUS status = IoCreateDevice(driver, sizeof(Extension), nullptr, FILE_DEVICE_UNKNOWN, 0, FALSE, &device);
  if (!NT_SUCCESS(status)) return status;
  Extension& extension = ExtensionOf(device);
  extension.role = Role::kTablet;
  const GUID* const classes[kSteerInterfaces] = {&kModemClass, &kSafiClass, &kUsbClass};
  for (ULONG i = 0; i < kSteerInterfaces && NT_SUCCESS(status); ++i) {
    status = IoRegisterDeviceInterface(physical, classes[i], nullptr, &extension.links[i]);
  }
  if (!NT_SUCCESS(status)) {
    IoDeleteDevice(device);
    return status;
  }
  extension.below = IoAttachDeviceToDeviceStack(device, physical);
  g_tablet = device;
  device->Flags &= ~DO_DEVICE_INITIALIZING;
  return STATUS_SUCCESS;
}

NTSTATUS MakeNamedDevice(DRIVER_OBJECT* driver, Role role, const WCHAR* name, const WCHAR* link, DEVICE_OBJECT** made) {
  UNICODE_STRING device;
  UNICODE_STRING symbolic;
  RtlInitUnicodeString(&device, name);
  RtlInitUnicodeString(&symbolic, link);
  NTSTATUS status = IoCreateDevice(driver, sizeof(Extension), &device, FILE_DEVICE_UNKNOWN, 0, FALSE, made);
  if (!NT_SUCCESS(status)) return status;
  ExtensionOf(*made).role = role;
  (*made)->Flags &= ~DO_DEVICE_INITIALIZING;
  return IoCreateSymbolicLink(&symbolic, &device);
}

void NTAPI Unload(DRIVER_OBJECT*) {
  UNICODE_STRING link;
  RtlInitUnicodeString(&link, L"\\DosDevices\\" VANTORD_STEERING_DEVICE);
  IoDeleteSymbolicLink(&link);
  RtlInitUnicodeString(&link, L"\\DosDevices\\AMSSStats");
  IoDeleteSymbolicLink(&link);
  if (g_steering != nullptr) IoDeleteDevice(g_steering);
  if (g_statistics != nullptr) IoDeleteDevice(g_statistics);
}

}  // namespace

extern "C" NTSTATUS NTAPI DriverEntry(DRIVER_OBJECT* driver, UNICODE_STRING*) {
  ExInitializeFastMutex(&g_mutex);
  driver->MajorFunction[IRP_MJ_CREATE] = &OpenOrClose;
  driver->MajorFunction[IRP_MJ_CLOSE] = &OpenOrClose;
  driver->MajorFunction[IRP_MJ_CLEANUP] = &OpenOrClose;
  driver->MajorFunction[IRP_MJ_DEVICE_CONTROL] = &Control;
  driver->MajorFunction[IRP_MJ_PNP] = &PlugAndPlay;
  driver->DriverExtension->AddDevice = &AddDevice;
  driver->DriverUnload = &Unload;
  NTSTATUS const status = MakeNamedDevice(driver, Role::kSteering, L"\\Device\\" VANTORD_STEERING_DEVICE,
                                          L"\\DosDevices\\" VANTORD_STEERING_DEVICE, &g_steering);
  if (!NT_SUCCESS(status)) return status;
  return MakeNamedDevice(driver, Role::kStatistics, L"\\Device\\AMSSStats", L"\\DosDevices\\AMSSStats", &g_statistics);
}

// The compiler generates calls of these; a driver has no C library.
extern "C" void* memcpy(void* to, const void* from, size_t count) {
  for (size_t i = 0; i < count; ++i) static_cast<volatile char*>(to)[i] = static_cast<const char*>(from)[i];
  return to;
}
extern "C" void* memset(void* at, int value, size_t count) {
  for (size_t i = 0; i < count; ++i) static_cast<volatile char*>(at)[i] = static_cast<char>(value);
  return at;
}
