// main.cpp - lumetra-play: from the command line to the exit status. Every error ends here, as one line.
#include <algorithm>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include "tools/lumetra-play/run/play.h"
#include "tools/lumetra-play/view/output.h"
#include "tools/lumetra-play/view/summary.h"
#include "tools/support/library_table.h"
#include "tools/support/text.h"

namespace {

// One document, whichever of the two texts, or both, are asked for.
void printDeviceTexts(const Options& options) {
    const LibraryTable library(options.library);
    const auto text = [](auto describe) {
        std::u16string units(LUMETRA_DEVICE_TEXT_UNITS, u'\0');
        describe(units.data(), 0);
        return toUtf8(units.c_str());
    };
    std::string document = options.info ? text(library.getDeviceInfo) : "";
    if (options.devices) {
        const std::string devices = text(library.enumerateDevices);
        document = options.info ? "{\"info\":" + document + ",\"devices\":" + devices + "}" : devices;
    }
    output::writeLine(document);
    output::requireWritten();
}

ExitStatus run(int argc, char** argv) {
    output::takeOverStandardOutput();
    const auto options = parseOptions(argc, argv);
    if (!options) return EXIT_AS_ASKED;
    output::setManner({options->quiet, options->log, options->json});
    if (options->quiet) output::silenceLibrary();
    StopRequest stop;
    if (options->seconds) stop.stopAfter(*options->seconds);
    if (!options->devices && !options->info) return Play(*options, stop).run();
    printDeviceTexts(*options);
    return EXIT_AS_ASKED;
}

}  // namespace

int main(int argc, char** argv) {
    const bool json =
        std::any_of(argv, argv + argc, [](const char* word) { return std::string_view(word) == "--json"; });
    const auto fail = [json](const std::string& message, ExitStatus status = EXIT_ERROR) {
        output::complain(message);
        if (json) output::writeLine(errorJson(message, status));
        return status;
    };
    try {
        return run(argc, argv);
    } catch (const EndedEarly& error) {
        return fail(error.what(), error.status);
    } catch (const LibraryError& error) {
        return fail(error.what() + std::string(": name a LumetraCore library by --library"));
    } catch (const std::bad_alloc&) {
        return fail("out of memory: play a smaller picture");
    } catch (const std::exception& error) {
        return fail(error.what());
    }
}
