#include "cli/boot/fresh_service.h"

#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/boot/embedded_service.h"

namespace cli {

namespace {

using Entry = int (*)(int argumentCount, char16_t** arguments);

/// The library as a file in memory: the loader takes each file once, and each of these is another one.
int LibraryInMemory() {
  int const file = ::memfd_create("vantord", MFD_CLOEXEC);
  std::string_view left = EmbeddedService();
  while (file >= 0 && !left.empty()) {
    ssize_t const count = ::write(file, left.data(), left.size());
    if (count <= 0) break;
    left.remove_prefix(static_cast<std::size_t>(count));
  }
  if (!left.empty()) throw std::runtime_error("cannot restart the service: no memory for another copy of it");
  return file;
}

std::vector<std::function<int()>>& Loaded() {
  static std::vector<std::function<int()>> services;
  return services;
}

std::function<int()> LoadFreshService() {
  int const copy = LibraryInMemory();
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
