# Configuring for a target that isn't served stops with one line that says so, before anything else is looked for.
# Arguments: SOURCE, WORK, GENERATOR, C_COMPILER, CXX_COMPILER, CLANG (may be missing).

function(expect_refusal name)
  file(REMOVE_RECURSE ${WORK}/${name})
  # Archives: a linker for the target need not be here.
  execute_process(COMMAND ${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE} -B ${WORK}/${name}
    -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY ${ARGN}
    RESULT_VARIABLE result OUTPUT_VARIABLE text ERROR_VARIABLE text)
  string(REGEX MATCHALL "CMake Error" errors "${text}")
  list(LENGTH errors count)
  if(result EQUAL 0 OR NOT count EQUAL 1 OR
      NOT text MATCHES "\n  vekr serves 64-bit Linux on x86 and ARM [^\n]*not this target\\.\n" OR text MATCHES "OpenMP")
    message(SEND_ERROR "${name}: ended with ${result} and\n${text}")
  endif()
endfunction()

expect_refusal(x86-32 -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
  -DCMAKE_C_FLAGS=-m32 -DCMAKE_CXX_FLAGS=-m32)
expect_refusal(x32 -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
  -DCMAKE_C_FLAGS=-mx32 -DCMAKE_CXX_FLAGS=-mx32)
if(CLANG)
  foreach(target aarch64_be-linux-gnu aarch64-unknown-freebsd arm-linux-gnueabihf riscv64-linux-gnu x86_64-unknown-freebsd)
    expect_refusal(${target} -DCMAKE_C_COMPILER=${CLANG} -DCMAKE_CXX_COMPILER=${CLANG}++
      -DCMAKE_C_COMPILER_TARGET=${target} -DCMAKE_CXX_COMPILER_TARGET=${target})
  endforeach()
endif()
