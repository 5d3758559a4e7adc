// Files hard-linked from several places: the records the measurement keeps,
// the sums worked out from them, and what the App shows with them (the
// selection's total, the overview's totals, the rows). Every tree is built in
// the test's own temporary home; nothing is deleted.

#include "app.h"
#include "format.h"
#include "fs_fixture.h"
#include "i18n.h"
#include "render_test_util.h"
#include "scan_test_util.h"
#include "scanner.h"
#include "sharing.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <random>
#include <set>
#include <sys/stat.h>
#include <thread>

using scan_test::wait_for_scan;

using fs_fixture::make_dirs;
using fs_fixture::reference_measure;
using fs_fixture::write_file;
using sharing::SharedFile;

namespace {

// A second link to a file, making the folders it goes in.
void make_hard_link(const std::string& existing, const std::string& link) {
    fs_fixture::make_dirs(link.substr(0, link.rfind('/')));
    fs_fixture::make_hard_link(existing, link);
}

int64_t blocks_of(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(lstat(path.c_str(), &st), 0) << path;
    return static_cast<int64_t>(st.st_blocks) * 512;
}

// `du -s -B512` of one path in bytes; -1 when du cannot be run.
int64_t du_bytes(const std::string& path) {
    const std::string cmd = "du -s -B512 '" + path + "' 2>/dev/null";
    FILE* p = popen(cmd.c_str(), "r");
    if (!p)
        return -1;
    long long blocks = -1;
    if (std::fscanf(p, "%lld", &blocks) != 1)
        blocks = -1;
    pclose(p);
    return blocks < 0 ? -1 : blocks * 512;
}

sharing::Entry entry_of(const scanner::Measure& m) {
    return {m.bytes, m.shared_bytes, &m.shared};
}

// The same sums written plainly over a map, to check the merge against.
struct Plain {
    int64_t own = 0;
    std::map<std::pair<uint64_t, uint64_t>, std::pair<uint64_t, const SharedFile*>> files;
    void add(const sharing::Entry& e) {
        if (e.bytes <= 0)
            return;
        own += e.bytes - e.shared_bytes;
        for (const SharedFile& f : *e.files) {
            auto& slot = files[{f.dev, f.ino}];
            slot.first += f.seen;
            if (!slot.second || !sharing::exact(f))
                slot.second = &f;
        }
    }
    int64_t freed() const {
        int64_t sum = own;
        for (const auto& [key, v] : files)
            if (sharing::exact(*v.second) && v.first >= v.second->nlink)
                sum += int64_t{v.second->blocks} * 512;
        return sum;
    }
    int64_t taken() const {
        int64_t sum = own;
        for (const auto& [key, v] : files)
            sum += int64_t{v.second->blocks} * 512;
        return sum;
    }
};

// Random entries over a pool of shared files: each file has a link count and
// its links are dealt out among the entries (some stay outside them all).
std::vector<std::vector<SharedFile>> random_records(std::mt19937& rng, int entries, int files) {
    std::vector<std::vector<SharedFile>> out(entries);
    for (int f = 0; f < files; ++f) {
        const int nlink = 2 + static_cast<int>(rng() % 5);
        const int blocks = 1 + static_cast<int>(rng() % 64);
        std::map<int, int> seen;
        for (int l = 0; l < nlink; ++l) {
            const int where = static_cast<int>(rng() % (entries + 1)); // == entries: outside
            if (where < entries)
                ++seen[where];
        }
        for (const auto& [e, n] : seen)
            out[e].push_back(sharing::record(f % 3, 1000 + f, blocks, nlink, n));
    }
    for (auto& list : out)
        sharing::fold(list);
    return out;
}

int64_t shared_bytes_of(const std::vector<SharedFile>& files) {
    int64_t sum = 0;
    for (const SharedFile& f : files)
        sum += int64_t{f.blocks} * 512;
    return sum;
}

} // namespace

// ---------------------------------------------------------------------------
// Records and sums
// ---------------------------------------------------------------------------

