// When this program was built: given by the build, in the form of the compiler's own date and time.
#pragma once

extern const char* const kBuildDate;  ///< "Oct 30 2018"
extern const char* const kBuildTime;  ///< "13:25:37"
