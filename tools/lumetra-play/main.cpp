// main.cpp - lumetra-play: from the command line to the summary. Every error ends here, as one line.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <string>
#include <string_view>

#include "tools/lumetra-play/run/options.h"
#include "tools/lumetra-play/run/play.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/text.h"
#include "tools/lumetra-play/view/output.h"

namespace {

// One document, whichever of the two texts, or both, are asked for.
void printDeviceTexts(const Options& options, const LibraryTable& library) {
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
}

// What the library prints by itself is of no use to somebody who asked for quiet.
void silenceLibrary() {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere >= 0) dup2(nowhere, STDOUT_FILENO);
}

ExitStatus run(const Options& options) {
    if (options.quiet) silenceLibrary();
    output::setManner({options.quiet, options.log, options.json});
    StopRequest stop;
    if (options.devices || options.info) {
        printDeviceTexts(options, LibraryTable(options.library));
        output::requireWritten();
        return EXIT_AS_ASKED;
    }
    if (options.seconds)
        stop.stopAt(StopRequest::Clock::now() + std::chrono::duration_cast<StopRequest::Clock::duration>(
                                                    std::chrono::duration<double>(*options.seconds)));
    ExitStatus status = EXIT_ERROR;
    play(options, stop, [&](const Summary& summary) {
        status = statusOf(summary, stop.interrupted(), options.strict);
        if (options.json)
            output::writeLine(summaryJson(summary, status));
        else if (!options.quiet)
            output::writeLine(summaryText(summary));
        output::requireWritten();
        if (!summary.error.empty()) output::complain(summary.error);
    });
    return status;
}

ExitStatus fail(const std::string& message, ExitStatus status, bool json) {
    output::complain(message);
    if (json) output::writeLine(errorJson(message, status));
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    const bool json =
        std::any_of(argv, argv + argc, [](const char* word) { return std::string_view(word) == "--json"; });
    try {
        output::takeOverStandardOutput();
        const auto options = parseOptions(argc, argv);
        if (!options) return EXIT_AS_ASKED;
        return run(*options);
    } catch (const EndedEarly& error) {
        return fail(error.what(), error.status, json);
    } catch (const LibraryError& error) {
        return fail(error.what() + std::string(": name a LumetraCore library by --library"), EXIT_ERROR,
                    json);
    } catch (const std::bad_alloc&) {
        return fail("out of memory: play a smaller picture", EXIT_ERROR, json);
    } catch (const std::exception& error) {
        return fail(error.what(), EXIT_ERROR, json);
    }
}
