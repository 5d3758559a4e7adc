// Every page and every overlay drawn offscreen in each of the 22 languages at
// the window's smallest size, with a FitLog installed, and checked: a text
// drawn whole is no wider than the room its caller gave it, buttons, pills and
// texts stay inside their region (the toolbar, sidebar, content area, footer
// or an overlay's card, less its margin), nothing sized to its text runs into
// a neighbour, and overlay cards stay inside the window. Texts that the pages
// shorten with an ellipsis are allowed to be cut; they are printed, so that a
// translation that is always cut shows up in the test's output.

#include "app.h"
#include "catalog.h"
#include "fixture_states.h"
#include "i18n.h"
#include "render_test_util.h"
#include "test_env.h"
#include "window_manager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using render_test::Canvas;
using Kind = FitNote::Kind;

namespace {

constexpr int W = WINDOW_MIN_WIDTH;
constexpr int H = WINDOW_MIN_HEIGHT;

// Measured widths are whole pixels and rooms are floats; half a pixel is
// rounding, not overflow.
constexpr double SLACK = 0.5;
// Neighbours that touch or share a pixel row of anti-aliasing do not collide.
constexpr double OVERLAP = 1.0;

const char* tr(const char* text) {
    return I18n::instance().tr(text);
}

std::string describe(const FitNote& n) {
    const char* kinds[] = {"text", "button", "pill", "card", "cut"};
    std::ostringstream s;
    s << kinds[static_cast<int>(n.kind)] << " \"" << n.text << "\"";
    return s.str();
}

bool inside(const RectF& a, const RectF& b) {
    return a.x >= b.x - SLACK && a.x + a.w <= b.x + b.w + SLACK && a.y >= b.y - SLACK &&
           a.y + a.h <= b.y + b.h + SLACK;
}

// What a note takes up on the page: a box's face, or a text's drawn width
// over the height of the line its caller gave it.
RectF footprint(const FitNote& n) {
    if (n.kind == Kind::Label)
        return {n.drawn.x, n.room.y, n.drawn.w, n.room.h};
    return n.drawn;
}

bool same(const RectF& a, const RectF& b) {
    return a.x == b.x && a.y == b.y && a.w == b.w && a.h == b.h;
}

bool collide(const RectF& a, const RectF& b) {
    const double w = std::min(a.x + a.w, b.x + b.w) - std::max(a.x, b.x);
    const double h = std::min(a.y + a.h, b.y + b.h) - std::max(a.y, b.y);
    return w > OVERLAP && h > OVERLAP;
}

// Everything wrong with one frame's notes, one line each.
std::vector<std::string> fit_problems(const FitLog& log, double canvas_w, double canvas_h) {
    std::vector<std::string> out;
    std::vector<const FitNote*> placed;
    for (const FitNote& n : log.notes) {
        std::ostringstream s;
        switch (n.kind) {
        case Kind::Cut:
            continue;
        case Kind::Card:
            if (!inside(n.drawn,
                        {0, 0, static_cast<float>(canvas_w), static_cast<float>(canvas_h)}))
                out.push_back(describe(n) + ": card " + std::to_string(n.drawn.w) + "x" +
                              std::to_string(n.drawn.h) + " at y " + std::to_string(n.drawn.y) +
                              " leaves the window");
            continue;
        case Kind::Label:
            if (n.width > n.room.w + SLACK) {
                s << describe(n) << ": " << n.width << " px wide in a room of " << n.room.w
                  << " px";
                out.push_back(s.str());
                continue; // one complaint per text is enough
            }
            break;
        case Kind::Button:
        case Kind::Pill:
            break;
        }
        const RectF& r = n.region;
        if (n.drawn.x < r.x - SLACK || n.drawn.x + n.drawn.w > r.x + r.w + SLACK) {
            s << describe(n) << ": spans x " << n.drawn.x << " to " << n.drawn.x + n.drawn.w
              << ", outside its area " << r.x << " to " << r.x + r.w;
            out.push_back(s.str());
        }
        placed.push_back(&n);
    }
    for (size_t i = 0; i < placed.size(); ++i)
        for (size_t j = i + 1; j < placed.size(); ++j) {
            const FitNote& a = *placed[i];
            const FitNote& b = *placed[j];
            // The backdrop lies between the window and an overlay, and each
            // region of the window is clipped to itself.
            if (a.overlay != b.overlay || !same(a.region, b.region))
                continue;
            const bool a_box = a.kind != Kind::Label, b_box = b.kind != Kind::Label;
            // A box's own label sits inside it.
            if (a_box && !b_box && inside(b.drawn, a.drawn))
                continue;
            if (b_box && !a_box && inside(a.drawn, b.drawn))
                continue;
            if (collide(footprint(a), footprint(b)))
                out.push_back(describe(a) + " runs into " + describe(b));
        }
    return out;
}

// The texts of the notes of one kind.
std::multiset<std::string> texts_of(const FitLog& log, Kind kind) {
    std::multiset<std::string> out;
    for (const FitNote& n : log.notes)
        if (n.kind == kind)
            out.insert(n.text);
    return out;
}

// The age control: its label (whole, or cut when the line is short) and
// its four buttons.
void expect_age_control(const FitLog& log, const std::string& page) {
    const std::string label = tr("Safe ones older than");
    bool label_seen = false;
    for (const FitNote& n : log.notes)
        if (n.text == label && (n.kind == Kind::Label || n.kind == Kind::Cut))
            label_seen = true;
    EXPECT_TRUE(label_seen) << "age control's label not seen on " << page;
    const auto buttons = texts_of(log, Kind::Button);
    for (int months : {1, 3, 6, 12})
        EXPECT_TRUE(buttons.count(App::age_button_label(months)))
            << "age button " << months << " not seen on " << page;
}

// The program's states at the end of a scan: every fixture category, some
// entries ticked, one category that found nothing, and five entries the
// deletion had to leave to the file manager.
void fill(App& app) {
    const time_t now = time(nullptr);
    app.m_cats = fixture::states("/home/dev", now);
    for (CatState& c : app.m_cats) {
        if (c.def.id == "nodeModules")
            for (size_t i = 0; i < c.items.size(); i += 3)
                c.items[i].selected = true;
        if (c.def.id == "goBuildCache")
            c.items.clear();
        // A toolchain the user's settings name, with its pill and reason line.
        if (c.def.id == "rustupToolchains" && !c.items.empty()) {
            c.items.front().in_use = true;
            c.items.front().safety = SafetyLevel::Risky;
            c.items.front().reasons = {{"Set as default in %s", "rustup", -1, SafetyLevel::Risky}};
        }
    }
    const char* reasons[] = {"Read-only location", "Holds files tracked by git",
                             "Protected system location", "In use by a running program", ""};
    for (int i = 0; i < 5; ++i) {
        Item it;
        it.name = i == 0 ? "node_modules" : "caches";
        it.path = "/home/dev/projects/shared-readonly/frontend/node_modules";
        it.detail = reasons[i];
        app.m_manual.push_back(it);
    }
}

// One page drawn and checked; counts what was checked.
struct Page {
    std::string name;
    FitLog log;
    std::vector<std::string> problems;
};

class Fit : public ::testing::TestWithParam<const char*> {
protected:
    void SetUp() override { I18n::instance().set_language(GetParam()); }
    void TearDown() override { I18n::instance().set_language("en"); }