TEST(SharingRecords, CountsTooBigForTheirFieldsAreHeldAndNeverFreed) {
    const SharedFile many_links = sharing::record(1, 2, 8, 70000, 70000);
    EXPECT_EQ(many_links.nlink, sharing::MAX_LINKS);
    EXPECT_EQ(many_links.seen, sharing::MAX_LINKS);
    EXPECT_FALSE(sharing::exact(many_links));
    const SharedFile huge = sharing::record(1, 3, int64_t{1} << 40, 2, 2);
    EXPECT_EQ(huge.blocks, sharing::MAX_BLOCKS);
    EXPECT_FALSE(sharing::exact(huge));
    const SharedFile plain = sharing::record(1, 4, 8, 2, 2);
    EXPECT_TRUE(sharing::exact(plain));

    // Each held entirely inside the entry, yet only the exact one is freed.
    std::vector<SharedFile> files = {many_links, huge, plain};
    sharing::fold(files);
    const int64_t shared = 8 * 512 + 8 * 512 + (int64_t{1} << 40) * 512;
    const sharing::Entry e{shared + 1000, shared, &files};
    EXPECT_EQ(sharing::frees_alone(e), 1000 + 8 * 512);
    EXPECT_EQ(sharing::frees_together({e}), 1000 + 8 * 512);
}

TEST(SharingRecords, FoldJoinsTheSightingsOfOneFile) {
    std::vector<SharedFile> files = {sharing::record(2, 9, 8, 3, 1), sharing::record(1, 9, 8, 2, 1),
                                     sharing::record(2, 9, 8, 3, 1), sharing::record(1, 5, 8, 2, 1),
                                     sharing::record(2, 9, 8, 3, 1)};
    sharing::fold(files);
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(files[0].dev, 1u);
    EXPECT_EQ(files[0].ino, 5u);
    EXPECT_EQ(files[1].ino, 9u);
    EXPECT_EQ(files[1].seen, 1);
    EXPECT_EQ(files[2].dev, 2u);
    EXPECT_EQ(files[2].seen, 3);
}

TEST(SharingRecords, MergedSumsAgreeWithAPlainCountOnRandomEntries) {
    std::mt19937 rng(1234);
    for (int round = 0; round < 30; ++round) {
        const int n = 1 + static_cast<int>(rng() % 8);
        const auto records = random_records(rng, n, 200);
        std::vector<sharing::Entry> entries;
        Plain all;
        for (const auto& list : records) {
            const int64_t shared = shared_bytes_of(list);
            entries.push_back({shared + static_cast<int64_t>(rng() % 5000), shared, &list});
            all.add(entries.back());
        }
        EXPECT_EQ(sharing::frees_together(entries), all.freed()) << round;
        EXPECT_EQ(sharing::counted_once(entries), all.taken()) << round;
        int64_t alone = 0;
        for (const sharing::Entry& e : entries) {
            Plain one;
            one.add(e);
            EXPECT_EQ(sharing::frees_alone(e), one.freed());
            alone += sharing::frees_alone(e);
        }
        // Together never frees less than each alone.
        EXPECT_GE(sharing::frees_together(entries), alone);
    }
}

TEST(SharingRecords, ForgettingDeletedLinksLeavesTheFilesToTheRest) {
    std::vector<SharedFile> store = {sharing::record(1, 1, 8, 2, 1),
                                     sharing::record(1, 2, 8, 3, 1)};
    std::vector<SharedFile> gone = {sharing::record(1, 1, 8, 2, 1), sharing::record(1, 2, 8, 3, 1)};
    const int64_t shared = 16 * 512;
    EXPECT_EQ(sharing::frees_alone({shared, shared, &store}), 0);
    sharing::forget_links(store, gone);
    EXPECT_EQ(store[0].nlink, 1);
    EXPECT_EQ(store[1].nlink, 2);
    // The first file is now the store's alone; the second still has a link elsewhere.
    EXPECT_EQ(sharing::frees_alone({shared, shared, &store}), 8 * 512);
}

// ---------------------------------------------------------------------------
// The measurement's records
// ---------------------------------------------------------------------------

