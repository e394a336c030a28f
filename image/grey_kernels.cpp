// grey_kernels.cpp - which sets of kernels this processor runs.
#include "image/grey_kernels.h"

std::vector<GreyKernels> usableGreyKernels() {
    std::vector<GreyKernels> usable = {scalarGreyKernels()};
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) usable.push_back(avx2GreyKernels());
    if (__builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi") &&
        __builtin_cpu_supports("avx512vnni"))
        usable.push_back(avx512GreyKernels());
#elif defined(__aarch64__)
    usable.push_back(neonGreyKernels());
#endif
    return usable;
}

const GreyKernels& greyKernels() {
    static const GreyKernels fastest = usableGreyKernels().back();
    return fastest;
}
