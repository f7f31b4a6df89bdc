# Debian's mingw-w64, the posix-thread variant: the other one has no std::thread and no std::mutex.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# One executable, without DLLs of ours.
set(ZLIB_USE_STATIC_LIBS ON)
# The symbols go into Vantord.debug, and the program says so. Binutils' own objcopy would write the time into it.
find_program(VANTORD_OBJCOPY llvm-objcopy REQUIRED)
set(VANTORD_SEPARATE_SYMBOLS
  ${VANTORD_OBJCOPY} --only-keep-debug Vantord.exe Vantord.debug
  COMMAND ${VANTORD_OBJCOPY} --strip-all --add-gnu-debuglink=Vantord.debug Vantord.exe)
set(VANTORD_SYMBOLS Vantord.debug)