TEST(SharingMeasure, RecordsEachLinkedFileOnceWithTheLinksInside) {
    test_env::TempHome home;
    const std::string d = home.path("d");
    write_file(d + "/both/a", 20000);
    make_hard_link(d + "/both/a", d + "/other/a2"); // both links inside
    write_file(d + "/b", 9000);
    make_hard_link(d + "/b", home.path("outside-b")); // one link outside
    write_file(d + "/c", 5000);                       // one link only
    const scanner::Measure m = scanner::measure(d, nullptr);
    ASSERT_EQ(m.shared.size(), 2u);
    EXPECT_TRUE(std::is_sorted(m.shared.begin(), m.shared.end(), sharing::key_less));
    struct stat a {
    }, b{};
    ASSERT_EQ(lstat((d + "/both/a").c_str(), &a), 0);
    ASSERT_EQ(lstat((d + "/b").c_str(), &b), 0);
    for (const SharedFile& f : m.shared) {
        if (f.ino == a.st_ino) {
            EXPECT_EQ(f.nlink, 2);
            EXPECT_EQ(f.seen, 2);
            EXPECT_EQ(f.blocks, static_cast<uint32_t>(a.st_blocks));
        } else {
            EXPECT_EQ(f.ino, b.st_ino);
            EXPECT_EQ(f.nlink, 2);
            EXPECT_EQ(f.seen, 1);
        }
    }
    EXPECT_EQ(m.shared_bytes, blocks_of(d + "/both/a") + blocks_of(d + "/b"));
    EXPECT_EQ(m.bytes, reference_measure(d).bytes);
    const int64_t du = du_bytes(d);
    if (du >= 0) {
        EXPECT_EQ(m.bytes, du);
    }
    // Deleting it frees all but the file linked from outside.
    EXPECT_EQ(sharing::frees_alone(entry_of(m)), m.bytes - blocks_of(d + "/b"));
}

TEST(SharingMeasure, ASingleLinkedFileIsItsOwnRecord) {
    test_env::TempHome home;
    write_file(home.path("f"), 7000);
    make_hard_link(home.path("f"), home.path("g"));
    const scanner::Measure m = scanner::measure(home.path("f"), nullptr);
    ASSERT_EQ(m.shared.size(), 1u);
    EXPECT_EQ(m.shared[0].seen, 1);
    EXPECT_EQ(m.shared[0].nlink, 2);
    EXPECT_EQ(m.shared_bytes, m.bytes);
    EXPECT_EQ(sharing::frees_alone(entry_of(m)), 0);
}

TEST(SharingMeasure, TheSharedWalkKeepsTheSameRecordsAsOneThread) {
    // Wide enough for helper threads to join: their sightings must be merged.
    test_env::TempHome home;
    const std::string d = home.path("wide");
    for (int i = 0; i < 240; ++i) {
        const std::string dir = d + "/p" + std::to_string(i);
        write_file(dir + "/own", 100);
        write_file(dir + "/x/y/shared", 4096);
        if (i > 0)
            make_hard_link(d + "/p" + std::to_string(i - 1) + "/x/y/shared", dir + "/x/y/prev");
        if (i % 7 == 0)
            make_hard_link(dir + "/x/y/shared", home.path("out" + std::to_string(i)));
    }
    const scanner::Measure serial = scanner::measure_serial(d, nullptr);
    for (int run = 0; run < 5; ++run) {
        const scanner::Measure par = scanner::measure(d, nullptr);
        EXPECT_EQ(par.bytes, serial.bytes);
        EXPECT_EQ(par.shared_bytes, serial.shared_bytes);
        ASSERT_EQ(par.shared.size(), serial.shared.size());
        for (std::size_t i = 0; i < par.shared.size(); ++i) {
            EXPECT_EQ(par.shared[i].ino, serial.shared[i].ino);
            EXPECT_EQ(par.shared[i].seen, serial.shared[i].seen);
            EXPECT_EQ(par.shared[i].nlink, serial.shared[i].nlink);
        }
    }
    EXPECT_EQ(serial.shared.size(), 239u); // the last one has no second link
    EXPECT_EQ(serial.bytes, reference_measure(d).bytes);
    const int64_t du = du_bytes(d);
    if (du >= 0) {
        EXPECT_EQ(serial.bytes, du);
    }
}

// ---------------------------------------------------------------------------
// The App on a home where a package store is linked into two projects
// ---------------------------------------------------------------------------

