# What goes onto a tablet, in the folder package/ of the build: ./dev package copies it to dist/.

# How long Windows waits for the service after its preshutdown notice: package/vantord.inf.in says what it is made of.
set(preshutdown_milliseconds 180000)
configure_file(package/vantord.inf.in vantord.inf @ONLY)

find_package(Python3 COMPONENTS Interpreter)
if(NOT Python3_FOUND OR NOT VANTORD_SYMBOLS)
  return()
endif()
set(package_folder ${PROJECT_BINARY_DIR}/package)
set(symbols $<TARGET_FILE_DIR:Vantord>/${VANTORD_SYMBOLS})
file(GLOB_RECURSE package_inputs CONFIGURE_DEPENDS package/*.py package/*.reg vantord/common/*.cpp vantord/common/*.h)
add_custom_command(OUTPUT ${package_folder}/SHA256SUMS
  COMMAND Python3::Interpreter -B ${PROJECT_SOURCE_DIR}/package/make_package.py ${package_folder}
    --program $<TARGET_FILE:Vantord> --symbols ${symbols} --inf ${PROJECT_BINARY_DIR}/vantord.inf
  DEPENDS Vantord ${PROJECT_BINARY_DIR}/vantord.inf ${package_inputs} VERBATIM)
add_custom_target(vantord_package ALL DEPENDS ${package_folder}/SHA256SUMS)
