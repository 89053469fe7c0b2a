// What the processor offers beyond baseline x86-64, asked once per process. Every subsystem
// with vector kernels reads the answer here, so they all agree on one CPU check.
#ifndef VANDREL_PLATFORM_CPUFEATURES_H
#define VANDREL_PLATFORM_CPUFEATURES_H

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define VX_X86_VECTOR 1
#else
#define VX_X86_VECTOR 0
#endif

inline bool CpuHasAvx2() {
#if VX_X86_VECTOR
    static const bool has = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") != 0;
    }();
    return has;
#else
    return false;
#endif
}

#endif
