# Every object of the main library is compiled with frame/exact_math.h in front. Arguments: COMMANDS.

cmake_minimum_required(VERSION 3.25)

file(STRINGS ${COMMANDS} commands REGEX "\"command\": .* CMakeFiles/vekre9_[a-z0-9]+[.]dir/")
list(LENGTH commands count)
if(count LESS 20)
  message(FATAL_ERROR "${COMMANDS} tells of ${count} objects of the library only")
endif()
foreach(command IN LISTS commands)
  if(NOT command MATCHES "-include [^ ]*frame/exact_math[.]h")
    message(SEND_ERROR "compiled without a look at the flags: ${command}")
  endif()
endforeach()
