// Scan orchestration: turning the catalog into category states, the scan
// worker and its measuring threads, and the read side the interface uses
// (current category, sidebar groups, totals).
//
// Threads: start_scan, cancel_scan and load_categories run on the interface
// thread; scan_worker and scan_category on the worker thread, which touches
// m_cats only under m_mutex and only for short copies and replacements.

#include "app.h"

#include "activity.h"
#include "i18n.h"
#include "paths.h"
#include "scanner.h"
#include "sharing.h"
#include "strutil.h"
#include "tool_pins.h"

#include <algorithm>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// How long one listing may take before the scan gives up on it and goes on:
// long enough for a cold disk under a huge cache, short enough that a hung
// network mount does not stall the scan for good. One entry's measurement has
// its own limit, App::m_measure_seconds.
constexpr double LIST_SECONDS = 120.0;

// Measuring threads one category runs at most.
constexpr int MEASURING_THREADS = 6;

// Why a version is in use, shown on its row. The tool's name fills "%s" and
// is never translated.
constexpr const char* SET_AS_DEFAULT = tr_noop("Set as default in %s");
constexpr const char* SET_FOR_A_FOLDER = tr_noop("Set for a folder in %s");
constexpr const char* USED_BY_ONE_PROJECT = tr_noop("Used by one project");
constexpr const char* USED_BY_PROJECTS = tr_noop("Used by %s projects");

bool holds_shared(const std::vector<Item>& items) {
    return std::any_of(items.begin(), items.end(),
                       [](const Item& it) { return !it.shared.empty(); });
}

// Background work yields to the interface and to the user's other programs.
void lower_priority() {
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), 10);
}

} // namespace

// ---------------------------------------------------------------------------
// Natural version order
// ---------------------------------------------------------------------------

int App::compare_versions(const std::string& a, const std::string& b) {
    return su::compare_versions(a, b);
}

// ---------------------------------------------------------------------------
// Starting and stopping
// ---------------------------------------------------------------------------

void App::load_categories() {
    const std::vector<CategoryDef>& defs = catalog::all();
    std::lock_guard<std::mutex> lock(m_mutex);
    m_cats.clear();
    for (const CategoryDef& d : defs) {
        CatState c;
        c.def = d;
        m_cats.push_back(std::move(c));
    }
    m_safe_counted_twice = 0;
}

void App::start_scan() {
    ++m_scans_started;
    m_cancel = true;
    if (m_worker.joinable())
        m_worker.join();
    m_scanning = false;
    // Built here, on the interface thread: the catalog is rebuilt without a
    // lock when the projects root changed, and the name lists the listing
    // reads are made once, before any worker can ask for them.
    const std::vector<CategoryDef>& defs = catalog::all();
    catalog::recursive_claimed();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<CatState> fresh;
        fresh.reserve(defs.size());
        for (const CategoryDef& d : defs) {
            CatState c;
            c.def = d;
            fresh.push_back(std::move(c));
        }
        // The old results stay readable for carrying ticks over: a category
        // keeps its selected paths until its new results replace them.
        m_ticked.clear();
        for (const CatState& c : m_cats)
            for (const Item& it : c.items)
                if (it.selected)
                    m_ticked[c.def.id].insert(it.path);
        m_cats = std::move(fresh);
        m_safe_counted_twice = 0;
        m_status_message.clear();
        m_status_failed = false;
        m_freed_outcome.reset();
        m_freed_bytes = 0;
        m_gained_bytes = -1;
    }
    m_repos = std::make_shared<git_repo::Cache>();
    m_activity = std::make_shared<activity::Cache>();
    m_cancel = false;
    m_scanning = true;
    m_worker_running = true;
    m_worker = std::thread([this] {
        scan_worker();
        // The indexes read for this scan are not needed any more.
        m_repos.reset();
        m_activity.reset();
        m_worker_running = false;
    });
}

void App::cancel_scan() {
    m_cancel = true;
    if (m_worker.joinable())
        m_worker.join();
    m_scanning = false;
}

// ---------------------------------------------------------------------------
// The worker
// ---------------------------------------------------------------------------

