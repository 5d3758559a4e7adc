// Scan orchestration: turning the catalog into category states, the scan
// worker and its measuring threads, and the read side the interface uses
// (current category, sidebar groups, totals).
//
// Threads: start_scan, cancel_scan and load_categories run on the interface
// thread; scan_worker and scan_category on the worker thread, which touches
// m_cats only under m_mutex and only for short copies and replacements.

#include "app.h"

#include "scanner.h"

#include <algorithm>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// How long one listing and one entry's measurement may take before the scan
// gives up on it and goes on: long enough for a cold disk under a huge cache,
// short enough that a hung network mount does not stall the scan for good.
constexpr double LIST_SECONDS = 120.0;
constexpr double MEASURE_SECONDS = 45.0;

// Measuring threads one category runs at most.
constexpr int MEASURING_THREADS = 6;

// Background work yields to the interface and to the user's other programs.
void lower_priority() {
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), 10);
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

} // namespace

// ---------------------------------------------------------------------------
// Natural version order
// ---------------------------------------------------------------------------

int App::compare_versions(const std::string& a, const std::string& b) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (is_digit(a[i]) && is_digit(b[j])) {
            // Runs of digits compare as numbers of any length: skip leading
            // zeros, then the longer run is the bigger number, else the first
            // differing digit decides.
            std::size_t ai = i;
            std::size_t bj = j;
            while (ai < a.size() && a[ai] == '0')
                ++ai;
            while (bj < b.size() && b[bj] == '0')
                ++bj;
            std::size_t ae = ai;
            std::size_t be = bj;
            while (ae < a.size() && is_digit(a[ae]))
                ++ae;
            while (be < b.size() && is_digit(b[be]))
                ++be;
            if (ae - ai != be - bj)
                return ae - ai < be - bj ? -1 : 1;
            for (std::size_t k = 0; k < ae - ai; ++k)
                if (a[ai + k] != b[bj + k])
                    return a[ai + k] < b[bj + k] ? -1 : 1;
            i = ae;
            j = be;
            continue;
        }
        const unsigned char ca = static_cast<unsigned char>(a[i]);
        const unsigned char cb = static_cast<unsigned char>(b[j]);
        if (ca != cb)
            return ca < cb ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size() || j < b.size())
        return i < a.size() ? 1 : -1;
    // Equal as versions ("1.01" and "1.1"): fall back to the bytes so the
    // order stays total.
    return a < b ? -1 : (a == b ? 0 : 1);
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
        m_status_message.clear();
        m_status_failed = false;
        m_freed_bytes = 0;
    }
    m_repos = std::make_shared<git_repo::Cache>();
    m_cancel = false;
    m_scanning = true;
    m_worker_running = true;
    m_worker = std::thread([this] {
        scan_worker();
        // The indexes read for this scan are not needed any more.
        m_repos.reset();
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
            cat.items = std::move(local.items);
            cat.scanning = false;
            cat.did_scan = true;
        }
        m_dirty = true;
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
    const std::vector<ScannedInfo> found = scanner::list_guarded(cat.def, LIST_SECONDS, &m_cancel);
    // Project folders are found by their names alone; whether they may go is
    // weighed on the measuring threads, against the repositories this scan
    // has read.
    const bool judged = cat.def.listing == ListingKind::Recursive && m_weigh_projects;
    cat.items.clear();
    cat.items.reserve(found.size());
    for (const ScannedInfo& info : found)
        cat.items.push_back(item_of(info, cat.def));

    // The newest version is never offered as a safe deletion. A version
    // manager's items are "<tool>/<version>": the newest of each tool is kept.
    if (cat.def.keep_newest && !cat.items.empty()) {
        auto tool_of = [&](const Item& it) {
            if (cat.def.listing != ListingKind::ToolVersions)
                return std::string();
            return it.name.substr(0, it.name.find('/'));
        };
        for (std::size_t k = 0; k < cat.items.size(); ++k) {
            const std::string tool = tool_of(cat.items[k]);
            bool newest = true;
            for (std::size_t j = 0; j < cat.items.size() && newest; ++j) {
                if (j == k || tool_of(cat.items[j]) != tool)
                    continue;
                const int c = compare_versions(cat.items[j].name, cat.items[k].name);
                // Of two equal names the first stays newest, as before.
                newest = c < 0 || (c == 0 && k < j);
            }
            if (newest) {
                cat.items[k].safety = SafetyLevel::Risky;
                cat.items[k].keep_hint = true;
            }
        }
    }

    std::shared_ptr<git_repo::Cache> repos = m_repos;
    if (judged && !repos)
        repos = std::make_shared<git_repo::Cache>();

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
                m = scanner::measure_guarded(it.path, MEASURE_SECONDS, &m_cancel);
            } catch (...) {
                measured = false; // no thread to be had: this entry stays unmeasured
            }
            if (measured) {
                it.size = m.bytes;
                it.size_known = true;
                if (m.newest_mtime > it.modified)
                    it.modified = m.newest_mtime;
            }
            if (judged && measured)
                weigh(it, cat.def, m, *repos);
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
    return sum;
}
