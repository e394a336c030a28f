/** @file
 * PGM_FUNCTIONS.h - 8-bit raw Netpbm files: grey (PGM, "P5") and colour (PPM, "P6"). C11 and C++17.
 * Samples are one byte each, row after row without padding; colour in the order R, G, B.
 * Any thread; no state. Messages go to standard output. */
#ifndef LUMETRACORE_PGM_FUNCTIONS_H
#define LUMETRACORE_PGM_FUNCTIONS_H

#include <LumetraCore/LumetraTypes.h>

/** Reads a grey image. Samples are rescaled to (sample x 256) / (maximum + 1) unless the maximum is 255;
 *  a sample missing at the end of the file counts as -1 (which gives 255 for a maximum of 255).
 *  If the size line does not parse, the values that could not be read keep what the caller put there, and
 *  reading goes on with them: initialise both. A maximum that does not parse counts as 255.
 *  @param width   pixels in a row; in and out, also written on failure
 *  @param height  rows; in and out, also written on failure
 *  @return the samples, allocated with malloc and the caller's to free; null if an argument is null or the
 *          file cannot be opened (silent); null with a message, and the file left open, if the header ends
 *          early, the magic differs, a number exceeds 32 bits or memory is short */
LUMETRA_EXPORT unsigned char* read_pgm(const char* path, int* width, int* height);

/** Reads a colour image, three bytes a pixel; otherwise as read_pgm. Ten spare bytes follow the samples. */
LUMETRA_EXPORT unsigned char* read_ppm(const char* path, int* width, int* height);

/** Writes width x height samples behind a header with one comment line.
 *  @param comment  one line, without its end; null is empty
 *  @param samples  borrowed; null writes none
 *  @return 0 written; -1 the file could not be opened (with a message); later write errors go unreported */
LUMETRA_EXPORT int write_pgm(const char* path, const char* comment, unsigned char* samples, int width,
                             int height);

#endif