    // Draws the app's current state twice (hover settles against the first
    // frame) and keeps the second frame's notes.
    Page draw(App& app, const std::string& name) {
        Canvas canvas(W, H);
        app.render_offscreen(canvas.cr(), W, H);
        Page page;
        page.name = name;
        app.m_fit_log = &page.log;
        app.render_offscreen(canvas.cr(), W, H);
        app.m_fit_log = nullptr;
        page.problems = fit_problems(page.log, W, H);
        // FIT_PNG="<page name>" keeps that page's picture, to look at a
        // reported problem.
        if (getenv("FIT_PNG") && name == getenv("FIT_PNG"))
            canvas.write_png("/tmp/fit.png");
        return page;
    }

    void report(const std::vector<Page>& pages) {
        size_t checked = 0;
        std::set<std::string> cuts;
        for (const Page& p : pages) {
            for (const FitNote& n : p.log.notes)
                if (n.kind == Kind::Cut)
                    cuts.insert(p.name + ": \"" + n.text + "\"");
                else
                    ++checked;
            for (const std::string& problem : p.problems)
                ADD_FAILURE() << GetParam() << ", " << p.name << ": " << problem;
        }
        std::printf("[%s] %zu texts and boxes checked on %zu pages\n", GetParam(), checked,
                    pages.size());
        for (const std::string& c : cuts)
            std::printf("[%s] cut to fit: %s\n", GetParam(), c.c_str());
    }
};

TEST_P(Fit, EveryPageFitsAtTheSmallestWindow) {
    test_env::TempHome home;
    App app;
    fill(app);
    std::vector<Page> pages;

    app.m_selection.clear();
    pages.push_back(draw(app, "overview"));
    {
        const Page& p = pages.back();
        const auto labels = texts_of(p.log, Kind::Label);
        EXPECT_TRUE(labels.count(tr("Usage by area"))) << "overview legend heading not seen";
        EXPECT_TRUE(labels.count(tr("TO BE FREED"))) << "footer caption not seen";
        const auto buttons = texts_of(p.log, Kind::Button);
        EXPECT_TRUE(buttons.count(tr("Rescan")) && buttons.count(tr("Settings")) &&
                    buttons.count(tr("About")) && buttons.count(tr("Delete permanently")))
            << "toolbar or footer buttons not seen";
        EXPECT_GE(p.log.notes.size(), 60u);
        expect_age_control(p.log, "overview");
    }

    for (const char* id : {"nodeModules", "androidSystemImages", "rustupToolchains"}) {
        app.m_selection = id;
        pages.push_back(draw(app, std::string("category ") + id));
        const Page& p = pages.back();
        const auto buttons = texts_of(p.log, Kind::Button);
        EXPECT_TRUE(buttons.count(tr("Open folder")) && buttons.count(tr("Safe ones")) &&
                    buttons.count(tr("None")))
            << "header buttons not seen on " << id;
        expect_age_control(p.log, id);
        const auto pills = texts_of(p.log, Kind::Pill);
        EXPECT_GE(pills.size(), 3u) << "safety pills not seen on " << id;
        if (std::string(id) != "nodeModules") {
            EXPECT_TRUE(pills.count(tr("newest — keep"))) << "keep mark not seen on " << id;
        }
        if (std::string(id) == "rustupToolchains") {
            EXPECT_TRUE(pills.count(tr("in use — keep"))) << "in-use mark not seen on " << id;
        }
    }
    // The reason line of every project row fits whole: the page is drawn
    // scrolled step by step until each of its rows has been on screen.
    {
        app.m_selection = "nodeModules";
        std::set<std::string> lines;
        for (const CatState& c : app.m_cats)
            if (c.def.id == "nodeModules")
                for (const Item& it : c.items)
                    lines.insert(app.reasons_line(it.reasons));
        ASSERT_GE(lines.size(), 9u);
        std::set<std::string> seen;
        // Each row's "project active …" too, which may be cut but never
        // dropped.
        std::set<std::string> ages, ages_seen;
        for (const CatState& c : app.m_cats)
            if (c.def.id == "nodeModules")
                for (const Item& it : c.items)
                    ages.insert(App::age_line(it));
        for (double scroll = 0; scroll <= 20 * 120; scroll += 400) {
            app.m_scroll = scroll;
            Page p = draw(app, "project rows scrolled to " + std::to_string(int(scroll)));
            for (const FitNote& n : p.log.notes) {
                if (ages.count(n.text))
                    ages_seen.insert(n.text);
                if (!lines.count(n.text))
                    continue;
                seen.insert(n.text);
                EXPECT_NE(n.kind, Kind::Cut) << GetParam() << ": reason line cut: " << n.text;
            }
            pages.push_back(std::move(p));
        }
        app.m_scroll = 0;
        EXPECT_EQ(seen, lines) << "not every reason line was drawn";
        EXPECT_EQ(ages_seen, ages) << "not every project's activity was drawn";
    }

    app.m_selection = "goBuildCache";
    pages.push_back(draw(app, "empty category"));
    EXPECT_TRUE(texts_of(pages.back().log, Kind::Label)
                    .count(tr("This folder is empty or does not exist.")));

    app.m_selection = "__manual__";
    pages.push_back(draw(app, "remove manually"));
    EXPECT_EQ(texts_of(pages.back().log, Kind::Button).count(tr("Show in file manager")), 5u);
    EXPECT_GE(texts_of(pages.back().log, Kind::Pill).size(), 5u) << "reason pills not drawn";

    app.m_selection.clear();
    pages.push_back(draw(app, "overview behind the overlays"));

    app.confirm_clean();
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    pages.push_back(draw(app, "confirmation dialog"));
    {
        const auto buttons = texts_of(pages.back().log, Kind::Button);
        EXPECT_TRUE(buttons.count(tr("Delete permanently")) && buttons.count(tr("Cancel")))
            << "dialog buttons not seen";
        EXPECT_EQ(texts_of(pages.back().log, Kind::Card).size(), 1u);
    }

    // A finished deletion that left entries behind opens its dialog from the
    // poll, as in the running program.
    app.m_overlay = App::Overlay::None;
    app.m_worker = std::thread([] {});
    app.m_worker_running = false;
    {
        std::lock_guard<std::mutex> lock(app.m_mutex);
        app.m_failed_paths = {"/home/dev/a", "/home/dev/b", "/home/dev/c"};
        app.m_failed_dialog_pending = true;
    }
    app.on_poll();
    ASSERT_EQ(app.m_overlay, App::Overlay::Dialog);
    pages.push_back(draw(app, "failure dialog"));
    {
        const auto buttons = texts_of(pages.back().log, Kind::Button);
        EXPECT_TRUE(buttons.count(tr("Show the list")) && buttons.count(tr("Close")))
            << "failure dialog buttons not seen";
    }

    app.explain_no_file_manager("/home/dev/projects/shared-readonly/frontend/node_modules");
    pages.push_back(draw(app, "no file manager dialog"));
    app.explain_file_manager_test_failed();
    pages.push_back(draw(app, "file manager test dialog"));

    app.m_overlay = App::Overlay::About;
    pages.push_back(draw(app, "about"));
    EXPECT_TRUE(texts_of(pages.back().log, Kind::Button).count(tr("Close")));

    app.open_settings();
    pages.push_back(draw(app, "settings"));
    {
        const Page& p = pages.back();
        const auto labels = texts_of(p.log, Kind::Label);
        for (const char* heading : {"Appearance", "Language", "Projects folder", "File manager"})
            EXPECT_TRUE(labels.count(tr(heading))) << "settings heading not seen: " << heading;
        const auto buttons = texts_of(p.log, Kind::Button);
        EXPECT_TRUE(buttons.count(tr("Choose …")) && buttons.count(tr("Test")) &&
                    buttons.count(tr("Close")))
            << "settings buttons not seen";
    }

    // While a scan runs and when it found nothing.
    app.m_overlay = App::Overlay::None;
    for (CatState& c : app.m_cats) {
        c.items.clear();
        c.did_scan = false;
    }
    app.m_cats[1].scanning = true;
    app.m_scanning = true;
    pages.push_back(draw(app, "scanning"));
    EXPECT_TRUE(texts_of(pages.back().log, Kind::Button).count(tr("Cancel")));
    app.m_scanning = false;
    for (CatState& c : app.m_cats) {
        c.scanning = false;
        c.did_scan = true;
    }
    pages.push_back(draw(app, "nothing found"));

    report(pages);
}

// Every row of the catalog, drawn on its own page and in the sidebar
// scrolled through, with an entry kept as the newest and one in use: the
// titles and subtitles of rows added later are held to the same room.
TEST_P(Fit, EveryCatalogRowFitsOnItsPageAndInTheSidebar) {
    test_env::TempHome home;
    test_env::ScopedEnv sdk("ANDROID_HOME", home.root().c_str());
    App app;
    const time_t now = time(nullptr);
    for (const CategoryDef& d : catalog_testing::every_row()) {
        CatState c;
        c.def = d;
        c.did_scan = true;
        for (int i = 0; i < 3; ++i) {
            Item it;
            it.name = i == 0 ? "21.0.2-tem" : i == 1 ? "nightly-2024-05-01-x86_64-unknown-linux-gnu"
                                                     : "models--meta-llama--Llama-3.1-8B-Instruct";
            // Where a developer's home would hold it (the test's own home
            // has a longer name than any real one).
            it.path = "/home/dev/" + d.id + "/" + it.name;
            it.detail = it.path;
            // Sizes that grow along the catalog, so that the chart's slices
            // differ as they do on a real disk.
            it.size = (3 - i) * 90000000LL * static_cast<int64_t>(app.m_cats.size() + 1);
            it.size_known = true;
            it.modified = now - 86400 * (i + 2);
            it.safety = i == 0 ? SafetyLevel::Risky : d.safety;
            it.keep_hint = i == 0;
            // The second frees less than its size (files linked from
            // elsewhere): "frees …" must fit beside the size as well.
            if (i == 1) {
                it.shared = {sharing::record(1, 1, 8, 2, 1)};
                it.shared_bytes = 4096;
                it.frees = it.size / 3;
            }
            c.items.push_back(std::move(it));
        }
        app.m_cats.push_back(std::move(c));
    }
    ASSERT_GE(app.m_cats.size(), 57u);
    std::vector<Page> pages;
    for (const CatState& c : app.m_cats) {
        app.m_selection = c.def.id;
        app.m_scroll = 0;
        app.m_sidebar_scroll = 0;
        pages.push_back(draw(app, "row " + c.def.id));
        bool titled = false;
        for (const FitNote& n : pages.back().log.notes)
            titled = titled || n.text == tr(c.def.title.c_str());
        EXPECT_TRUE(titled) << GetParam() << ": the title of " << c.def.id << " was not drawn";
    }
    app.m_selection.clear();
    for (double scroll = 0; scroll <= 40.0 * app.m_cats.size(); scroll += 300) {
        app.m_sidebar_scroll = scroll;
        pages.push_back(draw(app, "sidebar scrolled to " + std::to_string(int(scroll))));
    }
    report(pages);
}

// Inside a Snap package the about card has one line more and the settings a
// notice more; both must still fit.
TEST_P(Fit, OverlaysFitInsideTheSnap) {
    test_env::ScopedEnv snap("SNAP", "/snap/quillet/12");
    test_env::ScopedEnv snap_name("SNAP_NAME", "quillet");
    test_env::ScopedEnv version("SNAP_VERSION", "1.0.2");
    test_env::ScopedEnv revision("SNAP_REVISION", "12");
    test_env::TempHome home;
    App app;
    fill(app);
    std::vector<Page> pages;
    app.m_overlay = App::Overlay::About;
    pages.push_back(draw(app, "about in the Snap"));
    EXPECT_TRUE(texts_of(pages.back().log, Kind::Label)
                    .count(I18n::instance().trf("Snap %s (Revision %s)", "1.0.2", "12")));
    app.open_settings();
    pages.push_back(draw(app, "settings in the Snap"));
    EXPECT_TRUE(texts_of(pages.back().log, Kind::Label).size() > 20u);
    report(pages);
}

std::vector<const char*> language_codes() {
    std::vector<const char*> codes;
    static std::vector<LanguageInfo> langs = I18n::available();
    for (const LanguageInfo& l : langs)
        codes.push_back(l.code.c_str());
    return codes;
}

INSTANTIATE_TEST_SUITE_P(RenderLanguages, Fit, ::testing::ValuesIn(language_codes()),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                             return std::string(info.param);
                         });

