/** @file
 * PGM_FUNCTIONS.h - 8-bit raw Netpbm files: grey (PGM, "P5") and colour (PPM, "P6"). C11 and C++17.
 * Samples are one byte each, row after row without padding; colour in the order R, G, B.
 * Any thread; no state. Messages go to standard output. */
#ifndef LUMETRACORE_PGM_FUNCTIONS_H
#define LUMETRACORE_PGM_FUNCTIONS_H

#include <LumetraCore/LumetraTypes.h>

/** Reads a grey image. Samples are rescaled to (sample x 256) / (maximum + 1) unless the maximum is 255;
 *  a sample missing at the end of the file counts as -1 (which gives 255 for a maximum of 255).
 *  A size line that does not parse leaves `width` and `height` as far as it does not, and the file is read by
 * what they hold: give them a value. A maximum that does not parse counts as 255.
 *  @param width   pixels in a row: read first, then written as far as the size line goes, also on failure
 *  @param height  rows, likewise
 *  @return the samples, allocated with malloc and the caller's to free; null if the file cannot be
 *          opened or an argument is null (silently), if the file ends in its header, its magic is another, a
 * number has more than 32 bits or the size cannot be allocated (each with a message, and with the file left
 * open) */
LUMETRA_EXPORT unsigned char* read_pgm(const char* path, int* width, int* height);

/** Reads a colour image, three bytes a pixel; otherwise as read_pgm. Ten spare bytes follow the samples. */
LUMETRA_EXPORT unsigned char* read_ppm(const char* path, int* width, int* height);

/** Writes width x height samples behind a header with one comment line.
 *  @param comment  one line, without its end; null is empty
 *  @param samples  borrowed; null writes none
 *  @return 0 written, -1 the file could not be opened (with a message); later write errors go unseen */
LUMETRA_EXPORT int write_pgm(const char* path, const char* comment, unsigned char* samples, int width,
                             int height);

#endif
