// misbehaving_modules.cpp - a module does what it should not, between two others that must not notice.
#include "stress/host.h"

namespace {

constexpr Picture SMALL{64, 48};
constexpr const char16_t* MODULE = u"Misbehaving";
constexpr int ID = 10, FRAMES = 70;
constexpr double PROMPT_MS = 90, SLEEP_MS = 500;

template <class Call>
bool throws(Call call) {
    try {
        call();
        return false;
    } catch (...) {
        return true;
    }
}

// Every function through which a host reaches into a module, and one that cannot tell its id.
double exceptionsOfEveryEntryPoint() {
    constexpr void (*ENTRANCES[])() = {[] { LumetraCore_initializeDllByID(ID, u"throw"); },
                                       [] { LumetraCore_registerCallback(ID, CB_TYPE2, nullptr, nullptr); },
                                       [] { LumetraCore_unregisterCallback(ID, CB_TYPE2); },
                                       [] {
                                           LUMETRA_CBTYPE kinds[4];
                                           LumetraCore_getSupportedCallbacks(ID, kinds);
                                       },
                                       [] { LumetraCore_command(ID, LUMETRA_CMD_START, u""); },
                                       [] { LumetraCore_getStatus(ID); },
                                       [] { LumetraCore_unregisterDllByID(ID); }};
    const auto thrown = std::ranges::count_if(ENTRANCES, throws<void (*)()>);
    return static_cast<double>(thrown) + (LumetraCore_registerDllByName(u"Nameless") == -1);
}

class Stage {
public:
    Stage(unsigned seed, Verdict& verdict) : m_verdict(verdict), m_camera(SMALL, seed) {}

    void throwing() { play("throw", u"throw", "exceptions", 8, exceptionsOfEveryEntryPoint); }
    void keeping() {
        play("keep", u"keep", "kept-meanwhile", 64, [this] { return m_behind.kept(); });
    }
    void leaving() {
        play("leave", u"leave", "unmapped", 1, [] { return !isMapped(MODULE); });
    }
    void callingBack() {
        play("call back", u"call back", "frames-of-its-own", FRAMES / 2,
             [this, before = m_behind.delivered + FRAMES] { return m_behind.delivered - before; });
    }

    // On two workers the first frame puts one to sleep and the second the other; the module behind gets
    // the second when the first worker wakes up.
    void sleeping() {
        load("sleep", u"sleep");
        const int before = m_before.delivered, behind = m_behind.delivered;
        push(1);
        requireDelivered("ms-first", m_behind, behind + 1, PROMPT_MS);
        push(1);
        requireDelivered("ms-second-before", m_before, before + 2, PROMPT_MS);
        requireDelivered("ms-second-behind", m_behind, behind + 2, SLEEP_MS + PROMPT_MS);
        pause(2 * SLEEP_MS);
        push(1);
        requireDelivered("ms-third", m_behind, behind + 3, PROMPT_MS);
        m_verdict.atMost("ms-removal", msUntil([] { return LumetraCore_unregisterDllByID(ID); }), PROMPT_MS);
        m_verdict.atLeast("mapped-while-notified", isMapped(MODULE), 1);
        removeAndRecover(m_frame - 3);

        load("sleep on every worker", u"sleep");
        push(FRAMES);
        removeAndRecover(m_frame);
    }

private:
    void load(const char* title, const char16_t* behaviour) {
        m_verdict.part(title);
        LumetraCore_registerDllByName(MODULE);
        throws([behaviour] { LumetraCore_initializeDllByID(ID, behaviour); });
    }
    void push(int frames) { m_camera.play(std::exchange(m_frame, m_frame + frames), frames, 60); }
    void requireDelivered(const char* what, const Listener& listener, int delivered, double ms) {
        m_verdict.atMost(what, msUntil([&] { return listener.delivered >= delivered; }), ms);
    }

    // The figure shows that the module does misbehave.
    template <class Figure>
    void play(const char* title, const char16_t* behaviour, const char* what, double least, Figure figure) {
        const int first = m_frame;
        load(title, behaviour);
        push(FRAMES);
        pause(300);
        m_verdict.atLeast(what, figure(), least);
        removeAndRecover(first);
    }
    void removeAndRecover(int firstFrame) {
        LumetraCore_unregisterDllByID(ID);
        msUntil([] { return !isMapped(MODULE); });
        m_verdict.atMost("mapped", isMapped(MODULE), 0);
        push(20);
        Listener::requireAll({&m_before, &m_behind}, firstFrame, m_frame - firstFrame, m_verdict);
        m_verdict.atMost("threads", Occupancy::take().threads, m_threads);
    }

    Verdict& m_verdict;
    const Engine m_engine{SMALL};
    const Listener m_before{u"Listening5", 1000}, m_behind{u"Listening20", 1000};
    const double m_threads = Occupancy::take().threads;
    Camera m_camera;
    int m_frame = 0;
};

}  // namespace

void misbehavingModules(const Settings& settings, Verdict& verdict) {
    Stage stage(settings.seed, verdict);
    void (Stage::*scenes[])() = {&Stage::throwing, &Stage::sleeping, &Stage::keeping, &Stage::callingBack,
                                 &Stage::leaving};
    std::ranges::shuffle(scenes, std::mt19937(settings.seed));
    for (const auto scene : scenes) (stage.*scene)();
}
