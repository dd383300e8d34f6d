// A power cut at any change of the storage while automatic runs go on: no verdict appears that the operator did not give,
// none is lost that was shown, the run goes on where it was, and the handset comes up again.
//
// Every point takes a handset of its own. VXO_POWER_CUT_SHARE=N tries one point in N only.
#include "scenario/runs.h"

#include <algorithm>
#include <atomic>
#include <iostream>
#include <set>
#include <thread>

using nlohmann::json;
using runs::LCD, runs::KEYS, runs::VIBRATOR, runs::OVERALL, runs::Stations;

namespace {

constexpr int LCD_FINAL = 281; // in the same byte as LCD
constexpr int BENCHES = 5;
const Stations EARLIER{{0, Verdict::pass}, {4, Verdict::fail}, {282, Verdict::fail}, {317, Verdict::pass}, {399, Verdict::pass}};

// What stands on the screen.
enum class Place { lcd, vibrator, keys, list, menu, other };
constexpr Place RUN[] = {Place::lcd, Place::vibrator, Place::keys};

bool in_colour(const vh::ScreenView &view) { return view.front_covers_screen() && view.front().empty(); }
Place place_of(const vh::ScreenView &view) {
    if (in_colour(view) || view.front_shows(runs::COLOUR_NOTE)) return Place::lcd;
    if (view.front_shows("Vibrator") && view.soft_keys()[0] == "Pass") return Place::vibrator;
    if (view.front_shows("Volume up")) return Place::keys;
    if (view.front_shows("Automatic run")) return Place::list;
    return view.front_shows("Device tests") ? Place::menu : Place::other;
}

struct PowerGone {};

struct Point {
    size_t operation = 0; // 1 ...
    std::string phase, mode, kind;
    std::string name() const { return phase + " operation " + std::to_string(operation) + " (" + kind + "), " + mode; }
};

// The operator of one handset, and what he has given and seen.
class Operator {
public:
    Operator()
        : handset_({.speed = 20,
                    .settings = runs::settings({{"MMI", "restore_autotest", "1"}}),
                    .storage = "faults",
                    .before_boot = [](const vh::StatePaths &paths) { runs::write_flags(paths, EARLIER); }}) {}

    json storage(json request) {
        request["op"] = "storage";
        return handset_.client().request(request);
    }

    // ---- days of work, each from the menu; they throw PowerGone ----
    void pass_all() {
        pc_writes_a_pass();
        tap_text("Device tests");
        tap_text("Automatic run");
        pass_items();
    }
    // The mark "FIRST" of the first boot starts the run.
    void pass_all_behind_a_reboot() {
        ++boots_;
        handset_.client().request({{"op", "reboot"}});
        see("the boot", [this](const vh::ScreenView &) { return handset_.status().value("boots", 0) == boots_; });
        pass_items();
    }
    void fail_the_second() {
        tap_text("Device tests");
        tap_text("Automatic run");
        pass_lcd();
        failing_ = true;
        give({{VIBRATOR, Verdict::fail}, {OVERALL, Verdict::fail}}, "fail");
        see("the list", [](const vh::ScreenView &view) { return place_of(view) == Place::list; });
        seen_ = given_;
        run_over_ = true;
    }

    bool power_was_cut() const {
        const json status = handset_.status();
        return status.value("boots", 0) > boots_ || status.value("last", "") == "power-cut";
    }
    // Asked when something failed: the cut may be the reason and not be known yet.
    bool power_is_going() {
        for (int look = 0; look < 100 && !power_was_cut(); ++look) handset_.wait_ms(200);
        return power_was_cut();
    }

