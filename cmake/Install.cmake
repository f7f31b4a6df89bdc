# What `cmake --install` puts where: the program, its manual page, its completions for shells and the format of its
# events for lnav.
include(GNUInstallDirs)

foreach(made "--man vantord-tablet.1" "--bash-completion vantord-tablet.bash" "--zsh-completion _vantord-tablet"
    "--fish-completion vantord-tablet.fish")
  separate_arguments(made)
  list(GET made 0 word)
  list(GET made 1 file)
  add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/share/${file}
    COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:vantord-tablet> -DWORD=${word}
            -DOUT=${PROJECT_BINARY_DIR}/share/${file} -P ${PROJECT_SOURCE_DIR}/cmake/ProgramDocs.cmake
    DEPENDS vantord-tablet cmake/ProgramDocs.cmake VERBATIM)
  list(APPEND program_docs ${PROJECT_BINARY_DIR}/share/${file})
endforeach()
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/share)
add_custom_target(vantord_program_docs ALL DEPENDS ${program_docs})

install(TARGETS vantord-tablet RUNTIME)
install(FILES ${PROJECT_BINARY_DIR}/share/vantord-tablet.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${PROJECT_BINARY_DIR}/share/vantord-tablet.bash
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME vantord-tablet)
install(DIRECTORY docs/schemas docs/recipes DESTINATION ${CMAKE_INSTALL_DATADIR}/vantord USE_SOURCE_PERMISSIONS)
install(FILES ${PROJECT_BINARY_DIR}/share/_vantord-tablet DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
install(FILES ${PROJECT_BINARY_DIR}/share/vantord-tablet.fish
  DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
install(FILES package/vantord_events.lnav.json DESTINATION ${CMAKE_INSTALL_DATADIR}/lnav/formats/vantord
  RENAME vantord_events.json)
install(FILES package/THIRD-PARTY-NOTICES.txt DESTINATION ${CMAKE_INSTALL_DOCDIR})
