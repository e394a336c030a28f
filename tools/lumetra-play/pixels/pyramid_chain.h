// pyramid_chain.h - the smaller colour levels that are pushed behind a frame. Any thread; no state.
#ifndef LUMETRA_PLAY_PYRAMID_CHAIN_H
#define LUMETRA_PLAY_PYRAMID_CHAIN_H

#include "tools/lumetra-play/pixels/picture.h"

/// `frame` holds level 0; levels 1 to 7 follow behind it, each half the size of the one before (odd sizes
/// round down), each pixel the rounded mean of its four. A packed pixel's chroma is the mean of the two
/// samples that share its place in the pair, one above the other.
void appendPyramidChain(const Picture& picture, Bytes& frame);

#endif
