# Writes a C source that defines every framework symbol that the OBJECTS (joined by "|") leave undefined.
string(REPLACE "|" ";" OBJECTS "${OBJECTS}")
execute_process(COMMAND ${NM} --undefined-only --format=posix ${OBJECTS}
    OUTPUT_VARIABLE lines COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n ]+ [Uvw]" symbols "${lines}")
list(TRANSFORM symbols REPLACE " .$" "")
list(FILTER symbols INCLUDE REGEX "^(_Z.*3kep|kep[A-Z]|ReflectAdd$)")
list(SORT symbols)
list(REMOVE_DUPLICATES symbols)
set(source "/* Written by the build. */\n")
foreach(symbol IN LISTS symbols)
  string(APPEND source "void ${symbol}(void) {}\n")
endforeach()
file(WRITE ${OUTPUT} "${source}")
