// TooJpeg.h - baseline JPEG files (ITU-T T.81: sequential DCT, Huffman coding, 8-bit samples), byte by byte.
// Any thread may encode: a call keeps all that it works with on its own stack, takes no memory from the heap
// and throws nothing of its own. The bytes are the same from every compiler, flag and processor.
#ifndef LUMETRA_IMAGE_JPEG_TOOJPEG_H
#define LUMETRA_IMAGE_JPEG_TOOJPEG_H

#include <cstddef>

namespace TooJpeg {

/// Receives the file, one call for each byte, in order.
using ByteSink = void (*)(unsigned char byte);

/// Encodes one picture as a whole JFIF file.
/// @param output      called for every byte of the file, on the calling thread
/// @param pixels      borrowed: rows from the top, unpadded; 3 bytes a pixel (R, G, B) or 1 (grey)
/// @param width       in pixels
/// @param height      in pixels
/// @param isRGB       whether `pixels` is colour
/// @param quality     1 (least) to 100; a value outside counts as the nearer of the two
/// @param downsample  whether colour is kept at half the width and height (4:2:0); grey ignores it
/// @param comment     borrowed text for a comment segment, null for no such segment; a segment holds 65533
///                    bytes, and a longer text is cut there
/// @return true written; false, and nothing written, for a null sink or picture or an empty side
bool writeJpeg(ByteSink output, const void* pixels, unsigned short width, unsigned short height,
               bool isRGB = true, unsigned char quality = 90, bool downsample = false,
               const char* comment = nullptr);

/// Receives the file in runs of bytes, in order. `bytes` is borrowed for the call.
using RunSink = void (*)(void* context, const unsigned char* bytes, std::size_t count);

/// The same file for a sink that takes many bytes at once. `context` goes to the sink unchanged.
bool writeJpegInRuns(RunSink output, void* context, const void* pixels, unsigned short width,
                     unsigned short height, bool isRGB = true, unsigned char quality = 90,
                     bool downsample = false, const char* comment = nullptr);

}  // namespace TooJpeg

#endif
