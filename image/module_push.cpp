// module_push.cpp - frames that modules push.
#include "image/module_push.h"

#include "core/LumetraCoreExecutor.h"

namespace {

constexpr unsigned int JPG_CAPACITY = 1048576;
unsigned char* m_jpgData = nullptr;

}  // namespace

void allocateJpegBuffer() {
    m_jpgData = new unsigned char[JPG_CAPACITY];
}

void releaseJpegBuffer() {
    delete[] m_jpgData;
}

int LumetraCoreExecutor::pushNativeImage(void* context, const unsigned char* data, int size,
                                         const char* descriptor, int frameIndex) {
    return static_cast<LumetraCoreExecutor*>(context)->pushImageData(data, size, descriptor, frameIndex);
}
