# Writes a text file as the bytes of a C++ array, one line of the array for 64 of them:
#   cmake -DTEXT=file -DOUT=file -P EmbedText.cmake
file(READ ${TEXT} bytes HEX)
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
string(REPEAT "0x[0-9a-f][0-9a-f]," 64 row)
string(REGEX REPLACE "(${row})" "\\1\n" bytes "${bytes}")
file(WRITE ${OUT} "${bytes}\n")
