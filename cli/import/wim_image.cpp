#include "cli/import/wim_image.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <utility>

#include "sim/tablet/base/descriptor.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace fs = std::filesystem;

namespace {

constexpr const char* kProgram = "wimlib-imagex";

/// What the rest of an image's hundred thousand files is not below of.
constexpr std::array<std::u16string_view, 4> kUseful{u"WINDOWS\\SYSTEM32", u"WINDOWS\\TOASTGENERATOR", u"USERS\\PUBLIC",
                                                     u"MFGDIAG"};

bool IsUseful(std::u16string_view folded) {
  return std::ranges::any_of(
      kUseful, [&](std::u16string_view useful) { return folded.starts_with(useful) || useful.starts_with(folded); });
}

struct ProgramEnd {
  int exit_code = 0;   ///< 127: there is no such program; 128 + N: ended by signal N
  std::string errors;  ///< the last lines of its standard error
};

constexpr std::size_t kErrorsKept = 2000;

[[noreturn]] void Become(const std::vector<std::string>& words, int out, int errors) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  sigset_t none;
  sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  std::signal(SIGPIPE, SIG_DFL);
  ::setenv("LC_ALL", "C.UTF-8", 1);
  std::vector<char*> values;
  for (const std::string& word : words) values.push_back(const_cast<char*>(word.c_str()));
  values.push_back(nullptr);
  int const nothing = ::open("/dev/null", O_RDONLY);
  ::dup2(nothing, STDIN_FILENO);
  ::dup2(out, STDOUT_FILENO);
  ::dup2(errors, STDERR_FILENO);
  ::execvp(values[0], values.data());
  ::_exit(127);
}

/// Gives whole lines to `on_line`; the rest stays in `text`.
void TakeLines(std::string& text, const std::function<void(std::string_view)>& on_line) {
  std::size_t done = 0;
  for (std::size_t end = 0; (end = text.find('\n', done)) != std::string::npos; done = end + 1) {
    on_line(std::string_view(text).substr(done, end - done));
  }
  text.erase(0, done);
}

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe can be made");
    read = tablet::Descriptor(ends[0]);
    write = tablet::Descriptor(ends[1]);
  }
  tablet::Descriptor read;
  tablet::Descriptor write;
};

/// Runs a program from the search path until it ends. `on_line` gets each line of its standard output. It gets nothing
/// to read, and texts as UTF-8. Throws std::runtime_error when no process can be made.
ProgramEnd RunHostProgram(const std::vector<std::string>& words, const std::function<void(std::string_view)>& on_line) {
  Pipe out;
  Pipe errors;
  pid_t const child = ::fork();
  if (child < 0) throw std::runtime_error("no process can be made");
  if (child == 0) Become(words, out.write.get(), errors.write.get());
  out.write = tablet::Descriptor();
  errors.write = tablet::Descriptor();

  ProgramEnd end;
  std::string text;
  std::array<pollfd, 2> streams{pollfd{out.read.get(), POLLIN, 0}, pollfd{errors.read.get(), POLLIN, 0}};
  while (streams[0].fd >= 0 || streams[1].fd >= 0) {
    ::poll(streams.data(), streams.size(), -1);
    for (pollfd& stream : streams) {
      if (stream.fd < 0 || stream.revents == 0) continue;
      std::array<char, 65536> piece{};
      ssize_t const count = ::read(stream.fd, piece.data(), piece.size());
      if (count <= 0) {
        stream.fd = -1;
      } else if (&stream == &streams[0]) {
        text.append(piece.data(), static_cast<std::size_t>(count));
        TakeLines(text, on_line);
      } else {
        end.errors.append(piece.data(), static_cast<std::size_t>(count));
        if (end.errors.size() > kErrorsKept) end.errors.erase(0, end.errors.size() - kErrorsKept);
      }
    }
  }
  if (!text.empty()) on_line(text);
  int status = 0;
  ::waitpid(child, &status, 0);
  end.exit_code = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return end;
}

/// The text after "Key   = " or "Key:   "; nothing for lines of other keys.
std::optional<std::string_view> ValueOf(std::string_view line, std::string_view key, char mark) {
  if (!line.starts_with(key)) return std::nullopt;
  line.remove_prefix(key.size());
  std::size_t const at = line.find_first_not_of(' ');
  if (at == line.npos || line[at] != mark) return std::nullopt;
  std::size_t const value = line.find_first_not_of(' ', at + 1);
  return value == line.npos ? std::string_view() : line.substr(value);
}

