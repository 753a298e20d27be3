#pragma once

// Code for processors with AVX2 in files built for the baseline x86: the
// functions between VELMORA_AVX2_BEGIN and VELMORA_AVX2_END are compiled for
// AVX2 and are called only where `hasAvx2()` holds. Each compiler is told in
// its own way; clang's attribute also reaches the lambdas inside. A template
// written for any processor is compiled for AVX2 by an explicit instantiation
// marked VELMORA_AVX2_TARGET (clang's attribute does not reach instantiations);
// what it inlines is compiled as part of it, but lambdas inside it are not.
#if defined(__x86_64__) || defined(__i386__)

#if defined(__clang__)
#define VELMORA_AVX2_BEGIN _Pragma("clang attribute push(__attribute__((target(\"avx2\"))), apply_to = function)")
#define VELMORA_AVX2_END _Pragma("clang attribute pop")
#else
#define VELMORA_AVX2_BEGIN _Pragma("GCC push_options") _Pragma("GCC target(\"avx2\")")
#define VELMORA_AVX2_END _Pragma("GCC pop_options")
#endif
#define VELMORA_AVX2_TARGET __attribute__((target("avx2")))

namespace velmora {
inline bool hasAvx2() { return __builtin_cpu_supports("avx2"); }
}  // namespace velmora

#endif
