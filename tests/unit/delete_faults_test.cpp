// Deletion while the tree changes under it, and on a full disk.
//
// Each fault is made to happen at an exact point of the deletion, not by
// sleeping and hoping: the walk tells its step observer of every entry
// between looking at it and removing or entering it, and the test changes
// the tree from there (files appear, a folder turns into a link, a folder
// loses its permissions). The full disk is a small file system mounted
// inside the test folder by the sealed child, in its own mount namespace,
// and filled to the last byte before the App's deletion worker runs.
//
// Every test ends the same way: the manifest of the test folder (lstat only,
// file checksums) shows that nothing outside the selection changed, and
// every path of the result record is held against the disk: a deleted path
// is gone, a failed one is still there and has its reason.
//
// Index (the file runs past the usual length; its cases share one set of
// helpers): helpers; the manifest comparison itself; files appearing;
// folders swapped for links or for other folders; permissions dropping; the
// full disk (the App's deletion worker, settings and state file).
#include "shell_ops.h"

#include "app.h"
#include "format.h"
#include "fs_fixture.h"
#include "i18n.h"
#include "render_test_util.h"
#include "sealed.h"
#include "sealed_delete.h"
#include "settings.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <sstream>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

using fs_fixture::Manifest;
using shell_ops::DeleteResult;

