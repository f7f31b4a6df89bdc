// The registry as Windows Registry Editor text (.reg, version 5.00): "[key]", "[-key]", @=, "name"=, dword:, hex:,
// hex(n):, "name"=-, continuation lines, comments.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "sim/tablet/registry/registry.h"

namespace tablet {

/// Reads UTF-16LE with BOM or UTF-8 (with or without BOM) into `registry`; later files win over earlier ones.
/// Throws InputError naming file, line and key for anything malformed and for hives other than HKEY_LOCAL_MACHINE, and
/// then has changed nothing.
void ReadRegFile(const std::filesystem::path& file, Registry& registry);
/// The same for text in memory; messages name the file `name`.
void ReadRegText(std::string_view bytes, const std::string& name, Registry& registry);

/// The whole registry as text, keys and values in order of their names. UTF-8, LF. Read again it gives the very same
/// bytes of data: what no quoted text can hold is written as hex(n):. Throws InputError for names that no line can
/// hold.
std::string WriteRegText(const Registry& registry);
/// The changes as text: applied after the text of the state before, it gives the state after. UTF-8, LF.
std::string WriteRegChanges(const std::vector<RegistryChange>& changes);
/// For export to Windows tools: UTF-16LE with BOM, CRLF.
std::string ToExportForm(std::string_view utf8_text);

}  // namespace tablet
