# vantord-check: the program that goes to a real Windows. It holds the tests of conformance and what is in kit/.
add_library(vantord_kit_result STATIC)
file(GLOB kit_result_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/kit/result/*.cpp)
target_sources(vantord_kit_result PRIVATE ${kit_result_sources})
target_include_directories(vantord_kit_result PUBLIC ${PROJECT_SOURCE_DIR})
target_link_libraries(vantord_kit_result PUBLIC vantord_options)
set(kit_gtest gtest)
if(TARGET GTest::gtest)
  set(kit_gtest GTest::gtest)
endif()
if(NOT WIN32 OR NOT TARGET ${kit_gtest})
  return()
endif()

file(GLOB kit_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/kit/*.cpp ${PROJECT_SOURCE_DIR}/kit/check/*.cpp
  ${PROJECT_SOURCE_DIR}/kit/machine/*.cpp ${PROJECT_SOURCE_DIR}/kit/questions/*.cpp ${PROJECT_SOURCE_DIR}/kit/service/*.cpp
  ${PROJECT_SOURCE_DIR}/kit/run/*.cpp ${PROJECT_SOURCE_DIR}/tests/conformance/*.cpp)
add_executable(vantord-check ${kit_sources})
target_compile_definitions(vantord-check PRIVATE WORLD_HEADER="kit/check/world_kit.h" VANTORD_VERSION="${PROJECT_VERSION}")
target_link_libraries(vantord-check PRIVATE vantord_kit_result ${kit_gtest}
  advapi32 cfgmgr32 ole32 psapi setupapi version)
vantord_by_folder(vantord-check 16 JOIN check,kit,machine,questions,run,service)
if(MSVC)
  # Tests; what ships has no warnings.
  target_compile_options(vantord-check PRIVATE /WX-)
else()
  target_link_options(vantord-check PRIVATE -municode -static)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND MINGW)
  target_link_options(vantord-check PRIVATE -Wl,--no-insert-timestamp)
endif()
configure_file(${PROJECT_SOURCE_DIR}/kit/vantord-check.rc.in ${PROJECT_BINARY_DIR}/vantord-check.rc @ONLY)
target_sources(vantord-check PRIVATE ${PROJECT_BINARY_DIR}/vantord-check.rc)
# What goes to the machine has no symbols; a crash of it shows in its result.
if(VANTORD_OBJCOPY)
  add_custom_command(TARGET vantord-check POST_BUILD COMMAND ${VANTORD_OBJCOPY} --strip-all $<TARGET_FILE:vantord-check>
    VERBATIM)
endif()

if(NOT TARGET vantord_package)
  return()
endif()
set(kit_folder ${PROJECT_BINARY_DIR}/kit)
file(GLOB kit_inputs CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/package/kit/* ${PROJECT_SOURCE_DIR}/package/*.py
  ${PROJECT_SOURCE_DIR}/docs/schemas/kit-result.schema.json)
add_custom_command(OUTPUT ${kit_folder}/SHA256SUMS
  COMMAND Python3::Interpreter -B ${PROJECT_SOURCE_DIR}/package/make_kit.py ${kit_folder}
    --check $<TARGET_FILE:vantord-check> --package ${package_folder}
  DEPENDS vantord-check ${package_folder}/SHA256SUMS ${kit_inputs} VERBATIM)
add_custom_target(vantord_kit ALL DEPENDS ${kit_folder}/SHA256SUMS)