std::u16string FoldedPath(std::string_view path) {
  std::u16string folded = tablet::FoldCase(tablet::ToUtf16(path));
  std::replace(folded.begin(), folded.end(), u'/', u'\\');
  return folded;
}

}  // namespace

bool IsWimFile(const fs::path& file) {
  std::array<char, 8> start{};
  std::ifstream(file, std::ios::binary).read(start.data(), start.size());
  return std::string_view(start.data(), start.size()) == std::string_view("MSWIM\0\0\0", 8);
}

WimImage::WimImage(fs::path file, int index, fs::path work)
    : Volume(work, file.string()), file_(fs::absolute(file)), index_(index), work_(std::move(work)) {
  fs::create_directory(work_);
  ListImages();
  if (index < 1 || static_cast<std::size_t>(index) > images_.size()) {
    std::string known;
    for (std::size_t i = 0; i < images_.size(); ++i)
      known += fmt::format("{}{} {}", i == 0 ? "" : ", ", i + 1, images_[i]);
    throw tablet::InputError(file_.string(), fmt::format("has no image {}", index),
                             fmt::format("choose one with --index: {}", known));
  }
  ListFiles();
}

void WimImage::ListImages() {
  ProgramEnd const end = RunHostProgram({kProgram, "info", file_.string()}, [&](std::string_view line) {
    if (ValueOf(line, "Index", ':')) images_.emplace_back();
    if (auto const name = ValueOf(line, "Name", ':'); name && !images_.empty()) images_.back() = *name;
  });
  if (end.exit_code != 0) Fail(end.exit_code, end.errors);
}

void WimImage::ListFiles() {
  ProgramEnd const end = RunHostProgram({kProgram, "dir", file_.string(), fmt::format("{}", index_), "--detailed"},
                                        [&](std::string_view line) { Take(line); });
  if (end.exit_code != 0) Fail(end.exit_code, end.errors);
}

void WimImage::Take(std::string_view line) {
  if (auto path = ValueOf(line, "Full Path", '='); path && path->size() > 2) {
    std::string const text(path->substr(1, path->size() - 2));  // without its quotes
    listed_ = FoldedPath(text).substr(1);
    if (listed_.empty() || !IsUseful(listed_)) {
      listed_.clear();
    } else {
      paths_.emplace(listed_, text);
    }
  }
  auto const value = listed_.empty() ? std::nullopt : ValueOf(line, "Attributes", '=');
  if (!value || !value->starts_with("0x")) return;
  std::uint32_t attributes = 0;
  std::from_chars(value->data() + 2, value->data() + value->size(), attributes, 16);
  known_attributes_.emplace(listed_, attributes);
}

void WimImage::Fetch(const std::vector<std::u16string>& paths) {
  fs::path const list = work_.parent_path() / "wanted.txt";
  std::size_t count = 0;
  {
    std::ofstream out(list, std::ios::binary | std::ios::trunc);
    for (const std::u16string& path : paths) {
      auto const found = paths_.find(tablet::FoldCase(path));
      if (found == paths_.end()) continue;
      out << '"' << found->second << "\"\n";
      ++count;
    }
  }
  if (count != 0) {
    ProgramEnd const end = RunHostProgram(
        {kProgram, "extract", file_.string(), fmt::format("{}", index_), "@" + list.string(),
         "--dest-dir=" + work_.string(), "--preserve-dir-structure", "--no-acls", "--no-attributes", "--no-globs"},
        [](std::string_view) {});
    if (end.exit_code != 0) Fail(end.exit_code, end.errors);
  }
  fs::remove(list);
  Forget();
}

void WimImage::Fail(int exit_code, const std::string& errors) const {
  if (exit_code == 127) {
    throw tablet::InputError(file_.string(), "WIM and ESD files are read with wimlib-imagex, which is not installed",
                             "install the package wimtools, or apply the image elsewhere and import the folder");
  }
  std::string why;
  for (std::size_t at = errors.find("ERROR"); at != errors.npos; at = errors.find("ERROR", at + 1)) {
    why = errors.substr(at + 5, errors.find('\n', at) - at - 5);
    why.erase(0, why.find_first_not_of("]: "));
  }
  throw tablet::InputError(
      file_.string(),
      fmt::format("wimlib-imagex cannot read it: {}", why.empty() ? fmt::format("exit code {}", exit_code) : why),
      "check it with \"wimlib-imagex verify\"; an encrypted ESD has to be decrypted first");
}

}  // namespace cli
