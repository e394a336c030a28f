// lumetra_inspect_test.cpp - the program as people run it: what it says of sound and of broken modules, and
// its exit status. Runs in the folder with the broken ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class LumetraInspect : public testing::Test {
protected:
    // The exit status; -1 if the program itself crashed.
    int inspect(const std::string& arguments) {
        const std::string command =
            "'" LUMETRA_INSPECT_PROGRAM "' " + arguments + " >" + folder.file("out") + " 2>&1";
        const int result = std::system(command.c_str());
        out = folder.read("out");
        return WIFEXITED(result) ? WEXITSTATUS(result) : -1;
    }

    TemporaryFolder folder;
    std::string out;  // of the last run
};

TEST_F(LumetraInspect, FindsNothingWrongWithASoundModule) {
    ASSERT_EQ(0, inspect("'" FRAMEMONITOR_LIBRARY "'")) << out;
    EXPECT_THAT(out, HasSubstr("exports   getModuleID initialize registerCallback unregisterCallback "
                               "getSupportedCallbacks command notifyNewData getStatus destroy\n"));
    EXPECT_THAT(out, Not(HasSubstr("lacks")));
    EXPECT_THAT(out, HasSubstr("\nlog       FrameMonitor.framework/FrameMonitor loaded successfully!\n"));
    EXPECT_THAT(out, HasSubstr("\nid        101\n"));
    EXPECT_THAT(out, HasSubstr("\nstatus    2\n"));
    EXPECT_THAT(out, HasSubstr("\nunloads   yes\n"));
    EXPECT_THAT(out, Not(HasSubstr("warning")));
}

struct Case {
    const char* arguments;
    int status;
    const char* expected;  // a regular expression
};

void PrintTo(const Case& parameter, std::ostream* stream) {
    *stream << parameter.arguments;
}

class EveryModule : public LumetraInspect, public testing::WithParamInterface<Case> {};

TEST_P(EveryModule, GetsItsOwnVerdict) {
    EXPECT_EQ(GetParam().status, inspect(GetParam().arguments));
    EXPECT_THAT(out, ContainsRegex(GetParam().expected));
}

const Case CASES[] = {
    {"IdFive", 0, "lacks +initialize registerCallback .* destroy\n(.|\n)*id +5\n(.|\n)*unloads +yes"},
    {"IdZero", 1, "unloads +yes\nverdict .*its id is 0"},
    {"MangledId", 1, "lacks +getModuleID(.|\n)*hint .*LumetraModule.h"},
    {"IdMinusSeven", 1, "its id is -7"},
    {"NoId", 1, "lacks +getModuleID(.|\n)*log +Module ID function not available!(.|\n)*reports no id"},
    {"ThrowingId", 1, "exports +getModuleID\n(.|\n)*reports no id"},
    {"Crashing", 1, "it crashed \\(Segmentation fault\\) while loading it"},
    {"Hanging --timeout 0.5", 1, "it did not return within 500 ms while loading it"},
    {"HangingSilently --timeout 0.5", 1, "it did not return within 500 ms while loading it"},
    {"LeavingAProcess --timeout 600", 1, "it crashed \\(Segmentation fault\\) while loading it"},
    {"Leaving", 1, "it ended the process \\(exit status 0\\) while loading it"},
    {"CrashingAtRemoval", 1, "id +60\n(.|\n)*it crashed \\(Aborted\\) while removing it"},
    {"ThrowingStatus", 1, "threw through the engine while getStatus: no status today"},
    {"LackingSymbol", 0, "warning .*nobodyDefinesThis(.|\n)*verdict +a host that works"},
    {"NoSuchModule", 1, "NoSuchModule.framework/NoSuchModule\nverdict .*No such file"},
    {"/nowhere/at/all", 1, "file +/nowhere/at/all\nverdict .*No such file"},
    {"/dev/null", 1, "this is no file"},
    {"IdFive NoId", 1, "id +5\n(.|\n)*reports no id"},
    {"IdFive.framework/", 0, "id +5\n"},
    {"--from / IdFive", 1, "not as IdFive.framework/IdFive from /\n"},
    {"--from . IdFive", 0, "found +as IdFive.framework/IdFive from"},
    {"'" FRAMEMONITOR_LIBRARY "'", 0, "hint +a host finds it while it works in .*/modules\n"},
    {"--no-such-option IdFive", 2,
     "^lumetra-inspect: --no-such-option is no option: see lumetra-inspect --help"},
    {"--timeout 0 IdFive", 2, "--timeout: 0 is no such number: use 0.1 to 3600"},
    {"--from /nowhere IdFive", 2, "--from: /nowhere is no folder"},
    {"--version", 0, "^lumetra-inspect [0-9]"},
    {"--only id IdFive", 2, "--only requires --try"},
    {"--json IdFive", 2, "--json goes with"},
    {"FrameMonitor", 0, "\nid +101\n"},  // beside the program
    {"--try --only no-such-check IdFive", 2, "no check no-such-check"},
    {"--try /usr/include", 2, "no module to try"},
    {"--timeout 0.5 .", 0,
     "\nIdFive +id 5, version [0-9.]+\n +exports +getModuleID\n(.|\n)*\nNoId +id none, "
     "(.|\n)*fault +it has no getModuleID"},
};
INSTANTIATE_TEST_SUITE_P(Broken, EveryModule, testing::ValuesIn(CASES));

