#include "cli/validate/validation.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>

#include "cli/base/own_drive.h"
#include "cli/base/work_folder.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/devices/firmware.h"
#include "sim/tablet/drive/dos_attributes.h"
#include "sim/tablet/drive/drive_path.h"
#include "sim/tablet/folder/folder.h"
#include "sim/tablet/registry/reg_text.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using tablet::InputError;
using Problems = std::vector<InputError>;

std::string ReadBytes(const fs::path& file) {
  std::error_code ignored;
  std::ifstream in(file, std::ios::binary);
  if (!fs::is_regular_file(file, ignored) || !in) {
    throw InputError(file.string(), "cannot be read", "check that it is a file and that you may read it");
  }
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines(1);
  for (char const c : text) {
    if (c == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += c;
    }
  }
  return lines;
}

std::string TextOf(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += (&line == &lines.front() ? "" : "\n") + line;
  return text;
}

bool IsBlank(const std::string& line) { return line.find_first_not_of(" \t\r") == std::string::npos; }

bool GoesOn(const std::string& line) {
  std::size_t const last = line.find_last_not_of(" \t\r");
  return last != std::string::npos && line[last] == '\\';
}

/// The number after "file:", counted from 1.
std::optional<std::size_t> LineOf(const std::string& place, const std::string& file) {
  if (!place.starts_with(file + ":")) return std::nullopt;
  std::size_t line = 0;
  const char* const begin = place.data() + file.size() + 1;
  auto const [end, error] = std::from_chars(begin, place.data() + place.size(), line);
  return error == std::errc() && line > 0 ? std::optional(line) : std::nullopt;
}

/// Takes line `index` out, with its continuations. False when there was nothing to take.
bool TakeOut(std::vector<std::string>& lines, std::size_t index) {
  // The end of something that began before.
  while (index > 0 && (index >= lines.size() || IsBlank(lines[index]))) --index;
  if (index >= lines.size() || IsBlank(lines[index])) return false;
  bool more = true;
  for (; more && index < lines.size(); ++index) {
    more = GoesOn(lines[index]);
    lines[index].clear();
  }
  return true;
}

void Append(Problems& all, Problems more) {
  for (InputError& one : more) all.push_back(std::move(one));
}

/// What one check finds. A folder or file that cannot be read is its only problem, and ends no other check.
Problems Collected(const fs::path& place, const std::function<Problems()>& check) {
  try {
    return check();
  } catch (const InputError& error) {
    return {error};
  } catch (const fs::filesystem_error& error) {
    return {InputError(error.path1().empty() ? place.string() : error.path1().string(), error.code().message(),
                       "check its kind and its rights")};
  }
}

std::vector<fs::directory_entry> EntriesOf(const fs::path& folder) {
  std::vector<fs::directory_entry> entries;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) entries.push_back(entry);
  std::sort(entries.begin(), entries.end());
  return entries;
}

Problems ProblemsOfRegistryFile(const fs::path& file) {
  std::string text = ReadBytes(file);
  if (text.starts_with("\xFF\xFE") && text.size() % 2 == 0) {
    std::u16string wide((text.size() - 2) / 2, u'\0');
    std::copy(text.begin() + 2, text.end(), reinterpret_cast<char*>(wide.data()));
    text = tablet::ToUtf8(wide);
  }
  return ProblemsOfLines(LinesOf(text), file.string(), [&](const std::string& trial) {
    tablet::Registry registry;
    tablet::ReadRegText(trial, file.string(), registry);
  });
}

Problems ProblemsOfRegistry(const fs::path& folder) {
  if (!fs::exists(folder)) return {};
  Problems problems;
  for (const fs::directory_entry& entry : EntriesOf(folder)) {
    if (entry.path().extension() != ".reg") continue;
    Append(problems, Collected(entry.path(), [&] { return ProblemsOfRegistryFile(entry.path()); }));
  }
  return problems;
}

void CheckDrive(const fs::path& folder, Problems& problems) {
  std::vector<fs::directory_entry> const entries = EntriesOf(folder);
  std::map<std::u16string, std::string> names;
  for (const fs::directory_entry& entry : entries) {
    std::string const host_name = entry.path().filename().string();
    std::string const place = entry.path().string();
    std::u16string const name = tablet::ToUtf16(host_name);
    if (!tablet::IsValidName(name) || tablet::ToUtf8(name) != host_name) {
      problems.emplace_back(place, "is not a name that Windows allows", "rename it");
    }
    auto const [before, is_new] = names.emplace(tablet::FoldCase(name), host_name);
    if (!is_new) {
      problems.emplace_back(place, "differs from \"" + before->second + "\" in case only", "rename one of them");
    }
    try {
      tablet::ReadExtendedAttributes(entry.path());
    } catch (const InputError& error) {
      problems.push_back(error);
    }
    if (entry.is_directory() && !entry.is_symlink()) {
      Append(problems, Collected(entry.path(), [&] {
               Problems below;
               CheckDrive(entry.path(), below);
               return below;
             }));
    } else if (!entry.is_regular_file() && !entry.is_symlink()) {
      problems.emplace_back(place, "is neither file nor folder", "remove it");
    }
  }
}

