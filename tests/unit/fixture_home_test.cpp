// The synthetic developer home the scan benchmark and the scan tests build:
// the same scale gives the same tree, and a home whose files are holes has
// the same entries and apparent sizes as one whose files hold their bytes.

#include "fixture_home.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <ftw.h>
#include <map>
#include <string>
#include <sys/stat.h>
#include <tuple>

namespace {

// Every entry below a home except the git repositories' own folders (whose
// object names follow the files' contents): its kind, and a regular file's
// apparent size and blocks. The .gitignore files are written as text in
// either kind of home, so their blocks are not counted.
struct Entry {
    char kind = '?';
    long long size = 0;
    long long blocks = 0;
    bool operator==(const Entry& o) const {
        return std::tie(kind, size) == std::tie(o.kind, o.size);
    }
};

std::map<std::string, Entry>* g_listing = nullptr;
std::size_t g_prefix = 0;

int note(const char* path, const struct stat* st, int type, struct FTW*) {
    const std::string rel = std::string(path).substr(g_prefix);
    if (rel.find("/.git/") != std::string::npos || rel.ends_with("/.git"))
        return 0;
    Entry e;
    e.kind = type == FTW_SL ? 'l' : (type == FTW_D || type == FTW_DNR) ? 'd' : 'f';
    if (e.kind == 'f') {
        e.size = st->st_size;
        e.blocks = rel.ends_with("/.gitignore") ? 0 : st->st_blocks;
    }
    (*g_listing)[rel] = e;
    return 0;
}

std::map<std::string, Entry> listing(const std::string& home) {
    std::map<std::string, Entry> out;
    g_listing = &out;
    g_prefix = home.size();
    nftw(home.c_str(), note, 32, FTW_PHYS);
    g_listing = nullptr;
    return out;
}

std::string make_home(const test_env::TempHome& tmp, const std::string& name) {
    const std::string home = tmp.path(name);
    mkdir(home.c_str(), 0755);
    return home;
}

TEST(FixtureHome, HolesGiveTheSameTreeWithoutDataBlocks) {
    test_env::TempHome tmp;
    const std::string real = make_home(tmp, "real");
    const std::string holes = make_home(tmp, "holes");
    const fixture_home::Result a = fixture_home::build(real, 0.02, fixture_home::Data::real);
    const fixture_home::Result b = fixture_home::build(holes, 0.02, fixture_home::Data::holes);
    ASSERT_TRUE(a.ok) << a.error;
    ASSERT_TRUE(b.ok) << b.error;
    EXPECT_EQ(a.entries, b.entries);
    EXPECT_GT(a.entries, 10000);
    const auto with_data = listing(real);
    const auto without = listing(holes);
    EXPECT_EQ(with_data.size(), without.size());
    long long data_blocks = 0, hole_blocks = 0, files = 0;
    for (const auto& [rel, e] : with_data) {
        const auto it = without.find(rel);
        ASSERT_NE(it, without.end()) << rel;
        EXPECT_EQ(e, it->second) << rel;
        if (e.kind == 'f') {
            ++files;
            data_blocks += e.blocks;
            hole_blocks += it->second.blocks;
        }
    }
    EXPECT_GT(files, 5000);
    EXPECT_GT(data_blocks, files * 8); // at least 4 KiB a file on average
    EXPECT_EQ(hole_blocks, 0);
    fixture_home::unlock(real);
    fixture_home::unlock(holes);
}

TEST(FixtureHome, TheSameScaleGivesTheSameTree) {
    test_env::TempHome tmp;
    const std::string one = make_home(tmp, "one");
    const std::string two = make_home(tmp, "two");
    ASSERT_TRUE(fixture_home::build(one, 0.02, fixture_home::Data::holes).ok);
    ASSERT_TRUE(fixture_home::build(two, 0.02, fixture_home::Data::holes).ok);
    const auto a = listing(one);
    EXPECT_GT(a.size(), 10000u);
    EXPECT_TRUE(a == listing(two));
    fixture_home::unlock(one);
    fixture_home::unlock(two);
}

} // namespace
