// module_push.h - the process-wide buffer that pictures for the host are encoded into.
#ifndef LUMETRA_IMAGE_MODULE_PUSH_H
#define LUMETRA_IMAGE_MODULE_PUSH_H

inline constexpr unsigned int JPEG_CAPACITY = 1048576;  // bytes

/// Called by the engine as it begins and ends; a push that is encoding meanwhile is waited for.
/// @throws std::bad_alloc
void allocateJpegBuffer();
void releaseJpegBuffer();

#endif
