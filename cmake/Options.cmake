# What every target of every build shares: warnings are errors, and the macros that each Windows build has.
include(cmake/Zlib.cmake)

add_library(vantord_options INTERFACE)
target_compile_definitions(vantord_options INTERFACE
  WIN32_LEAN_AND_MEAN NOMINMAX UNICODE _UNICODE STRSAFE_NO_DEPRECATE)
if(MSVC)
  # /Zc and /permissive-: the standard's language, as the other compilers take it.
  target_compile_options(vantord_options INTERFACE /W4 /WX /utf-8 /permissive- /Zc:__cplusplus /EHsc)
  # The counted formatter ends texts as the service wants it; its successor would end the process.
  target_compile_definitions(vantord_options INTERFACE _CRT_SECURE_NO_WARNINGS)
else()
  target_compile_options(vantord_options INTERFACE -Wall -Wextra -Wpedantic -Werror)
endif()
target_link_libraries(vantord_options INTERFACE ZLIB::ZLIB)

if(VANTORD_SANITIZE)
  target_compile_options(vantord_options INTERFACE
    -fsanitize=${VANTORD_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(vantord_options INTERFACE -fsanitize=${VANTORD_SANITIZE})
  # Programs at a fixed address: AddressSanitizer's tables hold a million addresses, which would be put right anew at each
  # start. ThreadSanitizer takes no others than movable ones.
  if(VANTORD_SANITIZE MATCHES "address")
    set(CMAKE_EXE_LINKER_FLAGS "${CMAKE_EXE_LINKER_FLAGS} -no-pie")
  endif()
endif()

if(VANTORD_FUZZ)
  target_compile_options(vantord_options INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(vantord_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Debuggers and callgrind get the lines of the engineers' program and of the tests, and no variables: with them g++ takes a
# third longer. The service and the tablet have both. The code that is made is the same. Sanitizers need lines only.
option(VANTORD_VARIABLES "Let debuggers see the variables of tests and engineers' program, too" OFF)
function(vantord_lines_only target)
  if(NOT VANTORD_VARIABLES AND NOT VANTORD_SANITIZE)
    target_compile_options(${target} PRIVATE -g1)
  endif()
endfunction()

# Sources of one folder are compiled together, at most BATCH at a time: most of the time goes into the headers they share.
# JOIN names small folders that are compiled together, each group as one word: "story,sweep". The service's own sources
# are compiled singly in what ships and in most tests.
option(VANTORD_UNITY "Compile the sources of a folder of the tablet, the program and the tests together" ON)
option(VANTORD_JOIN_SERVICE "Compile those of a folder of the service together, too" OFF)
function(vantord_by_folder target batch)
  cmake_parse_arguments(PARSE_ARGV 2 group "" "" "JOIN")
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    if(source MATCHES "[.]cpp$")
      cmake_path(GET source PARENT_PATH folder)
      cmake_path(GET folder FILENAME folder)
      foreach(joined IN LISTS group_JOIN)
        if(",${joined}," MATCHES ",${folder},")
          string(REPLACE "," "_" folder ${joined})
        endif()
      endforeach()
      math(EXPR part "${${folder}_count} + 0")
      math(EXPR ${folder}_count "${part} + 1")
      math(EXPR part "${part} / ${batch}")
      set_property(SOURCE ${source} PROPERTY UNITY_GROUP ${folder}${part})
    endif()
  endforeach()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${VANTORD_UNITY} UNITY_BUILD_MODE GROUP)
endfunction()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  set(compiler_cache ${CCACHE_PROGRAM})
  if(WIN32)
    # Each checkout for itself: an object that another one has compiled would name the sources in its symbols otherwise.
    set(compiler_cache ${CMAKE_COMMAND} -E env --unset=CCACHE_BASEDIR --unset=CCACHE_NOHASHDIR ${CCACHE_PROGRAM})
  elseif(VANTORD_SANITIZE)
    # What ccache asks for before it takes sources with precompiled headers (Precompiled.cmake).
    set(compiler_cache ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE_PROGRAM})
  endif()
  set(CMAKE_CXX_COMPILER_LAUNCHER ${compiler_cache})
  set(CMAKE_C_COMPILER_LAUNCHER ${compiler_cache})
endif()