void App::scan_worker() {
    lower_priority();
    std::size_t n = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        n = m_cats.size();
    }
    walk_projects();
    for (std::size_t i = 0; i < n; ++i) {
        if (m_cancel)
            return;
        CatState local;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (i >= m_cats.size())
                return;
            m_cats[i].scanning = true;
            local.def = m_cats[i].def;
        }
        m_dirty = true;
        try {
            scan_category(local);
        } catch (...) {
            // No thread could be started for a listing or a measurement:
            // the category keeps what was found before that.
        }
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (i >= m_cats.size() || m_cats[i].def.id != local.def.id)
                return;
            CatState& cat = m_cats[i];
            // Ticks survive a rescan for every entry found again at the same path.
            std::unordered_set<std::string> ticked;
            const auto before = m_ticked.find(cat.def.id);
            if (before != m_ticked.end())
                ticked = before->second;
            for (const Item& old : cat.items)
                if (old.selected)
                    ticked.insert(old.path);
            if (!ticked.empty())
                for (Item& it : local.items)
                    if (ticked.count(it.path))
                        it.selected = true;
            const bool linked = holds_shared(cat.items) || holds_shared(local.items);
            cat.items = std::move(local.items);
            cat.scanning = false;
            cat.did_scan = true;
            // Entries without files of several links change no other total.
            if (linked)
                recount_shared();
        }
        m_dirty = true;
    }
}

void App::walk_projects() {
    m_project_listing.clear();
    m_project_pin_files.clear();
    std::vector<CategoryDef> rows;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (CatState& c : m_cats) {
            if (c.def.listing == ListingKind::Recursive) {
                rows.push_back(c.def);
                c.scanning = true; // all of them are being looked for now
            }
        }
    }
    if (rows.empty() || m_cancel)
        return;
    m_dirty = true;
    // One walk for every project category: the projects folder is read once,
    // however many kinds of build output are looked for in it.
    scanner::ProjectFinds finds;
    try {
        finds = scanner::find_in_projects_guarded(rows, tool_pins::is_project_file, LIST_SECONDS,
                                                  &m_cancel);
    } catch (...) {
        return; // no thread for the walk: each category lists on its own turn
    }
    for (std::size_t k = 0; k < rows.size() && k < finds.found.size(); ++k)
        m_project_listing[rows[k].id] = std::move(finds.found[k]);
    m_project_pin_files = std::move(finds.files);
}

// ---------------------------------------------------------------------------
// Versions to keep
// ---------------------------------------------------------------------------

void App::apply_keep_rules(CatState& cat) const {
    if (cat.items.empty())
        return;
    const char* tool = tool_pins::tool_of(cat.def.id);
    std::vector<tool_pins::Pin> pins;
    if (tool) {
        tool_pins::Query q;
        q.row_id = cat.def.id;
        q.folder = cat.def.path;
        q.names.reserve(cat.items.size());
        for (const Item& it : cat.items)
            q.names.push_back(it.name);
        q.project_files = m_project_pin_files;
        q.home = real_home();
        pins = tool_pins::find(q);
    }
    for (const tool_pins::Pin& p : pins)
        for (Item& it : cat.items) {
            if (it.name != p.name)
                continue;
            it.in_use = true;
            it.safety = SafetyLevel::Risky;
            using evidence::Reason;
            if (p.by_default)
                it.reasons.push_back(Reason{SET_AS_DEFAULT, tool, -1, SafetyLevel::Risky});
            if (p.by_folder)
                it.reasons.push_back(Reason{SET_FOR_A_FOLDER, tool, -1, SafetyLevel::Risky});
            if (p.projects == 1)
                it.reasons.push_back(Reason{USED_BY_ONE_PROJECT, "", -1, SafetyLevel::Risky});
            else if (p.projects > 1)
                it.reasons.push_back(Reason{USED_BY_PROJECTS, "", p.projects, SafetyLevel::Risky});
        }
    if (!cat.def.keep_newest)
        return;
    // Where nothing says what is in use, the newest version is kept: per
    // tool in a row of "<tool>/<version>" entries (the newest java and the
    // newest gradle), else once for the row.
    std::unordered_map<std::string, std::size_t> newest;
    std::unordered_set<std::string> used;
    for (std::size_t k = 0; k < cat.items.size(); ++k) {
        const Item& it = cat.items[k];
        const std::size_t slash = it.name.find('/');
        const std::string tool_part = slash == std::string::npos ? "" : it.name.substr(0, slash);
        if (it.in_use)
            used.insert(tool_part);
        const auto at = newest.find(tool_part);
        if (at == newest.end())
            newest.emplace(tool_part, k);
        else if (compare_versions(it.name, cat.items[at->second].name) > 0)
            at->second = k;
    }
    for (const auto& [tool_part, k] : newest) {
        if (used.count(tool_part))
            continue;
        cat.items[k].safety = SafetyLevel::Risky;
        cat.items[k].keep_hint = true;
    }
}

