# In the sanitized builds the headers of others are compiled once, not in every source, where they would take up to half of
# the time. The hosted build does without, so that an #include which a source has forgotten is noticed there; so do the
# service's own sources everywhere, which clang-tidy reads with the options of a sanitized build. Nor is it for g++, which
# forgets that these headers are the system's, and warns of what is in them.
#
# CMake's own way gives a file that names the folder it was made in, down to a header of CMake's: no other checkout could
# have it, or anything that was compiled with it, out of a compiler cache they share.

# vantord_precompile NAME LIKE HEADER...: for sources of targets that have LIKE's options.
function(vantord_precompile name like)
  if(NOT VANTORD_SANITIZE)
    return()
  endif()
  string(TOUPPER "${CMAKE_BUILD_TYPE}" kind)
  separate_arguments(flags NATIVE_COMMAND "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${kind}}")
  list(TRANSFORM ARGN PREPEND "-include;" OUTPUT_VARIABLE headers)
  set(definitions "$<REMOVE_DUPLICATES:$<TARGET_PROPERTY:${like},INTERFACE_COMPILE_DEFINITIONS>>")
  set(options "$<REMOVE_DUPLICATES:$<TARGET_PROPERTY:${like},INTERFACE_COMPILE_OPTIONS>>")
  # The file that is compiled has been read by then, and gives nothing but a name outside of this checkout. Without the
  # time at which it was written: the cache knows it by what it holds.
  find_file(NEUTRAL_HEADER string.h REQUIRED)
  add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/${name}.pch
    COMMAND ${CMAKE_CXX_COMPILER_LAUNCHER} ${CMAKE_CXX_COMPILER} "-D$<JOIN:${definitions},;-D>" ${flags} ${options}
      ${CMAKE_CXX20_STANDARD_COMPILE_OPTION} -x c++-header -fpch-instantiate-templates -Xclang -fno-pch-timestamp
      ${headers} -MD -MT ${name}.pch -MF ${name}.pch.d -o ${name}.pch -c ${NEUTRAL_HEADER}
    DEPFILE ${PROJECT_BINARY_DIR}/${name}.pch.d WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
    COMMENT "Compiling headers ${name}.pch" COMMAND_EXPAND_LISTS VERBATIM)
  add_custom_target(${name} DEPENDS ${PROJECT_BINARY_DIR}/${name}.pch)
endfunction()

# vantord_precompiled TARGET NAME: with the headers of NAME before every source of it.
function(vantord_precompiled target name)
  if(VANTORD_SANITIZE)
    target_compile_options(${target} PRIVATE "SHELL:-include-pch ${PROJECT_BINARY_DIR}/${name}.pch")
    # The compiler names the file among the dependencies of each object; the first build needs the order alone.
    add_dependencies(${target} ${name})
  endif()
endfunction()
