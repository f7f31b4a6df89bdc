// I/O control requests to opened devices.
#include "sim/winapi/call.h"

namespace {

/// The request, the lengths of its buffers, and whether the caller asks for the bytes that were returned; what is in
/// the buffers is the driver's affair.
std::string Describe(HANDLE device, DWORD code, DWORD in_size, DWORD out_size, bool counts) {
  return fmt::format("{}, {:#x}, {} in, {} out{}", win32::ShowHandle(device), code, in_size, out_size,
                     counts ? "" : ", not counted");
}

}  // namespace

BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                            LPDWORD returned, LPOVERLAPPED overlapped) {
  auto describe = [&] { return Describe(device, code, inSize, outSize, returned != nullptr); };
  win32::Call call("DeviceIoControl", describe);
  if (overlapped != nullptr) win32::RefuseUnmodelled("DeviceIoControl", "an overlapped request");
  if ((in == nullptr && inSize != 0) || (out == nullptr && outSize != 0)) {
    win32::RefuseUnmodelled("DeviceIoControl", "a length without a buffer");
  }
  if (returned != nullptr) *returned = 0;
  if (call.fault() != 0) return call.Fail(FALSE);

  std::shared_ptr<tablet::Object> const object = win32::Machine().handles().Find(win32::Number(device));
  if (object == nullptr) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  auto const file = std::dynamic_pointer_cast<tablet::DeviceFile>(object);
  if (file == nullptr) return call.Fail(FALSE, ERROR_INVALID_FUNCTION);

  DWORD bytes = 0;
  tablet::WinError const error =
      file->Control(code, {static_cast<const BYTE*>(in), inSize}, {static_cast<BYTE*>(out), outSize}, bytes);
  if (returned != nullptr) *returned = bytes;
  return error == 0 ? call.Done(TRUE) : call.Fail(FALSE, error);
}
