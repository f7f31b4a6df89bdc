#include "cli/boot/fresh_service.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace cli {

namespace {

using Entry = int (*)(int argumentCount, char16_t** arguments);

constexpr const char* kLibrary = "libvantord_again.so";

/// Beside the program, in the folder above it, or where it is installed.
std::filesystem::path LibraryPath() {
  std::filesystem::path const folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  for (const auto& place : {folder, folder.parent_path()}) {
    if (std::filesystem::exists(place / kLibrary)) return place / kLibrary;
  }
  return folder.parent_path() / "lib" / "vantord" / kLibrary;
}

/// A copy of the library in memory: the loader takes each file once, and a copy is another file.
int CopyInMemory(const std::filesystem::path& library) {
  int const from = ::open(library.c_str(), O_RDONLY | O_CLOEXEC);
  if (from < 0) throw std::runtime_error("cannot restart the service: " + library.string() + " is missing");
  int const copy = ::memfd_create(kLibrary, MFD_CLOEXEC);
  struct stat facts = {};
  bool whole = copy >= 0 && ::fstat(from, &facts) == 0;
  for (off_t at = 0; whole && at < facts.st_size;) {
    whole = ::sendfile(copy, from, &at, static_cast<std::size_t>(facts.st_size - at)) > 0;
  }
  ::close(from);
  if (!whole) throw std::runtime_error("cannot restart the service: " + library.string() + " cannot be read");
  return copy;
}

}  // namespace

namespace {

std::vector<std::function<int()>>& Loaded() {
  static std::vector<std::function<int()>> services;
  return services;
}

std::function<int()> LoadFreshService() {
  int const copy = CopyInMemory(LibraryPath());
  // The copy binds its own names to itself and those of the Windows API to this program.
  void* const library = ::dlopen(("/proc/self/fd/" + std::to_string(copy)).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) throw std::runtime_error(std::string("cannot restart the service: ") + ::dlerror());
  auto const entry = reinterpret_cast<Entry>(::dlsym(library, "wmain"));
  if (entry == nullptr) throw std::runtime_error(std::string("cannot restart the service: ") + ::dlerror());
  return [entry] {
    char16_t name[] = u"Vantord.exe";
    char16_t* arguments[] = {name, nullptr};
    return entry(1, arguments);
  };
}

}  // namespace

std::function<int()> FreshService() {
  if (Loaded().empty()) return LoadFreshService();
  std::function<int()> service = std::move(Loaded().back());
  Loaded().pop_back();
  return service;
}

void LoadFreshServices(int copies) {
  for (int i = 0; i < copies; ++i) Loaded().push_back(LoadFreshService());
}

}  // namespace cli
