# cmake -DDOCUMENT=... -DEXAMPLE=... -P DocumentedExample.cmake
# The code that a document shows is the file that is compiled.
file(READ "${DOCUMENT}" document)
file(READ "${EXAMPLE}" example)
string(FIND "${document}" "```cpp\n${example}```" position)
if(position EQUAL -1)
    message(FATAL_ERROR "${DOCUMENT} does not show ${EXAMPLE} as it is.")
endif()
