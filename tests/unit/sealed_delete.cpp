// See sealed_delete.h.
#include "sealed_delete.h"

#include "deletion_guard.h"
#include "sealed.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using shell_ops::DeleteResult;

namespace sealed {

namespace {

std::string encode_list(const std::vector<std::string>& v) {
    std::string out = std::to_string(v.size()) + "\n";
    for (const std::string& s : v)
        out += std::to_string(s.size()) + "\n" + s;
    return out;
}

std::vector<std::string> decode_list(const std::string& text, std::size_t& pos) {
    std::vector<std::string> v;
    auto number = [&]() {
        const std::size_t nl = text.find('\n', pos);
        const std::size_t n = std::stoul(text.substr(pos, nl - pos));
        pos = nl + 1;
        return n;
    };
    const std::size_t count = number();
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t len = number();
        v.push_back(text.substr(pos, len));
        pos += len;
    }
    return v;
}

} // namespace

std::string encode(const DeleteResult& r) {
    return encode_list(r.deleted) + encode_list({r.error}) +
           encode_list({std::to_string(r.failed_count)}) + encode_list(r.failed) +
           encode_list(r.failed_reasons);
}

bool decode(const std::string& text, DeleteResult& r) {
    try {
        std::size_t pos = 0;
        r.deleted = decode_list(text, pos);
        r.error = decode_list(text, pos).at(0);
        r.failed_count = std::stoi(decode_list(text, pos).at(0));
        r.failed = decode_list(text, pos);
        r.failed_reasons = decode_list(text, pos);
        return true;
    } catch (...) {
        return false;
    }
}

Sealed delete_sealed(const test_env::TempHome& t, const std::vector<std::string>& paths,
                     const Options& o) {
    Sealed sealed;
    if (!o.chrooted) {
        for (const std::string& p : paths) {
            std::string why;
            if (!safe_to_delete(t.root(), p, why)) {
                ADD_FAILURE() << "refusing to delete " << p << ": " << why;
                return sealed;
            }
        }
    }
    const std::string root = real(t.root());
    const ChildOutcome c = in_child([&](int& code) -> std::string {
        if (root.empty() || !seal_all_but(root)) {
            code = SEAL_FAILED;
            return "";
        }
        if (o.before && (code = o.before()) != 0)
            return "";
        if (o.chrooted) {
            // The mount table and the home are read while the real root is seen.
            deletion_guard::is_protected(root + "/x");
            if (chroot(root.c_str()) != 0 || chdir("/") != 0) {
                code = CHROOT_FAILED;
                return "";
            }
        }
        if (o.unprivileged && !become_unprivileged()) {
            code = DROP_FAILED;
            return "";
        }
        if (o.fd_limit) {
            struct rlimit lim {};
            getrlimit(RLIMIT_NOFILE, &lim);
            lim.rlim_cur = o.fd_limit;
            if (setrlimit(RLIMIT_NOFILE, &lim) != 0) {
                code = LIMIT_FAILED;
                return "";
            }
        }
        std::atomic<bool> stop{false};
        std::thread helper;
        if (o.during)
            helper = std::thread([&] { o.during(stop); });
        const DeleteResult r = shell_ops::delete_permanently(paths, o.last_check, o.step);
        stop = true;
        if (helper.joinable())
            helper.join();
        if (o.after)
            code = o.after();
        return encode(r);
    });
    sealed.code = c.exit_code;
    if (c.exit_code == SEAL_FAILED)
        ADD_FAILURE() << "could not seal the system read-only around the test folder; "
                         "nothing was deleted";
    else if (!decode(c.output, sealed.result) && c.exit_code == 0)
        ADD_FAILURE() << "the deleting child sent no result";
    return sealed;
}

DeleteResult delete_inside(const test_env::TempHome& t, const std::vector<std::string>& paths,
                           const Options& o) {
    const Sealed s = delete_sealed(t, paths, o);
    EXPECT_EQ(s.code, 0) << "the deleting child ended with " << s.code;
    if (s.code != 0) {
        DeleteResult failed;
        failed.failed_count = -1;
        return failed;
    }
    return s.result;
}

void give_to_nobody(const std::string& path) {
    if (geteuid() != 0)
        return;
    ASSERT_EQ(lchown(path.c_str(), NOBODY, NOGROUP), 0) << path;
}

void open_test_folder(const test_env::TempHome& t) {
    ASSERT_EQ(chmod(t.root().c_str(), 0755), 0);
}

} // namespace sealed