// ---------------------------------------------------------------------------
// The check itself catches what it is for
// ---------------------------------------------------------------------------

TEST(RenderFitCheck, ATextWiderThanItsRoomIsReported) {
    test_env::TempHome home;
    App app;
    Canvas canvas(400, 200);
    render_test::begin_frame(app, canvas);
    FitLog log;
    app.m_fit_log = &log;
    app.m_fit_region = {0, 0, 400, 200};
    app.draw_label("Short", App::Font::Body, {10, 10, 200, 20}, "#000000");
    EXPECT_TRUE(fit_problems(log, 400, 200).empty());
    app.draw_label("A label far too long for the little room it was given", App::Font::Body,
                   {10, 40, 60, 20}, "#000000");
    const std::vector<std::string> problems = fit_problems(log, 400, 200);
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_NE(problems[0].find("far too long"), std::string::npos) << problems[0];
    // Centred and right-aligned labels are held to their caller's room too.
    log.notes.clear();
    app.draw_label_center("Another label far too long", App::Font::Body, {10, 70, 50, 20},
                          "#000000");
    app.draw_label_right("And one more that is too long", App::Font::Body, {10, 100, 50, 20},
                         "#000000");
    EXPECT_EQ(fit_problems(log, 400, 200).size(), 2u);
}