Problems ProblemsOfSideFile(const fs::path& file) {
  if (!fs::exists(file)) return {};
  WorkFolder const work = WorkFolder::Temporary();
  fs::path const copy = work.path() / "attributes.txt";
  return ProblemsOfLines(LinesOf(ReadBytes(file)), file.string(), [&](const std::string& trial) {
    std::ofstream(copy, std::ios::binary | std::ios::trunc) << trial;
    try {
      tablet::ReadSideFile(copy);
    } catch (const InputError& error) {
      throw InputError(file.string() + error.place().substr(copy.string().size()), error.problem(), error.next());
    }
  });
}

/// Variables are added one after the other; one that clashes with an earlier one is left out.
Problems ProblemsOfFirmware(const fs::path& folder) {
  Problems problems;
  if (!fs::exists(folder)) return problems;
  if (!fs::is_directory(folder)) {
    problems.emplace_back(folder.string(), "is not a folder", "make it a folder of firmware variables");
    return problems;
  }
  WorkFolder const work = WorkFolder::Temporary();
  for (const fs::directory_entry& entry : EntriesOf(folder)) {
    const fs::path& file = entry.path();
    fs::path const copy = work.path() / file.filename();
    Problems const found = Collected(file, [&] {
      fs::copy(file, copy);
      tablet::Firmware().Load(work.path());
      return Problems{};
    });
    for (const InputError& error : found) {
      problems.emplace_back(file.string(), error.problem(), error.next());
      fs::remove_all(copy);
    }
  }
  return problems;
}

/// Everything as a run reads it: what no check above has found must not slip through.
void ReadAll(const fs::path& folder) {
  tablet::Description const description = tablet::ReadTabletFolder(folder);
  OwnDrive const drive(folder, description);
  tablet::Registry registry;
  tablet::ReadRegistryFolder(folder, registry);
  tablet::Firmware().Load(folder / "efi");
}

}  // namespace

Problems ProblemsOfLines(std::vector<std::string> lines, const std::string& file,
                         const std::function<void(const std::string& text)>& read) {
  constexpr const char* kHeader = "Windows Registry Editor Version 5.00";
  Problems problems;
  for (bool more = true; more;) {
    try {
      read(TextOf(lines));
      break;
    } catch (const InputError& error) {
      std::optional<std::size_t> const line = LineOf(error.place(), file);
      bool const of_its_own = line && *line <= lines.size() && IsBlank(lines[*line - 1]) && !problems.empty();
      if (!of_its_own) problems.push_back(error);
      bool const headless =
          error.problem().find(kHeader) != std::string::npos || error.next().find(kHeader) != std::string::npos;
      if (headless && lines.front() != kHeader) {
        lines.front() = kHeader;
      } else {
        more = line && TakeOut(lines, *line - 1);
      }
    }
  }
  return problems;
}

Problems ProblemsOf(const fs::path& folder) {
  // What is not a tablet's folder at all is reported as by every other command.
  bool const is_tablet = fs::exists(folder / "tablet.json") || fs::is_directory(folder / "C");
  if (!fs::is_directory(folder) || !is_tablet) tablet::ReadTabletFolder(folder);
  auto const part = [&](const char* name, Problems (*check)(const fs::path&)) {
    fs::path const place = folder / name;
    return Collected(place, [&] { return check(place); });
  };
  Problems problems = part("tablet.json", ProblemsOfDescription);
  Append(problems, part("registry", ProblemsOfRegistry));
  Append(problems, part("C", [](const fs::path& drive) {
           Problems found;
           if (!fs::is_directory(drive)) {
             throw InputError(drive.parent_path().string(), "has no folder C", "add the folder that is drive C:");
           }
           CheckDrive(drive, found);
           return found;
         }));
  Append(problems, part("attributes.txt", ProblemsOfSideFile));
  Append(problems, part("efi", ProblemsOfFirmware));
  if (problems.empty()) {
    Append(problems, Collected(folder, [&] {
             ReadAll(folder);
             return Problems{};
           }));
  }
  return problems;
}

}  // namespace cli
