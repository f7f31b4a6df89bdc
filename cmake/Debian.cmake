# vantord-tablet as a Debian package and as a .tar.gz: `cpack` in a build folder, or ./dev package.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
find_program(DPKG_PROGRAM dpkg)
set(architecture ${CMAKE_SYSTEM_PROCESSOR})
if(DPKG_PROGRAM)
  execute_process(COMMAND ${DPKG_PROGRAM} --print-architecture OUTPUT_VARIABLE architecture
    OUTPUT_STRIP_TRAILING_WHITESPACE)
endif()

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_NAME vantord-tablet)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The developers of Vantord <vantord@example.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "shows which modem firmware a tablet gets, and why")
set(CPACK_PACKAGE_DESCRIPTION "It runs the unchanged Vantord service on a simulated tablet, which is a folder.")
set(CPACK_PACKAGE_FILE_NAME vantord-tablet_${PROJECT_VERSION}_${architecture})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Images are read with it; all else works without.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS wimtools)
include(CPack)

# The symbols of what is in the packages, found by the build ID that both carry.
set(program_symbols ${PROJECT_BINARY_DIR}/vantord-tablet_${PROJECT_VERSION}_${architecture}.debug)
add_custom_command(OUTPUT ${program_symbols}
  COMMAND ${CMAKE_OBJCOPY} --only-keep-debug --compress-debug-sections $<TARGET_FILE:vantord-tablet> ${program_symbols}
  DEPENDS vantord-tablet VERBATIM)
add_custom_target(vantord_program_package DEPENDS ${program_symbols} vantord_program_docs)