TEST(RenderFitCheck, TruncatedTextsAreExemptButNoted) {
    test_env::TempHome home;
    App app;
    Canvas canvas(400, 200);
    render_test::begin_frame(app, canvas);
    FitLog log;
    app.m_fit_log = &log;
    app.m_fit_region = {0, 0, 400, 200};
    const std::string long_text = "A label far too long for the little room it was given";
    app.draw_label(app.truncate_to_width(long_text, App::Font::Body, 80), App::Font::Body,
                   {10, 10, 80, 20}, "#000000");
    EXPECT_TRUE(fit_problems(log, 400, 200).empty());
    EXPECT_EQ(texts_of(log, Kind::Cut).count(long_text), 1u);
}

TEST(RenderFitCheck, ButtonsThatRunIntoEachOtherOrOutOfTheirAreaAreReported) {
    test_env::TempHome home;
    App app;
    Canvas canvas(400, 200);
    render_test::begin_frame(app, canvas);
    FitLog log;
    app.m_fit_log = &log;
    app.m_fit_region = {0, 0, 300, 200};
    app.draw_button(10, 10, "First", false, true);
    app.draw_button(100, 10, "Second", false, true);
    EXPECT_TRUE(fit_problems(log, 400, 200).empty());
    app.draw_button(40, 10, "Overlapping", false, true); // runs into both
    app.draw_button(250, 60, "Too far right", false, true);
    const std::vector<std::string> problems = fit_problems(log, 400, 200);
    size_t collisions = 0, outside = 0;
    for (const std::string& p : problems) {
        collisions += p.find("runs into") != std::string::npos;
        outside += p.find("outside its area") != std::string::npos;
    }
    EXPECT_GE(collisions, 2u);
    EXPECT_GE(outside, 1u);
}

