# No object of the library holds a fused multiply-add, whatever its instruction set offers, or an estimate of AVX-512, whose bits
# are others than those of the narrower ones. Arguments: OBJDUMP, OBJECTS (separated by commas).

string(REPLACE "," ";" objects "${OBJECTS}")
set(seen 0)
foreach(object ${objects})
  execute_process(COMMAND ${OBJDUMP} -d --no-show-raw-insn ${object} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "\t(ret|vzeroupper|jmp|call)[^\n]*" returns "${text}")
  list(LENGTH returns count)
  math(EXPR seen "${seen} + ${count}")
  string(REGEX MATCHALL "\tv(fn?m(add|sub)|rcp14|rsqrt14|rcp28|rsqrt28)[^\n]*" wrong "${text}")
  foreach(instruction ${wrong})
    message(SEND_ERROR "${object}: ${instruction}")
  endforeach()
endforeach()
if(seen EQUAL 0)
  message(FATAL_ERROR "no instructions found")
endif()
