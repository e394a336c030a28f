// IChnk.cpp - the two constructors, exported for modules that make chunks of their own.
#include "LumetraCore/IChnk.h"

#include <utility>

// `format` stays uninitialised, as in earlier builds of modules.
IChnk::IChnk() : width(0), height(0), frameIndex(-1), size(0), data(std::make_shared<dPtr>()) {}

IChnk::IChnk(int width, int height, LUMETRA_IMGFORMATTYPE format, int frameIndex, std::string descriptor)
    : width(width),
      height(height),
      frameIndex(frameIndex),
      size(0),
      descriptor(std::move(descriptor)),
      format(format),
      data(std::make_shared<dPtr>()) {}
