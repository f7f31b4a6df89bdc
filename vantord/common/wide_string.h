// An owned UTF-16 text.
#pragma once

#include <windows.h>

#include <string>

using WideString = std::basic_string<WCHAR>;