namespace {

Item* find_item(App& app, const std::string& cat, const std::string& name) {
    for (CatState& c : app.m_cats)
        if (c.def.id == cat)
            for (Item& it : c.items)
                if (it.name == name)
                    return &it;
    return nullptr;
}

// A pnpm-style home: the store holds a (linked into shop), b (linked into
// blog), c (only in the store) and s (linked into both projects); each
// project has a file of its own, and shop holds a file also linked from a
// folder Quillet does not look at.
struct StoreHome {
    test_env::TempHome home;
    std::string h = home.path("home");
    std::string store = h + "/.local/share/pnpm/store";
    std::string shop = h + "/code/shop/node_modules";
    std::string blog = h + "/code/blog/node_modules";
    int64_t a = 0, b = 0, c = 0, s = 0, shop_own = 0, blog_own = 0, kept = 0;

    StoreHome() {
        write_file(store + "/v3/a", 300000);
        write_file(store + "/v3/b", 120000);
        write_file(store + "/v3/c", 50000);
        write_file(store + "/v3/s", 70000);
        make_hard_link(store + "/v3/a", shop + "/.pnpm/a/index.js");
        make_hard_link(store + "/v3/s", shop + "/.pnpm/s/index.js");
        make_hard_link(store + "/v3/b", blog + "/.pnpm/b/index.js");
        make_hard_link(store + "/v3/s", blog + "/.pnpm/s/index.js");
        write_file(shop + "/.modules.yaml", 3000);
        write_file(blog + "/.modules.yaml", 2000);
        write_file(shop + "/kept.js", 40000);
        make_hard_link(shop + "/kept.js", h + "/Documents/kept-copy.js");
        a = blocks_of(store + "/v3/a");
        b = blocks_of(store + "/v3/b");
        c = blocks_of(store + "/v3/c");
        s = blocks_of(store + "/v3/s");
        kept = blocks_of(shop + "/kept.js");
    }
};

void scan(App& app) {
    app.load_categories();
    app.start_scan();
    ASSERT_TRUE(wait_for_scan(app));
}

// Everything found, each path once: the entries the totals are made of.
int64_t unique_bytes(const std::vector<std::string>& paths) {
    int64_t sum = 0;
    std::set<std::pair<dev_t, ino_t>> seen;
    for (const std::string& p : paths) {
        const auto m = scanner::measure(p, nullptr);
        sum += m.bytes - m.shared_bytes;
        for (const SharedFile& f : m.shared)
            if (seen.insert({f.dev, f.ino}).second)
                sum += int64_t{f.blocks} * 512;
    }
    return sum;
}

} // namespace

TEST(SharingApp, EachAloneFreesItsOwnFilesAndAllThreeFreeEverything) {
    StoreHome fx;
    App app;
    scan(app);
    Item* store = find_item(app, "pnpmStore", "store");
    Item* shop = find_item(app, "nodeModules", "shop/node_modules");
    Item* blog = find_item(app, "nodeModules", "blog/node_modules");
    ASSERT_TRUE(store && shop && blog);
    // Sizes stay what du says of each folder on its own.
    for (const Item* it : {store, shop, blog}) {
        EXPECT_EQ(it->size, reference_measure(it->path).bytes) << it->path;
        const int64_t du = du_bytes(it->path);
        if (du >= 0) {
            EXPECT_EQ(it->size, du) << it->path;
        }
    }
    // Alone: the store frees only c, each project only its folders and own files.
    EXPECT_EQ(store->frees, store->size - fx.a - fx.b - fx.s);
    EXPECT_EQ(store->frees, reference_measure(fx.store).bytes - fx.a - fx.b - fx.s);
    EXPECT_EQ(shop->frees, shop->size - fx.a - fx.s - fx.kept);
    EXPECT_EQ(blog->frees, blog->size - fx.b - fx.s);
    EXPECT_TRUE(store->frees_less());

    // Ticked one by one, the selection frees more as the links come together.
    store->selected = true;
    EXPECT_EQ(app.selected_size(), store->frees);
    shop->selected = true;
    EXPECT_EQ(app.selected_size(), store->frees + shop->frees + fx.a);
    blog->selected = true;
    // All three: everything, except the file also linked from Documents.
    EXPECT_EQ(app.selected_size(),
              store->size + shop->size + blog->size - fx.a - fx.b - 2 * fx.s - fx.kept);
    shop->selected = false;
    EXPECT_EQ(app.selected_size(), store->frees + blog->frees + fx.b);
}

