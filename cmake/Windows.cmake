# The product itself. The tool chain that has a record of the executable says where it puts the symbols: VANTORD_SYMBOLS.

# The machine that the compiler makes programs for, whatever CMAKE_SYSTEM_PROCESSOR says.
include(CheckCXXSourceCompiles)
block(PROPAGATE VANTORD_ARCHITECTURE)
  set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
  foreach(machine IN ITEMS "arm64|__aarch64__|_M_ARM64" "x64|__x86_64__|_M_X64")
    string(REPLACE "|" ";" machine ${machine})
    list(GET machine 0 name)
    list(GET machine 1 gnu)
    list(GET machine 2 microsoft)
    check_cxx_source_compiles("
      #if !defined(${gnu}) && !defined(${microsoft})
      #error another machine
      #endif" VANTORD_FOR_${name})
    if(VANTORD_FOR_${name})
      set(VANTORD_ARCHITECTURE ${name})
    endif()
  endforeach()
endblock()
if(NOT VANTORD_ARCHITECTURE)
  message(FATAL_ERROR "${CMAKE_CXX_COMPILER} makes programs for neither ARM64 nor x64")
endif()

if(MINGW)
  # What mingw-w64's version 10 does not declare, under the names of Windows' own headers. Before all others: zig looks
  # into its own system headers first.
  target_include_directories(vantord_options BEFORE INTERFACE ${PROJECT_SOURCE_DIR}/cmake/mingw)
  # The program does not show where it was built, so that two clones give the same one.
  set(from_anywhere -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
  target_compile_options(vantord_options INTERFACE ${from_anywhere})
  # A function that has a buffer checks on its return that nothing was written past it.
  target_compile_options(vantord_options INTERFACE -fstack-protector-strong)
  add_library(vantord_stack_protector STATIC cmake/mingw/stack_protector.c)
  target_compile_options(vantord_stack_protector PRIVATE -Wall -Wextra -Werror -fno-stack-protector ${from_anywhere})
  target_link_libraries(vantord_options INTERFACE vantord_stack_protector)
endif()

# The process entry belongs to the program. Off Windows it belongs to the library: there the tablet calls it.
get_target_property(service_sources vantord_service SOURCES)
list(REMOVE_ITEM service_sources ${PROJECT_SOURCE_DIR}/vantord/service/main.cpp)
set_property(TARGET vantord_service PROPERTY SOURCES ${service_sources})
if(VANTORD_JOIN_SERVICE)
  vantord_by_folder(vantord_service 12)
endif()

add_executable(Vantord vantord/service/main.cpp)
target_link_libraries(Vantord PRIVATE vantord_service advapi32 cfgmgr32 ole32 powrprof psapi setupapi userenv version)
# No DLLs but Windows' own.
if(MSVC)
  target_compile_options(vantord_options INTERFACE /guard:cf)
  # DLLs from the system's folder only; symbols without the folder of the build.
  target_link_options(Vantord PRIVATE /guard:cf /Brepro /DEPENDENTLOADFLAG:0x800 /PDBALTPATH:%_PDB%)
  if(VANTORD_ARCHITECTURE STREQUAL "x64")
    target_link_options(Vantord PRIVATE /CETCOMPAT)
  endif()
  set(VANTORD_SYMBOLS Vantord.pdb)
  set(VANTORD_RECORD msvc-${VANTORD_ARCHITECTURE})
else()
  target_link_options(Vantord PRIVATE -municode -static)
endif()
if(VANTORD_WIDE_ENTRY)
  add_library(vantord_wide_entry STATIC cmake/mingw/wide_entry.c)
  target_compile_options(vantord_wide_entry PRIVATE ${from_anywhere})
  target_link_libraries(vantord_options INTERFACE vantord_wide_entry)
elseif(MINGW AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # The time of the link is not a part of the program.
  target_link_options(Vantord PRIVATE -Wl,--no-insert-timestamp)
endif()

# The program on a tablet has no symbols; they are in a file beside it, for its dumps.
if(VANTORD_SEPARATE_SYMBOLS)
  add_custom_command(TARGET Vantord POST_BUILD COMMAND ${VANTORD_SEPARATE_SYMBOLS}
    WORKING_DIRECTORY $<TARGET_FILE_DIR:Vantord> VERBATIM)
endif()

# The version resource.
enable_language(RC)
string(REPLACE "." "," version_numbers "${PROJECT_VERSION}.0")
configure_file(package/vantord.rc.in vantord.rc @ONLY)
target_sources(Vantord PRIVATE ${PROJECT_BINARY_DIR}/vantord.rc)

# The proxy library of the radio is a part of the platform, known by its ordinals only.
set(proxy_import ${PROJECT_BINARY_DIR}/libkavrilproxy_import.a)
set(proxy_definition ${PROJECT_SOURCE_DIR}/package/kavrilproxy.def)
if(MSVC)
  set(make_proxy_import ${CMAKE_AR} /nologo /def:${proxy_definition} /out:${proxy_import}
    /machine:${CMAKE_CXX_COMPILER_ARCHITECTURE_ID})
else()
  # dlltool makes symbols of the name that it is given, the folder included.
  set(make_proxy_import ${CMAKE_DLLTOOL} -d ${proxy_definition} -l libkavrilproxy_import.a)
endif()
add_custom_command(OUTPUT ${proxy_import} COMMAND ${make_proxy_import} DEPENDS ${proxy_definition}
  WORKING_DIRECTORY ${PROJECT_BINARY_DIR} VERBATIM)
add_custom_target(vantord_proxy_import DEPENDS ${proxy_import})
add_dependencies(Vantord vantord_proxy_import)
target_link_libraries(Vantord PRIVATE ${proxy_import})

include(cmake/Package.cmake)

include(CTest)
add_subdirectory(tests/windows/executable)
add_subdirectory(tests/windows/package)
if(MINGW)
  add_subdirectory(tests/windows)
else()
  find_package(GTest CONFIG QUIET)
endif()
include(cmake/Kit.cmake)