    // ---- behind the cut ----
    void expect_all_kept() {
        handset_.wait_until("the boot behind the cut", [this] { return handset_.status().value("boots", 0) > boots_; });
        expect_verdicts();
        const Place place = wait_for_place();
        expect_right_place(place);
        leave_to_menu();
    }
    void expect_verdicts() const {
        const std::string area = runs::content(handset_.client().paths().part("vxoflag"));
        EXPECT_EQ(area.size(), 4096u);
        EXPECT_EQ(area.find_first_not_of('\0', 100), area.npos) << "behind the flags";
        Stations found = runs::stations(handset_);
        for (const int station : {LCD, LCD_FINAL, VIBRATOR, KEYS, OVERALL}) {
            const auto verdict = found.find(station);
            if (verdict == found.end()) {
                EXPECT_FALSE(seen_.contains(station)) << "station " << station << " was shown, and is lost";
                continue;
            }
            EXPECT_TRUE(given_.contains(station) && given_.at(station) == verdict->second)
                << "station " << station << " reads " << verdict->second << ", which nobody gave";
            found.erase(verdict);
        }
        EXPECT_EQ(found, EARLIER);
    }

private:
    // A run goes on behind the item that was passed last; while its pass is being written, before or behind it. A mark
    // that is half written loses the run, as one that is missing. A finished or failed run never comes back.
    void expect_right_place(Place place) const {
        if (run_over_ || !run_begun_) {
            const bool first_mark = !run_begun_ && place == Place::lcd; // of the first boot: the run is to begin
            EXPECT_TRUE(place == Place::menu || first_mark) << "came up in place " << static_cast<int>(place);
            return;
        }
        std::set<Place> right{RUN[items_seen_]};
        if (items_given_ > items_seen_) right.insert({Place::menu, items_given_ == std::size(RUN) ? Place::list : RUN[items_given_]});
        // A run that came by a mark has used it up, and before a failure is written the marks go.
        if ((boots_ > 1 && items_seen_ == 0) || failing_) right.insert(Place::menu);
        EXPECT_TRUE(right.contains(place)) << "came up in place " << static_cast<int>(place) << " with " << items_seen_
                                           << " items seen as passed and " << items_given_ << " given";
    }
    Place wait_for_place() const {
        Place place = Place::other;
        handset_.wait_for("a window or the menu", [&place](const vh::ScreenView &view) {
            place = place_of(view);
            return place != Place::other;
        }, 30000);
        return place;
    }
    // As an operator leaves whatever a restart has brought up: a run by failing it, a list by its soft key.
    void leave_to_menu() {
        handset_.wait_for("the menu", [this](const vh::ScreenView &view) {
            const Place place = place_of(view);
            if (in_colour(view)) handset_.tap(view.width() / 2, view.height() / 2);
            else if (place == Place::list) runs::tap_softkey(handset_, 2);
            else if (place == Place::lcd || place == Place::vibrator || place == Place::keys) handset_.press("fail");
            return place == Place::menu;
        }, 30000);
    }

    void pc_writes_a_pass() {
        given_[LCD_FINAL] = Verdict::pass;
        if (handset_.at("testinfoMoudle testItem " + std::to_string(LCD_FINAL) + ",1,write").status == 0)
            seen_[LCD_FINAL] = Verdict::pass;
    }
    void pass_lcd() {
        see("the display's question", [this](const vh::ScreenView &view) {
            run_begun_ = run_begun_ || place_of(view) == Place::lcd;
            if (in_colour(view)) handset_.tap(view.width() / 2, view.height() / 2);
            return view.front_shows(runs::COLOUR_NOTE);
        });
        pass_item({{LCD, Verdict::pass}}, "pass", Place::vibrator);
    }
    void pass_items() {
        pass_lcd();
        pass_item({{VIBRATOR, Verdict::pass}}, "pass", Place::keys);
        handset_.press("volumeup");
        handset_.press("volumedown");
        pass_item({{KEYS, Verdict::pass}, {OVERALL, Verdict::pass}}, "power", Place::list);
        run_over_ = true;
    }
    void pass_item(const Stations &verdicts, const std::string &key, Place next) {
        ++items_given_;
        give(verdicts, key);
        see("the next place", [next](const vh::ScreenView &view) { return place_of(view) == next; });
        ++items_seen_;
        seen_ = given_;
    }
    void give(const Stations &verdicts, const std::string &key) {
        for (const auto &[station, verdict] : verdicts) given_[station] = verdict;
        handset_.press(key);
    }

