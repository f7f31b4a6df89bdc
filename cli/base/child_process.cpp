#include "cli/base/child_process.h"

#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <stdexcept>
#include <string>

#include "cli/base/json_text.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

using nlohmann::ordered_json;

std::string ReadAll(int descriptor) {
  std::string text;
  std::array<char, 16384> piece{};
  for (ssize_t count = 0; (count = ::read(descriptor, piece.data(), piece.size())) > 0;) {
    text.append(piece.data(), static_cast<std::size_t>(count));
  }
  return text;
}

/// Writes the result and ends the process, whatever its threads are doing.
[[noreturn]] void Give(int descriptor, const ordered_json& answer) {
  std::string const text = JsonText(answer);
  for (std::size_t done = 0; done < text.size();) {
    ssize_t const count = ::write(descriptor, text.data() + done, text.size() - done);
    if (count <= 0) ::_exit(1);
    done += static_cast<std::size_t>(count);
  }
  ::_exit(0);
}

[[noreturn]] void BeTheChild(int descriptor, const std::function<void(const Answer&)>& work) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  try {
    work([descriptor](const ordered_json& answer) { Give(descriptor, {{"answer", answer}}); });
  } catch (const tablet::InputError& error) {
    Give(descriptor, {{"input", {error.place(), error.problem(), error.next()}}});
  } catch (const std::exception& error) {
    Give(descriptor, {{"failure", error.what()}});
  }
  ::_exit(1);
}

}  // namespace

ordered_json RunInChild(const std::string& what, const std::function<void(const Answer&)>& work) {
  std::array<int, 2> pipe{};
  if (::pipe(pipe.data()) != 0) throw std::runtime_error(what + ": no pipe can be made");
  pid_t const child = ::fork();
  if (child < 0) throw std::runtime_error(what + ": no process can be made");
  if (child == 0) {
    ::close(pipe[0]);
    BeTheChild(pipe[1], work);
  }
  ::close(pipe[1]);
  std::string const text = ReadAll(pipe[0]);
  ::close(pipe[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  ordered_json document = ordered_json::parse(text, nullptr, false);
  if (document.is_object() && document.contains("answer")) return std::move(document["answer"]);
  if (document.is_object() && document.contains("input")) {
    const ordered_json& error = document["input"];
    throw tablet::InputError(error[0].get<std::string>(), error[1].get<std::string>(), error[2].get<std::string>());
  }
  if (document.is_object()) throw std::runtime_error(what + ": " + document.value("failure", "no answer"));
  throw std::runtime_error(WIFSIGNALED(status) ? fmt::format("{}: ended by signal {}", what, WTERMSIG(status))
                                               : fmt::format("{}: ended without an answer", what));
}

}  // namespace cli
