// TooJpeg_exact.h - for units whose floating point decides bytes of the file; included before all else.
// Single precision, each operation rounded once, in the order written: a multiplication fused with an
// addition, as gcc makes them by default where the processor can, changes the bytes of many pictures. The
// build switches that off with -ffp-contract=off; this does so where a unit is compiled without it. Only
// clang with an explicit -ffp-contract=fast fuses all the same.
#ifndef LUMETRA_IMAGE_JPEG_TOOJPEG_EXACT_H
#define LUMETRA_IMAGE_JPEG_TOOJPEG_EXACT_H

#if defined(__clang__)
#pragma STDC FP_CONTRACT OFF
#elif defined(__GNUC__)
#pragma GCC optimize("fp-contract=off")
#endif

#include <cfloat>

#ifdef __FAST_MATH__
#error "The encoder's bytes need exact arithmetic: do not compile it with -ffast-math."
#endif
// 16 widens nothing but half precision, which is not used here.
static_assert(FLT_EVAL_METHOD == 0 || FLT_EVAL_METHOD == 16, "float must be evaluated as float");

#endif
