// pyramid.h - vertical flip and pyramid levels of grey pictures, in their own buffer.
#ifndef LUMETRA_IMAGE_PYRAMID_H
#define LUMETRA_IMAGE_PYRAMID_H

#include <cstdint>

#include "LumetraCore/IChnk.h"

namespace lumetra {

/// Sets lvl[1] to lvl[7] behind lvl[0], each right behind the level before it.
void layOutLevels(IChnk& chunk);

/// Swaps the rows of a grey picture end for end.
void flipRows(std::uint8_t* picture, std::int32_t width, std::int32_t height);

/// Derives levels 1 to 7 from grey level 0, each pixel the top left one of its 2 x 2 block, and sets their
/// pointers, empty levels included. A row of the level above is taken to be twice as long as the new row,
/// so that a level made from one of odd width is sheared; kept for compatibility.
/// @param cursor  where level 1 begins; each level follows the one before it
void deriveLevels(IChnk& chunk, std::uint8_t* cursor);

}  // namespace lumetra

#endif