void App::weigh(Item& it, const CategoryDef& def, const scanner::Measure& m,
                git_repo::Cache& repos) const {
    evidence::Verdict v;
    if (m.complete)
        v = evidence::judge(it.path, repos, m.holds_git);
    else if (!m_cancel)
        v = evidence::not_looked_through();
    else
        return; // a cancelled scan: the entry stays unweighed, and so not Safe
    // The row's own level stays the floor: evidence never makes a virtual
    // environment more than Caution.
    it.safety = std::max(def.safety, v.level);
    it.reasons = std::move(v.reasons);
}

Item App::item_of(const ScannedInfo& info, const CategoryDef& def) {
    Item it;
    it.path = info.path;
    it.name = info.name;
    it.detail = info.detail;
    it.modified = info.modified;
    it.safety = def.safety;
    // A project folder is not Safe before it was weighed, nor when that never
    // happens (a scan cancelled before its turn).
    if (def.listing == ListingKind::Recursive)
        it.safety = std::max(def.safety, SafetyLevel::Caution);
    return it;
}

void App::scan_category(CatState& cat) {
    std::vector<ScannedInfo> found;
    const auto walked = m_project_listing.find(cat.def.id);
    if (cat.def.listing == ListingKind::Recursive && walked != m_project_listing.end()) {
        found = std::move(walked->second);
        m_project_listing.erase(walked);
    } else {
        found = scanner::list_guarded(cat.def, LIST_SECONDS, &m_cancel);
    }
    // Project folders are found by their names alone; whether they may go is
    // weighed on the measuring threads, against the repositories this scan
    // has read.
    const bool project = cat.def.listing == ListingKind::Recursive;
    const bool judged = project && m_weigh_projects;
    cat.items.clear();
    cat.items.reserve(found.size());
    for (const ScannedInfo& info : found)
        cat.items.push_back(item_of(info, cat.def));

    // What the tools use, else the newest version, is never offered as a
    // safe deletion.
    apply_keep_rules(cat);

    std::shared_ptr<git_repo::Cache> repos = m_repos;
    if (judged && !repos)
        repos = std::make_shared<git_repo::Cache>();
    std::shared_ptr<activity::Cache> projects = m_activity;
    if (project && !projects)
        projects = std::make_shared<activity::Cache>();

    const int threads = std::clamp(static_cast<int>(cat.items.size()), 1, MEASURING_THREADS);
    std::atomic<std::size_t> next{0};
    auto measure_some = [&] {
        lower_priority();
        for (;;) {
            const std::size_t k = next.fetch_add(1);
            if (k >= cat.items.size() || m_cancel)
                return;
            Item& it = cat.items[k];
            scanner::Measure m;
            bool measured = true;
            try {
                m = scanner::measure_guarded(it.path, m_measure_seconds, &m_cancel);
            } catch (...) {
                measured = false; // no thread to be had: this entry stays unmeasured
            }
            // Given up at its deadline (a huge cache on a slow disk, a hung
            // mount): what came back is no size at all, and showing it as
            // 0 bytes would say there is nothing to free. It stays unmeasured.
            if (measured && !m.complete && !m_cancel)
                measured = false;
            if (measured) {
                it.size = m.bytes;
                it.size_known = true;
                it.shared = std::move(m.shared);
                it.shared_bytes = m.shared_bytes;
                it.frees = sharing::frees_alone({it.size, it.shared_bytes, &it.shared});
                if (m.newest_mtime > it.modified)
                    it.modified = m.newest_mtime;
            }
            if (judged && measured)
                weigh(it, cat.def, m, *repos);
            if (project && !m_cancel) {
                // Build output says nothing of use by its own times (npm
                // dates installed files to 1985): the project around it does.
                const size_t slash = it.path.find_last_of('/');
                const std::string folder = slash == std::string::npos
                                               ? it.path
                                               : it.path.substr(0, std::max<size_t>(slash, 1));
                it.active =
                    projects->of_project(folder, cat.def.path, catalog::recursive_claimed());
                it.of_project = true;
            } else if (!project && measured && m.complete) {
                // A cache's newest change inside it; a measurement cut short
                // may have missed a newer one, so it tells nothing.
                it.active = it.modified;
            }
        }
    };
    std::vector<std::thread> pool;
    for (int t = 1; t < threads; ++t) {
        try {
            pool.emplace_back(measure_some);
        } catch (...) {
            break; // fewer threads, same result
        }
    }
    measure_some();
    for (std::thread& t : pool)
        t.join();

    std::sort(cat.items.begin(), cat.items.end(),
              [](const Item& a, const Item& b) { return a.size > b.size; });
}

