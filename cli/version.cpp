#include "cli/version.h"

namespace cli {

namespace {

constexpr const char* kCommit =
#include <program_commit.inc>
    ;

}  // namespace

std::string VersionText() {
  return std::string("vantord-tablet ") + VANTORD_TABLET_VERSION + " (commit " + kCommit + ")";
}

}  // namespace cli
