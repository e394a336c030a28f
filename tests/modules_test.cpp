// Modules as hosts use them: real libraries, loaded by name from the folder in which the tests run.
#include <gmock/gmock.h>

#include "tests/modules/recorder.h"
#include "tests/support/configurations.h"
#include "tests/support/frames.h"
#include "tests/support/log_capture.h"
#include "tests/support/waiting.h"

using namespace lumetra;

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

std::string missing(const std::string& symbol) {
    return "Warning: " + symbol + " function not found in DLL!";
}

std::string notAvailable(const std::string& symbol) {
    return "Warning: " + symbol + " function not available!";
}

class Modules : public testing::Test {
protected:
    Modules() : log(engine) { engine.configure(configurationText(1, 1, 7).c_str()); }
    ~Modules() override {  // an engine leaves its libraries open
        for (const int id : {5, 7, 9}) engine.unregisterDllByID(id);
    }

    int load(const char* name) {
        const int id = engine.registerDllByName(name);
        LogCapture::take();
        if (RecorderControl* const control = recorder(name)) control->takeCalls();
        return id;
    }
    void push() {
        const unsigned char pixel = 9;
        engine.pushImageData(&pixel, 1, "", 0);
    }

    LumetraCoreExecutor engine;
    const LogCapture log;
};

}  // namespace

TEST_F(Modules, ThatCannotBeOpenedAreReportedWithTheirPath) {
    EXPECT_EQ(0, engine.registerDllByName("Nowhere"));
    EXPECT_EQ(0, engine.registerDllByName(""));
    EXPECT_THAT(LogCapture::take(), ElementsAre("Error loading library Nowhere.framework/Nowhere",
                                                "Error loading library .framework/"));
    EXPECT_EQ(0, engine.unregisterDllByName("Nowhere"));
}

TEST_F(Modules, AreFiledUnderTheIdTheyReportWhateverElseTheyLack) {
    EXPECT_EQ(5, engine.registerDllByName("IdFive"));
    EXPECT_THAT(LogCapture::take(),
                ElementsAre("IdFive.framework/IdFive loaded successfully!", missing("initialize"),
                            missing("registerCallback"), missing("unregisterCallback"),
                            missing("getSupportedCallbacks"), missing("command"), missing("notifyNewData"),
                            missing("getStatus"), missing("destroy")));
    EXPECT_EQ(1, engine.unregisterDllByName("IdFive"));
    EXPECT_EQ(0, engine.unregisterDllByID(5));
}

TEST_F(Modules, WithoutAUsableIdAreClosedAgain) {
    const struct {
        const char* name;
        int result;
        const char* lastMessage;
    } cases[] = {{"IdZero", 0, "Warning: destroy function not found in DLL!"},
                 {"IdMinusSeven", -7, "Warning: destroy function not found in DLL!"},
                 {"NoId", -1, "Module ID function not available!"},
                 {"ThrowingId", -1, "Module ID function not available!"}};
    for (const auto& [name, result, lastMessage] : cases) {
        EXPECT_EQ(result, engine.registerDllByName(name)) << name;
        const auto messages = LogCapture::take();
        EXPECT_EQ(std::string(name) + ".framework/" + name + " loaded successfully!", messages.front());
        EXPECT_EQ(lastMessage, messages.back());
        EXPECT_FALSE(isMapped(name)) << name;
        EXPECT_EQ(0, engine.unregisterDllByID(result)) << name;
    }
}

TEST_F(Modules, OfTheSameIdReplaceEachOtherUntold) {
    ASSERT_EQ(7, load("Recorder"));
    ASSERT_EQ(7, load("RecorderTwin"));
    EXPECT_THAT(recorder("Recorder")->takeCalls(), IsEmpty());
    EXPECT_EQ(45, engine.getStatus(7));
    EXPECT_THAT(recorder("RecorderTwin")->takeCalls(), ElementsAre("getStatus"));
    EXPECT_EQ(1, engine.unregisterDllByID(7));
    EXPECT_FALSE(isMapped("RecorderTwin"));
    EXPECT_TRUE(isMapped("Recorder")) << "the older one stays open, out of reach";
    EXPECT_EQ(0, engine.unregisterDllByName("Recorder"));
    closeForGood("Recorder");
}

