// lumetra_inspect_test.cpp - the program as people run it: what it says of sound and of broken modules, and
// its exit status. Runs in the folder with the broken ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <filesystem>

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
    {".", 1, "this is no file"},
    {"IdFive.framework/", 0, "id +5\n"},
    {"--from / IdFive", 1, "not as IdFive.framework/IdFive from /\n"},
    {"--from . IdFive", 0, "found +as IdFive.framework/IdFive from"},
    {"'" FRAMEMONITOR_LIBRARY "'", 0, "hint +a host finds it while it works in .*/modules\n"},
    {"--no-such-option IdFive", 2, "no-such-option"},
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

}  // namespace