TEST(SharingApp, AFileLinkedFromOutsideTheScannedPlacesIsNeverFreed) {
    StoreHome fx;
    App app;
    scan(app);
    for (CatState& c : app.m_cats)
        for (Item& it : c.items)
            it.selected = true;
    int64_t sizes = 0;
    for (const CatState& c : app.m_cats)
        for (const Item& it : c.items)
            sizes += std::max<int64_t>(it.size, 0);
    // Every entry found is ticked, and still the copy in Documents keeps
    // kept.js: the store's three files count once, kept.js never.
    EXPECT_EQ(app.selected_size(), sizes - fx.a - fx.b - 2 * fx.s - fx.kept);
    const Item* shop = find_item(app, "nodeModules", "shop/node_modules");
    ASSERT_NE(shop, nullptr);
    EXPECT_LE(shop->frees, shop->size - fx.kept);
}

TEST(SharingApp, TheOverviewCountsEachFileOnce) {
    StoreHome fx;
    App app;
    scan(app);
    std::vector<std::string> paths;
    int64_t sizes = 0;
    int64_t safe_sizes = 0;
    std::vector<std::string> safe_paths;
    for (const CatState& c : app.m_cats)
        for (const Item& it : c.items) {
            paths.push_back(it.path);
            sizes += std::max<int64_t>(it.size, 0);
            if (it.safety == SafetyLevel::Safe) {
                safe_paths.push_back(it.path);
                safe_sizes += std::max<int64_t>(it.size, 0);
            }
        }
    // The store's a, b and s (twice) are counted once each.
    EXPECT_EQ(app.total_reclaimable(), sizes - fx.a - fx.b - 2 * fx.s);
    EXPECT_EQ(app.total_reclaimable(), unique_bytes(paths));
    EXPECT_EQ(app.safe_reclaimable(), unique_bytes(safe_paths));
    EXPECT_LE(app.safe_reclaimable(), safe_sizes);
    // The groups and categories the chart and the sidebar show add up to it.
    int64_t groups = 0;
    for (const App::VisibleGroup& g : app.visible_groups())
        groups += g.total;
    EXPECT_EQ(groups, app.total_reclaimable());
    int64_t cats = 0;
    for (const CatState& c : app.m_cats)
        cats += c.total_size();
    EXPECT_EQ(cats, app.total_reclaimable());
}

TEST(SharingApp, DeletingTheProjectsLeavesTheStoreItsFiles) {
    StoreHome fx;
    App app;
    scan(app);
    Item* shop = find_item(app, "nodeModules", "shop/node_modules");
    Item* blog = find_item(app, "nodeModules", "blog/node_modules");
    ASSERT_TRUE(shop && blog);
    Item* ticked = find_item(app, "pnpmStore", "store");
    ASSERT_NE(ticked, nullptr);
    ticked->selected = true;
    EXPECT_EQ(app.selected_size(), ticked->size - fx.a - fx.b - fx.s);
    // As the deletion worker reports it; nothing is deleted on disk here.
    shell_ops::DeleteResult result;
    result.deleted = {shop->path, blog->path};
    app.apply_deletion(result);
    const Item* store = find_item(app, "pnpmStore", "store");
    ASSERT_NE(store, nullptr);
    EXPECT_EQ(store->frees, store->size);
    EXPECT_FALSE(store->frees_less());
    // The store is still ticked, and now frees all of itself.
    EXPECT_EQ(app.selected_size(), store->size);
    EXPECT_EQ(app.total_reclaimable(), unique_bytes([&] {
                  std::vector<std::string> paths;
                  for (const CatState& c : app.m_cats)
                      for (const Item& it : c.items)
                          paths.push_back(it.path);
                  return paths;
              }()));
}

