// options.h - what the command line asks for. Paths are as given: main() resolves them before it changes
// its folder.
#ifndef LUMETRA_PLAY_OPTIONS_H
#define LUMETRA_PLAY_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/lumetra-play/pixels/picture.h"

struct ModuleRequest {
    std::string name;
    std::optional<std::string> configuration;
};

struct Options {
    struct Size {
        std::int32_t width, height;  // pixels
    };

    std::vector<std::string> inputs;  // none: the built-in scene
    std::optional<Size> size;
    std::optional<LUMETRA_IMGFORMATTYPE> format;
    std::optional<double> framesPerSecond;  // 0: as fast as the source and the library go
    std::optional<std::int32_t> frames;     // 0: no limit
    std::optional<double> seconds;
    bool loop = false;
    std::optional<std::int32_t> flags;  // LUMETRA_CONVERSIONMODIFIER
    std::optional<bool> pyramid;
    std::vector<ModuleRequest> modules;
    std::string modulePath;                // empty: found beside the program
    std::string writable;                  // empty: the folder in which the program starts
    std::string library;                   // empty: the linked one
    std::string sheet;                     // empty: none
    std::string camera;                    // what CameraSource plays; empty: the player pushes frames itself
    std::optional<std::int32_t> viewPort;  // for the module LiveView, 0: any; nothing: not loaded
    std::string jpegFolder;                // for the pictures of CameraSource's frames; empty: no pictures
    bool descriptors = false;
    bool devices = false, info = false;
    bool log = false;
    bool check = false;
};

/// What is left to do after parsing: nothing when the parser has already answered, such as for --help.
/// @throws PlayError for a command line that does not parse
std::optional<Options> parseOptions(int argc, const char* const* argv);

/// Names joined by commas, such as "gray,pyramid", or a number. @throws PlayError otherwise
std::int32_t parseFlags(const std::string& text);

/// "640x480". @throws PlayError otherwise
Options::Size parseSize(const std::string& text);

/// NAME or NAME=CONFIGURATION. @throws PlayError if the name could not be a module's
ModuleRequest parseModule(const std::string& text);

/// The flags with which a format works out of the box: packed luma has neither flip nor supplied levels.
std::int32_t defaultFlags(LUMETRA_IMGFORMATTYPE format);

#endif