// ---------------------------------------------------------------------------
// The read side
// ---------------------------------------------------------------------------

CatState* App::current_category() {
    if (m_selection.empty() || m_selection == "__manual__")
        return nullptr;
    for (CatState& c : m_cats)
        if (c.def.id == m_selection)
            return &c;
    return nullptr;
}

const CatState* App::current_category() const {
    return const_cast<App*>(this)->current_category();
}

std::vector<App::VisibleGroup> App::visible_groups() const {
    std::vector<VisibleGroup> out;
    for (int g = 0; g < static_cast<int>(GroupKind::_Count); ++g) {
        VisibleGroup vg;
        vg.group = static_cast<GroupKind>(g);
        for (int i = 0; i < static_cast<int>(m_cats.size()); ++i) {
            const CatState& c = m_cats[i];
            if (c.def.group != vg.group)
                continue;
            // A category that finished and found nothing is of no interest.
            if (c.scanning || !c.did_scan || !c.items.empty()) {
                vg.cats.push_back(i);
                vg.total += c.total_size();
            }
        }
        if (vg.cats.empty())
            continue;
        std::sort(vg.cats.begin(), vg.cats.end(),
                  [this](int a, int b) { return m_cats[a].total_size() > m_cats[b].total_size(); });
        out.push_back(std::move(vg));
    }
    return out;
}

int64_t App::total_reclaimable() const {
    int64_t sum = 0;
    for (const CatState& c : m_cats)
        sum += c.total_size();
    return sum;
}

int64_t App::safe_reclaimable() const {
    int64_t sum = 0;
    for (const CatState& c : m_cats)
        for (const Item& it : c.items)
            if (it.safety == SafetyLevel::Safe && it.size > 0)
                sum += it.size;
    return std::max<int64_t>(0, sum - m_safe_counted_twice);
}

void App::recount_shared() {
    // Only entries holding such files can share bytes with another.
    std::vector<sharing::Entry> all, safe;
    std::vector<CatState*> owner;
    for (CatState& c : m_cats)
        for (const Item& it : c.items) {
            if (it.shared.empty() || it.size <= 0)
                continue;
            const sharing::Entry e{it.size, it.shared_bytes, &it.shared};
            all.push_back(e);
            owner.push_back(&c);
            if (it.safety == SafetyLevel::Safe)
                safe.push_back(e);
        }
    for (CatState& c : m_cats)
        c.counted_elsewhere = 0;
    const std::vector<int64_t> before = sharing::counted_before(all);
    for (std::size_t i = 0; i < before.size(); ++i)
        owner[i]->counted_elsewhere += before[i];
    m_safe_counted_twice = 0;
    for (const int64_t b : sharing::counted_before(safe))
        m_safe_counted_twice += b;
}