// The selection's total, however it was reached, is what a fresh merge of
// the ticked entries gives.
TEST(SharingApp, TicksInAnyOrderGiveWhatAFreshCountGives) {
    test_env::TempHome home;
    std::mt19937 rng(77);
    const auto records = random_records(rng, 12, 400);
    App app;
    app.m_cats = {render_test::category("a", GroupKind::JavaScript, std::vector<int64_t>(6, 1)),
                  render_test::category("b", GroupKind::Java, std::vector<int64_t>(6, 1))};
    std::vector<Item*> items;
    for (CatState& c : app.m_cats)
        for (Item& it : c.items)
            items.push_back(&it);
    for (std::size_t i = 0; i < items.size(); ++i) {
        Item& it = *items[i];
        it.shared = records[i];
        it.shared_bytes = shared_bytes_of(it.shared);
        it.size = it.shared_bytes + static_cast<int64_t>(rng() % 100000);
        it.frees = sharing::frees_alone({it.size, it.shared_bytes, &it.shared});
    }
    auto fresh = [&] {
        std::vector<sharing::Entry> chosen;
        Plain plain;
        for (const Item* it : items)
            if (it->selected) {
                chosen.push_back({it->size, it->shared_bytes, &it->shared});
                plain.add(chosen.back());
            }
        const int64_t merged = sharing::frees_together(chosen);
        EXPECT_EQ(merged, plain.freed());
        return merged;
    };
    // A fixed sequence first: tick all, untick all in another order.
    for (Item* it : items) {
        it->selected = true;
        ASSERT_EQ(app.selected_size(), fresh());
    }
    for (std::size_t i = items.size(); i-- > 0;) {
        items[(i * 5) % items.size()]->selected = false;
        ASSERT_EQ(app.selected_size(), fresh());
    }
    EXPECT_EQ(app.selected_size(), 0);
    // Then random ticks and unticks, reading the total after each.
    for (int step = 0; step < 600; ++step) {
        Item* it = items[rng() % items.size()];
        it->selected = !it->selected;
        ASSERT_EQ(app.selected_size(), fresh()) << step;
        if (step % 50 == 0) {
            // Whole-category ticks as the page's buttons make them.
            app.select_all_safe(app.m_cats[rng() % 2]);
            ASSERT_EQ(app.selected_size(), fresh()) << step;
        }
    }
}

// ---------------------------------------------------------------------------
// Rows and their descriptions
// ---------------------------------------------------------------------------

TEST(SharingRows, ARowSaysWhatItFreesOnlyWhenThatDiffersFromItsSize) {
    test_env::TempHome home;
    render_test::Language en("en");
    App app;
    CatState c = render_test::category("store", GroupKind::JavaScript, {900000, 500000, 300000});
    // The first frees less than its size; the second has linked files that
    // all lie inside it (frees all); the third has no linked files.
    c.items[0].shared = {sharing::record(1, 1, 1000, 2, 1)};
    c.items[0].shared_bytes = 512000;
    c.items[0].frees = 900000 - 512000;
    c.items[1].shared = {sharing::record(1, 2, 100, 2, 2)};
    c.items[1].shared_bytes = 51200;
    c.items[1].frees = 500000;
    c.items[2].frees = 0; // not worked out: no linked files
    app.m_cats = {c};
    app.m_selection = "store";
    FitLog log;
    app.m_fit_log = &log;
    render_test::Canvas canvas(1100, 720);
    app.render_offscreen(canvas.cr(), 1100, 720);
    app.m_fit_log = nullptr;
    // SHARING_PNG=<file> keeps the page's picture, to look at the row.
    if (const char* png = getenv("SHARING_PNG"))
        canvas.write_png(png);
    const std::string first = "frees " + fmt::bytes(900000 - 512000);
    std::vector<const FitNote*> frees;
    const FitNote* size = nullptr;
    for (const FitNote& n : log.notes) {
        if (n.kind == FitNote::Kind::Label && n.text.rfind("frees ", 0) == 0)
            frees.push_back(&n);
        if (n.kind == FitNote::Kind::Label && n.text == fmt::bytes(900000))
            size = &n;
    }
    ASSERT_EQ(frees.size(), 1u);
    EXPECT_EQ(frees[0]->text, first);
    ASSERT_NE(size, nullptr);
    // Beside the size, on its line, and within the row.
    EXPECT_NEAR(frees[0]->drawn.y + frees[0]->drawn.h / 2, size->drawn.y + size->drawn.h / 2, 4);
    EXPECT_LE(frees[0]->drawn.x + frees[0]->drawn.w, size->room.x + size->room.w - size->width);
    EXPECT_GE(frees[0]->drawn.x, size->room.x);
}
