// module_push.h - the process-wide buffer that pictures for the host are encoded into.
#ifndef LUMETRA_IMAGE_MODULE_PUSH_H
#define LUMETRA_IMAGE_MODULE_PUSH_H

/// Called by the engine as it begins and ends. Allocation throws std::bad_alloc.
void allocateJpegBuffer();
void releaseJpegBuffer();

#endif
