// The service's library, which is built before the program, as bytes of the program.
#include "cli/boot/embedded_service.h"

asm(".section .rodata\n"
    ".balign 16\n"
    ".global vantord_embedded_begin\n"
    "vantord_embedded_begin:\n"
    ".incbin \"" VANTORD_SERVICE_LIBRARY
    "\"\n"
    ".global vantord_embedded_end\n"
    "vantord_embedded_end:\n"
    ".text\n");

extern "C" const char vantord_embedded_begin[];
extern "C" const char vantord_embedded_end[];

namespace cli {

std::string_view EmbeddedService() {
  return {vantord_embedded_begin, static_cast<std::size_t>(vantord_embedded_end - vantord_embedded_begin)};
}

}  // namespace cli
