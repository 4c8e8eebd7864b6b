// The instruction set that a file is compiled for, and what it offers: the one place that tells widths.
//
// VEKR_ISA names the set, on the compiler's command line, and is the namespace of everything that the file compiles from
// lane types. What counts is that name and not what else the compiler has been allowed: a file for the floor stays as
// narrow under -march=native.
#pragma once

#ifndef VEKR_ISA
#error "lane types belong into files that are compiled for an instruction set: see cmake/library.cmake"
#endif

// Floats in the widest register of each set of this architecture.
#ifdef __aarch64__
#define VEKR_FLOATS_IN_neon 4
#else
#define VEKR_FLOATS_IN_sse41 4
#define VEKR_FLOATS_IN_avx2 8
#define VEKR_FLOATS_IN_avx512 16
#endif

// Floats in the widest group of lanes: one register's. For tests on processors without AVX-512 its groups of sixteen can be two
// registers of 256 bits.
#define VEKR_GROUP_FLOATS VEKR_FLOATS_IN(VEKR_ISA)

#define VEKR_FLOATS_IN_SET(set) VEKR_FLOATS_IN_##set
#define VEKR_FLOATS_IN(set) VEKR_FLOATS_IN_SET(set)
#if defined(VEKR_AVX512_IN_HALVES) && VEKR_GROUP_FLOATS == 16
#define VEKR_REGISTER_FLOATS 8
#else
#define VEKR_REGISTER_FLOATS VEKR_GROUP_FLOATS
#endif

// A name that the list above lacks counts as 0 here.
#if VEKR_REGISTER_FLOATS != 4 && VEKR_REGISTER_FLOATS != 8 && VEKR_REGISTER_FLOATS != 16
#error "VEKR_ISA is not an instruction set that frame/lanes/ has lane types for"
#endif
#if !defined(__SSE4_1__) && !defined(__aarch64__)
#error "the lane types need SSE4.1"
#endif
#if VEKR_REGISTER_FLOATS >= 8 && !defined(__AVX2__)
#error "this instruction set needs AVX2, which the compiler has not been allowed"
#endif
#if VEKR_REGISTER_FLOATS >= 16 && \
    !(defined(__AVX512F__) && defined(__AVX512VL__) && defined(__AVX512BW__) && defined(__AVX512DQ__))
#error "this instruction set needs AVX-512 with F, VL, BW and DQ, which the compiler has not been allowed"
#endif

namespace vekr::VEKR_ISA {

// The widest group of 32-bit lanes that kernels count in.
constexpr int kWidestGroup = VEKR_GROUP_FLOATS;

// Whether the set reads scattered elements in one instruction.
constexpr bool kHasGathers = VEKR_REGISTER_FLOATS >= 8;

// Whether its loads and stores leave lanes that are off alone, be there memory or not.
constexpr bool kMasksMemory = VEKR_GROUP_FLOATS >= 16;

}  // namespace vekr::VEKR_ISA
