// Modules as hosts use them: real libraries, loaded by name from the folder in which the tests run.
#include <gmock/gmock.h>

#include "tests/modules/recorder.h"
#include "tests/support/engine_probe.h"
#include "tests/support/frames.h"
#include "tests/support/log_capture.h"
#include "tests/support/waiting.h"

using namespace lumetra;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

std::string missing(const std::string& symbol) {
    return "Warning: " + symbol + " function not found in DLL!";
}

class Modules : public testing::Test {
protected:
    Modules() : log(engine) { EngineProbe::stopLoop(engine); }
    ~Modules() override {  // an engine leaves its libraries open
        for (const int id : {5, 7, 9}) engine.unregisterDllByID(id);
    }

    int load(const char* name) {
        const int id = engine.registerDllByName(name);
        LogCapture::take();
        if (RecorderControl* const control = recorder(name)) control->takeCalls();
        return id;
    }
    void store(std::uint64_t id) {
        EngineProbe::storeConverted(engine, id, chunkOf(1, 1, LUMETRA_IMGFORMAT_GRAY8, {9}));
    }
    void notify(std::uint64_t id) {
        EngineProbe::notify(engine, id);
        EngineProbe::drainPool(engine);
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
    EXPECT_THAT(EngineProbe::modules(engine), IsEmpty());
}

TEST_F(Modules, AreFiledUnderTheIdTheyReportWhateverElseTheyLack) {
    EXPECT_EQ(5, engine.registerDllByName("IdFive"));
    EXPECT_THAT(LogCapture::take(),
                ElementsAre("IdFive.framework/IdFive loaded successfully!", missing("initialize"),
                            missing("registerCallback"), missing("unregisterCallback"),
                            missing("getSupportedCallbacks"), missing("command"), missing("notifyNewData"),
                            missing("getStatus"), missing("destroy")));
    const auto modules = EngineProbe::modules(engine);
    ASSERT_EQ(1U, modules.size());
    EXPECT_EQ("IdFive.framework/IdFive", modules.at(5).name);
    EXPECT_EQ(9U, modules.at(5).functions.size());
    EXPECT_NE(nullptr, modules.at(5).functions.at(FN_GETMODULEID));
    EXPECT_EQ(nullptr, modules.at(5).functions.at(FN_DESTROY));
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
    }
    EXPECT_THAT(EngineProbe::modules(engine), IsEmpty());
}

TEST_F(Modules, OfTheSameIdReplaceEachOtherUntold) {
    ASSERT_EQ(7, load("Recorder"));
    ASSERT_EQ(7, load("RecorderTwin"));
    EXPECT_THAT(recorder("Recorder")->takeCalls(), IsEmpty());
    EXPECT_EQ("RecorderTwin.framework/RecorderTwin", EngineProbe::modules(engine).at(7).name);
    EXPECT_EQ(1, engine.unregisterDllByID(7));
    EXPECT_FALSE(isMapped("RecorderTwin"));
    EXPECT_TRUE(isMapped("Recorder")) << "the older one stays open, out of reach";
    EXPECT_EQ(0, engine.unregisterDllByName("Recorder"));
    void* const handle = dlopen("Recorder.framework/Recorder", RTLD_LAZY | RTLD_NOLOAD);
    dlclose(handle);
    dlclose(handle);
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
    EXPECT_THAT(LogCapture::take(), ElementsAre("Warning: Nowhere.framework/Nowhere Library not available!",
                                                "Warning: initialize function not available!",
                                                "Error: initialize function not available!"));
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
    EXPECT_THAT(LogCapture::take(), ElementsAre("Warning: destroy function not available!",
                                                "Unregistering IdFive.framework/IdFive"));
    EXPECT_THAT(EngineProbe::modules(engine), IsEmpty());
}