TEST_F(LumetraInspect, SaysWhyAFileIsNoModule) {
    fs::create_directories(folder.file("Text.framework"));
    for (const char* content : {"", "no library at all, but text",
                                "\x7f"
                                "ELF\2\1\1 and then nothing"}) {
        std::ofstream(folder.file("Text.framework/Text")) << content;
        EXPECT_EQ(1, inspect(folder.file("Text.framework/Text")));
        EXPECT_THAT(out, HasSubstr("cannot load it: no shared library (")) << content;
    }
    fs::copy(FRAMEMONITOR_LIBRARY, folder.file("libmodule.so"));
    EXPECT_EQ(1, inspect(folder.file("libmodule.so")));
    EXPECT_THAT(out, HasSubstr("put this one at libmodule.so.framework/libmodule.so"));
}

TEST_F(LumetraInspect, SaysWhyAModuleStaysMapped) {
    if (!GNU_UNIQUE) GTEST_SKIP() << "this compiler makes no unique symbols";
    EXPECT_EQ(0, inspect("StayingMapped")) << out;
    EXPECT_THAT(out, ContainsRegex("unloads +no: it has unique symbols .1: .*sharedByAll.*-fno-gnu-unique"));
}

// The check that finds a fault is what its name begins with, up to a "+".
struct Fault {
    const char* name;
    const char* reason;  // a part of it
};

