// grey_kernels.cpp - which set of kernels this processor runs.
#include "image/grey_kernels.h"

const GreyKernels& greyKernels() {
    return scalarGreyKernels();
}
