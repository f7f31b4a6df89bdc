# The hosted build: the unchanged service, the names of the Windows API, the simulated tablet and the engineers' tool.
find_package(Threads REQUIRED)
find_package(fmt REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(CLI11 REQUIRED)

find_program(LLD_PROGRAM ld.lld)
if(LLD_PROGRAM)
  add_link_options(-fuse-ld=lld)
endif()

target_include_directories(vantord_options INTERFACE ${PROJECT_SOURCE_DIR}/sim/winapi/include)

add_library(vantord_tablet STATIC)
file(GLOB_RECURSE tablet_sources CONFIGURE_DEPENDS sim/tablet/*.cpp)
target_sources(vantord_tablet PRIVATE ${tablet_sources})
target_include_directories(vantord_tablet PUBLIC ${PROJECT_SOURCE_DIR})
target_link_libraries(vantord_tablet PUBLIC vantord_options fmt::fmt nlohmann_json::nlohmann_json Threads::Threads)
include(cmake/Precompiled.cmake)
vantord_precompile(hosted_headers vantord_tablet
  algorithm array charconv chrono cstdint deque filesystem fstream functional map memory mutex optional set span sstream
  stdexcept string string_view utility vector fmt/format.h nlohmann/json.hpp)
vantord_precompiled(vantord_tablet hosted_headers)
vantord_by_folder(vantord_tablet 24 JOIN base,description,devices folder,kernel,machine,system)

add_library(vantord_winapi STATIC)
file(GLOB winapi_sources CONFIGURE_DEPENDS sim/winapi/*.cpp)
list(REMOVE_ITEM winapi_sources ${PROJECT_SOURCE_DIR}/sim/winapi/service_memory.cpp)
target_sources(vantord_winapi PRIVATE ${winapi_sources})
target_link_libraries(vantord_winapi PUBLIC vantord_tablet)
vantord_precompiled(vantord_winapi hosted_headers)
vantord_by_folder(vantord_winapi 12)
target_link_libraries(vantord_service PUBLIC vantord_winapi)

include(cmake/Kit.cmake)
find_package(LibArchive REQUIRED)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
find_path(HIVEX_FOLDER hivex.h REQUIRED)
find_library(HIVEX_LIBRARY hivex REQUIRED)
add_library(hivex INTERFACE)
target_include_directories(hivex SYSTEM INTERFACE ${HIVEX_FOLDER})
target_link_libraries(hivex INTERFACE ${HIVEX_LIBRARY})
file(GLOB_RECURSE cli_sources CONFIGURE_DEPENDS cli/*.cpp)
list(REMOVE_ITEM cli_sources ${PROJECT_SOURCE_DIR}/cli/main.cpp)
add_library(vantord_cli STATIC ${cli_sources})
target_link_libraries(vantord_cli PUBLIC vantord_service vantord_kit_result LibArchive::LibArchive OpenSSL::Crypto hivex
  CLI11::CLI11)
vantord_precompiled(vantord_cli hosted_headers)
vantord_lines_only(vantord_cli)
vantord_by_folder(vantord_cli 24
  JOIN archive,base,boot bundle,compare,output commands,report export,import run,samples,world select,validate story,sweep)
include(cmake/ReportPage.cmake)
add_executable(vantord-tablet cli/main.cpp)
target_link_libraries(vantord-tablet PRIVATE vantord_cli)

# The service as a library inside the program: what a process that died is restarted from. It holds the service's own
# objects, bound to themselves, and operators that let its requests for memory fail; the names of the Windows API come from
# the program.
set_target_properties(vantord_service PROPERTIES POSITION_INDEPENDENT_CODE ON)
add_library(vantord_again SHARED $<TARGET_OBJECTS:vantord_service> sim/winapi/service_memory.cpp)
target_include_directories(vantord_again PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(vantord_again PRIVATE ZLIB::ZLIB vantord_options)
target_link_options(vantord_again PRIVATE -Wl,-Bsymbolic)
if(VANTORD_COVERAGE)
  target_link_options(vantord_again PRIVATE --coverage)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(vantord_service PRIVATE -fno-gnu-unique)
endif()
set_target_properties(vantord-tablet PROPERTIES ENABLE_EXPORTS ON)
set(service_library ${PROJECT_BINARY_DIR}/libvantord_again.so)
set_target_properties(vantord_again PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
add_dependencies(vantord_cli vantord_again)
set_source_files_properties(cli/boot/embedded_service.cpp PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON
  COMPILE_DEFINITIONS VANTORD_SERVICE_LIBRARY="${service_library}" OBJECT_DEPENDS ${service_library})
target_link_libraries(vantord_cli PUBLIC ${CMAKE_DL_LIBS})

include(cmake/Install.cmake)
include(cmake/Debian.cmake)

if(VANTORD_JOIN_SERVICE)
  vantord_by_folder(vantord_service 12)
endif()
if(NOT VANTORD_TESTS)
  return()
endif()
find_package(GTest REQUIRED)
include(CTest)
include(GoogleTest)
add_subdirectory(tests)
# The other builds are for finding mistakes, not for measuring.
if(NOT VANTORD_SANITIZE AND NOT VANTORD_COVERAGE)
  add_subdirectory(bench)
endif()
