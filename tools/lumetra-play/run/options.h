// options.h - what the command line asks for. parseOptions() makes every path absolute: the program changes
// its folder while modules are loaded.
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
    bool watched = false;  // reloaded when its library changes
};

struct CommandRequest {
    std::string module;  // its name, or its id as a number
    std::int32_t number;
    std::string text;
};

struct Options {
    struct Size {
        std::int32_t width, height;  // pixels
    };
    struct View {
        std::string address;  // without brackets
        std::int32_t port;    // 0: any
    };

    std::vector<std::string> inputs;  // none: the built-in scene
    std::string inputFormat;          // FFmpeg's name of a reader; empty: it finds out
    std::string raw;                  // pixel format of raw video; empty: it is none
    std::optional<Size> size;
    double start = 0;  // seconds
    bool loop = false;
    std::optional<LUMETRA_IMGFORMATTYPE> format;  // nothing: what costs least
    std::optional<double> framesPerSecond;
    bool fast = false;                   // as fast as the source and the library go
    std::optional<std::int32_t> frames;  // 0: no limit
    std::optional<double> seconds;
    std::optional<std::int32_t> flags;  // LUMETRA_CONVERSIONMODIFIER
    std::optional<bool> pyramid;

    std::vector<ModuleRequest> modules;
    std::vector<CommandRequest> commands;
    bool commandsFromInput = false;
    std::string modulePath;  // empty: found beside the program
    std::string camera;      // what CameraSource plays; empty: the player pushes frames itself
    std::string jpegFolder;  // for the pictures of CameraSource's frames; empty: no pictures
    bool descriptors = false;

    std::optional<View> view;
    std::string viewName;  // by which browsers may call this machine too
    std::string sheet;     // empty: none
    bool json = false, quiet = false, log = false;
    bool check = false, strict = false;
    bool devices = false, info = false;
    std::string writable;
    std::string library;  // empty: the one that belongs to the program
};

/// What is left to do after parsing: nothing when the parser has already answered, such as for --help.
/// @throws UsageError, PlayError for a command line that does not parse or contradicts itself
std::optional<Options> parseOptions(int argc, const char* const* argv);

/// Whether an input is a path, and neither a URL (file:, concat: and their like included) nor standard input.
bool isPath(const std::string& input);

/// The small languages of option values. @throws PlayError for any other text
std::int32_t parseFlags(const std::string& text);    ///< names joined by commas, "gray,pyramid", or a number
Options::Size parseSize(const std::string& text);    ///< "640x480"
ModuleRequest parseModule(const std::string& text);  ///< NAME or NAME=CONFIGURATION
CommandRequest parseCommand(const std::string& text);  ///< NAME:NUMBER or NAME:NUMBER=TEXT
Options::View parseView(const std::string& text);      ///< PORT or ADDRESS:PORT, an IPv6 address in brackets

#endif