TEST_F(Modules, AreInitializedByIdAndByName) {
    load("Recorder");
    load("IdFive");
    EXPECT_EQ(1, engine.initializeDllByName("Recorder", "a"));
    EXPECT_EQ(1, engine.initializeDllByID(7, "b"));
    EXPECT_THAT(recorder("Recorder")->takeCalls(), ElementsAre("initialize a", "initialize b"));
    EXPECT_THAT(LogCapture::take(), IsEmpty());

    EXPECT_EQ(0, engine.initializeDllByName("Nowhere", ""));
    EXPECT_EQ(0, engine.initializeDllByName("IdFive", ""));
    EXPECT_EQ(0, engine.initializeDllByID(5, ""));
    for (const int id : {0, -1, 6}) EXPECT_EQ(0, engine.initializeDllByID(id, ""));
    EXPECT_THAT(LogCapture::take(),
                ElementsAre("Warning: Nowhere.framework/Nowhere Library not available!",
                            notAvailable("initialize"), "Error: initialize function not available!"));
}

TEST_F(Modules, AreReallyUnmappedWhenRemoved) {
    for (const bool byName : {true, false}) {
        load("Recorder");
        EXPECT_TRUE(isMapped("Recorder"));
        EXPECT_EQ(1, byName ? engine.unregisterDllByName("Recorder") : engine.unregisterDllByID(7));
        EXPECT_FALSE(isMapped("Recorder"));
        EXPECT_THAT(LogCapture::take(), ElementsAre("Unregistering Recorder.framework/Recorder"));
        EXPECT_EQ(0, byName ? engine.unregisterDllByName("Recorder") : engine.unregisterDllByID(7));
        EXPECT_THAT(LogCapture::take(), IsEmpty());
    }
    load("IdFive");
    EXPECT_EQ(1, engine.unregisterDllByID(5));
    EXPECT_THAT(LogCapture::take(),
                ElementsAre(notAvailable("destroy"), "Unregistering IdFive.framework/IdFive"));
}

TEST_F(Modules, StayRegisteredWhenTheirDestroyThrows) {
    load("Recorder");
    recorder("Recorder")->throwsAlways = true;
    EXPECT_ANY_THROW(engine.unregisterDllByID(7));
    recorder("Recorder")->throwsAlways = false;
    EXPECT_EQ(45, engine.getStatus(7));
    EXPECT_EQ(1, engine.unregisterDllByID(7));
    EXPECT_FALSE(isMapped("Recorder"));
}

TEST_F(Modules, GetCallbacksWithTheEnginesOwnPushInPlaceOfTheHosts) {
    load("Recorder");
    RecorderControl* const control = recorder("Recorder");
    int hostFunction = 0, hostUser = 0;
    void* const push = reinterpret_cast<void*>(&LumetraCoreExecutor::pushNativeImage);
    const struct {
        int kind;
        void *user, *expectedFunction, *expectedUser;
    } cases[] = {{1, nullptr, &hostFunction, &engine},
                 {2, &hostUser, &hostFunction, &hostUser},
                 {3, nullptr, push, &engine},
                 {3, &hostUser, push, &hostUser},
                 {99, nullptr, &hostFunction, &engine}};
    for (const auto& c : cases) {
        EXPECT_EQ(41, engine.registerCallback(7, static_cast<LUMETRA_CBTYPE>(c.kind), &hostFunction, c.user));
        EXPECT_THAT(control->takeCalls(), ElementsAre("registerCallback " + std::to_string(c.kind)));
        EXPECT_EQ(c.expectedFunction, control->lastFunction) << c.kind;
        EXPECT_EQ(c.expectedUser, control->lastUser) << c.kind;
    }
    LUMETRA_CBTYPE kinds[1] = {};
    EXPECT_EQ(42, engine.unregisterCallback(7, CB_LOG));
    EXPECT_EQ(43, engine.getSupportedCallbacks(7, kinds));
    EXPECT_EQ(CB_TYPE2, kinds[0]);
    EXPECT_THAT(control->takeCalls(), ElementsAre("unregisterCallback 1", "getSupportedCallbacks"));
    EXPECT_THAT(LogCapture::take(), IsEmpty());
}

