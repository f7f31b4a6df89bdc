// Faults as text: CALL[@WHEN][:ERROR].
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/nearest.h"
#include "sim/tablet/kernel/fault_catalog.h"

namespace tablet {

namespace {

constexpr const char* kForm = "write CALL[@WHEN][:ERROR], as in ReadFile@3:ERROR_CRC";

[[noreturn]] void Refuse(std::string_view text, const std::string& problem, const std::string& next) {
  throw InputError(fmt::format("fault \"{}\"", text), problem, next);
}

std::optional<std::uint32_t> Number(std::string_view text) {
  bool const hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  std::uint32_t number = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, hexadecimal ? 16 : 10);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::string Before(const std::string& question) { return question.empty() ? question : question + " "; }

const CatalogedCall& Call(std::string_view whole, std::string_view name) {
  if (const CatalogedCall* const call = FindCataloged(name)) {
    if (call->failure == Failure::kNever) Refuse(whole, fmt::format("{} cannot fail", name), "name another call");
    return *call;
  }
  std::vector<std::string_view> names;
  for (const CatalogedCall& known : FaultCatalog()) {
    if (known.failure != Failure::kNever) names.push_back(known.name);
  }
  Refuse(whole, fmt::format("there is no call \"{}\"", name),
         fmt::format("{}\"vantord-tablet fault list\" shows all", Before(DidYouMean(name, names))));
}

void ReadOccurrences(std::string_view whole, std::string_view when, Fault& out) {
  if (when == "all") return;
  std::size_t const dash = when.find('-');
  bool const open = when.ends_with('+');
  std::string_view const start = open ? when.substr(0, when.size() - 1) : when.substr(0, dash);
  auto const first = Number(start);
  auto const last = open || dash == std::string_view::npos ? first : Number(when.substr(dash + 1));
  if (!first || !last || *first == 0 || *last < *first) {
    Refuse(whole, fmt::format("\"{}\" is not an occurrence", when), "write 3, 3-5, 3+ (and all later ones) or all");
  }
  out.first = *first;
  out.count = open ? Fault::kEvery : *last - *first + 1;
}

WinError Error(std::string_view whole, const CatalogedCall& call, std::string_view text) {
  if (auto const number = Number(text)) {
    if (*number == 0) Refuse(whole, "error 0 is success", "name an error");
    return *number;
  }
  if (auto const number = ErrorNumber(text)) return *number;
  // What is near among the call's own errors is likelier meant than what is nearer among all.
  std::vector<std::string_view> names;
  for (WinError const error : call.errors) names.push_back(NameOfError(FamilyOf(call.failure), error));
  for (const ErrorName& known : ErrorNames()) names.push_back(known.name);
  // People leave the prefix out.
  bool const prefixed = text.starts_with("ERROR_") || text.starts_with("E_") || text.starts_with("CR_");
  std::string const meant = prefixed ? std::string(text) : fmt::format("ERROR_{}", text);
  Refuse(
      whole, fmt::format("there is no error \"{}\"", text),
      fmt::format("{}a number or a name of \"vantord-tablet fault list\" is known", Before(DidYouMean(meant, names))));
}

}  // namespace

Fault ParseFault(std::string_view text) {
  std::size_t const colon = text.find(':');
  std::string_view const place = text.substr(0, colon);
  std::size_t const at = place.find('@');
  std::string_view const name = place.substr(0, at);
  if (name.empty()) Refuse(text, "no call is named", kForm);
  const CatalogedCall& call = Call(text, name);
  Fault fault{.call = std::string(name), .error = call.errors.front()};
  if (at != std::string_view::npos) ReadOccurrences(text, place.substr(at + 1), fault);
  if (colon != std::string_view::npos) fault.error = Error(text, call, text.substr(colon + 1));
  return fault;
}

std::string WriteFault(const Fault& fault) {
  std::string text = fault.call;
  bool const to_the_end = fault.count == Fault::kEvery;
  if (to_the_end && fault.first != 1) text += fmt::format("@{}+", fault.first);
  if (!to_the_end && fault.count == 1) text += fmt::format("@{}", fault.first);
  if (!to_the_end && fault.count != 1) text += fmt::format("@{}-{}", fault.first, fault.first + fault.count - 1);
  const CatalogedCall* const call = FindCataloged(fault.call);
  std::string_view const name =
      NameOfError(call == nullptr ? ErrorName::Family::kSystem : FamilyOf(call->failure), fault.error);
  return text + ':' + (name.empty() ? fmt::format("{}", fault.error) : std::string(name));
}

}  // namespace tablet