// A whole page with one translation made absurdly long: the dialog's button
// no longer fits its card, and the page check says so.
TEST(RenderFitCheck, ADialogWhoseButtonsDoNotFitIsReported) {
    test_env::TempHome home;
    App app;
    app.show_dialog(
        "Title", "Message",
        {{1, "A button label that no translator should ever write, so long", true, false},
         {0, "And a second one that is just as long as the first", false, true}});
    Canvas canvas(W, H);
    FitLog log;
    app.m_fit_log = &log;
    app.render_offscreen(canvas.cr(), W, H);
    const std::vector<std::string> problems = fit_problems(log, W, H);
    bool button_out = false;
    for (const std::string& p : problems)
        button_out |= p.find("button \"A button label") != std::string::npos ||
                      p.find("button \"And a second") != std::string::npos;
    EXPECT_TRUE(button_out) << "no complaint about the dialog's buttons";

    // A message so long that the card outgrows the window.
    log.notes.clear();
    app.show_dialog("Title", std::string(4000, 'x'), {{0, "Close", false, true}});
    app.render_offscreen(canvas.cr(), W, H);
    bool card_out = false;
    for (const std::string& p : fit_problems(log, W, H))
        card_out |= p.find("leaves the window") != std::string::npos;
    EXPECT_TRUE(card_out);
}

} // namespace
