# Objects that are compiled for one instruction set define names of that set's namespace only. Any other inline function or
# template in them could be merged with the same one of another object, and would then run on processors that lack the
# instructions. Arguments: NM, NAMESPACE (mangled), OBJECTS (separated by commas).

string(REPLACE "," ";" objects "${OBJECTS}")
set(seen 0)
foreach(object ${objects})
  execute_process(COMMAND ${NM} --defined-only --extern-only --format=posix ${object} OUTPUT_VARIABLE text
    COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[^\n]+" lines "${text}")
  foreach(line ${lines})
    math(EXPR seen "${seen} + 1")
    if(NOT line MATCHES "${NAMESPACE}")
      message(SEND_ERROR "${object} defines ${line}")
    endif()
  endforeach()
endforeach()
if(seen EQUAL 0)
  message(FATAL_ERROR "no names found")
endif()
