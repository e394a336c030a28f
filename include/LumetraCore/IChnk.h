/// @file
/// IChnk.h - one frame in the engine: its size, its descriptor and the buffer with its pyramid levels.
/// Part of the module interface: engine and modules must agree on every byte of this record, so both
/// build against this header and the same standard library.
#ifndef LUMETRACORE_ICHNK_H
#define LUMETRACORE_ICHNK_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <LumetraCore/LumetraTypes.h>

/// One frame. Copies share the pixels. Level k has (width >> k) x (height >> k) pixels, may be empty,
/// and its rows follow each other without padding, top row first.
struct IChnk {
    /// The pixel storage: eight pointers into one buffer.
    struct dPtr {
        dPtr() = default;
        dPtr(const dPtr&) = delete;
        dPtr& operator=(const dPtr&) = delete;
        ~dPtr() { delete[] lvl[0]; }

        /// lvl[0] owns the buffer, an array of unsigned bytes; one that came from the engine goes back there
        /// with the last owner of `data`, so never replace or delete it. lvl[1] to lvl[7] point into it and
        /// are null when the frame has no pyramid.
        unsigned char* lvl[8] = {};
    };

    /// No size, no pixels, frame index -1; `format` is uninitialised.
    LUMETRA_VISIBLE IChnk();
    /// A frame without pixels yet: `size` is 0 and every level null.
    LUMETRA_VISIBLE IChnk(int width, int height, LUMETRA_IMGFORMATTYPE format, int frameIndex,
                          std::string descriptor);

    std::int32_t width;            ///< pixels in a row of level 0
    std::int32_t height;           ///< rows of level 0
    std::int32_t frameIndex;       ///< the pusher's number for the frame
    std::int32_t size;             ///< bytes of the pixel buffer; levels derived from a grey frame lie
                                   ///< beyond `size`
    std::string descriptor;        ///< UTF-8 text that came with the frame, normally JSON
    LUMETRA_IMGFORMATTYPE format;  ///< pixel layout of every level; uninitialised in a default chunk
    std::shared_ptr<dPtr> data;    ///< never null
};

// Refuses the old strings of libstdc++ (_GLIBCXX_USE_CXX11_ABI 0), which change the layout.
#if defined(__GLIBCXX__) && defined(__LP64__)
static_assert(sizeof(IChnk) == 72 && offsetof(IChnk, descriptor) == 16 && offsetof(IChnk, format) == 48 &&
                  offsetof(IChnk, data) == 56,
              "modules are built against this layout");
#endif
static_assert(sizeof(IChnk::dPtr) == 8 * sizeof(void*), "modules are built against this layout");

#endif
