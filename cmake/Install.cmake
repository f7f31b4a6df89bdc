# What `cmake --install` puts where: the program, the library from which it restarts the service (where it
# looks for it), its manual page, its completion for bash and the format of its events for lnav.
include(GNUInstallDirs)

foreach(made "--man vantord-tablet.1" "--bash-completion vantord-tablet.bash")
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
install(TARGETS vantord_again LIBRARY DESTINATION lib/vantord)
install(FILES ${PROJECT_BINARY_DIR}/share/vantord-tablet.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${PROJECT_BINARY_DIR}/share/vantord-tablet.bash
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME vantord-tablet)
install(DIRECTORY docs/schemas DESTINATION ${CMAKE_INSTALL_DATADIR}/vantord)
install(FILES package/vantord_events.lnav.json DESTINATION ${CMAKE_INSTALL_DATADIR}/lnav/formats/vantord
  RENAME vantord_events.json)
install(FILES package/THIRD-PARTY-NOTICES.txt DESTINATION ${CMAKE_INSTALL_DOCDIR})
