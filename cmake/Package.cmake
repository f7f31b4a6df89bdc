# What goes onto a tablet, in the folder package/ of the build: ./dev package copies it to dist/.

# How long Windows waits for the service after its preshutdown notice: package/inf/registry.inf.in has the sum.
set(preshutdown_milliseconds 180000)

# One architecture for each package: the one that the compiler makes programs for.
set(inf_architecture NT${VANTORD_ARCHITECTURE})
string(REPLACE x64 amd64 inf_architecture ${inf_architecture})

# vantord_inf_part(NAME): package/inf/NAME.inf.in, filled in, as the variable inf_NAME.
macro(vantord_inf_part name)
  configure_file(package/inf/${name}.inf.in inf/parts/${name}.inf @ONLY)
  file(READ ${PROJECT_BINARY_DIR}/inf/parts/${name}.inf inf_${name})
endmacro()
foreach(part IN ITEMS head registry trigger)
  vantord_inf_part(${part})
endforeach()

set(inf_names component.inf component-trigger.inf standalone.inf)

# The service starts with the system.
set(start_type 2)
vantord_inf_part(service)
configure_file(package/inf/standalone.inf.in inf/standalone.inf @ONLY)
set(component_target ${inf_architecture})
configure_file(package/inf/component.inf.in inf/component.inf @ONLY)

# The service starts with its device. AddTrigger exists since version 2004 of Windows 10, which is build 19041.
set(start_type 3)
vantord_inf_part(service)
set(component_target ${inf_architecture}.10.0...19041)
set(component_trigger "${inf_trigger}")
set(component_remark "\n;\n; This variant starts the service when the modem's interface arrives, not with the system.")
configure_file(package/inf/component.inf.in inf/component-trigger.inf @ONLY)

find_package(Python3 COMPONENTS Interpreter)
if(NOT Python3_FOUND OR NOT VANTORD_SYMBOLS)
  return()
endif()
set(package_folder ${PROJECT_BINARY_DIR}/package)
set(symbols $<TARGET_FILE_DIR:Vantord>/${VANTORD_SYMBOLS})
list(TRANSFORM inf_names PREPEND ${PROJECT_BINARY_DIR}/inf/ OUTPUT_VARIABLE infs)
file(GLOB_RECURSE package_inputs CONFIGURE_DEPENDS
  package/*.py package/*.reg package/*.txt package/inf/*.in vantord/common/*.cpp vantord/common/*.h)
add_custom_command(OUTPUT ${package_folder}/SHA256SUMS
  COMMAND Python3::Interpreter -B ${PROJECT_SOURCE_DIR}/package/make_package.py ${package_folder}
    --program $<TARGET_FILE:Vantord> --symbols ${symbols} --infs ${PROJECT_BINARY_DIR}/inf
  DEPENDS Vantord ${infs} ${package_inputs} VERBATIM)
add_custom_target(vantord_package ALL DEPENDS ${package_folder}/SHA256SUMS)
