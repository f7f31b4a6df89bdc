# What the program carries in itself, so that it needs no file beside it: the parts of the report's page, and the zones
# of the service's messages.
set(embedded_folder ${PROJECT_BINARY_DIR}/embedded)
file(MAKE_DIRECTORY ${embedded_folder})

set(embedded)
foreach(part page.html style.css page.js)
  add_custom_command(OUTPUT ${embedded_folder}/${part}.inc
    COMMAND ${CMAKE_COMMAND} -DTEXT=${PROJECT_SOURCE_DIR}/cli/report/${part} -DOUT=${embedded_folder}/${part}.inc
            -P ${PROJECT_SOURCE_DIR}/cmake/EmbedText.cmake
    DEPENDS cli/report/${part} cmake/EmbedText.cmake VERBATIM)
  list(APPEND embedded ${embedded_folder}/${part}.inc)
endforeach()
add_custom_command(OUTPUT ${embedded_folder}/message_zones.inc
  COMMAND ${CMAKE_COMMAND} -DPAGE=${PROJECT_SOURCE_DIR}/docs/messages.md -DOUT=${embedded_folder}/message_zones.inc
          -P ${PROJECT_SOURCE_DIR}/cmake/MessageZones.cmake
  DEPENDS docs/messages.md cmake/MessageZones.cmake VERBATIM)
list(APPEND embedded ${embedded_folder}/message_zones.inc)

# Asked at each build, written when it is another one.
add_custom_target(vantord_program_commit
  COMMAND ${CMAKE_COMMAND} -DSOURCE=${PROJECT_SOURCE_DIR} -DOUT=${embedded_folder}/program_commit.inc
          -P ${PROJECT_SOURCE_DIR}/cmake/ProgramVersion.cmake
  BYPRODUCTS ${embedded_folder}/program_commit.inc VERBATIM)
add_dependencies(vantord_cli vantord_program_commit)
# Compiled by itself: nothing else is compiled anew for another commit.
set_source_files_properties(cli/version.cpp PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)

target_sources(vantord_cli PRIVATE ${embedded})
target_include_directories(vantord_cli PRIVATE ${embedded_folder})
target_compile_definitions(vantord_cli PRIVATE VANTORD_TABLET_VERSION="${PROJECT_VERSION}")
