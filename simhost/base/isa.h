// The widest x86 instruction set this processor runs, for the loops that are built in
// several variants (baseline x86-64, AVX2, AVX-512) and chosen at run time.
//
// A variant is a function with SIM_TARGET_AVX2 or SIM_TARGET_AVX512 in front of it,
// defined only where SIM_ISA_X86 is; bestIsa() says which variant may run.
#pragma once

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define SIM_ISA_X86 1
#define SIM_TARGET_AVX2 __attribute__((target("avx2")))
#define SIM_TARGET_AVX512                                                                          \
    __attribute__((target("avx512f,avx512vl,avx512dq,avx512bw,prefer-vector-width=512")))
#endif

namespace sim {

enum class Isa {
    Generic,
    Avx2,
    Avx512
};

// The processor's widest set (asked once; Generic off x86-64 or with another compiler),
// or the cap when that is narrower.
Isa bestIsa();

// The processor's widest set, whatever the cap.
Isa detectedIsa();

// Keeps bestIsa() at or below isa from now on, so that the narrower variants can be
// checked and measured on a wide processor.
void capIsa(Isa isa);

} // namespace sim
