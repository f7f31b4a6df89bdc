# Writes the commit that the program is built of: cmake -DSOURCE=folder -DOUT=file -P ProgramVersion.cmake
# The file is written anew only when the commit is another one. Without git or its history the commit is "unknown".
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env TZ=UTC git log -1 --format=%h\ of\ %cd --date=format-local:%Y-%m-%d
  WORKING_DIRECTORY ${SOURCE} OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR commit STREQUAL "")
  set(commit unknown)
endif()
file(CONFIGURE OUTPUT ${OUT} CONTENT "\"${commit}\"\n")
