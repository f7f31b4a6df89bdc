# Vantord.exe for ARM64, with zig: Debian 12 has no compiler of mingw-w64's kind for it. cmake/cross/ holds what stands
# between CMake and zig.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ARM64)
set(CMAKE_C_COMPILER ${CMAKE_CURRENT_LIST_DIR}/cross/zig-cc)
set(CMAKE_CXX_COMPILER ${CMAKE_CURRENT_LIST_DIR}/cross/zig-c++)
set(CMAKE_AR ${CMAKE_CURRENT_LIST_DIR}/cross/zig-ar CACHE FILEPATH "")
set(CMAKE_RANLIB ${CMAKE_CURRENT_LIST_DIR}/cross/zig-ranlib CACHE FILEPATH "")
set(CMAKE_DLLTOOL ${CMAKE_CURRENT_LIST_DIR}/cross/zig-dlltool CACHE FILEPATH "")
set(CMAKE_RC_COMPILER ${CMAKE_CURRENT_LIST_DIR}/cross/zig-rc)
set(CMAKE_RC_COMPILE_OBJECT "<CMAKE_RC_COMPILER> <SOURCE> <OBJECT> <DEFINES>")
# Nothing of this machine's own.
execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/cross/zig env OUTPUT_VARIABLE zig_environment COMMAND_ERROR_IS_FATAL ANY)
string(JSON zig_library GET ${zig_environment} lib_dir)
set(DDK_HEADERS ${zig_library}/libc/include/any-windows-any/ddk CACHE PATH "The headers of kernel drivers")
set(CMAKE_FIND_ROOT_PATH ${zig_library}/libc)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Every library is named by the program itself.
set(CMAKE_C_STANDARD_LIBRARIES "" CACHE STRING "")
set(CMAKE_CXX_STANDARD_LIBRARIES "" CACHE STRING "")
# One executable, without DLLs of ours: zlib comes from its sources, as ./dev fetched them beside zig.
execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/cross/cache zlib OUTPUT_VARIABLE zlib_folder COMMAND_ERROR_IS_FATAL ANY)
set(VANTORD_ZLIB_SOURCE ${zlib_folder} CACHE PATH "The folder of zlib's sources")
# zig has no start-up code for a wide main.
set(VANTORD_WIDE_ENTRY ON)
# Symbols with the command line in them would name the folder of the sources.
add_compile_options(-gno-codeview-command-line)
# The linker writes the symbols into Vantord.pdb; what is left in the program comes from zig's own run time.
find_program(VANTORD_OBJCOPY llvm-objcopy REQUIRED)
set(VANTORD_SEPARATE_SYMBOLS ${VANTORD_OBJCOPY} --strip-all Vantord.exe)
set(VANTORD_SYMBOLS Vantord.pdb)
