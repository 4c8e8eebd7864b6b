# The public headers compile alone, as C99 and C++17 and later, without a warning, with every compiler of this machine.
# Arguments: INCLUDE, COMPANION_INCLUDE.

set(tried 0)
foreach(compiler gcc clang g++ clang++)
  find_program(found_${compiler} ${compiler})
  if(NOT found_${compiler})
    continue()
  endif()
  if(compiler MATCHES "\\+\\+")
    set(language c++)
    set(standards c++17 c++20)
    set(warnings)
  else()
    set(language c)
    set(standards c99 c11 c17)
    set(warnings -Wstrict-prototypes -Wmissing-prototypes)
  endif()
  foreach(header vekr.h vekcore.h vekr_extra.h)
    foreach(standard ${standards})
      execute_process(
        COMMAND ${found_${compiler}} -x ${language} -std=${standard} -Wall -Wextra -Wpedantic -Wundef ${warnings} -Werror
          -fsyntax-only -I ${INCLUDE} -I ${COMPANION_INCLUDE} -include ${header} -include ${header} /dev/null
        RESULT_VARIABLE result ERROR_VARIABLE text)
      if(NOT result EQUAL 0)
        message(SEND_ERROR "${header}: ${compiler} -std=${standard}\n${text}")
      endif()
      math(EXPR tried "${tried} + 1")
    endforeach()
  endforeach()
endforeach()
if(tried EQUAL 0)
  message(FATAL_ERROR "no compiler found")
endif()

# Comments too keep to the width of the code, which the formatter leaves to their authors.
foreach(header ${INCLUDE}/vekr.h ${INCLUDE}/vekr_extra.h ${COMPANION_INCLUDE}/vekcore.h)
  file(STRINGS ${header} wide LENGTH_MINIMUM 111)
  if(wide)
    message(SEND_ERROR "${header}: wider than 110 columns:\n${wide}")
  endif()
endforeach()
message(STATUS "${tried} compilations")
