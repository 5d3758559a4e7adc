// The App driven the way a restless person drives it, hundreds of times in a
// random order fixed by a seed: scans started, cancelled and restarted, entries
// ticked and unticked, deletions confirmed (also while a scan runs, so that
// they wait for it), files appearing under the scan's feet, frames drawn in
// between, and the window closed and opened again in the middle of all that.
// Every action goes through the same entry point a click or a key uses.
//
// It runs in a sealed child (see sealed.h), so a mistake can only ever touch
// the test's own folder. What must hold throughout: nothing is listed outside
// the home; when no worker runs, every listed entry is still on the disk; no
// scan hangs. What must hold at the end: everything outside the entries the
// catalog offers is exactly as it was, every file that went lay below
// something that had been ticked, and a last scan's figures are what a plain
// single-threaded walk measures. The threads' part of it is for the sanitizers
// this suite also runs under: the interface thread, the worker, its measuring
// threads and their walking helpers all share one App here.

#include "app.h"
#include "fs_fixture.h"
#include "render_test_util.h"
#include "scan_test_util.h"
#include "scanner.h"
#include "sealed.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <thread>

namespace {

constexpr int SEAL_FAILED = 90;
constexpr unsigned SEED = 20261125;
constexpr int STEPS = 4000;
constexpr int PROJECTS = 10;

bool exists(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

bool below_or_at(const std::string& path, const std::string& top) {
    return path == top || (path.size() > top.size() && path.compare(0, top.size(), top) == 0 &&
                           path[top.size()] == '/');
}

// The home the catalog looks at: caches that are listed whole, a NuGet
// folder listed one package at a time, projects with node_modules and
// __pycache__ beside their own sources, and documents. Only the folders in
// entry_folders() are anything the program may offer; the rest is the
// user's and must come through untouched.
class StressHome {
public:
    explicit StressHome(std::string home) : m_home(std::move(home)) {}

    std::vector<std::string> entry_folders() const {
        std::vector<std::string> v = {m_home + "/.npm/_cacache", m_home + "/.cache/pip",
                                      m_home + "/.cache/go-build"};
        for (int p = 0; p < PROJECTS; ++p) {
            v.push_back(project(p) + "/node_modules");
            v.push_back(project(p) + "/__pycache__");
        }
        for (int k = 0; k < 8; ++k)
            v.push_back(m_home + "/.nuget/packages/pkg" + std::to_string(k));
        return v;
    }

    // The user's own files, written once.
    void plant_own_files() {
        for (int p = 0; p < PROJECTS; ++p) {
            write(project(p) + "/package.json", "{\"name\": \"p" + std::to_string(p) + "\"}\n");
            for (int f = 0; f < 5; ++f)
                write(project(p) + "/src/module" + std::to_string(f) + ".py",
                      "print(" + std::to_string(p * 10 + f) + ")\n");
        }
        for (int d = 0; d < 10; ++d)
            write(m_home + "/Documents/notes-" + std::to_string(d) + ".txt",
                  std::string(100 + d * 37, 'n'));
    }

    // Writes a few more files into one of the entry folders (made again if a
    // deletion took it), as a package manager or a build would meanwhile.
    void grow(std::mt19937& rng) {
        const std::vector<std::string> folders = entry_folders();
        const std::string folder = folders[rng() % folders.size()];
        const int files = 1 + static_cast<int>(rng() % 12);
        for (int f = 0; f < files; ++f) {
            const std::string path = folder + "/d" + std::to_string(rng() % 8) + "/f" +
                                     std::to_string(m_written.size()) + ".bin";
            const std::string content(1 + rng() % 9000, static_cast<char>('a' + rng() % 26));
            write(path, content);
            m_written[path] = content;
        }
    }

    // Every file grow() wrote, with its bytes.
    const std::map<std::string, std::string>& written() const { return m_written; }

private:
    std::string project(int p) const { return m_home + "/code/p" + std::to_string(p); }

    static void write(const std::string& path, const std::string& content) {
        fs_fixture::make_dirs(path.substr(0, path.rfind('/')));
        std::ofstream(path, std::ios::binary) << content;
    }

    std::string m_home;
    std::map<std::string, std::string> m_written;
};

std::string read_all(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// Collects a finished worker, as the interface's timer does.
bool idle(App& app) {
    app.on_poll();
    return !app.m_worker.joinable();
}

bool wait_idle(App& app, double seconds) {
    const auto end = std::chrono::steady_clock::now() +
                     std::chrono::milliseconds(static_cast<int>(seconds * 1000));
    while (std::chrono::steady_clock::now() < end) {
        if (idle(app))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

enum Step {
    Rescan,
    Cancel,
    Poll,
    OpenCategory,
    Toggle,
    SafeOnes,
    None,
    Delete,
    Draw,
    Grow,
    Close,
    STEP_KINDS
};

const char* const STEP_NAMES[STEP_KINDS] = {"rescan", "cancel", "poll", "open", "toggle", "safe",
                                            "none",   "delete", "draw", "grow", "close"};

// Everything below runs in the sealed child; a failed expectation there
// becomes a line of the report the parent fails on.
struct StressRun {
    std::string home;
    StressHome& tree;
    std::ostringstream problems;
    std::set<std::string> ever_ticked;
    int counts[STEP_KINDS] = {};
    int deletions_started = 0;
    int scans_started = 0;
    int closes_during_work = 0;

    void problem(const std::string& what) { problems << what << "\n"; }

    // What holds whenever the interface thread looks.
    void check(App& app, int step) {
        const bool worker_done = idle(app);
        std::lock_guard<std::mutex> lock(app.m_mutex);
        for (const CatState& c : app.m_cats)
            for (const Item& it : c.items) {
                if (!below_or_at(it.path, home))
                    problem("step " + std::to_string(step) +
                            ": listed outside the home: " + it.path);
                if (it.selected)
                    ever_ticked.insert(it.path);
                // Only the program deletes here, and it drops what it deleted
                // from its lists before its worker ends.
                if (worker_done && !exists(it.path))
                    problem("step " + std::to_string(step) + ": listed but gone: " + it.path);
            }
    }

    int category_count(App& app) {
        std::lock_guard<std::mutex> lock(app.m_mutex);
        return static_cast<int>(app.m_cats.size());
    }

    std::vector<int> listing_categories(App& app) {
        std::lock_guard<std::mutex> lock(app.m_mutex);
        std::vector<int> v;
        for (std::size_t i = 0; i < app.m_cats.size(); ++i)
            if (!app.m_cats[i].items.empty())
                v.push_back(static_cast<int>(i));
        return v;
    }

    bool any_ticked(App& app) {
        std::lock_guard<std::mutex> lock(app.m_mutex);
        for (const CatState& c : app.m_cats)
            for (const Item& it : c.items)
                if (it.selected)
                    return true;
        return false;
    }

    int item_count(App& app) {
        std::lock_guard<std::mutex> lock(app.m_mutex);
        const CatState* c = app.current_category();
        return c ? static_cast<int>(c->items.size()) : 0;
    }

    void act(std::unique_ptr<App>& app, Step s, std::mt19937& rng) {
        ++counts[s];
        switch (s) {
        case Rescan:
            app->activate(App::Act::Rescan, 0);
            break;
        case Cancel:
            app->activate(App::Act::CancelScan, 0);
            break;
        case Poll:
            std::this_thread::sleep_for(std::chrono::milliseconds(rng() % 6));
            app->on_poll();
            break;
        case OpenCategory: {
            // Mostly a category that lists something, as a person would pick.
            const std::vector<int> listing = listing_categories(*app);
            const int n = category_count(*app);
            if (!listing.empty() && rng() % 4 != 0)
                app->activate(App::Act::SelectCategory, listing[rng() % listing.size()]);
            else if (n > 0)
                app->activate(App::Act::SelectCategory, static_cast<int>(rng() % n));
            break;
        }
        case Toggle: {
            const int n = item_count(*app);
            if (n > 0)
                app->activate(App::Act::ToggleItem, static_cast<int>(rng() % n));
            break;
        }
        case SafeOnes:
            app->activate(App::Act::SelectAllSafe, 0);
            break;
        case None:
            app->activate(App::Act::SelectNone, 0);
            break;
        case Delete: {
            // One deletion in four is a person's who waits for the scan to end
            // and ticks the safe ones first. The rest come whenever the order
            // puts them, mid-scan or with nothing ticked; on a slow or busy
            // machine scans last longer and those rarely reach the dialog, so
            // without the patient ones the run could delete next to nothing.
            if (rng() % 4 == 0 && wait_idle(*app, 30.0) && !any_ticked(*app)) {
                const std::vector<int> listing = listing_categories(*app);
                if (item_count(*app) == 0 && !listing.empty())
                    app->activate(App::Act::SelectCategory, listing[rng() % listing.size()]);
                app->activate(App::Act::SelectAllSafe, 0);
            }
            {
                // What is ticked when the user confirms is what may go.
                std::lock_guard<std::mutex> lock(app->m_mutex);
                for (const CatState& c : app->m_cats)
                    for (const Item& it : c.items)
                        if (it.selected)
                            ever_ticked.insert(it.path);
            }
            app->activate(App::Act::Clean, 0);
            if (app->m_overlay == App::Overlay::Dialog) {
                app->press_dialog_button(1);
                ++deletions_started;
            }
            break;
        }
        case Draw: {
            render_test::Canvas canvas(1100, 720);
            app->draw_all(canvas.cr());
            break;
        }
        case Grow:
            tree.grow(rng);
            break;
        case Close:
            if (app->m_worker.joinable())
                ++closes_during_work;
            scans_started += app->m_scans_started;
            app.reset();
            app = std::make_unique<App>();
            // A window opens with a scan, as at start-up.
            app->start_scan();
            break;
        case STEP_KINDS:
            break;
        }
        // A dialog left open (a deletion's failures) is closed as a person would.
        if (app->m_overlay == App::Overlay::Dialog && rng() % 2 == 0)
            app->press_dialog_button(0);
    }
};

} // namespace

TEST(AppStress, ScansDeletionsTicksAndClosesInRandomOrderKeepEveryPromise) {
    test_env::TempHome t;
    const std::string home = t.path("home");
    StressHome tree(home);
    tree.plant_own_files();
    std::mt19937 grow_rng(SEED + 1);
    for (int k = 0; k < 40; ++k)
        tree.grow(grow_rng);
    // Everything outside the folders the program may offer, as it is now.
    const fs_fixture::Manifest own_before = fs_fixture::manifest(home, tree.entry_folders());
    ASSERT_GT(own_before.size(), 60u);

    const std::string root = sealed::real(t.root());
    const sealed::ChildOutcome out = sealed::in_child([&](int& code) -> std::string {
        if (root.empty() || !sealed::seal_all_but(root)) {
            code = SEAL_FAILED;
            return "";
        }
        StressRun run{home, tree, {}, {}, {}, 0, 0, 0};
        std::mt19937 rng(SEED);
        // A Close is rarer than the rest: a person opens the window again
        // now and then, not every other click.
        std::discrete_distribution<int> pick({8, 4, 16, 8, 12, 10, 2, 10, 4, 6, 1});
        auto app = std::make_unique<App>();
        app->start_scan();
        for (int step = 0; step < STEPS; ++step) {
            run.act(app, static_cast<Step>(pick(rng)), rng);
            run.check(*app, step);
        }
        // Let the last work end: no scan or deletion may hang.
        if (!wait_idle(*app, 120.0))
            run.problem("the last worker did not end within two minutes");
        run.check(*app, STEPS);

        // A last scan, left to finish, measures what a plain walk measures;
        // the deletions have emptied most entries, so some grow again first.
        for (int k = 0; k < 20; ++k)
            tree.grow(rng);
        app->activate(App::Act::Rescan, 0);
        if (!wait_idle(*app, 120.0))
            run.problem("the final scan did not end within two minutes");
        int compared = 0;
        for (const CatState& c : app->m_cats)
            for (const Item& it : c.items) {
                const scanner::Measure m = scanner::measure_serial(it.path, nullptr);
                if (!it.size_known || it.size != m.bytes)
                    run.problem("final scan: " + it.path + " " + std::to_string(it.size) +
                                " bytes, a plain walk " + std::to_string(m.bytes));
                ++compared;
            }
        run.scans_started += app->m_scans_started;
        app.reset();

        // A file that went lay below something that had been ticked; one
        // that stayed holds what was written into it.
        int gone = 0;
        for (const auto& [path, content] : tree.written()) {
            if (exists(path)) {
                if (read_all(path) != content)
                    run.problem("changed: " + path);
                continue;
            }
            ++gone;
            bool was_ticked = false;
            for (const std::string& p : run.ever_ticked)
                was_ticked = was_ticked || below_or_at(path, p);
            if (!was_ticked)
                run.problem("gone without being ticked: " + path);
        }

        std::ostringstream report;
        report << run.problems.str() << "@compared " << compared << "\n@deletions "
               << run.deletions_started << "\n@closes_during_work " << run.closes_during_work
               << "\n@scans " << run.scans_started << "\n@written " << tree.written().size()
               << "\n@gone " << gone << "\n";
        for (int s = 0; s < STEP_KINDS; ++s)
            report << "@count " << STEP_NAMES[s] << " " << run.counts[s] << "\n";
        return report.str();
    });
    ASSERT_EQ(out.exit_code, 0) << out.output;

    std::vector<std::string> problems;
    std::map<std::string, int> figures; // "@name value" lines, and "count:<step>"
    std::istringstream lines(out.output);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty())
            continue;
        if (line[0] != '@') {
            problems.push_back(line);
            continue;
        }
        std::istringstream f(line.substr(1));
        std::string name, step;
        int n = 0;
        f >> name;
        if (name == "count")
            f >> step, name += ":" + step;
        f >> n;
        figures[name] = n;
    }
    for (const std::string& p : problems)
        ADD_FAILURE() << p;

    // The run did what it set out to do: every kind of step many times,
    // deletions that really went, windows closed while a worker ran.
    for (int s = 0; s < STEP_KINDS; ++s)
        EXPECT_GE(figures[std::string("count:") + STEP_NAMES[s]], 10) << STEP_NAMES[s];
    EXPECT_GE(figures["deletions"], 10);
    EXPECT_GE(figures["closes_during_work"], 5);
    EXPECT_GE(figures["scans"], 50);
    EXPECT_GT(figures["gone"], 0) << "some deletion went through";
    EXPECT_GT(figures["compared"], 5) << "the last scan listed the home's entries";

    // The user's own files are exactly as they were.
    EXPECT_EQ(fs_fixture::manifest(home, tree.entry_folders()), own_before);

    std::printf("steps %d: scans started %d, deletions confirmed %d, windows closed while a "
                "worker ran %d, files written %d, gone %d, entries compared at the end %d\n",
                STEPS, figures["scans"], figures["deletions"], figures["closes_during_work"],
                figures["written"], figures["gone"], figures["compared"]);
}
