#include "vantord/service/build_stamp.h"

// The time of the commit, not of the compilation: the same source gives the same program.
const char* const kBuildDate = VANTORD_BUILD_DATE;
const char* const kBuildTime = VANTORD_BUILD_TIME;
