# The hosted build: the unchanged service, the names of the Windows API, the simulated tablet and the engineers' tool.
find_package(Threads REQUIRED)
find_package(fmt REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(CLI11 REQUIRED)
find_package(GTest REQUIRED)

find_program(LLD_PROGRAM ld.lld)
if(LLD_PROGRAM)
  add_link_options(-fuse-ld=lld)
endif()

target_include_directories(vantord_options INTERFACE ${PROJECT_SOURCE_DIR}/platform/win32/include)

add_library(vantord_tablet STATIC)
file(GLOB tablet_sources CONFIGURE_DEPENDS tablet/*.cpp)
target_sources(vantord_tablet PRIVATE ${tablet_sources})
target_include_directories(vantord_tablet PUBLIC ${PROJECT_SOURCE_DIR})
target_link_libraries(vantord_tablet PUBLIC vantord_options fmt::fmt nlohmann_json::nlohmann_json Threads::Threads)
include(cmake/Precompiled.cmake)
vantord_precompile(hosted_headers vantord_tablet
  algorithm array charconv chrono cstdint deque filesystem fstream functional map memory mutex optional set span sstream
  stdexcept string string_view utility vector fmt/format.h nlohmann/json.hpp)
vantord_precompiled(vantord_tablet hosted_headers)

add_library(vantord_win32 STATIC)
file(GLOB win32_sources CONFIGURE_DEPENDS platform/win32/*.cpp)
target_sources(vantord_win32 PRIVATE ${win32_sources})
target_link_libraries(vantord_win32 PUBLIC vantord_tablet)
vantord_precompiled(vantord_win32 hosted_headers)
target_link_libraries(vantord_service PUBLIC vantord_win32)

find_package(LibArchive REQUIRED)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
file(GLOB cli_sources CONFIGURE_DEPENDS cli/*.cpp cli/commands/*.cpp)
list(REMOVE_ITEM cli_sources ${PROJECT_SOURCE_DIR}/cli/main.cpp)
add_library(vantord_cli STATIC ${cli_sources})
target_link_libraries(vantord_cli PUBLIC vantord_service LibArchive::LibArchive OpenSSL::Crypto CLI11::CLI11)
vantord_precompiled(vantord_cli hosted_headers)
vantord_lines_only(vantord_cli)
include(cmake/ReportPage.cmake)
add_executable(vantord-tablet cli/main.cpp)
target_link_libraries(vantord-tablet PRIVATE vantord_cli)

# The service as a library beside the program: what a process that died is restarted from. It holds the service's own
# objects, bound to themselves; the names of the Windows API come from the program.
set_target_properties(vantord_service PROPERTIES POSITION_INDEPENDENT_CODE ON)
add_library(vantord_again SHARED $<TARGET_OBJECTS:vantord_service>)
target_link_libraries(vantord_again PRIVATE ZLIB::ZLIB)
target_link_options(vantord_again PRIVATE -Wl,-Bsymbolic)
if(VANTORD_SANITIZE)
  target_link_options(vantord_again PRIVATE -fsanitize=${VANTORD_SANITIZE})
endif()
if(VANTORD_COVERAGE)
  target_link_options(vantord_again PRIVATE --coverage)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(vantord_service PRIVATE -fno-gnu-unique)
endif()
set_target_properties(vantord-tablet PROPERTIES ENABLE_EXPORTS ON)
add_dependencies(vantord-tablet vantord_again)
target_link_libraries(vantord_cli PUBLIC ${CMAKE_DL_LIBS})

include(cmake/Install.cmake)

include(CTest)
include(GoogleTest)
add_subdirectory(tests)
# The other builds are for finding mistakes, not for measuring.
if(NOT VANTORD_SANITIZE AND NOT VANTORD_COVERAGE)
  add_subdirectory(bench)
endif()
