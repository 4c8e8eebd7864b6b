/* What the processor has. */
#ifndef VEKR_FRAME_CPU_H
#define VEKR_FRAME_CPU_H

#ifdef __cplusplus
extern "C" {
#endif

/* Asks the C library, which has asked the processor at program start: no instruction that a hypervisor would
 * trap, and no state here. Can be switched off from outside with GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2. */
int ownHasAvx2(void);

/* The same for AVX-512 with F, VL, BW and DQ: glibc.cpu.hwcaps=-AVX512F switches it off, and so does -AVX2. With
 * VEKR_AVX512_IN_HALVES the set needs AVX2 alone. */
int ownHasAvx512(void);

#ifdef __cplusplus
}
#endif

#endif