TEST_F(Modules, AnswerCommandsAndStatusQueries) {
    load("Recorder");
    EXPECT_EQ(44, engine.command(7, LUMETRA_CMD_INVALIDATE, "text"));
    EXPECT_EQ(45, engine.getStatus(7));
    EXPECT_THAT(recorder("Recorder")->takeCalls(), ElementsAre("command 8 text", "getStatus"));
    EXPECT_THAT(LogCapture::take(), IsEmpty());
    EXPECT_EQ(STATUS_READY, engine.getStatus(ENGINE_MODULE_ID));
}

TEST_F(Modules, ThatAreUnknownOrLackAnEntryPointGiveTheirNeutralResults) {
    load("IdFive");
    LUMETRA_CBTYPE kinds[4];
    const struct {
        int id;
        std::vector<std::string> logged;
    } cases[] = {
        {6, {}},
        {5,
         {notAvailable("registerCallback"), notAvailable("unregisterCallback"),
          notAvailable("getSupportedCallbacks"), notAvailable("command"), notAvailable("getStatus")}}};
    for (const auto& [id, logged] : cases) {
        EXPECT_EQ(0, engine.registerCallback(id, CB_LOG, nullptr, nullptr));
        EXPECT_EQ(0, engine.unregisterCallback(id, CB_LOG));
        EXPECT_EQ(-1, engine.getSupportedCallbacks(id, kinds));
        EXPECT_EQ(0, engine.command(id, LUMETRA_CMD_START, ""));
        EXPECT_EQ(STATUS_UNAVAILABLE, engine.getStatus(id));
        EXPECT_EQ(logged, LogCapture::take()) << id;
    }
}

TEST_F(Modules, AreAllHandedTheSameFrameWhateverOthersThrow) {
    for (const char* const name : {"RecorderNine", "Recorder", "IdFive"}) load(name);
    for (const bool throwing : {false, true}) {
        recorder("Recorder")->throwsAlways = throwing;
        std::vector<Notification> first, second;
        repeatUntil([this] { push(); },
                    [&] {
                        first = recorder("Recorder")->takeNotifications();
                        second = recorder("RecorderNine")->takeNotifications();
                        return !first.empty() && !second.empty() && first.back().id == second.back().id;
                    });
        EXPECT_EQ(first.back().chunk, second.back().chunk);
        EXPECT_THAT(LogCapture::take(),
                    testing::AllOf(SizeIs(testing::Gt(0U)), Each(notAvailable("notifyNewData"))));
    }
    recorder("Recorder")->throwsAlways = false;
}

TEST_F(Modules, RemovedDuringANotificationStayMappedUntilItReturns) {
    load("Recorder");
    RecorderControl* const control = recorder("Recorder");
    NotificationGate gate;
    control->gate = &gate;
    repeatUntil([this] { push(); }, [&gate] { return gate.waiting() > 0; });
    EXPECT_EQ(1, engine.unregisterDllByID(7));
    EXPECT_EQ(0, engine.unregisterDllByID(7));
    EXPECT_THAT(control->takeCalls(), ElementsAre("destroy")) << "mapped still";
    gate.open();  // they must not lose their own code while they return
    waitUntil([] { return !isMapped("Recorder"); });
}

namespace {

dllstruct opened(const std::string& name) {
    dllstruct module;
    module.name = name;
    assemblePlatformLibraryString(module.name);
    module.library = std::make_shared<ModuleLibrary>();
    module.handle = module.library->open(module.name);
    for (auto& [kind, address] : module.functions)
        address = dlsym(module.handle, LUMETRA_FNNAMES.at(kind).c_str());
    return module;
}

}  // namespace

