// Selection, confirmation and cleaning: counting what is ticked, the
// "Delete permanently?" dialog, the deletion worker behind the deletion guard,
// and what becomes of the entries that could not be deleted.
//
// Threads: everything here runs on the interface thread except do_clean,
// which is the deletion worker's body; it holds m_mutex only while it collects
// the paths and while it applies the outcome, never while deleting.

#include "app.h"
#include "sharing.h"

#include "activity.h"
#include "deletion_guard.h"
#include "disk_space.h"
#include "evidence.h"
#include "format.h"
#include "i18n.h"
#include "in_use.h"
#include "paths.h"
#include "shell_ops.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

// ---------------------------------------------------------------------------
// Selection
// ---------------------------------------------------------------------------

namespace {

// What "Safe ones" may tick. A kept version (the newest, or one the user's
// tools use) is marked Risky already; the keep flags are checked as well so
// that it can never be ticked by a button.
bool safe_to_tick(const Item& it) {
    return it.safety == SafetyLevel::Safe && !it.keep_hint && !it.in_use;
}

} // namespace

void App::select_all_safe(CatState& cat) {
    for (Item& it : cat.items)
        if (safe_to_tick(it))
            it.selected = true;
}

void App::select_safe_older_than(CatState& cat, int months, time_t now) {
    for (Item& it : cat.items)
        if (safe_to_tick(it) && activity::older_than(it.active, months, now))
            it.selected = true;
}

void App::select_none(CatState& cat) {
    for (Item& it : cat.items)
        it.selected = false;
}

void App::select_all(CatState& cat) {
    // Asked for by name, entry by entry, as a click on each would: the
    // confirmation still says how many of them are Caution or Risky.
    for (Item& it : cat.items)
        it.selected = true;
}

int App::selected_count() const {
    int n = 0;
    for (const CatState& c : m_cats)
        for (const Item& it : c.items)
            n += it.selected ? 1 : 0;
    return n;
}

int64_t App::selected_size() const {
    // The ticks and what they point at, marked cheaply in one pass; the
    // records are merged again only when the mark changes (a tick, new
    // results, a deletion).
    uint64_t mark = 1469598103934665603ull;
    auto mix = [&mark](uint64_t v) {
        mark ^= v;
        mark *= 1099511628211ull;
    };
    mix(m_shared_generation);
    for (std::size_t ci = 0; ci < m_cats.size(); ++ci)
        for (std::size_t ii = 0; ii < m_cats[ci].items.size(); ++ii) {
            const Item& it = m_cats[ci].items[ii];
            if (!it.selected || it.size <= 0)
                continue;
            mix(ci);
            mix(ii);
            mix(static_cast<uint64_t>(it.size));
            mix(reinterpret_cast<uintptr_t>(it.shared.data()));
            mix(it.shared.size());
        }
    if (m_selected_bytes >= 0 && mark == m_selected_mark)
        return m_selected_bytes;
    std::vector<sharing::Entry> chosen;
    for (const CatState& c : m_cats)
        for (const Item& it : c.items)
            if (it.selected && it.size > 0)
                chosen.push_back({it.size, it.shared_bytes, &it.shared});
    m_selected_mark = mark;
    m_selected_bytes = sharing::frees_together(chosen);
    return m_selected_bytes;
}

// ---------------------------------------------------------------------------
// Dialogs
// ---------------------------------------------------------------------------

void App::show_dialog(const std::string& title, const std::string& message,
                      std::vector<DialogButton> buttons) {
    m_dialog_title = title;
    m_dialog_message = message;
    m_dialog_buttons = std::move(buttons);
    m_overlay = Overlay::Dialog;
    request_redraw();
}

