// Where the tests find this checkout and what was built of it.
#pragma once

#include <string>

namespace testing_support {

/// The checkout's folder.
std::string SourceFolder();
/// The program vantord-tablet of the same build.
std::string TabletProgram();

}  // namespace testing_support