TEST(ModuleTable, HandsNothingToAModuleThatIsBeingRemoved) {
    ModuleTable table;
    table.file(7, opened("Recorder"));
    RecorderControl* const control = recorder("Recorder");
    const NotificationTarget target = table.notificationTargets().at(0);
    const auto chunk = chunkOf(1, 1, LUMETRA_IMGFORMAT_GRAY8, {9});
    target.deliver(77, chunk);
    auto removed = *table.findByPath("Recorder.framework/Recorder");
    EXPECT_TRUE(removed.second.library->unpin());
    EXPECT_FALSE(removed.second.library->unpin()) << "somebody removes it already";
    target.deliver(78, chunk);
    EXPECT_THAT(control->takeNotifications(), SizeIs(1));

    table.close(std::move(removed));
    EXPECT_FALSE(isMapped("Recorder"));
    target.deliver(79, chunk);
    EXPECT_FALSE(table.find(7).has_value());
}

TEST(ModuleTable, FindsNoModuleWhileItsLibraryIsBeingClosed) {
    ModuleTable table;
    dllstruct module;
    bool isFound = true;
    module.library.reset(new ModuleLibrary, [&](const ModuleLibrary* library) {
        isFound = table.find(7) || table.findByPath("") || !table.notificationTargets().empty();
        EXPECT_EQ(1U, table.copy().size()) << "its record is still there";
        delete library;
    });
    table.file(7, std::move(module));
    table.close({7, *table.find(7)});
    EXPECT_FALSE(isFound);
    EXPECT_TRUE(table.copy().empty());
}

TEST(ModuleTable, LeavesAModuleAloneThatHasReplacedOneBeingRemoved) {
    {
        ModuleTable table;
        table.file(7, opened("Recorder"));
        ModuleTable::Entry removed(7, *table.find(7));
        removed.second.library->unpin();
        table.file(7, opened("RecorderTwin"));
        table.close(std::move(removed));
        EXPECT_FALSE(isMapped("Recorder"));
        ASSERT_TRUE(table.find(7).has_value());
        EXPECT_EQ("RecorderTwin.framework/RecorderTwin", table.find(7)->name);

        const ModuleTable::Entry replaced(7, *table.find(7));
        table.file(7, opened("Recorder"));
        replaced.second.library->unpin();  // a removal that has lost the race
    }
    for (const char* const name : {"Recorder", "RecorderTwin"}) {
        EXPECT_TRUE(isMapped(name)) << "a table leaves its libraries open";
        closeForGood(name);
    }
}

TEST(CallbackTable, HoldsLogAndTextExchangeAndNothingElse) {
    LumetraCoreExecutor engine;
    const LogCapture log(engine);
    LUMETRA_CBTYPE kinds[2] = {};
    EXPECT_EQ(2, engine.getSupportedCallbacks(ENGINE_MODULE_ID, kinds));
    EXPECT_EQ(CB_LOG, kinds[0]);
    EXPECT_EQ(CB_HOSTTEXT, kinds[1]);

    int function = 0, user = 0;
    for (const int kind : {0, 2, 3, 5, -1}) {
        EXPECT_EQ(0, engine.registerCallback(ENGINE_MODULE_ID, static_cast<LUMETRA_CBTYPE>(kind), &function,
                                             &user));
        EXPECT_EQ(0, engine.unregisterCallback(ENGINE_MODULE_ID, static_cast<LUMETRA_CBTYPE>(kind)));
        EXPECT_THAT(LogCapture::take(),
                    ElementsAre("Registering Callback!", "Warning: Particular callback not available!",
                                "Unregistering Callback!", "Warning: Particular callback not available!"));
    }

    CallbackTable table;
    EXPECT_TRUE(table.replace(CB_HOSTTEXT, {&function, &user}));
    EXPECT_EQ(CallbackPair(&function, &user), table.find(CB_HOSTTEXT));
    EXPECT_TRUE(table.reset(CB_HOSTTEXT));
    for (const auto kind : {CB_HOSTTEXT, CB_TYPE2}) EXPECT_EQ(CallbackPair(), table.find(kind));
}
