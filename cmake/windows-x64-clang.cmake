# Vantord.exe for x64 as llvm-mingw would build it: clang and lld, here with the headers and libraries of Debian's
# mingw-w64. Nothing of it ships. What only GNU's compiler takes is an error, and so is what Microsoft's alone takes.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(mingw /usr/x86_64-w64-mingw32)
# clang finds no GNU run time by itself in a folder that is named by its kind of threads.
file(GLOB mingw_gcc /usr/lib/gcc/x86_64-w64-mingw32/*-posix)
if(NOT mingw_gcc)
  message(FATAL_ERROR "no folder /usr/lib/gcc/x86_64-w64-mingw32/*-posix: install g++-mingw-w64-x86-64-posix")
endif()
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-windows-gnu)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-windows-gnu)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_DLLTOOL x86_64-w64-mingw32-dlltool CACHE FILEPATH "")
# Nothing of this machine's own headers.
set(CMAKE_SYSROOT ${mingw})
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES
  ${mingw_gcc}/include/c++ ${mingw_gcc}/include/c++/x86_64-w64-mingw32 ${mingw_gcc}/include/c++/backward)
set(CMAKE_CXX_FLAGS_INIT "-Wgnu -Wmicrosoft -Wlanguage-extension-token")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld -B${mingw}/lib -L${mingw_gcc} -L${mingw}/lib -lwinpthread")
set(CMAKE_FIND_ROOT_PATH ${mingw})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# One executable, without DLLs of ours.
set(ZLIB_USE_STATIC_LIBS ON)