TEST_F(Modules, StayRegisteredWhenTheirDestroyThrows) {
    load("Recorder");
    recorder("Recorder")->throwAlways(true);
    EXPECT_ANY_THROW(engine.unregisterDllByID(7));
    recorder("Recorder")->throwAlways(false);
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
         {"Warning: registerCallback function not available!",
          "Warning: unregisterCallback function not available!",
          "Warning: getSupportedCallbacks function not available!",
          "Warning: command function not available!", "Warning: getStatus function not available!"}}};
    for (const auto& [id, logged] : cases) {
        EXPECT_EQ(0, engine.registerCallback(id, CB_LOG, nullptr, nullptr));
        EXPECT_EQ(0, engine.unregisterCallback(id, CB_LOG));
        EXPECT_EQ(-1, engine.getSupportedCallbacks(id, kinds));
        EXPECT_EQ(0, engine.command(id, LUMETRA_CMD_START, ""));
        EXPECT_EQ(STATUS_UNAVAILABLE, engine.getStatus(id));
        EXPECT_EQ(logged, LogCapture::take()) << id;
    }
}

TEST_F(Modules, AreAllToldOfAFrameThatIsThenRetained) {
    load("RecorderNine");
    load("Recorder");
    load("IdFive");
    store(77);
    notify(77);
    EXPECT_THAT(LogCapture::take(), ElementsAre("Warning: notifyNewData function not available!"));
    for (const char* name : {"Recorder", "RecorderNine"}) {
        const auto notifications = recorder(name)->takeNotifications();
        ASSERT_EQ(1U, notifications.size()) << name;
        EXPECT_EQ(77U, notifications[0].id);
        EXPECT_EQ(EngineProbe::chunks(engine).at(77), notifications[0].chunk);
    }
    EXPECT_THAT(EngineProbe::messages(engine), ElementsAre(testing::Pair(3, 77)));
}

TEST_F(Modules, AreNotToldOfFramesThatAreGoneOrEmpty) {
    load("Recorder");
    notify(77);
    EngineProbe::store(engine, 78, nullptr);
    notify(78);
    EXPECT_THAT(recorder("Recorder")->takeNotifications(), IsEmpty());
    EXPECT_THAT(EngineProbe::messages(engine), ElementsAre(testing::Pair(3, 77), testing::Pair(3, 78)));
}

TEST_F(Modules, ThatThrowDoNotKeepOthersFromAFrame) {
    load("Recorder");
    load("RecorderNine");
    recorder("Recorder")->throwAlways(true);
    store(77);
    notify(77);
    notify(77);
    EXPECT_EQ(2U, recorder("Recorder")->takeNotifications().size());
    EXPECT_EQ(2U, recorder("RecorderNine")->takeNotifications().size());
    recorder("Recorder")->throwAlways(false);
}

TEST_F(Modules, RemovedDuringANotificationStayMappedUntilItReturns) {
    load("Recorder");
    RecorderControl* const control = recorder("Recorder");
    NotificationGate gate;
    control->holdNotificationsAt(gate);
    store(77);
    const int workers = static_cast<int>(workerCount(std::thread::hardware_concurrency()));
    for (int i = 0; i < workers; ++i) EngineProbe::notify(engine, 77);  // one waits on every worker
    waitUntil([&] { return gate.waiting() == workers; });
    EngineProbe::notify(engine, 77);  // queued behind them
    EXPECT_EQ(1, engine.unregisterDllByID(7));
    EXPECT_THAT(EngineProbe::modules(engine), IsEmpty());
    EXPECT_THAT(control->takeCalls(), ElementsAre("destroy")) << "mapped still, and told";
    EXPECT_THAT(control->takeNotifications(), SizeIs(workers)) << "none that began afterwards";

    gate.open();  // they must not lose their own code while they return
    EngineProbe::drainPool(engine);
    EXPECT_FALSE(isMapped("Recorder"));
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
    EXPECT_EQ(1, engine.registerCallback(ENGINE_MODULE_ID, CB_HOSTTEXT, &function, &user));
    EXPECT_EQ(CallbackPair(&function, &user), EngineProbe::callback(engine, CB_HOSTTEXT));
    EXPECT_EQ(1, engine.unregisterCallback(ENGINE_MODULE_ID, CB_HOSTTEXT));
    EXPECT_EQ(CallbackPair(), EngineProbe::callback(engine, CB_HOSTTEXT));
}