const Fault FAULTS[] = {
    {"file", "no shared library"},
    {"place", "place.framework/place only"},
    {"plain-names", "getModuleID() is a C++ function"},
    {"id-exported", "it exports no getModuleID"},
    {"stamped", "not built by lumetra_add_module()"},
    {"stamp-interface", "built for version 9 of the module interface"},
    {"stamp-frame", "the size of IChnk is 255 bytes in its build"},
    {"stamp-library", "it was built with Xib"},
    {"libraries", "not found: libx.so.6"},
    {"symbols", "nobodyDefinesThis"},
    {"opens", "crashed (Aborted) in opening it"},
    {"id", "its id is 0"},
    {"id+hangs", "did not return within 5000 ms in getModuleID()"},
    {"log-question", "did not return within 5000 ms"},  // beside the other that takes its time
    {"id+ends-the-process", "ended the process (exit status 0) in getModuleID()"},
    {"id+throws", "getModuleID() threw an exception of type (anonymous namespace)::OwnError"},
    {"id-constant", "its id was 61 and then 62"},
    {"registration", "registers it as 0, and its id is 60"},
    {"unmapped", "its code stays mapped"},
    {"frame-first", "crashed (Aborted) in notifyNewData("},
    {"frame-first+throws", "threw an exception (no frames today)"},
    {"initialize-first", "crashed (Aborted) in initialize(\"{}\")"},
    {"initialize-first+throws", "OwnError"},
    {"command-first", "crashed (Aborted) in command(4, \"\")"},
    {"command-first+throws", "OwnError"},
    {"status-first", "getStatus() threw an exception (no status today)"},
    {"supported-first", "in getSupportedCallbacks()"},
    {"supported-first+throws", "no kinds today"},
    {"register-first", "in registerCallback(1)"},
    {"register-first+throws", "no callbacks today"},
    {"unregister-first", "in unregisterCallback(1)"},
    {"unregister-first+throws", "unregisterCallback(1) threw"},
    {"destroy-first", "crashed (Aborted) in destroy()"},
    {"destroy-first+throws", "destroy() threw"},
    {"initialize-broken", "crashed (Aborted) in initialize("},
    {"initialize-twice", "crashed (Aborted) in initialize("},
    {"command-numbers", "crashed (Aborted) in command(-"},
    {"command-texts", "crashed (Aborted) in command("},
    {"engine-answers", "command -1 answers 0, and 5 through the engine"},
    {"small-stack", "crashed (Segmentation fault) in notifyNewData("},
    {"callbacks-count", "it gives -7 and has written 2"},
    {"callbacks-room", "it writes 5 kinds"},
    {"callbacks-known", "it lists 77, which is none"},
    {"callbacks-known+again", "it lists 1 more than once"},
    {"callbacks-taken", "answers its registration with 0"},
    {"callbacks-taken+back", "answers its unregistration with 0"},
    {"callbacks-refused", "does not list 4 and answers its registration with 1"},
    {"callbacks-null", "crashed (Aborted)"},
    {"callbacks-unregistered", "through a function that was unregistered"},
    {"callbacks-replaced", "through a function that was replaced"},
    {"log-text", "it logged what is no UTF-16"},
    {"callbacks-user", "registration of 1 with 1, and with 0 where the user pointer is the engine"},
    {"frame-formats", "of format 4"},
    {"frame-odd", "641x479"},
    {"frame-huge", "4096x4096"},
    {"frame-small", "1x1"},
    {"frame-no-levels", "256x192 of format 7"},
    {"frame-no-pixels", "of format 0"},
    {"frame-descriptors", "(100000 bytes)"},
    {"frame-ids", "notifyNewData(0, "},
    {"frame-repeated", "crashed (Aborted) in notifyNewData("},
    {"frame-order", "crashed (Aborted) in notifyNewData("},
    {"frame-overlap", "crashed (Aborted)"},
    {"frame-calls", "crashed (Aborted)"},
    {"engine-frames", "crashed (Aborted) in frames of an engine, format "},
    {"pixels-unwritten", "byte 0 of a 256x192 frame of format 7"},
    {"pixels-inside", "byte 2112 of a 64x33 frame of format 7"},
    {"frame-record", "changes the descriptor"},
    {"frame-record+levels", "replaces levels"},
    {"frames-bounded", "it keeps 300 of 300 frames"},
    {"frames-released", "it still keeps 1 frames"},
    {"engine-gone", "in the end of the process, without a removal"},
    {"push-arguments", "it pushes no pixels and a size of 5"},
    {"push-arguments+context", "another context than the user pointer"},
    {"push-refused", "crashed (Aborted)"},
    {"push-throws", "crashed (Aborted)"},
    {"push-ends", "through a function that was unregistered"},
    {"push-engine", "crashed (Aborted) in pushes to an engine"},
    {"frame-late", "crashed (Aborted) in notifyNewData("},
    {"threads", "1 threads of its own run on"},
    {"processes", "a process that it started runs on"},
    {"settings", "it has changed the action of signal 10"},
    {"settings+folder", "it has changed the working folder"},
    {"standard-output", "it writes to standard output"},
    {"removal-amid-frames", "crashed (Aborted) in removal amid the frames"},
    {"reload+descriptors", "leaves 1 descriptors"},
    {"reload+memory", "bytes of memory"},
    {"reload+mappings", "leaves 1 pages of mappings"},
    {"reload+mapped", "stays mapped after 200 reloads"},
    {"memory-initialize", "crashed (Segmentation fault) in initialize without memory from its allocation 1"},
    {"memory-frame", "crashed (Segmentation fault) in notifyNewData without memory"},
    {"memory-command", "crashed (Segmentation fault) in command without memory from its allocation 1"},
};

std::string checkOf(const std::string& fault) {
    return fault.substr(0, fault.find('+'));
}

class Faults : public LumetraInspect {
protected:
    using Json = nlohmann::json;

    // The path of a module with that fault, under its name.
    std::string make(const std::string& fault) {
        if (fault == "plain-names") return "MangledId";
        if (fault == "id-exported") return "NoId";
        if (fault == "symbols") return "LackingSymbol";
        const std::string stamp = std::string("\1\0\0\0LumetraCore\0\1", 17);  // its type, owner, interface
        const std::string module = fault + ".framework/" + fault;
        fs::create_directories(folder.file(fault + ".framework"));
        if (fault == "file") return folder.write(module, "no library at all");
        if (fault == "place") return patched("place", "", 0, "");
        if (fault == "stamped") return patched(module, stamp, 4, "X");
        if (fault == "stamp-interface") return patched(module, stamp, 16, "\t");
        if (fault == "stamp-frame") return patched(module, stamp, 20, std::string("\xFF\0", 2));
        if (fault == "stamp-library") return patched(module, stamp, 44, "X");
        if (fault == "libraries") return patched(module, std::string("\0libc.so.6\0", 11), 4, "x");
        fs::create_symlink(FAULTY_LIBRARY, folder.file(module));
        return folder.file(module);
    }

    // A copy of the sound library in which some bytes after a mark are others.
    std::string patched(const std::string& file, const std::string& mark, std::size_t offset,
                        const std::string& bytes) {
        std::ifstream stream(FAULTY_LIBRARY, std::ios::binary);
        std::string content{std::istreambuf_iterator<char>(stream), {}};
        const std::size_t place = content.find(mark);
        EXPECT_NE(std::string::npos, place) << file;
        content.replace(place + offset, bytes.size(), bytes);
        return folder.write(file, content);
    }

