#include "tests/testing/places.h"

namespace testing_support {

std::string SourceFolder() { return VANTORD_SOURCE_FOLDER; }

std::string TabletProgram() { return VANTORD_TABLET_PROGRAM; }

}  // namespace testing_support
