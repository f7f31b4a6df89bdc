// The build's date and time, in the form of the compiler's macros.
#pragma once

extern const char* const kBuildDate;  ///< "Oct 30 2018"
extern const char* const kBuildTime;  ///< "13:25:37"
