# The build stamp that the service logs at its start: the commit's time in UTC for the product, a fixed one for the
# hosted build, whose transcripts must not change with the commit.
set(build_date "Jan  1 2026")
set(build_time "00:00:00")
set(driver_date "01/01/2026")
if(WIN32)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env TZ=UTC git log -1 --format=%cd --date=format-local:%b\ %e\ %Y|%H:%M:%S|%m/%d/%Y
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_VARIABLE commit_time OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(commit_time MATCHES "^(.*)[|](.*)[|](.*)$")
    set(build_date "${CMAKE_MATCH_1}")
    set(build_time "${CMAKE_MATCH_2}")
    # The same moment, as a driver package wants it.
    set(driver_date "${CMAKE_MATCH_3}")
  endif()
endif()
set_source_files_properties(vantord/service/build_stamp.cpp PROPERTIES COMPILE_DEFINITIONS
  "VANTORD_BUILD_DATE=\"${build_date}\";VANTORD_BUILD_TIME=\"${build_time}\"")
