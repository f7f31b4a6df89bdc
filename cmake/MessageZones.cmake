# Writes the zone of each message of docs/messages.md as lines of a C++ table:
#   cmake -DPAGE=docs/messages.md -DOUT=file -P MessageZones.cmake
# Entries and exits of functions have no number and stand in no line: they are all of one zone.
file(STRINGS ${PAGE} rows ENCODING UTF-8 REGEX "^\\| `[^`]+` \\| [0-9]+ \\| ")
set(lines)
foreach(row IN LISTS rows)
  if(NOT row MATCHES "^\\| `([^`]+)` \\| ([0-9]+) \\| ([A-Za-z_]+) \\| ")
    message(FATAL_ERROR "${PAGE}: a row without function, number and zone: ${row}")
  endif()
  string(APPEND lines "{\"${CMAKE_MATCH_1}\", ${CMAKE_MATCH_2}, \"${CMAKE_MATCH_3}\"},\n")
endforeach()
if(NOT lines)
  message(FATAL_ERROR "${PAGE}: no message was found")
endif()
file(WRITE ${OUT} "${lines}")
