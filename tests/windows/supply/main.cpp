#include <cstring>

#include "tests/windows/supply/supply.h"

namespace supply {

namespace {

const IMAGE_IMPORT_DESCRIPTOR* FirstImport(const BYTE* image) {
  auto const& dos = *reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
  auto const& headers = *reinterpret_cast<const IMAGE_NT_HEADERS64*>(image + dos.e_lfanew);
  const DWORD at = headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  return at == 0 ? nullptr : reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(image + at);
}

}  // namespace

void* Redirect(const char* name, void* function) {
  auto* const image = reinterpret_cast<BYTE*>(::GetModuleHandleW(nullptr));
  for (auto const* library = FirstImport(image); library != nullptr && library->Name != 0; ++library) {
    auto const* wanted = reinterpret_cast<const IMAGE_THUNK_DATA64*>(image + library->OriginalFirstThunk);
    auto* address = reinterpret_cast<void**>(image + library->FirstThunk);
    for (; wanted->u1.AddressOfData != 0; ++wanted, ++address) {
      if (IMAGE_SNAP_BY_ORDINAL64(wanted->u1.Ordinal)) continue;
      auto const* const import = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(image + wanted->u1.AddressOfData);
      if (std::strcmp(reinterpret_cast<const char*>(import->Name), name) != 0) continue;
      void* const before = *address;
      DWORD protection = 0;
      ::VirtualProtect(address, sizeof(void*), PAGE_READWRITE, &protection);
      *address = function;
      ::VirtualProtect(address, sizeof(void*), protection, &protection);
      return before;
    }
  }
  return nullptr;
}

}  // namespace supply

extern "C" BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID) {
  if (reason != DLL_PROCESS_ATTACH) return TRUE;
  ::DisableThreadLibraryCalls(library);
#ifdef __aarch64__
  supply::RedirectArguments();
#endif
  supply::RedirectTracing();
  supply::RedirectControls();
  supply::RedirectStatus();
  return TRUE;
}
