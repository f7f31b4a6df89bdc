# zlib: the one that the tool chain finds, else one built from its own sources for the target.
if(NOT VANTORD_ZLIB_SOURCE)
  find_package(ZLIB REQUIRED)
  return()
endif()

if(NOT EXISTS ${VANTORD_ZLIB_SOURCE}/zlib.h)
  message(FATAL_ERROR "VANTORD_ZLIB_SOURCE=${VANTORD_ZLIB_SOURCE}: no zlib.h there. "
    "./dev windows fetches the sources; by hand, name the unpacked folder with -D VANTORD_ZLIB_SOURCE=...")
endif()
file(GLOB zlib_sources ${VANTORD_ZLIB_SOURCE}/*.c)
add_library(vantord_zlib STATIC ${zlib_sources})
add_library(ZLIB::ZLIB ALIAS vantord_zlib)
target_include_directories(vantord_zlib SYSTEM PUBLIC ${VANTORD_ZLIB_SOURCE})
if(MSVC)
  return()
endif()
# Its warnings are not this project's. It reads what others made: functions with buffers check their stack.
set(zlib_options -w -fstack-protector-strong
  -ffile-prefix-map=${VANTORD_ZLIB_SOURCE}=zlib -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
target_compile_options(vantord_zlib PRIVATE ${zlib_options})

# The processor's CRC-32 instructions, in a second copy of crc32.c: the first option with which zlib uses them.
include(CheckCSourceCompiles)
block(PROPAGATE zlib_crc_option)
  set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
  foreach(option IN ITEMS -march=armv8-a+crc -mcpu=generic+crc)
    if(NOT zlib_crc_option)
      set(CMAKE_REQUIRED_FLAGS ${option})
      string(MAKE_C_IDENTIFIER "VANTORD_CRC_BY${option}" known)
      check_c_source_compiles("
        #if !defined(__aarch64__) || !defined(__ARM_FEATURE_CRC32)
        #error no such instructions
        #endif" ${known})
      if(${known})
        set(zlib_crc_option ${option})
      endif()
    endif()
  endforeach()
endblock()
if(zlib_crc_option)
  target_sources(vantord_zlib PRIVATE ${PROJECT_SOURCE_DIR}/cmake/mingw/crc32_arm64.c)
  # For both copies; the second one's names are z_crc32 and so on all the same: Z_PREFIX defines them last.
  set_source_files_properties(${VANTORD_ZLIB_SOURCE}/crc32.c PROPERTIES COMPILE_DEFINITIONS crc32=crc32_by_tables)
  add_library(vantord_zlib_crc OBJECT ${VANTORD_ZLIB_SOURCE}/crc32.c)
  target_compile_definitions(vantord_zlib_crc PRIVATE Z_PREFIX)
  target_compile_options(vantord_zlib_crc PRIVATE ${zlib_options} ${zlib_crc_option})
  target_sources(vantord_zlib PRIVATE $<TARGET_OBJECTS:vantord_zlib_crc>)
  # Fewest instructions for an archive: bench/README.md.
  foreach(source IN ITEMS inflate inffast inftrees)
    set_source_files_properties(${VANTORD_ZLIB_SOURCE}/${source}.c PROPERTIES COMPILE_OPTIONS -Os)
  endforeach()
endif()
