# zlib: the one that the tool chain finds, or one made from its own sources where there is none for the target.
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
if(NOT MSVC)
  # Its warnings are not this project's.
  target_compile_options(vantord_zlib PRIVATE -w
    -ffile-prefix-map=${VANTORD_ZLIB_SOURCE}=zlib -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
endif()
