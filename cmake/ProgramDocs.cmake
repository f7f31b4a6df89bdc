# Writes what the program says of itself to a file: cmake -DPROGRAM=file -DWORD=--man -DOUT=file -P ProgramDocs.cmake
execute_process(COMMAND ${PROGRAM} ${WORD} OUTPUT_FILE ${OUT} RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  file(REMOVE ${OUT})
  message(FATAL_ERROR "${PROGRAM} ${WORD} ended with ${result}")
endif()
