/* Runs a program where the processor has what 512-bit kernels need; elsewhere says that it doesn't, with the status by which
 * ctest knows a test that has been skipped. */
#include <stdio.h>
#include <unistd.h>

#include "frame/cpu.h"

#define SKIPPED 77

int main(int count, char **arguments) {
  if (count < 2) {
    fputs("with_avx512 PROGRAM ARGUMENT...\n", stderr);
    return 2;
  }
  if (!ownHasAvx512()) {
    puts("No AVX-512 (F, VL, BW, DQ) here, or it is switched off: skipped");
    return SKIPPED;
  }
  execv(arguments[1], arguments + 1);
  perror(arguments[1]);
  return 2;
}