    // What the program says as JSON.
    Json ask(const std::string& arguments) {
        inspect(arguments);
        return Json::parse(out);
    }

    static std::vector<Json> failuresOf(const Json& module) {
        std::vector<Json> failures;
        for (const Json& check : module["checks"])
            if (check["verdict"] == "fail") failures.push_back(check);
        return failures;
    }
};

TEST_F(Faults, AreEachFoundByTheirCheckAlone) {
    std::string modules = folder.file("Sound.framework");
    fs::create_directories(folder.file("Sound.framework"));
    fs::create_symlink(FAULTY_LIBRARY, folder.file("Sound.framework/Sound"));
    for (const Fault& fault : FAULTS) modules += " '" + make(fault.name) + "'";
    const Json result = ask("--try --strict --json --timeout 5 --jobs 8 " + modules);

    ASSERT_EQ(std::size(FAULTS) + 1, result["modules"].size());
    EXPECT_TRUE(result["modules"][0]["sound"]) << failuresOf(result["modules"][0]).front();
    for (std::size_t k = 0; k < std::size(FAULTS); ++k) {
        const auto failures = failuresOf(result["modules"][k + 1]);
        ASSERT_EQ(1u, failures.size()) << FAULTS[k].name << ": " << Json(failures);
        EXPECT_EQ(checkOf(FAULTS[k].name), failures[0]["name"]) << failures[0];
        EXPECT_THAT(failures[0]["reason"].get<std::string>(), HasSubstr(FAULTS[k].reason)) << FAULTS[k].name;
    }
}

TEST_F(Faults, AreRepeatedByTheCommandThatIsPrinted) {
    const std::string module = make("frame-ids");
    EXPECT_EQ(1, inspect("--try --seed 7 --timeout 9.5 --config \"{ it's }\" " + module));
    const std::size_t command = out.find("lumetra-inspect --try --only frame-ids");
    ASSERT_NE(std::string::npos, command) << out;
    const std::string arguments = out.substr(command, out.find('\n', command) - command);
    EXPECT_THAT(arguments, HasSubstr("--seed 7 --timeout 9.5"));
    EXPECT_EQ(1, inspect(arguments.substr(arguments.find(' '))));
    EXPECT_THAT(out, ContainsRegex("fail +frame-ids(.|\n)*notifyNewData.0, (.|\n)*0 passed, 1 failed"));
    EXPECT_EQ(0, inspect("--try --only standard-output " + make("standard-output"))) << "doubtful";
    EXPECT_THAT(out, HasSubstr("\ndoubtful  standard-output"));
}

TEST_F(Faults, LeaveNothingBehindWhenTheUserEndsTheProgram) {
    const std::string module = make("id+hangs");
    fs::create_directories(folder.file("scratch"));
    const std::string command = "TMPDIR=" + folder.file("scratch") +
                                " timeout --preserve-status -s INT 0.5 '" LUMETRA_INSPECT_PROGRAM "' --try " +
                                module + " >" + folder.file("out") + " 2>&1";
    EXPECT_EQ(130, WEXITSTATUS(std::system(command.c_str())));
    EXPECT_TRUE(fs::is_empty(folder.file("scratch")));
}

// The page has each check, its sentence and the modules that fail it.
TEST_F(Faults, AreListedInTheGuide) {
    std::ifstream stream(INSPECT_GUIDE);
    const std::string guide{std::istreambuf_iterator<char>(stream), {}};
    std::string table;
    for (const Json& check : ask("--list-checks --json")) {
        std::string failing;
        for (const Fault& fault : FAULTS)
            if (checkOf(fault.name) == check["name"]) failing += " `" + std::string(fault.name) + "`";
        EXPECT_NE("", failing) << check;
        table += "| `" + check["name"].get<std::string>() + "` | " + check["sentence"].get<std::string>() +
                 " |" + failing + " |\n";
    }
    EXPECT_THAT(guide, HasSubstr(table));
}

TEST_F(LumetraInspect, FindsTheShippedModulesSound) {
    std::istringstream modules(SHIPPED_MODULES);
    for (std::string module; std::getline(modules, module, ':');) {
        const std::string name = fs::path(module).filename().string();
        std::string configuration = "{}";
        if (name == "LiveView") configuration = R"({"port":0})";
        if (name == "CameraSource") configuration = R"({"width":64,"height":48,"fps":200})";
        EXPECT_EQ(0, inspect("--try --strict --config '" + configuration + "' '" + module + "'")) << out;
    }
}

}  // namespace
