# Stops where the library would not be what it is: 32-bit x86 counts in the registers of the x87 and gives other bits
# without a word, and other processors die in the middle of the build by an unknown flag.

include(CheckCXXSourceCompiles)
function(vekr_check_target)
  set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)  # asks the compiler and not the linker
  set(CMAKE_REQUIRED_QUIET ON)
  unset(VEKR_TARGET_IS_SERVED CACHE)                 # flags may have changed
  check_cxx_source_compiles("
    #if !defined(__linux__) || !defined(__x86_64__) || defined(__ILP32__) || !defined(__GNUC__)
    #error another target
    #endif
    int served;" VEKR_TARGET_IS_SERVED)
  if(NOT VEKR_TARGET_IS_SERVED)
    message(FATAL_ERROR "vekr serves Linux on 64-bit x86 only (g++, clang++), not this target.")
  endif()
endfunction()
vekr_check_target()
