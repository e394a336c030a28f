// Worlds of frames on a clock of their own: what the schedule does with them, beside what a loop does that
// polls, handles one message each 0.1 ms and lets kept frames circle through its queue.
#include "core/message_schedule.h"

#include <gmock/gmock.h>

#include <map>
#include <random>
#include <set>
#include <string>

using namespace lumetra;

namespace {

using Us = std::int64_t;
constexpr Us TURN_US = 100, SLEEP_US = 20'000, END_OF_TIME = 1LL << 60;

// The wall clock over true time: set by `step` at `at`, and standing still from `still` for `stillFor`.
struct WallClock {
    Us at = END_OF_TIME, step = 0, still = END_OF_TIME, stillFor = 0;

    bool isRight() const { return at == END_OF_TIME && still == END_OF_TIME; }
    std::uint64_t operator()(Us now) const {
        constexpr Us EPOCH = 1'700'000'000'000'000;
        const Us stood = std::clamp<Us>(now - still, 0, stillFor);
        return static_cast<std::uint64_t>(EPOCH + now - stood + (now >= at ? step : 0));
    }
};

struct World {
    WallClock wall;
    std::vector<Us> pushes;
    std::vector<Us> conversions, notifications;  // how long each takes, in the order in which they are begun
};

World randomWorld(unsigned seed) {
    std::mt19937 random(seed);
    const auto upTo = [&random](Us most) {
        return static_cast<Us>(random() % static_cast<unsigned>(most + 1));
    };
    World world;
    const double rate = std::exp(std::uniform_real_distribution<>(0, std::log(1000))(random));
    const Us length = std::min<Us>(1'000'000, static_cast<Us>(40e6 / rate));
    for (Us now = upTo(20'000); now < length;
         now += 1 + static_cast<Us>((0.5 + 0.001 * static_cast<double>(upTo(1000))) * 1e6 / rate))
        for (Us burst = upTo(9) == 0 ? 1 + upTo(4) : 1; burst > 0; --burst)
            world.pushes.push_back(now += upTo(200));
    const Us slow = upTo(3) == 0 ? 150'000 : 500;
    for (std::size_t i = 0; i < world.pushes.size(); ++i) {
        world.conversions.push_back(20 + upTo(upTo(5) == 0 ? slow : 300));
        world.notifications.push_back(10 + upTo(200));
    }
    switch (upTo(3)) {
        case 0:
            world.wall.at = upTo(length);
            world.wall.step = upTo(1) == 0 ? upTo(5'000'000) : -upTo(5'000'000);
            break;
        case 1:
            world.wall.still = upTo(length);
            world.wall.stillFor = upTo(300'000);
            break;
        default:
            break;
    }
    return world;
}

// What was done with each message, known by its id and its number among those with the same id.
struct Deeds {
    using Key = std::pair<std::uint64_t, int>;

    std::vector<std::uint64_t> conversionOrder;
    std::map<Key, Us> conversions, notifications;
    std::map<std::uint64_t, Us> erasures;  // the first of each id
    std::set<std::uint64_t> futures;       // dropped because the clock was behind them just then
    Us end = 0;
    Us turns = 0, sleepsEnded = 0;  // by the clock, not by a post
};

// What both loops share: posts that come at their time, and what a handled message leads to.
class Play {
public:
    explicit Play(const World& world) : m_world(world) {
        for (const Us push : world.pushes) m_posts.emplace(push, MSGS{MSG_CONVERT, world.wall(push) / 1000});
    }

    Us nextPost() const { return m_posts.empty() ? END_OF_TIME : m_posts.begin()->first; }
    MSGS takePost() { return m_posts.extract(m_posts.begin()).mapped(); }
    Moment at(Us now) const {
        return {std::chrono::steady_clock::time_point(std::chrono::microseconds(now)), m_world.wall(now)};
    }

    void handle(Us now, const MSGS& message, bool fresh) {
        ++deeds.turns;
        deeds.end = now;
        if (message.type == MSG_CONVERT) {
            deeds.conversions[{message.id, count(m_converted, message.id)}] = now;
            const Us takes = m_world.conversions[deeds.conversionOrder.size()];
            deeds.conversionOrder.push_back(message.id);
            m_posts.emplace(now + takes, MSGS{MSG_NOTIFY, message.id});
        } else if (!fresh) {
            deeds.erasures.emplace(message.id, now);
            if (message.id > m_world.wall(now) / 1000) deeds.futures.insert(message.id);
        } else if (message.type == MSG_NOTIFY) {
            const Us takes = m_world.notifications[deeds.notifications.size()];
            deeds.notifications[{message.id, count(m_notified, message.id)}] = now;
            m_posts.emplace(now + takes, MSGS{MSG_RETAIN, message.id});
        }
    }

    Deeds deeds;

private:
    static int count(std::map<std::uint64_t, int>& counts, std::uint64_t id) { return counts[id]++; }

    const World& m_world;
    std::multimap<Us, MSGS> m_posts;
    std::map<std::uint64_t, int> m_converted, m_notified;
};

Deeds poll(const World& world) {
    Play play(world);
    std::deque<MSGS> messages;
    for (Us now = 0; play.nextPost() != END_OF_TIME || !messages.empty(); now += TURN_US) {
        while (play.nextPost() <= now) messages.push_back(play.takePost());
        if (messages.empty()) continue;
        const MSGS message = messages.front();
        messages.pop_front();
        const bool fresh = world.wall(now) / 1000 - message.id <= 99;
        if (message.type == MSG_RETAIN && fresh)
            messages.push_back(message);
        else
            play.handle(now, message, fresh);
    }
    return play.deeds;
}

Deeds sleepUntilDue(const World& world) {
    Play play(world);
    MessageSchedule schedule;
    Us lastTurn = -TURN_US;
    for (Us now = 0, until = END_OF_TIME;;) {
        now = std::min(play.nextPost(), until);
        if (now == END_OF_TIME) break;
        play.deeds.sleepsEnded += play.nextPost() > now;
        schedule.wakesUp(play.at(now));
        while (play.nextPost() <= now) schedule.post(play.takePost());
        const Moment moment = play.at(now);
        if (schedule.due(moment) <= moment.steady)
            schedule.takeOne(moment, [&](const MSGS& message, bool fresh) {
                EXPECT_GE(now, lastTurn + TURN_US);
                lastTurn = now;
                play.handle(now, message, fresh);
            });
        schedule.fallsAsleep(moment);
        const auto due = schedule.due(moment);
        using std::chrono::ceil, std::chrono::microseconds;
        until = due == MessageSchedule::NEVER
                    ? END_OF_TIME
                    : std::max<Us>(now + 1, ceil<microseconds>(due.time_since_epoch()).count());
    }
    EXPECT_TRUE(schedule.messages().empty());
    return play.deeds;
}

// What the polling loop has not come to yet may go first here, so turns are not the same to the tenth.
template <class Key>
void expectNoneLater(const std::map<Key, Us>& model, const std::map<Key, Us>& ours, Us tolerance) {
    for (const auto& [key, at] : model) {
        const auto found = ours.find(key);
        if (found != ours.end()) {
            EXPECT_LE(found->second - at, tolerance);
        }
    }
}

void compare(const World& world, const Deeds& model, const Deeds& ours) {
    ASSERT_EQ(model.conversionOrder, ours.conversionOrder);
    for (const auto& [key, at] : model.notifications)
        EXPECT_TRUE(ours.notifications.count(key) == 1 || ours.futures.count(key.first) == 1);
    ASSERT_EQ(model.erasures.size(), ours.erasures.size());

    // A clock that was set is looked at after a sleep; the frames that it made old then take a turn each.
    const Us tolerance = world.wall.isRight() ? 2 * TURN_US : SLEEP_US + 100 * TURN_US;
    expectNoneLater(model.conversions, ours.conversions, tolerance);
    expectNoneLater(model.notifications, ours.notifications, tolerance);
    for (const auto& [id, at] : model.erasures) {
        const Us erased = ours.erasures.at(id);
        const std::uint64_t atItsTime =
            1000 * (id + 100) + SLEEP_US;  // a clock that was in the past for less
        EXPECT_TRUE(erased - at <= tolerance || world.wall(erased) <= atItsTime) << erased - at;
    }
    EXPECT_LE(ours.sleepsEnded, ours.turns + ours.end / SLEEP_US + 2) << "it polls";
}

}  // namespace

TEST(MessageSchedule, DoesWhatAPollingLoopDoesAndNoneOfItLater) {
    std::size_t more = 0;
    for (unsigned seed = 0; seed < 3000 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const World world = randomWorld(seed);
        const Deeds model = poll(world), ours = sleepUntilDue(world);
        compare(world, model, ours);
        more += ours.notifications.size() - model.notifications.size();
    }
    EXPECT_GT(more, 0U) << "what the polling loop lost to its own queue is delivered";
}

namespace {

constexpr std::uint64_t ID = 1'700'000'000'000;

Moment momentOf(std::uint64_t wallMs) {
    return {std::chrono::steady_clock::time_point(std::chrono::hours(1)), 1000 * wallMs};
}

std::vector<std::int32_t> kinds(const MessageSchedule& schedule) {
    std::vector<std::int32_t> types;
    for (const MSGS& message : schedule.messages()) types.push_back(message.type);
    return types;
}

}  // namespace

TEST(MessageSchedule, SleepsUntilSomethingIsAskedOrAFrameIsTooOld) {
    const struct {
        std::vector<MSGS> messages;
        std::uint64_t nowMs;
        int sleepMs;  // -1 for ever
    } cases[] = {
        {{}, ID, -1},
        {{{MSG_RETAIN, ID}}, ID, 20},
        {{{MSG_RETAIN, ID}, {MSG_RETAIN, ID + 5}}, ID + 85, 15},
        {{{MSG_RETAIN, ID}, {MSG_RETAIN, ID + 5}}, ID + 100, 0},
        {{{MSG_RETAIN, ID}, {MSG_RETAIN, ID + 5}}, ID + 4, 0},  // one is from the future
        {{{MSG_RETAIN, ID}, {MSG_NOTIFY, ID}}, ID, 0},
        {{{MSG_CONVERT, ID}}, ID + 5000, 0},
        {{{77, ID}}, ID, 0},
    };
    for (const auto& [messages, nowMs, sleepMs] : cases) {
        MessageSchedule schedule;
        for (const MSGS& message : messages) schedule.post(message);
        const Moment now = momentOf(nowMs);
        const auto expected =
            sleepMs < 0 ? MessageSchedule::NEVER : now.steady + std::chrono::milliseconds(sleepMs);
        EXPECT_TRUE(expected == schedule.due(now)) << messages.size() << " messages at " << nowMs - ID;
    }
}

TEST(MessageSchedule, CarriesKeptFramesToTheBackAndHandlesOneMessageATurn) {
    MessageSchedule schedule;
    for (const std::int32_t type : {MSG_RETAIN, MSG_RETAIN, MSG_CONVERT, MSG_NOTIFY})
        schedule.post({type, ID});
    EXPECT_EQ(2U, schedule.asking());
    const Moment now = momentOf(ID + 1);
    std::vector<std::int32_t> handled;
    const auto note = [&handled](const MSGS& message, bool fresh) {
        handled.push_back(fresh ? message.type : 0);
    };

    const auto fail = [](const MSGS&, bool) { throw std::bad_alloc(); };
    EXPECT_THROW(schedule.takeOne(now, fail), std::bad_alloc);
    EXPECT_THAT(kinds(schedule), testing::ElementsAre(MSG_CONVERT, MSG_NOTIFY, MSG_RETAIN, MSG_RETAIN));
    EXPECT_TRUE(now.steady + std::chrono::microseconds(100) == schedule.due(now)) << "and is tried again";
    for (int turn = 0; turn < 3; ++turn) schedule.takeOne(now, note);
    EXPECT_THAT(handled, testing::ElementsAre(MSG_CONVERT, MSG_NOTIFY)) << "fresh frames are kept";
    EXPECT_EQ(0U, schedule.asking());
    schedule.takeOne(momentOf(ID + 100), note);
    EXPECT_THAT(handled, testing::ElementsAre(MSG_CONVERT, MSG_NOTIFY, 0));
    EXPECT_THAT(kinds(schedule), testing::ElementsAre(MSG_RETAIN));
}