    // What is seen before the cut counts, so the power is asked for last.
    void see(const std::string &what, const std::function<bool(const vh::ScreenView &)> &holds) {
        handset_.wait_until(what, [&] {
            bool seen = false;
            try {
                seen = holds(handset_.screen());
            } catch (const vh::ClientError &) { // no program to show anything
            }
            if (power_was_cut()) throw PowerGone();
            return seen;
        }, 30000);
    }
    void tap_text(const std::string &text) {
        see(text, [&](const vh::ScreenView &view) {
            if (!view.front_shows(text)) return false;
            const vh::ScreenText at = *view.find(text);
            handset_.tap(at.x(), at.y());
            return true;
        });
    }

    Handset handset_;
    int boots_ = 1; // that the operator knows of
    Stations given_, seen_;
    size_t items_given_ = 0, items_seen_ = 0;
    bool run_begun_ = false, run_over_ = false, failing_ = false;
};

using Day = void (Operator::*)();

// Every operation in every phase; both modes where something is not durable, for they differ only then.
std::vector<Point> points_of(const json &operations) {
    std::vector<Point> points;
    bool unsynced = false;
    for (size_t i = 0; i < operations.size(); ++i) {
        const json &o = operations[i];
        const std::string kind = o.at("kind").get<std::string>() + " " + o.at("path").get<std::string>();
        for (const std::string phase : {"before", "middle", "after"}) {
            if (phase != "before") unsynced = o.value("unsynced", false) || (phase == "middle" && o.at("kind") == "write");
            points.push_back({i + 1, phase, "keep", kind});
            if (unsynced) points.push_back({i + 1, phase, "lose", kind});
        }
    }
    return points;
}

json count_operations(Day day) {
    Operator op;
    op.storage({{"count", true}});
    (op.*day)();
    op.expect_verdicts();
    const json operations = op.storage({{"list", true}}).at("operations");
    if (getenv("VXO_POWER_CUT_SHOW"))
        for (const json &o : operations) std::cout << o.dump() << "\n";
    return operations;
}

// Whether the power went before the day was over.
bool works_until_the_cut(Operator &op, Day day) {
    try {
        (op.*day)();
        return op.power_was_cut(); // at the very last operation
    } catch (const PowerGone &) {
        return true;
    } catch (const std::exception &) {
        if (op.power_is_going()) return true;
        throw;
    }
}

bool try_point(Day day, const Point &point) {
    SCOPED_TRACE(point.name());
    try {
        Operator op;
        op.storage({{"cut", {{"at", point.operation}, {"phase", point.phase}, {"mode", point.mode}}}});
        const bool cut = works_until_the_cut(op, day);
        if (cut) op.expect_all_kept();
        else op.expect_verdicts();
        return cut;
    } catch (const std::exception &error) {
        ADD_FAILURE() << error.what();
        return false;
    }
}

size_t share() {
    const char *text = getenv("VXO_POWER_CUT_SHARE");
    return text ? static_cast<size_t>(std::max(1, atoi(text))) : 1;
}

void expect_no_cut_hurts(Day day) {
    const json operations = count_operations(day);
    ASSERT_GT(operations.size(), 5u);
    const std::vector<Point> points = points_of(operations);
    std::atomic<size_t> next{0}, tried{0}, reached{0};
    {
        std::vector<std::jthread> benches;
        for (int bench = 0; bench < BENCHES; ++bench)
            benches.emplace_back([&] {
                for (size_t i; (i = next.fetch_add(share())) < points.size(); ++tried)
                    if (try_point(day, points[i])) ++reached;
            });
    }
    std::cout << "power cut: " << operations.size() << " operations, " << points.size() << " points, " << tried << " tried, "
              << tried - reached << " of them behind the end of their run\n";
    EXPECT_GT(reached * 2, tried.load());
}

TEST(PowerCut, InARun) { expect_no_cut_hurts(&Operator::pass_all); }
TEST(PowerCut, InARunThatTheBootBegins) { expect_no_cut_hurts(&Operator::pass_all_behind_a_reboot); }
TEST(PowerCut, InARunThatFails) { expect_no_cut_hurts(&Operator::fail_the_second); }

} // namespace
