# An inline function is defined in every object that uses it, and the linker keeps one of them. Two different functions of
# one name and signature, from two headers that never meet in one file, would be merged without a word; their sizes
# give them away. Arguments: NM, OBJECTS (separated by commas; all compiled with the same flags).

string(REPLACE "," ";" objects "${OBJECTS}")
set(seen 0)
foreach(object ${objects})
  execute_process(COMMAND ${NM} --defined-only --format=posix ${object} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[^\n]*4vekr[^\n]* W [^\n]*" lines "${text}")
  foreach(line ${lines})
    string(REGEX MATCH "^([^ ]+) W [0-9a-f]+ ([0-9a-f]+)" line "${line}")
    set(name "${CMAKE_MATCH_1}")
    set(size "${CMAKE_MATCH_2}")
    math(EXPR seen "${seen} + 1")
    if(DEFINED "size_${name}" AND NOT size STREQUAL "${size_${name}}")
      message(SEND_ERROR "${name} has ${size} bytes in ${object}, but ${size_${name}} in ${object_${name}}")
    endif()
    set("size_${name}" "${size}")
    set("object_${name}" "${object}")
  endforeach()
endforeach()
if(seen EQUAL 0)
  message(FATAL_ERROR "no inline functions found")
endif()
