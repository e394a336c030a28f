/** @file
 * LumetraTap.h - frames as the module Tap hands them to its host, for hosts in any language that C functions
 * can be written in.
 *
 *     int32_t tap = LumetraCore_registerDllByName(u"Tap");
 *     LumetraCore_registerCallback(tap, CB_TYPE2, (void*)onFrame, user);  // a LUMETRA_TAPFN
 *
 * Each frame that the engine converts goes to that function on a thread of the module's own, one at a time.
 * While the function is at work newer frames replace the one that waits, so that a slow receiver sees fewer
 * frames, each of them recent.
 *
 * The pixels are not copied. A frame and all it points to stay as they are (but for two frames pushed within
 * one millisecond, which share one) until the receiver releases it, on any thread, also after the module's
 * removal and the engine's end. Each must be released once; what is kept is memory that the engine cannot use
 * again. Other modules see the same pixels: do not write to them. */
#ifndef LUMETRACORE_LUMETRATAP_H
#define LUMETRACORE_LUMETRATAP_H

#include <LumetraCore/LumetraTypes.h>

/** The module's id. */
#define LUMETRA_TAP_ID 105

/** One frame, the receiver's until it is released. Members are only ever added at the end. */
typedef struct LumetraTapFrame {
    /** Bytes of this structure in the module: members at or beyond this offset do not exist. */
    uint32_t structSize;
    /** LUMETRA_IMGFORMAT_GRAY8 after a conversion, else the configured one. */
    LUMETRA_IMGFORMATTYPE format;
    uint64_t id;                    /**< push time: milliseconds since the Unix epoch */
    uint64_t skipped;               /**< frames not delivered so far, because a newer frame had come first */
    int32_t frameIndex;             /**< the pusher's number for the frame */
    int32_t width;                  /**< pixels in a row of level 0; of level k `width >> k` */
    int32_t height;                 /**< rows of level 0; of level k `height >> k` */
    int32_t descriptorSize;         /**< bytes of the descriptor without its end */
    const char* descriptor;         /**< UTF-8 with a 0 byte at its end, normally JSON */
    const unsigned char* levels[8]; /**< rows without padding, top row first; null: no pixels there */
    int32_t levelSizes[8];          /**< bytes at each of them */
    /** Releases the frame; `frame` is invalid afterwards. Any thread. */
    void (*release)(const struct LumetraTapFrame* frame);
} LumetraTapFrame;

/** The host's receiver. `user` is the pointer that was registered along, or the engine's address if that was
 *  null; `frame` is the receiver's to release, now or later. No exception may leave it. It must not register
 *  or unregister this module's callback, nor remove the module or destroy the engine: these wait for it, so
 *  that the process ends. Once they have returned it is not called any more. */
typedef void (*LUMETRA_TAPFN)(void* user, const LumetraTapFrame* frame);

/** Commands besides LUMETRA_CMD_STOP, which pauses, and LUMETRA_CMD_START, which resumes; both give 1. A
 *  count that an int cannot hold is INT32_MAX. */
enum {
    /** How many frames the receiver has been given since it was registered. */
    LUMETRA_TAP_CMD_DELIVERED = LUMETRA_CMD_MODULE_FIRST,
    /** How many were not delivered since then, because a newer frame had come first. */
    LUMETRA_TAP_CMD_SKIPPED,
    /** How many have not been released, those of earlier receivers included. */
    LUMETRA_TAP_CMD_HELD
};

/** Statuses besides STATUS_READY, which says that frames are delivered as they come. */
enum {
    LUMETRA_TAP_STATUS_IDLE = 2,  /**< nobody has registered a receiver */
    LUMETRA_TAP_STATUS_PAUSED = 4 /**< by LUMETRA_CMD_STOP */
};

#endif
