// native_texture.cpp - the host's texture.
#include "core/LumetraCoreExecutor.h"

int LumetraCoreExecutor::setNativeTexturePointer(void*, const char*) {
    return 0;
}
