// grey_kernels.cpp - which sets of kernels this processor can run.
#include "image/grey/grey_kernels.h"

namespace lumetra {

#if defined(__x86_64__)
namespace {

bool hasAvx512() {
    return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi") &&
           __builtin_cpu_supports("avx512vnni");
}

}  // namespace
#endif

std::vector<GreyKernels> usableGreyKernels() {
    std::vector<GreyKernels> usable = {scalarGreyKernels()};
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) usable.push_back(avx2GreyKernels());
    if (hasAvx512()) usable.push_back(avx512GreyKernels());
#elif defined(__aarch64__)
    usable.push_back(neonGreyKernels());
#endif
    return usable;
}

const GreyKernels& greyKernels() {
#if defined(__x86_64__)
    static const GreyKernels& fastest = hasAvx512()                      ? avx512GreyKernels()
                                        : __builtin_cpu_supports("avx2") ? avx2GreyKernels()
                                                                         : scalarGreyKernels();
    return fastest;
#elif defined(__aarch64__)
    return neonGreyKernels();
#else
    return scalarGreyKernels();
#endif
}

}  // namespace lumetra
