/** @file
 * LumetraTypes.h - the enumerations and function forms that hosts, modules and the engine share.
 * Plain C11 and C++17. Every enumeration is a signed 32-bit integer on both sides of the border. */
#ifndef LUMETRACORE_LUMETRATYPES_H
#define LUMETRACORE_LUMETRATYPES_H

#ifdef __cplusplus
#include <cstdint>
#define LUMETRA_EXTERN_C extern "C"
#define LUMETRA_ENUM(name) enum name : std::int32_t
#else
#include <stdint.h>
/* char16_t is a keyword in C++ only; a C library without <uchar.h> still has the compiler's type. */
#if defined(__has_include)
#if __has_include(<uchar.h>)
#include <uchar.h>
#else
typedef __CHAR16_TYPE__ char16_t;
#endif
#else
#include <uchar.h>
#endif
#define LUMETRA_EXTERN_C extern
#define LUMETRA_ENUM(name) \
    typedef int32_t name;  \
    enum
#endif

/** Marks what leaves a shared library that is otherwise built with hidden visibility. */
#define LUMETRA_VISIBLE __attribute__((visibility("default")))
#define LUMETRA_EXPORT LUMETRA_EXTERN_C LUMETRA_VISIBLE

/** Module id that addresses the engine itself; modules report ids of at least 1. */
#define ENGINE_MODULE_ID 0

/** Result of LumetraCore_getStatus: at work. A module's own status may be any number. */
#define STATUS_READY 1
/** Result of LumetraCore_getStatus: no engine, no such module, or one that lacks getStatus. */
#define STATUS_UNAVAILABLE 3

/** Pixel layout of a frame. Rows follow each other without padding, top row first. */
LUMETRA_ENUM(LUMETRA_IMGFORMATTYPE){
    LUMETRA_IMGFORMAT_NONE = 0,      /**< no pixels */
    LUMETRA_IMGFORMAT_RGB = 1,       /**< 3 bytes a pixel: R, G, B */
    LUMETRA_IMGFORMAT_YUV420 = 2,    /**< 12 bits a pixel; carried, never read by the engine */
    LUMETRA_IMGFORMAT_BGRA = 3,      /**< 4 bytes a pixel: B, G, R, A; alpha is ignored */
    LUMETRA_IMGFORMAT_YUYV = 4,      /**< 2 bytes a pixel, packed 4:2:2: Y0, U, Y1, V */
    LUMETRA_IMGFORMAT_BGR = 5,       /**< 3 bytes a pixel: B, G, R */
    LUMETRA_IMGFORMAT_RESERVED6 = 6, /**< no pixel bytes are kept */
    LUMETRA_IMGFORMAT_GRAY8 = 7      /**< 1 byte a pixel; the format after conversion */
};

/** What happens to a frame before modules see it; bits that may be combined. */
LUMETRA_ENUM(LUMETRA_CONVERSIONMODIFIER){
    LUMETRA_CONVERT_GRAY = 1,         /**< to 8-bit grey; without it no pixel is touched */
    LUMETRA_CONVERT_PYRAMID = 2,      /**< levels 1 to 7 too */
    LUMETRA_CONVERT_FLIPVERTICAL = 4, /**< last input row first; with LUMETRA_CONVERT_GRAY only */
    LUMETRA_CONVERT_DEBUGDUMP = 8     /**< write the levels as PGM or PPM files to the writable path */
};

/** Commands. The engine takes 1, 3, 4 and 8; a module gets every number and gives it its own meaning.
 *  Numbers from LUMETRA_CMD_MODULE_FIRST on are never given a meaning by the engine. */
LUMETRA_ENUM(LUMETRA_CMDTYPE){
    LUMETRA_CMD_CONFIGURE = 1,      /**< text: the configuration as JSON */
    LUMETRA_CMD_START = 3,          /**< accepted by the engine without effect; "begin" to a module */
    LUMETRA_CMD_STOP = 4,           /**< accepted by the engine without effect; "pause" to a module */
    LUMETRA_CMD_INVALIDATE = 8,     /**< frames are refused until the next configuration */
    LUMETRA_CMD_MODULE_FIRST = 1000 /**< first number that belongs to modules alone */
};

/** Callback kinds. The engine's own table holds CB_LOG and CB_HOSTTEXT. */
LUMETRA_ENUM(LUMETRA_CBTYPE){
    CB_LOG = 1,             /**< LUMETRA_LOGFN */
    CB_TYPE2 = 2,           /**< defined by modules; the engine only forwards it */
    CB_PUSHNATIVEIMAGE = 3, /**< LUMETRA_PUSHFN: given by the engine to a module */
    CB_HOSTTEXT = 4         /**< LUMETRA_HOSTTEXTFN */
};

/** Log sink. `text` is borrowed for the call. Runs on whichever thread logs, several at once.
 *  The engine always logs at level 0 and drops an exception that leaves the sink; a module that was handed
 *  the sink may not, so let none leave. It must not call LumetraCore_setNativeTexturePointer, which logs
 *  with its record locked. */
typedef void (*LUMETRA_LOGFN)(int32_t level, const char16_t* text);

/** Text exchange: the host sees the descriptor of a frame that a module pushes and returns the one to
 *  deliver with it. `text` is borrowed for the call; with "forwardNativeImage" on it is compact JSON,
 *  "null" where the module's text was not JSON. The engine passes null as `unused` and copies the reply at
 *  once; the reply stays the host's and must live until then. A null reply counts as an empty text. Runs on
 *  the modules' threads, several at once; what it throws reaches the module that pushes. */
typedef const char16_t* (*LUMETRA_HOSTTEXTFN)(void* unused, const char16_t* text);

/** Pushes a module's own frame, as LumetraCore_pushImageData does for a host: 1 taken, 0 not configured.
 *  `context` is the user pointer that came with the function; `descriptor` is UTF-8, null counts as empty.
 *  0 also once the engine has been destroyed, until a new one is made (which may stand at the same
 *  address): such a push touches nothing.
 *
 *  WHILE "forwardNativeImage" IS ON AND THE CONFIGURED FORMAT IS YUYV, `data` MUST HOLD 2 x width x height
 *  BYTES OF THE CONFIGURED SIZE, whatever `size` says: that many are read.
 *
 *  With forwarding on:
 *  - a descriptor or answer that is not JSON, is nested deeper than 1,000 levels, contains an unpaired
 *    surrogate escape (an answer: outside "image") or a number beyond the range of double is delivered as
 *    "null";
 *  - a picture larger than 1,048,576 bytes of JPEG is truncated and does not decode completely.
 *
 *  May throw std::bad_alloc (no memory, or a size beyond 31 bits), std::range_error (descriptor or answer
 *  is not valid text) and what the host's callback throws: catch on a thread of your own. */
typedef int (*LUMETRA_PUSHFN)(void* context, const unsigned char* data, int size, const char* descriptor,
                              int frameIndex);

#endif