void App::confirm_clean() {
    // One deletion at a time; the footer's button is drawn disabled meanwhile.
    if (m_cleaning)
        return;
    int count = 0;
    int64_t size = 0;
    int cautious = 0;
    int risky = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_cats.empty())
            return;
        count = selected_count();
        size = selected_size();
        for (const CatState& c : m_cats)
            for (const Item& it : c.items)
                if (it.selected) {
                    cautious += it.safety == SafetyLevel::Caution ? 1 : 0;
                    risky += it.safety == SafetyLevel::Risky ? 1 : 0;
                }
    }
    if (count == 0)
        return;
    const I18n& i18n = I18n::instance();
    std::string message =
        i18n.trf("%s item(s) · %s", ltr(fmt::count(count)).c_str(), ltr(fmt::bytes(size)).c_str());
    // Say so when the selection goes beyond what was proven disposable.
    std::string marked;
    if (cautious > 0)
        marked = i18n.trf("%s of them marked Caution", ltr(fmt::count(cautious)).c_str());
    if (risky > 0)
        marked += (marked.empty() ? "" : " · ") +
                  i18n.trf("%s of them marked Risky", ltr(fmt::count(risky)).c_str());
    if (!marked.empty())
        message += "\n" + marked;
    message +=
        "\n" + std::string(i18n.tr("This cannot be undone. Caches and build folders are "
                                   "recreated by their tools; anything marked Risky is not."));
    show_dialog(
        i18n.tr("Delete permanently?"), message,
        {{1, i18n.tr("Delete permanently"), true, false}, {0, i18n.tr("Cancel"), false, true}});
}

void App::reveal_or_explain(const std::string& path) {
    if (!shell_ops::reveal_in_file_manager(path))
        explain_no_file_manager(path);
}

void App::explain_no_file_manager(const std::string& path) {
    const I18n& i18n = I18n::instance();
    show_dialog(i18n.tr("Could not open the file manager"),
                std::string(i18n.tr("No file manager answered. The folder is here:")) + "\n\n" +
                    ltr(path),
                {{0, i18n.tr("Close"), false, true}});
}

void App::explain_file_manager_test_failed() {
    const I18n& i18n = I18n::instance();
    show_dialog(i18n.tr("File manager"),
                i18n.tr("The file manager could not be started. Check the command, or "
                        "empty the field to use the system default."),
                {{0, i18n.tr("Close"), false, true}});
}

// ---------------------------------------------------------------------------
// Cleaning
// ---------------------------------------------------------------------------

bool App::start_clean() {
    if (m_worker.joinable())
        return false;
    m_cleaning = true;
    m_worker_running = true;
    m_worker = std::thread([this] {
        do_clean();
        m_worker_running = false;
    });
    return true;
}

