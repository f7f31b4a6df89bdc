# The product itself.

# What this version of mingw-w64 does not declare, under the names of Windows' own headers: as system headers, so that they
# may use #include_next.
target_include_directories(vantord_options SYSTEM INTERFACE ${PROJECT_SOURCE_DIR}/platform/mingw/include)

# The process entry belongs to the program. Off Windows it belongs to the library: there the tablet calls it.
get_target_property(service_sources vantord_service SOURCES)
list(REMOVE_ITEM service_sources ${PROJECT_SOURCE_DIR}/service/main.cpp)
set_property(TARGET vantord_service PROPERTY SOURCES ${service_sources})

add_executable(Vantord service/main.cpp)
target_link_libraries(Vantord PRIVATE vantord_service advapi32 cfgmgr32 ole32 powrprof psapi setupapi userenv version)
target_link_options(Vantord PRIVATE -municode -static)

# The version resource.
enable_language(RC)
string(REPLACE "." "," version_numbers "${PROJECT_VERSION}.0")
configure_file(package/vantord.rc.in vantord.rc @ONLY)
target_sources(Vantord PRIVATE ${PROJECT_BINARY_DIR}/vantord.rc)

# The proxy library of the radio is a part of the platform, known by its ordinals only.
set(proxy_import ${PROJECT_BINARY_DIR}/libkavrilproxy_import.a)
add_custom_command(OUTPUT ${proxy_import}
  COMMAND ${CMAKE_DLLTOOL} -d ${PROJECT_SOURCE_DIR}/package/kavrilproxy.def -l ${proxy_import}
  DEPENDS package/kavrilproxy.def VERBATIM)
add_custom_target(vantord_proxy_import DEPENDS ${proxy_import})
add_dependencies(Vantord vantord_proxy_import)
target_link_libraries(Vantord PRIVATE ${proxy_import})

add_subdirectory(tests/windows)
