#pragma once

/// Put before kernels that the compiler vectorises: on x86-64 they are compiled twice, for any such processor
/// and for those with AVX2, all that they call inlined, and the loader picks when the program starts. Both
/// give the same bytes: AVX2 alone has no fused multiply-add, and integers are integers. Where kernels are
/// called for few pixels at a time it does not pay: the call goes through a table.
///
/// One variant elsewhere, with Clang, in builds with sanitizers (the choice runs before they are set up), and
/// with -DZOLT_SIMD=baseline.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__) && !defined(ZOLT_SIMD_BASELINE)
#define ZOLT_VECTOR_CLONES __attribute__((target_clones("default", "avx2"), flatten))
#define ZOLT_HAS_VECTOR_CLONES
#else
#define ZOLT_VECTOR_CLONES
#endif

/// Whether pixels of three bytes are taken apart in vectors: SSE2 alone takes longer for it than it saves.
inline bool VectorsShuffleBytes() {
#if !defined(__x86_64__)
  return true;
#elif defined(ZOLT_HAS_VECTOR_CLONES)
  return __builtin_cpu_supports("avx2");
#else
  return false;
#endif
}