namespace {

const char* const NOT_REMOVED = "The item could not be moved";

// ---- Helpers ----

bool exists(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

void make_dir(const std::string& path, mode_t mode = 0755) {
    ASSERT_EQ(mkdir(path.c_str(), mode), 0) << path << ": " << std::strerror(errno);
    ASSERT_EQ(chmod(path.c_str(), mode), 0) << path;
}

void make_file(const std::string& path, const std::string& content = "data") {
    const int fd = open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0) << path << ": " << std::strerror(errno);
    ASSERT_EQ(write(fd, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    close(fd);
}

// A folder with a few files and a subfolder, for the selection and for what
// must survive beside it.
void make_tree(const std::string& path, int files) {
    make_dir(path);
    for (int i = 0; i < files; ++i)
        make_file(path + "/f" + std::to_string(i), path + " " + std::to_string(i));
    make_dir(path + "/sub");
    make_file(path + "/sub/inner", "inner of " + path);
}

// The manifest key of a path inside the test folder.
std::string key(const test_env::TempHome& t, const std::string& path) {
    return path.substr(t.root().size());
}

std::vector<std::string> keys(const test_env::TempHome& t, const std::vector<std::string>& paths) {
    std::vector<std::string> out;
    for (const std::string& p : paths)
        out.push_back(key(t, p));
    return out;
}

// The result record against the disk: every input path is either deleted
// or failed, once; a deleted path is gone, a failed one is still there with
// a reason; the count and the first reason agree with the lists.
void expect_truthful(const DeleteResult& r, const std::vector<std::string>& paths) {
    EXPECT_EQ(r.deleted.size() + r.failed.size(), paths.size());
    EXPECT_EQ(r.failed_count, static_cast<int>(r.failed.size()));
    ASSERT_EQ(r.failed_reasons.size(), r.failed.size());
    EXPECT_EQ(r.error, r.failed.empty() ? std::string() : r.failed_reasons[0]);
    for (const std::string& p : r.deleted)
        EXPECT_FALSE(exists(p)) << "reported deleted but still there: " << p;
    for (std::size_t i = 0; i < r.failed.size(); ++i) {
        EXPECT_TRUE(exists(r.failed[i])) << "reported failed but gone: " << r.failed[i];
        EXPECT_FALSE(r.failed_reasons[i].empty()) << r.failed[i];
    }
    for (const std::string& p : paths) {
        const auto in = [&p](const std::vector<std::string>& v) {
            return std::count(v.begin(), v.end(), p);
        };
        EXPECT_EQ(in(r.deleted) + in(r.failed), 1) << p;
    }
}

std::string joined(const std::vector<std::string>& lines) {
    std::string out;
    for (const std::string& l : lines)
        out += l + "\n";
    return out;
}

} // namespace

// ---------------------------------------------------------------------------
// The manifest comparison the other tests rely on
// ---------------------------------------------------------------------------

TEST(DeleteFaults, ManifestSeesOneChangedByteEvenWithSizeAndTimesKept) {
    test_env::TempHome t;
    make_file(t.path("a"), "abcdef");
    fs_fixture::set_times(t.path("a"), 1000000000);
    const Manifest before = fs_fixture::manifest(t.root());
    // Rewritten in place: same inode, same size, same modification time.
    const int fd = open(t.path("a").c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(pwrite(fd, "X", 1, 3), 1);
    close(fd);
    fs_fixture::set_times(t.path("a"), 1000000000);
    const std::vector<std::string> d =
        fs_fixture::differences(before, fs_fixture::manifest(t.root()));
    ASSERT_EQ(d.size(), 1u) << joined(d);
    EXPECT_EQ(d[0].rfind("changed /a: ", 0), 0u) << d[0];
}

TEST(DeleteFaults, ManifestSeesAChangedMode) {
    test_env::TempHome t;
    make_dir(t.path("d"));
    make_file(t.path("d/f"));
    const Manifest before = fs_fixture::manifest(t.root());
    ASSERT_EQ(chmod(t.path("d").c_str(), 0700), 0);
    const std::vector<std::string> d =
        fs_fixture::differences(before, fs_fixture::manifest(t.root()));
    ASSERT_EQ(d.size(), 1u) << joined(d);
    EXPECT_EQ(d[0].rfind("changed /d: ", 0), 0u) << d[0];
}

TEST(DeleteFaults, ManifestSeesALinkPointedElsewhereAndDoesNotFollowIt) {
    test_env::TempHome t;
    make_tree(t.path("one"), 2);
    make_tree(t.path("two"), 2);
    ASSERT_EQ(symlink("one", t.path("l").c_str()), 0);
    const Manifest before = fs_fixture::manifest(t.root());
    EXPECT_EQ(before.count("/l/f0"), 0u) << "the link was followed";
    ASSERT_EQ(unlink(t.path("l").c_str()), 0);
    ASSERT_EQ(symlink("two", t.path("l").c_str()), 0);
    const std::vector<std::string> d =
        fs_fixture::differences(before, fs_fixture::manifest(t.root()));
    ASSERT_EQ(d.size(), 1u) << joined(d);
    EXPECT_EQ(d[0].rfind("changed /l: ", 0), 0u) << d[0];
    EXPECT_NE(d[0].find("link=two"), std::string::npos) << d[0];
}

TEST(DeleteFaults, ManifestSeesAnAddedAndARemovedFileOutsideTheSelectionOnly) {
    test_env::TempHome t;
    make_tree(t.path("sel"), 3);
    make_tree(t.path("selx"), 1);
    const Manifest before = fs_fixture::manifest(t.root());
    // Inside the selection anything may happen; a sibling whose name only
    // starts the same is not inside it.
    make_file(t.path("sel/new"));
    ASSERT_EQ(unlink(t.path("sel/f0").c_str()), 0);
    make_file(t.path("selx/new"));
    ASSERT_EQ(unlink(t.path("selx/f0").c_str()), 0);
    const std::vector<std::string> d =
        fs_fixture::differences(before, fs_fixture::manifest(t.root()), {"/sel"});
    ASSERT_EQ(d.size(), 2u) << joined(d);
    EXPECT_EQ(d[0].rfind("removed /selx/f0: ", 0), 0u) << d[0];
    EXPECT_EQ(d[1].rfind("added /selx/new: ", 0), 0u) << d[1];
}

// ---------------------------------------------------------------------------
// Files appearing during the deletion
// ---------------------------------------------------------------------------

TEST(DeleteFaults, FilesAppearingInsideASelectedFolderAreGoneOrTheFolderIsReportedFailed) {
    test_env::TempHome t;
    const std::string sel = t.path("sel");
    make_dir(sel);
    for (const char* n : {"/a", "/b", "/c"})
        make_tree(sel + n, 5);
    make_tree(t.path("outside"), 5);
    const Manifest before = fs_fixture::manifest(t.root());
    // As soon as the walk stands inside sel/b, a build still running there
    // writes new files into it, into a new folder in it, and into sel itself.
    sealed::Options o;
    int appeared = 0;
    o.step = [&](const std::string& folder, const std::string&) {
        if (folder != sel + "/b" || appeared++ > 0)
            return;
        for (int i = 0; i < 20; ++i)
            close(open((sel + "/b/late" + std::to_string(i)).c_str(),
                       O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
        mkdir((sel + "/b/late-dir").c_str(), 0755);
        close(open((sel + "/b/late-dir/x").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
        close(open((sel + "/late-top").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
    };
    o.after = [&] { return appeared > 0 ? 0 : 7; };
    const DeleteResult r = sealed::delete_inside(t, {sel}, o);
    expect_truthful(r, {sel});
    if (!r.failed.empty()) {
        EXPECT_EQ(r.failed_reasons[0], NOT_REMOVED);
        // What stayed is only what appeared late, or folders holding it.
        for (const auto& [k, desc] : fs_fixture::manifest(sel))
            EXPECT_TRUE(k.find("late") != std::string::npos || k == "/b") << k;
    }
    std::printf("the selected folder was %s\n", r.failed.empty() ? "deleted" : "reported failed");
    EXPECT_EQ(joined(fs_fixture::differences(before, fs_fixture::manifest(t.root()), {"/sel"})),
              "");
    // Asked again, the rest goes.
    const DeleteResult again = sealed::delete_inside(t, {sel});
    EXPECT_EQ(again.deleted, std::vector<std::string>{sel});
    EXPECT_FALSE(exists(sel));
}

TEST(DeleteFaults, FilesAppearingNextToTheSelectionSurviveUntouched) {
    test_env::TempHome t;
    const std::string proj = t.path("proj");
    make_dir(proj);
    make_tree(proj + "/src", 3);
    make_file(proj + "/keep.txt", "notes");
    const std::string build = proj + "/build";
    make_dir(build);
    // Inside the build folder, names that also stand beside it.
    make_tree(build + "/src", 3);
    make_file(build + "/keep.txt", "generated");
    make_tree(build + "/obj", 10);
    const Manifest before = fs_fixture::manifest(t.root());
    const std::vector<std::string> late = {proj + "/late.txt", proj + "/src/late.c",
                                           proj + "/build-2", proj + "/build-2/late.o"};
    sealed::Options o;
    bool done = false;
    o.step = [&](const std::string& folder, const std::string&) {
        if (folder != build + "/obj" || done)
            return;
        done = true;
        for (const std::string& p : late) {
            if (p == proj + "/build-2")
                mkdir(p.c_str(), 0755);
            else if (const int fd = open(p.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
                     fd >= 0) {
                const std::string text = "late " + p;
                if (write(fd, text.data(), text.size()) < 0)
                    done = false;
                close(fd);
            }
        }
    };
    o.after = [&] { return done ? 0 : 7; };
    const DeleteResult r = sealed::delete_inside(t, {build}, o);
    expect_truthful(r, {build});
    EXPECT_EQ(r.deleted, std::vector<std::string>{build});
    // Outside the selection only the late entries are new, and they are whole.
    const std::vector<std::string> d =
        fs_fixture::differences(before, fs_fixture::manifest(t.root()), {"/proj/build"});
    ASSERT_EQ(d.size(), late.size()) << joined(d);
    std::vector<std::string> added;
    for (const std::string& line : d) {
        EXPECT_EQ(line.rfind("added ", 0), 0u) << line;
        added.push_back(line.substr(6, line.find(':') - 6));
    }
    std::vector<std::string> expected = keys(t, late);
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(added, expected);
    EXPECT_EQ(test_env::read_file(proj + "/src/late.c"), "late " + proj + "/src/late.c");
    EXPECT_EQ(test_env::read_file(proj + "/build-2/late.o"), "late " + proj + "/build-2/late.o");
}

// ---------------------------------------------------------------------------
// Entries swapped after or before the walk looked at them
// ---------------------------------------------------------------------------

TEST(DeleteFaults, AFolderInsideTheSelectionSwappedForALinkAfterItsLookIsNotEntered) {
    test_env::TempHome t;
    const std::string home = t.path("home"); // the home of this test, made by TempHome
    make_tree(home + "/Documents", 4);       // protected, and looks like any folder
    make_tree(t.path("outside"), 4);
    const std::string sel = t.path("sel");
    make_dir(sel);
    make_tree(sel + "/to-outside", 4);
    make_tree(sel + "/to-documents", 4);
    make_tree(sel + "/plain", 4);
    const std::string aside = t.path("aside");
    make_dir(aside);
    const Manifest before = fs_fixture::manifest(t.root());
    // Right after the walk looked at each of the two folders and found a
    // folder, it is moved away and a link to the outside takes its name.
    sealed::Options o;
    int swapped = 0;
    o.step = [&](const std::string& folder, const std::string& entry) {
        if (folder != sel || (entry != "to-outside" && entry != "to-documents"))
            return;
        const std::string target = entry == "to-outside" ? t.path("outside") : home + "/Documents";
        if (rename((sel + "/" + entry).c_str(), (aside + "/" + entry).c_str()) == 0 &&
            symlink(target.c_str(), (sel + "/" + entry).c_str()) == 0)
            ++swapped;
    };
    o.after = [&] { return swapped == 2 ? 0 : 7; };
    const DeleteResult r = sealed::delete_inside(t, {sel}, o);
    expect_truthful(r, {sel});
    // The links were not entered and are not followed; the folder holding
    // them could not be emptied, and says so.
    EXPECT_EQ(r.failed, std::vector<std::string>{sel});
    EXPECT_EQ(r.failed_reasons, std::vector<std::string>{NOT_REMOVED});
    EXPECT_FALSE(exists(sel + "/plain"));
    EXPECT_EQ(
        joined(fs_fixture::differences(before, fs_fixture::manifest(t.root()), {"/sel", "/aside"})),
        "");
    EXPECT_EQ(test_env::read_file(home + "/Documents/sub/inner"),
              "inner of " + home + "/Documents");
}

TEST(DeleteFaults, AFolderInsideTheSelectionSwappedForALinkBeforeItsLookGoesAsALink) {
    test_env::TempHome t;
    make_tree(t.path("outside"), 6);
    const std::string sel = t.path("sel");
    make_dir(sel);
    make_tree(sel + "/early", 4);
    make_tree(sel + "/other", 4);
    make_dir(t.path("aside"));
    const Manifest before = fs_fixture::manifest(t.root());
    // When the selected folder itself has been looked at and nothing inside
    // it yet, one of its folders turns into a link to the outside.
    sealed::Options o;
    bool swapped = false;
    o.step = [&](const std::string& folder, const std::string& entry) {
        if (folder != t.root() || entry != "sel")
            return;
        swapped = rename((sel + "/early").c_str(), t.path("aside/early").c_str()) == 0 &&
                  symlink(t.path("outside").c_str(), (sel + "/early").c_str()) == 0;
    };
    o.after = [&] { return swapped ? 0 : 7; };
    const DeleteResult r = sealed::delete_inside(t, {sel}, o);
    expect_truthful(r, {sel});
    EXPECT_EQ(r.deleted, std::vector<std::string>{sel});
    EXPECT_EQ(
        joined(fs_fixture::differences(before, fs_fixture::manifest(t.root()), {"/sel", "/aside"})),
        "");
    EXPECT_TRUE(exists(t.path("outside/f5")));
}

TEST(DeleteFaults, ASelectedFolderSwappedForALinkToAProtectedFolderAfterItsLookStays) {
    test_env::TempHome t;
    const std::string home = t.path("home"); // the home of this test, made by TempHome
    make_tree(home + "/Documents", 4);
    const std::string sel = t.path("sel");
    make_tree(sel, 4);
    const Manifest before = fs_fixture::manifest(t.root());
    sealed::Options o;
    bool swapped = false;
    o.step = [&](const std::string& folder, const std::string& entry) {
        if (folder != t.root() || entry != "sel")
            return;
        swapped = rename(sel.c_str(), t.path("aside").c_str()) == 0 &&
                  symlink((home + "/Documents").c_str(), sel.c_str()) == 0;
    };
    o.after = [&] { return swapped ? 0 : 7; };
    const DeleteResult r = sealed::delete_inside(t, {sel}, o);
    expect_truthful(r, {sel});
    EXPECT_EQ(r.failed, std::vector<std::string>{sel});
    EXPECT_EQ(r.failed_reasons, std::vector<std::string>{NOT_REMOVED});
    // Nothing of the real folder, now aside, went either: the walk never
    // entered anything.
    EXPECT_EQ(
        joined(fs_fixture::differences(before, fs_fixture::manifest(t.root()), {"/sel", "/aside"})),
        "");
    EXPECT_TRUE(exists(t.path("aside/f3")));
    EXPECT_EQ(fs_fixture::manifest(home + "/Documents").size(), 6u);
}

TEST(DeleteFaults, ASelectedFolderSwappedForALinkJustBeforeItGoesLosesOnlyTheLink) {
    test_env::TempHome t;
    make_tree(t.path("outside"), 6);
    const std::string sel = t.path("sel");
    make_tree(sel, 4);
    const Manifest before = fs_fixture::manifest(t.root());
    // The last look before the path goes is the last moment before the
    // deletion opens anything: the folder turns into a link there.
    sealed::Options o;
    bool swapped = false;
    o.last_check = [&](const std::string& path) -> const char* {
        if (path == sel)
            swapped = rename(sel.c_str(), t.path("aside").c_str()) == 0 &&
                      symlink(t.path("outside").c_str(), sel.c_str()) == 0;
        return nullptr;
    };
    o.after = [&] { return swapped ? 0 : 7; };
    const DeleteResult r = sealed::delete_inside(t, {sel}, o);
    expect_truthful(r, {sel});
    EXPECT_EQ(r.deleted, std::vector<std::string>{sel});
    EXPECT_EQ(
        joined(fs_fixture::differences(before, fs_fixture::manifest(t.root()), {"/sel", "/aside"})),
        "");
    EXPECT_TRUE(exists(t.path("aside/sub/inner")));
    EXPECT_TRUE(exists(t.path("outside/sub/inner")));
}

TEST(DeleteFaults, AFolderSwappedForAnotherFolderAfterItsLookIsNotEntered) {
    // No link this time: a folder from outside the selection is moved in
    // under the name the walk has just looked at. It is a folder like the
    // one examined, but not the same one, and nothing in it may go.
    test_env::TempHome t;
    make_tree(t.path("precious"), 5);
    const std::string sel = t.path("sel");
    make_dir(sel);
    make_tree(sel + "/sub", 3);
    make_tree(sel + "/other", 3);
    make_dir(t.path("aside"));
    const Manifest precious = fs_fixture::manifest(t.path("precious"));
    const Manifest before = fs_fixture::manifest(t.root());
    sealed::Options o;
    bool swapped = false;
    o.step = [&](const std::string& folder, const std::string& entry) {
        if (folder != sel || entry != "sub")
            return;
        swapped = rename((sel + "/sub").c_str(), t.path("aside/sub").c_str()) == 0 &&
                  rename(t.path("precious").c_str(), (sel + "/sub").c_str()) == 0;
    };
    o.after = [&] { return swapped ? 0 : 7; };
    const DeleteResult r = sealed::delete_inside(t, {sel}, o);
    expect_truthful(r, {sel});
    EXPECT_EQ(r.failed, std::vector<std::string>{sel});
    EXPECT_EQ(r.failed_reasons, std::vector<std::string>{NOT_REMOVED});
    EXPECT_FALSE(exists(sel + "/other"));
    // The folder moved in is whole where it was put.
    EXPECT_EQ(fs_fixture::manifest(sel + "/sub"), precious);
    EXPECT_EQ(joined(fs_fixture::differences(before, fs_fixture::manifest(t.root()),
                                             {"/sel", "/aside", "/precious"})),
              "");
}

TEST(DeleteFaults, AFileReplacedByAFolderAfterItsLookIsReportedNotEmptied) {
    test_env::TempHome t;
    const std::string sel = t.path("sel");
    make_tree(sel, 4);
    make_tree(t.path("outside"), 2);
    const Manifest before = fs_fixture::manifest(t.root());
    // The walk looked at f2 and found a file; a folder with a file in it
    // takes its name before it is unlinked.
    sealed::Options o;
    bool replaced = false;
    o.step = [&](const std::string& folder, const std::string& entry) {
        if (folder != sel || entry != "f2")
            return;
        replaced = unlink((sel + "/f2").c_str()) == 0 && mkdir((sel + "/f2").c_str(), 0755) == 0;
        if (const int fd = open((sel + "/f2/late").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
            fd >= 0)
            close(fd);
        else
            replaced = false;
    };
    o.after = [&] { return replaced ? 0 : 7; };
    const DeleteResult r = sealed::delete_inside(t, {sel}, o);
    expect_truthful(r, {sel});
    EXPECT_EQ(r.failed, std::vector<std::string>{sel});
    EXPECT_EQ(r.failed_reasons, std::vector<std::string>{NOT_REMOVED});
    EXPECT_TRUE(exists(sel + "/f2/late"));
    EXPECT_FALSE(exists(sel + "/f0"));
    EXPECT_FALSE(exists(sel + "/sub"));
    EXPECT_EQ(joined(fs_fixture::differences(before, fs_fixture::manifest(t.root()), {"/sel"})),
              "");
}

// ---------------------------------------------------------------------------
// Permissions dropping during the deletion
// ---------------------------------------------------------------------------

TEST(DeleteFaults, PermissionsDroppedMidwayLeaveTheStuckPartsReportedAndTheRestGoes) {
    test_env::TempHome t;
    sealed::open_test_folder(t);
    const std::string sel = t.path("sel");
    make_dir(sel);
    for (const char* n : {"/a", "/unreadable", "/d"})
        make_tree(sel + n, 4);
    // Files only: a folder inside it would still be writable itself and be
    // emptied, though it could not be removed from its parent.
    make_dir(sel + "/unwritable");
    for (int i = 0; i < 4; ++i)
        make_file(sel + "/unwritable/f" + std::to_string(i));
    make_tree(t.path("outside"), 3);
    for (const auto& [k, desc] : fs_fixture::manifest(sel))
        sealed::give_to_nobody(sel + k);
    sealed::give_to_nobody(sel);
    const Manifest before = fs_fixture::manifest(t.root());
    const Manifest unreadable_before = fs_fixture::manifest(sel + "/unreadable");
    const Manifest unwritable_before = fs_fixture::manifest(sel + "/unwritable");
    // The owner (the unprivileged user the deletion runs as) takes away
    // reading from one folder right after the walk looked at it, and
    // writing from another right after the walk entered it.
    sealed::Options o;
    o.unprivileged = true;
    bool unreadable = false, unwritable = false;
    o.step = [&](const std::string& folder, const std::string& entry) {
        if (folder == sel && entry == "unreadable")
            unreadable = chmod((sel + "/unreadable").c_str(), 0300) == 0;
        if (folder == sel + "/unwritable" && !unwritable)
            unwritable = chmod((sel + "/unwritable").c_str(), 0555) == 0;
    };
    o.after = [&] { return unreadable && unwritable ? 0 : 7; };
    const DeleteResult r = sealed::delete_inside(t, {sel}, o);
    chmod((sel + "/unreadable").c_str(), 0755);
    chmod((sel + "/unwritable").c_str(), 0755);
    expect_truthful(r, {sel});
    EXPECT_EQ(r.failed, std::vector<std::string>{sel});
    EXPECT_EQ(r.failed_reasons, std::vector<std::string>{NOT_REMOVED});
    EXPECT_FALSE(exists(sel + "/a"));
    EXPECT_FALSE(exists(sel + "/d"));
    // The stuck folders are whole: not a file of them went.
    EXPECT_EQ(fs_fixture::manifest(sel + "/unreadable"), unreadable_before);
    EXPECT_EQ(fs_fixture::manifest(sel + "/unwritable"), unwritable_before);
    EXPECT_EQ(joined(fs_fixture::differences(before, fs_fixture::manifest(t.root()), {"/sel"})),
              "");
}

TEST(DeleteFaults, AFolderMadeUnreadableAboveADeepWalkStillHasEverythingRemoved) {
    // Deep down, the walk keeps descriptors only for the lowest levels and
    // the listings of the levels above in memory; coming back up, it opens
    // each of those again. Here the owner takes reading away from a level
    // above while the walk is at the bottom. Writing and searching stay, and
    // that is all removing what is left there needs.
    test_env::TempHome t;
    sealed::open_test_folder(t);
    // A folder of the unprivileged user's own, so that it may remove sel from it.
    make_dir(t.path("space"));
    sealed::give_to_nobody(t.path("space"));
    const std::string sel = t.path("space/sel");
    make_dir(sel);
    std::string dir = sel;
    for (int level = 0; level < 48; ++level) {
        for (int i = 0; i < 3; ++i)
            make_file(dir + "/f" + std::to_string(i));
        dir += "/c";
        make_dir(dir);
    }
    make_file(dir + "/bottom");
    for (const auto& [k, desc] : fs_fixture::manifest(sel))
        sealed::give_to_nobody(sel + k);
    sealed::give_to_nobody(sel);
    make_tree(t.path("outside"), 3);
    const Manifest before = fs_fixture::manifest(t.root());
    sealed::Options o;
    o.unprivileged = true;
    bool dropped = false;
    o.step = [&](const std::string& folder, const std::string&) {
        if (!dropped && folder == dir)
            dropped = chmod((sel + "/c").c_str(), 0300) == 0;
    };
    o.after = [&] { return dropped ? 0 : 7; };
    const DeleteResult r = sealed::delete_inside(t, {sel}, o);
    chmod((sel + "/c").c_str(), 0755);
    expect_truthful(r, {sel});
    EXPECT_EQ(r.deleted, std::vector<std::string>{sel});
    EXPECT_EQ(
        joined(fs_fixture::differences(before, fs_fixture::manifest(t.root()), {"/space/sel"})),
        "");
}

// ---------------------------------------------------------------------------
// The full disk
// ---------------------------------------------------------------------------
//
// These run the App's own deletion worker body (do_clean) in a sealed child
// that mounts a small file system of its own inside the test folder and
// fills it. Only the child sees that file system, so the checks that need it
// run there too; the child sends back one line per problem it found and the
// figures it read.

namespace {

constexpr const char* FULL_SIZE = "size=4m";

// Writes into path until the file system refuses with ENOSPC. False when it
// refused for any other reason.
bool fill(const std::string& path) {
    const int fd = open(path.c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0)
        return errno == ENOSPC;
    const std::string chunk(65536, 'z');
    bool full = false;
    for (;;) {
        const ssize_t n = write(fd, chunk.data(), chunk.size());
        if (n < 0) {
            full = errno == ENOSPC;
            break;
        }
    }
    close(fd);
    return full;
}

int64_t free_bytes(const std::string& folder) {
    struct statvfs vfs {};
    if (statvfs(folder.c_str(), &vfs) != 0)
        return -1;
    return static_cast<int64_t>(vfs.f_bfree) * static_cast<int64_t>(vfs.f_frsize);
}

// The bytes a tree holds on disk, as the scan counts them.
int64_t allocated(const std::string& path) {
    int64_t sum = 0;
    for (const auto& [k, desc] : fs_fixture::manifest(path)) {
        struct stat st {};
        if (lstat((path + k).c_str(), &st) == 0)
            sum += static_cast<int64_t>(st.st_blocks) * 512;
    }
    struct stat st {};
    if (lstat(path.c_str(), &st) == 0)
        sum += static_cast<int64_t>(st.st_blocks) * 512;
    return sum;
}

// A folder of real (not sparse) data, in files of 256 KiB.
bool make_blobs(const std::string& dir, int files) {
    if (mkdir(dir.c_str(), 0755) != 0)
        return false;
    const std::string blob(256 * 1024, 'b');
    for (int i = 0; i < files; ++i) {
        const int fd =
            open((dir + "/blob" + std::to_string(i)).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
        if (fd < 0)
            return false;
        const bool ok = write(fd, blob.data(), blob.size()) == static_cast<ssize_t>(blob.size());
        close(fd);
        if (!ok)
            return false;
    }
    return true;
}

Item ticked(const std::string& path, int64_t size) {
    Item it;
    it.path = path;
    it.name = path.substr(path.rfind('/') + 1);
    it.size = size;
    it.size_known = true;
    it.safety = SafetyLevel::Safe;
    it.selected = true;
    return it;
}

// What a child found: "problem\t..." lines, and "key\tvalue" figures.
struct Report {
    int code = -1;
    std::vector<std::string> problems;
    std::map<std::string, std::string> figures;
};

Report read_report(const sealed::ChildOutcome& c) {
    Report r;
    r.code = c.exit_code;
    std::istringstream in(c.output);
    std::string line;
    while (std::getline(in, line)) {
        const std::size_t tab = line.find('\t');
        if (tab == std::string::npos)
            continue;
        if (line.compare(0, tab, "problem") == 0)
            r.problems.push_back(line.substr(tab + 1));
        else
            r.figures[line.substr(0, tab)] = line.substr(tab + 1);
    }
    return r;
}

// Collects problems in the child, where gtest's own checks would be lost.
struct Problems {
    std::ostringstream out;
    void check(bool ok, const std::string& what) {
        if (!ok)
            out << "problem\t" << what << "\n";
    }
    void figure(const std::string& k, int64_t v) { out << k << "\t" << v << "\n"; }
};

// Mounts the small file system and seals everything else; 0 when done.
int mount_full_disk(const std::string& root, const std::string& full) {
    if (root.empty() || !sealed::seal_all_but(root))
        return sealed::SEAL_FAILED;
    if (mount("tmpfs", full.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, FULL_SIZE) != 0)
        return 3;
    return 0;
}

// The result record of do_clean, held against the disk, in the child.
void check_clean(Problems& p, const App& app, const std::vector<std::string>& ticked_paths) {
    for (const std::string& path : ticked_paths)
        p.check(!exists(path), "ticked path still there: " + path);
    for (const CatState& c : app.m_cats)
        for (const Item& it : c.items)
            p.check(!it.selected, "a ticked entry is still listed: " + it.path);
    p.check(app.m_manual.empty(), "something went to the manual list");
    p.check(!app.m_status_failed, "the status reports a failure: " + app.m_status_message);
    const std::string gained = app.ltr(fmt::bytes(std::max<int64_t>(app.m_gained_bytes, 0)));
    const std::string status = app.status_text();
    p.check(status.rfind(I18n::instance().trf("%s freed", gained.c_str()), 0) == 0,
            "the status does not lead with the gain: " + status);
}

} // namespace

TEST(DeleteFaults, OnAFullDiskTheDeletionGoesAndLaterWritesFailWithoutLosingAFile) {
    test_env::TempHome t;
    const std::string full = t.path("full");
    make_dir(full);
    const test_env::ScopedEnv config("XDG_CONFIG_HOME", (full + "/config").c_str());
    const test_env::ScopedEnv state("QUILLET_STATE_FILE", (full + "/state.txt").c_str());
    const std::string a = full + "/cache/a", b = full + "/cache/b", keep = full + "/cache/keep";
    for (const std::string& p : {a, b}) {
        std::string why;
        ASSERT_TRUE(sealed::safe_to_delete(t.root(), p, why)) << p << ": " << why;
    }
    const std::string root = sealed::real(t.root());
    const sealed::ChildOutcome c = sealed::in_child([&](int& code) -> std::string {
        if ((code = mount_full_disk(root, full)) != 0)
            return "";
        Problems p;
        if (mkdir((full + "/config").c_str(), 0755) != 0 ||
            mkdir((full + "/config/Quillet").c_str(), 0755) != 0 ||
            mkdir((full + "/cache").c_str(), 0755) != 0 || !make_blobs(a, 4) || !make_blobs(b, 2) ||
            !make_blobs(keep, 1)) {
            code = 4;
            return "";
        }
        // What Quillet wrote while the disk still had room.
        SettingsStore::instance().mutable_get().theme = "dark";
        SettingsStore::instance().save();
        const std::string settings = SettingsStore::instance().path();
        const std::string settings_before = test_env::read_file(settings);
        p.check(settings_before.find("\"dark\"") != std::string::npos, "no settings written");
        App app;
        app.m_state_file = std::getenv("QUILLET_STATE_FILE");
        app.write_state_file();
        p.check(!test_env::read_file(app.m_state_file).empty(), "no state file written");

        p.check(fill(full + "/filler"), "the disk did not fill up");
        p.check(free_bytes(full) == 0, "the disk still has room");
        const Manifest before = fs_fixture::manifest(root);
        const int64_t size_a = allocated(a), size_b = allocated(b);
        CatState cat = render_test::category("npm", GroupKind::JavaScript, {});
        cat.def.path = full + "/cache";
        cat.items = {ticked(a, size_a), ticked(b, size_b)};
        app.m_cats = {cat};
        app.m_cats[0].items.push_back(ticked(keep, allocated(keep)));
        app.m_cats[0].items.back().selected = false;

        const int64_t free_before = free_bytes(full);
        app.do_clean();
        const int64_t free_after = free_bytes(full);
        check_clean(p, app, {a, b});
        p.check(exists(keep + "/blob0"), "the unticked entry went");
        p.check(app.m_freed_bytes == size_a + size_b, "freed is not the sum of the sizes");
        // Nobody else writes to this file system: the gain is exact.
        p.check(app.m_gained_bytes == free_after - free_before, "the gain is not what statvfs saw");
        p.check(app.m_gained_bytes == size_a + size_b, "the gain is not what was deleted");
        p.check(joined(fs_fixture::differences(before, fs_fixture::manifest(root),
                                               {key(t, a), key(t, b)})) == "",
                "something outside the selection changed");
        p.figure("freed", app.m_freed_bytes);
        p.figure("gained", app.m_gained_bytes);
        p.figure("statvfs", free_after - free_before);

        // The deletion made room: the state file now tells the truth.
        app.write_state_file();
        const std::string state_after = test_env::read_file(app.m_state_file);
        p.check(state_after.find("\tfreed=" + std::to_string(size_a + size_b) + "\tgained=" +
                                 std::to_string(app.m_gained_bytes) + "\t") != std::string::npos,
                "the state file does not carry the figures");

        // Full again: the next writes must fail and leave the files as they were.
        p.check(fill(full + "/filler2"), "the disk did not fill up again");
        SettingsStore::instance().mutable_get().theme = "light";
        SettingsStore::instance().save();
        p.check(test_env::read_file(settings) == settings_before,
                "the settings file changed on a full disk");
        p.check(!exists(settings + ".tmp"), "a half-written settings file was left behind");
        app.m_status_message = "something new to write";
        app.write_state_file();
        p.check(test_env::read_file(app.m_state_file) == state_after,
                "the state file changed on a full disk");
        p.check(!exists(app.m_state_file + ".part"), "a half-written state file was left behind");
        return p.out.str();
    });
    const Report r = read_report(c);
    ASSERT_EQ(r.code, 0) << "3: no small file system; 4: could not build the tree there";
    EXPECT_EQ(joined(r.problems), "");
    for (const auto& [k, v] : r.figures)
        std::printf("%s: %s\n", k.c_str(), v.c_str());
    EXPECT_EQ(r.figures.count("gained"), 1u);
}

TEST(DeleteFaults, ASelectionSpanningAFullDiskAndAnotherGoesAndCountsTheGainOfBoth) {
    test_env::TempHome t;
    const std::string full = t.path("full");
    const std::string other = t.path("disk");
    make_dir(full);
    make_dir(other);
    const std::string on_full = full + "/cache-a";
    const std::string on_disk = other + "/cache-b";
    for (const std::string& p : {on_full, on_disk}) {
        std::string why;
        ASSERT_TRUE(sealed::safe_to_delete(t.root(), p, why)) << p << ": " << why;
    }
    const std::string root = sealed::real(t.root());
    const sealed::ChildOutcome c = sealed::in_child([&](int& code) -> std::string {
        if ((code = mount_full_disk(root, full)) != 0)
            return "";
        // The other disk is a file system of the child's own as well: on the
        // test folder's disk, whatever else runs on the machine writes and
        // removes files while the deletion runs, and the gain the App reads
        // there would be exact only by luck. Here nobody else writes, so its
        // share of the gain can be held to the byte.
        if (mount("tmpfs", other.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "size=16m") != 0) {
            code = 3;
            return "";
        }
        Problems p;
        if (!make_blobs(on_full, 4) || !make_blobs(on_disk, 8)) {
            code = 4;
            return "";
        }
        make_tree(other + "/keep", 3);
        p.check(fill(full + "/filler"), "the disk did not fill up");
        p.check(free_bytes(full) == 0, "the disk still has room");
        p.check(free_bytes(other) > 0, "the other disk has no room");
        const Manifest before = fs_fixture::manifest(root);
        const int64_t size_full = allocated(on_full), size_disk = allocated(on_disk);
        CatState cat = render_test::category("npm", GroupKind::JavaScript, {});
        cat.def.path = root;
        cat.items = {ticked(on_full, size_full), ticked(on_disk, size_disk)};
        App app;
        app.m_cats = {cat};
        const int64_t full_before = free_bytes(full), disk_before = free_bytes(other);
        app.do_clean();
        const int64_t full_after = free_bytes(full), disk_after = free_bytes(other);
        check_clean(p, app, {on_full, on_disk});
        p.check(app.m_freed_bytes == size_full + size_disk, "freed is not the sum of the sizes");
        p.check(full_after - full_before == size_full, "the full disk did not gain its share");
        p.check(disk_after - disk_before == size_disk, "the other disk did not gain its share");
        p.check(app.m_gained_bytes == size_full + size_disk,
                "the gain is not what both disks gained together");
        p.check(joined(fs_fixture::differences(before, fs_fixture::manifest(root),
                                               {key(t, on_full), key(t, on_disk)})) == "",
                "something outside the selection changed");
        p.check(exists(other + "/keep/sub/inner"), "what stood beside the selection went");
        p.figure("freed", app.m_freed_bytes);
        p.figure("gained", app.m_gained_bytes);
        p.figure("size_full", size_full);
        p.figure("size_disk", size_disk);
        return p.out.str();
    });
    const Report r = read_report(c);
    ASSERT_EQ(r.code, 0) << "3: no small file system; 4: could not build the tree there";
    EXPECT_EQ(joined(r.problems), "");
    for (const auto& [k, v] : r.figures)
        std::printf("%s: %s\n", k.c_str(), v.c_str());
    ASSERT_EQ(r.figures.count("gained"), 1u);
    // Both disks gave back something, so the gain really is a sum of two.
    EXPECT_GT(std::stoll(r.figures.at("size_full")), 0);
    EXPECT_GT(std::stoll(r.figures.at("size_disk")), 0);
}

TEST(DeleteFaults, TheStateFileOnAFullDiskKeepsItsLastWholeFrameAndLeavesNoPieceBehind) {
    test_env::TempHome t;
    const std::string full = t.path("full");
    make_dir(full);
    const std::string root = sealed::real(t.root());
    const sealed::ChildOutcome c = sealed::in_child([&](int& code) -> std::string {
        if ((code = mount_full_disk(root, full)) != 0)
            return "";
        Problems p;
        App app;
        app.m_state_file = full + "/state.txt";
        app.m_status_message = "the last whole frame";
        app.write_state_file();
        const std::string last = test_env::read_file(app.m_state_file);
        p.check(last.find("the last whole frame") != std::string::npos, "no state file written");
        p.check(fill(full + "/filler"), "the disk did not fill up");
        app.m_status_message = "a frame that finds no room";
        app.write_state_file();
        p.check(test_env::read_file(app.m_state_file) == last,
                "the state file changed on a full disk");
        p.check(!exists(app.m_state_file + ".part"), "a piece of the new frame was left behind");
        return p.out.str();
    });
    const Report r = read_report(c);
    ASSERT_EQ(r.code, 0) << "3: no small file system";
    EXPECT_EQ(joined(r.problems), "");
}
