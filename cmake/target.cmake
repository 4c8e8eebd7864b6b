# Stops where the library would not be what it is: 32-bit x86 counts in the registers of the x87 and gives other bits
# without a word, and other processors have no lane types. Tells the processor of the target in VEKR_PROCESSOR.

include(CheckCXXSourceCompiles)
function(vekr_check_target)
  set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)  # asks the compiler and not the linker
  set(CMAKE_REQUIRED_QUIET ON)
  set(tested_x86_64 "defined(__x86_64__)")
  set(tested_aarch64 "defined(__aarch64__) && defined(__AARCH64EL__)")
  foreach(processor x86_64 aarch64)
    unset(VEKR_TARGET_IS_SERVED CACHE)               # flags may have changed
    check_cxx_source_compiles("
      #if !defined(__linux__) || !(${tested_${processor}}) || defined(__ILP32__) || !defined(__GNUC__)
      #error another target
      #endif
      int served;" VEKR_TARGET_IS_SERVED)
    if(VEKR_TARGET_IS_SERVED)
      set(VEKR_PROCESSOR ${processor} PARENT_SCOPE)
      return()
    endif()
  endforeach()
  message(FATAL_ERROR "vekr serves 64-bit Linux on x86 and ARM (g++, clang++), not this target.")
endfunction()
vekr_check_target()

# Where the estimates of reciprocals come from that the packet forms start with. By table (frame/estimates.h) every
# processor gives the same bits; the instructions of x86 are faster, and differ from maker to maker.
if(VEKR_PROCESSOR STREQUAL x86_64)
  set(VEKR_ESTIMATES instruction CACHE STRING "Estimates of reciprocals: by instruction, or by table")
else()
  set(VEKR_ESTIMATES table CACHE STRING "Estimates of reciprocals: by table, as this processor has other instructions")
endif()
set_property(CACHE VEKR_ESTIMATES PROPERTY STRINGS instruction table)
if(NOT VEKR_ESTIMATES MATCHES "^(instruction|table)$" OR
    (VEKR_ESTIMATES STREQUAL instruction AND NOT VEKR_PROCESSOR STREQUAL x86_64))
  message(FATAL_ERROR "VEKR_ESTIMATES is instruction (on x86 only) or table, and not \"${VEKR_ESTIMATES}\".")
endif()
