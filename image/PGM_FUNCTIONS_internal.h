// PGM_FUNCTIONS_internal.h - the image-file functions, with the one that stays inside the library.
#ifndef LUMETRA_IMAGE_PGM_FUNCTIONS_INTERNAL_H
#define LUMETRA_IMAGE_PGM_FUNCTIONS_INTERNAL_H

#include "LumetraCore/PGM_FUNCTIONS.h"

/// write_pgm for colour: three samples a pixel, R, G, B.
int write_ppm(const char* path, const char* comment, unsigned char* samples, int width, int height);

#endif