void App::do_clean() {
    std::vector<std::string> paths;
    std::unordered_map<std::string, Item> chosen; // by path, for sizes and the manual list
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const CatState& c : m_cats)
            for (const Item& it : c.items) {
                if (!it.selected || chosen.count(it.path))
                    continue;
                // What the guard protects is never handed to the deletion; it
                // stays ticked and listed.
                if (deletion_guard::is_protected(it.path))
                    continue;
                paths.push_back(it.path);
                chosen.emplace(it.path, it);
            }
    }
    if (paths.empty())
        return;

    // Free space is read just before and just after, on each file system
    // that holds a ticked path, so that the status can say what the disk
    // really gained.
    disk_space::Plan disk = disk_space::group(paths, disk_space::device_of_folder);
    disk_space::take_before(disk, disk_space::free_space);

    // The scan is a while ago by now: just before each path goes, git is
    // asked again whether it tracks anything there, and the running programs
    // whether one of them works inside it.
    const shell_ops::DeleteResult result =
        shell_ops::delete_permanently(paths, [](const std::string& path) -> const char* {
            if (const char* why = evidence::tracked_now(path))
                return why;
            if (in_use::by_running_program(to_scan_path(path)))
                return in_use::REASON;
            return nullptr;
        });
    disk_space::take_after(disk, disk_space::free_space_settled);

    {
        std::lock_guard<std::mutex> lock(m_mutex);
        apply_deletion(result);
        // What the deleted entries were expected to give back together.
        std::vector<sharing::Entry> deleted;
        std::unordered_map<int, std::vector<sharing::Entry>> on_volume;
        for (const std::string& p : result.deleted) {
            const auto found = chosen.find(p);
            const bool measured = found != chosen.end() && found->second.size_known;
            // A size cut short (by the scan's deadline, say) is no measure to
            // hold the disk's gain against.
            disk_space::count_deleted(disk, p, measured ? found->second.size : 0);
            if (found == chosen.end())
                continue;
            const sharing::Entry e{found->second.size, found->second.shared_bytes,
                                   &found->second.shared};
            deleted.push_back(e);
            const auto volume = disk.volume_of.find(p);
            if (measured && volume != disk.volume_of.end())
                on_volume[volume->second].push_back(e);
        }
        // A file linked from several deleted entries comes back once, and
        // only when all its links went; what each file system was expected
        // to gain is worked out the same way (links never cross them).
        for (const auto& [volume, entries] : on_volume)
            disk.volumes[static_cast<std::size_t>(volume)].expected =
                sharing::frees_together(entries);
        const int64_t freed = sharing::frees_together(deleted);
        m_freed_bytes = freed;
        const disk_space::Result gain = disk_space::compare(disk);
        m_gained_bytes = gain.known ? gain.gained : -1;
        if (result.failed_count == 0) {
            if (!result.deleted.empty()) {
                m_freed_outcome = gain;
                m_status_message.clear();
                m_status_failed = false;
            }
        } else {
            // The reason is an interface text; the footer translates it when
            // it draws it, so it follows a change of language, and shows it in
            // the colour of a failure.
            m_status_message = result.error;
            m_status_failed = true;
            m_freed_outcome.reset();
            m_failed_paths = result.failed;
            // What failed now waits on the "Remove manually" page; its ticks
            // go, so that the next deletion does not try it again unasked.
            const std::unordered_set<std::string> failed(result.failed.begin(),
                                                         result.failed.end());
            for (CatState& c : m_cats)
                for (Item& it : c.items)
                    if (it.selected && failed.count(it.path))
                        it.selected = false;
            std::unordered_set<std::string> listed;
            for (const Item& m : m_manual)
                listed.insert(m.path);
            for (std::size_t k = 0; k < result.failed.size(); ++k) {
                const std::string& p = result.failed[k];
                if (!listed.insert(p).second)
                    continue;
                Item entry;
                const auto found = chosen.find(p);
                if (found != chosen.end())
                    entry = found->second;
                entry.path = p;
                entry.selected = false;
                // The manual page shows why, as an interface text.
                entry.detail = k < result.failed_reasons.size() ? result.failed_reasons[k] : "";
                m_manual.push_back(std::move(entry));
            }
            m_failed_dialog_pending = true;
        }
    }
    m_dirty = true;
}

std::string App::freed_status(const disk_space::Result& r) const {
    const I18n& i18n = I18n::instance();
    if (!r.known)
        return i18n.trf("%s freed", ltr(fmt::bytes(r.expected)).c_str());
    // Another program writing meanwhile can eat all of the gain and more;
    // nothing is shown as freed below zero.
    const int64_t gained = std::max<int64_t>(r.gained, 0);
    if (!r.differ)
        return i18n.trf("%s freed", ltr(fmt::bytes(gained)).c_str());
    return i18n.trf("%s freed, not %s: another app may have written",
                    ltr(fmt::bytes(gained)).c_str(), ltr(fmt::bytes(r.expected)).c_str());
}

std::string App::status_text() const {
    if (m_status_failed)
        return I18n::instance().tr(m_status_message.c_str());
    if (m_freed_outcome)
        return freed_status(*m_freed_outcome);
    return m_status_message;
}

void App::apply_deletion(const shell_ops::DeleteResult& result) {
    const std::unordered_set<std::string> gone(result.deleted.begin(), result.deleted.end());
    if (gone.empty())
        return;
    // The links the deleted entries held are gone: files they shared with
    // the remaining entries now have fewer links left.
    std::vector<sharing::SharedFile> unlinked;
    for (CatState& c : m_cats) {
        std::vector<Item> kept;
        kept.reserve(c.items.size());
        for (Item& it : c.items) {
            if (!gone.count(it.path))
                kept.push_back(std::move(it));
            else
                unlinked.insert(unlinked.end(), it.shared.begin(), it.shared.end());
        }
        c.items = std::move(kept);
    }
    if (unlinked.empty())
        return;
    ++m_shared_generation;
    sharing::fold(unlinked);
    for (CatState& c : m_cats)
        for (Item& it : c.items) {
            if (it.shared.empty())
                continue;
            sharing::forget_links(it.shared, unlinked);
            it.frees = sharing::frees_alone({it.size, it.shared_bytes, &it.shared});
        }
    recount_shared();
}
