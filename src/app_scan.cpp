// Scan orchestration: turning the catalog into category states, the scan
// worker and its measuring threads, and the read side the interface uses
// (current category, sidebar groups, totals).
//
// Threads: start_scan, cancel_scan and load_categories run on the interface
// thread; scan_worker and scan_category on the worker thread, which touches
// m_cats only under m_mutex and only for short copies and replacements.

#include "app.h"

#include <algorithm>

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
