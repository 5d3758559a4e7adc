#!/usr/bin/python3
'''The whole road of one deletion, driven through the real window the way a
person would drive it, on a private home full of leftovers whose every file
is recorded (checksum, link target, folder, mode) before the program starts:

  1. the first scan ends and every expected category is listed, with the
     size and entry count worked out here from the disk, independently;
  2. two entries ticked by hand in one category, "Safe ones" in another,
     "Delete permanently", confirmed in the dialog;
  3. exactly those entries are gone from the disk and from the lists, every
     other file of the home is unchanged, and the footer names the amount
     freed: what the deleted entries held, less a file also linked from
     outside them, as the disk's free space says;
  4. an entry inside a read-only folder cannot be deleted: the failure dialog
     appears, "Show the list" opens the manual page with that entry, and its
     button asks the stand-in file manager on the private bus to show it;
  5. settings: dark, Arabic (mirrored) and back to English, resetting the
     projects folder (which rescans), typing a file-manager command; the
     about page; each step on a screenshot;
  6. F5 rescans, Escape closes overlays, Page Down scrolls a long list.
Then the window is closed and the program must end with status 0.

What the window shows is read from the file the program writes after every
frame when QUILLET_STATE_FILE names one: hit targets, lists, footer text.

Safety: the program deletes for real here. It runs with HOME and every XDG
folder inside a folder made with mkdtemp, and, when this test runs as root,
as the user nobody (the program, its session bus and the stand-in file
manager alike), so that even a wrong deletion could reach nothing that
nobody may not write. The only folder this test removes is the one it made.

usage: deletion_road_test.py PATH_TO_QUILLET SCREENSHOT_DIR
(the screenshots of the last run are kept there, numbered in the order taken)

Sections: the fixture home and its manifest · the running program · the road.
'''

import hashlib
import json
import os
import shutil
import stat
import subprocess
import sys
import tempfile
import time
import urllib.parse

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, '..', 'dbus'))
from harness import wait_until  # noqa: E402  (the tests' shared polling)
DBUS_CONF = os.path.join(HERE, '..', 'dbus', 'session.conf')
FILE_MANAGER = os.path.join(HERE, '..', 'dbus', 'stand_ins', 'file_manager.py')
CLOSE_WINDOW = os.path.join(HERE, 'close_window.py')

NOBODY = 65534
LIGHT = (0xF2, 0xF1, 0xF4)
DARK = (0x1C, 0x1C, 0x1E)

# The program's actions as the state file numbers them (App::Act).
SELECT_OVERVIEW, SELECT_CATEGORY, SELECT_MANUAL, OPEN_MANUAL_ITEM = 1, 2, 3, 4
APP_MENU, SETTINGS_THEME, SETTINGS_LANG = 7, 8, 9
RESET_PROJECTS, EDIT_FILE_MANAGER = 11, 12
ABOUT, TOGGLE_ITEM, SELECT_ALL_SAFE, CLEAN, DIALOG_BUTTON, CLOSE_OVERLAY = 15, 17, 18, 22, 25, 27
OVERLAY_NONE, OVERLAY_DIALOG, OVERLAY_ABOUT, OVERLAY_SETTINGS = 0, 1, 2, 3
THEME_DARK, THEME_LIGHT = 102, 101
LANG_FIRST = 201
BUTTON_CLOSE, BUTTON_DELETE, BUTTON_SHOW_LIST = 0, 1, 3


class Failure(Exception):
    pass


def check(condition, message):
    if not condition:
        raise Failure(message)


# ---------------------------------------------------------------------------
# The fixture home
# ---------------------------------------------------------------------------

def write(path, size, seed):
    '''A file of `size` bytes whose content depends on the seed, so that a
    file swapped for another would show in the checksums.'''
    os.makedirs(os.path.dirname(path), exist_ok=True)
    block = hashlib.sha256(seed.encode()).digest() * 128  # 4 KiB
    with open(path, 'wb') as f:
        left = size
        while left > 0:
            f.write(block[:left])
            left -= len(block)


def build_home(home):
    '''Leftovers in several catalog rows, a projects tree, and things that
    are no leftovers at all (documents, source files) that must survive.'''
    j = os.path.join
    # npm cache and pip cache: one entry each (the folder itself).
    for i in range(6):
        write(j(home, '.npm/_cacache/content-v2/sha512', f'{i:02x}', 'blob'), 3000 + i * 5000,
              f'npm{i}')
    write(j(home, '.npm/_cacache/index-v5/aa/index'), 700, 'npmidx')
    for i in range(4):
        write(j(home, '.cache/pip/http/v2', f'p{i}'), 20000 + i * 9000, f'pip{i}')
    # A link from inside a cache to the user's documents: deleting the cache
    # must remove the link, never what it points to.
    write(j(home, 'Documents/notes.txt'), 5000, 'notes')
    write(j(home, 'Documents/thesis/chapter1.tex'), 40000, 'thesis')
    os.symlink(j(home, 'Documents'), j(home, '.cache/pip/docs-link'))
    # Gradle caches: 45 entries, so that the list is longer than a page.
    for i in range(45):
        write(j(home, '.gradle/caches', f'cache-{i:02d}', 'files.bin'), 2000 + i * 3000,
              f'gradle{i}')
        write(j(home, '.gradle/caches', f'cache-{i:02d}', 'meta/descriptor'), 300, f'gm{i}')
    # Rust toolchains: a cautious row with a kept newest version.
    for v in ('1.70.0', '1.75.0', '1.80.1'):
        write(j(home, '.rustup/toolchains', v + '-x86_64-unknown-linux-gnu', 'lib/librustc.so'),
              60000, 'rust' + v)
    # Cargo registry: all safe. One file is a hard link to a document: the
    # deletion removes this name only, the document stays as it was.
    write(j(home, '.cargo/registry/cache/index.crates.io/serde-1.0.0.crate'), 30000, 'serde')
    write(j(home, '.cargo/registry/index/index.crates.io/config.json'), 200, 'cfg')
    write(j(home, '.cargo/registry/src/index.crates.io/serde-1.0.0/src/lib.rs'), 90000, 'lib')
    write(j(home, 'Documents/shared-with-cargo.txt'), 12000, 'hard')
    os.link(j(home, 'Documents/shared-with-cargo.txt'),
            j(home, '.cargo/registry/cache/index.crates.io/linked.crate'))
    # npm logs in a folder nobody may write to: these cannot be deleted here.
    for i in range(3):
        write(j(home, '.npm/_logs', f'2026-11-2{i}T10_00_00_000Z-debug-0.log'), 1500 + i * 400,
              f'log{i}')
    # Projects: dependency folders, build output, bytecode, a virtual env.
    write(j(home, 'projects/webapp/package.json'), 400, 'pkg')
    write(j(home, 'projects/webapp/src/index.js'), 2500, 'index')
    for i in range(5):
        write(j(home, 'projects/webapp/node_modules', f'mod{i}', 'index.js'), 8000 + i * 1000,
              f'mod{i}')
    write(j(home, 'projects/api/node_modules/express/index.js'), 22000, 'express')
    write(j(home, 'projects/api/server.js'), 1800, 'server')
    write(j(home, 'projects/app/build/classes/Main.class'), 16000, 'main')
    write(j(home, 'projects/app/src/Main.java'), 3000, 'java')
    write(j(home, 'projects/tool/__pycache__/tool.cpython-311.pyc'), 7000, 'pyc')
    write(j(home, 'projects/tool/tool.py'), 1200, 'tool')
    write(j(home, 'projects/py/.venv/lib/site.py'), 25000, 'venv')
    write(j(home, 'projects/py/.venv/pyvenv.cfg'), 60, 'pyvenv')
    os.symlink('../app', j(home, 'projects/webapp/app-link'))


def make_read_only(home):
    os.chmod(os.path.join(home, '.npm/_logs'), 0o555)


def measure(path):
    '''What the program counts for an entry: allocated blocks x 512 of the
    entry and everything below it, links not followed and not counted, a
    file with several names counted once per measurement.'''
    st = os.lstat(path)
    if stat.S_ISLNK(st.st_mode):
        return 0
    total = st.st_blocks * 512
    if not stat.S_ISDIR(st.st_mode):
        return total
    seen = set()
    for dirpath, dirnames, filenames in os.walk(path):
        for name in dirnames + filenames:
            s = os.lstat(os.path.join(dirpath, name))
            if stat.S_ISLNK(s.st_mode):
                continue
            if stat.S_ISDIR(s.st_mode) or s.st_nlink < 2:
                total += s.st_blocks * 512
            elif (s.st_dev, s.st_ino) not in seen:
                seen.add((s.st_dev, s.st_ino))
                total += s.st_blocks * 512
    return total


def will_free(paths):
    '''What deleting these entries together gives back: everything in them,
    a file with several names once, and only when all of its names are among
    them (a file also linked from elsewhere stays on the disk).'''
    total = 0
    names = {}  # (dev, ino) -> [names seen, links, bytes]
    for path in paths:
        if not os.path.isdir(path) or os.path.islink(path):
            raise AssertionError(f'{path}: the entries ticked here are folders')
        for dirpath, dirnames, filenames in os.walk(path):
            for name in [''] + dirnames + filenames:
                p = os.path.join(dirpath, name) if name else dirpath
                if not name and dirpath != path:
                    continue  # a folder is counted as a name of its parent
                s = os.lstat(p)
                if stat.S_ISLNK(s.st_mode):
                    continue
                if stat.S_ISDIR(s.st_mode) or s.st_nlink < 2:
                    total += s.st_blocks * 512
                else:
                    seen = names.setdefault((s.st_dev, s.st_ino), [0, s.st_nlink, s.st_blocks * 512])
                    seen[0] += 1
    return total + sum(b for seen, links, b in names.values() if seen >= links)


def expected_categories(home):
    '''id -> {path: size}, worked out from the disk the way each catalog row
    lists its folder.'''
    j = os.path.join

    def children(folder, dirs_only):
        out = {}
        for name in os.listdir(folder):
            p = j(folder, name)
            st = os.lstat(p)
            if name.startswith('.') or stat.S_ISLNK(st.st_mode):
                continue
            if dirs_only and not stat.S_ISDIR(st.st_mode):
                continue
            out[p] = measure(p)
        return out

    def whole(folder):
        return {folder: measure(folder)}

    def found(*rel):
        return {j(home, r): measure(j(home, r)) for r in rel}

    return {
        'npmCache': whole(j(home, '.npm/_cacache')),
        'pipCache': whole(j(home, '.cache/pip')),
        'gradleCaches': children(j(home, '.gradle/caches'), True),
        'rustupToolchains': children(j(home, '.rustup/toolchains'), True),
        'cargoRegistry': children(j(home, '.cargo/registry'), True),
        'npmLogs': children(j(home, '.npm/_logs'), False),
        'nodeModules': found('projects/webapp/node_modules', 'projects/api/node_modules'),
        'buildDirs': found('projects/app/build'),
        'pycache': found('projects/tool/__pycache__'),
        'venvs': found('projects/py/.venv'),
    }


def manifest(home):
    '''Every path below the home: ('dir', mode), ('file', mode, sha256) or
    ('link', target).'''
    out = {}
    for dirpath, dirnames, filenames in os.walk(home):
        for name in dirnames + filenames:
            p = os.path.join(dirpath, name)
            rel = os.path.relpath(p, home)
            st = os.lstat(p)
            mode = stat.S_IMODE(st.st_mode)
            if stat.S_ISLNK(st.st_mode):
                out[rel] = ('link', os.readlink(p))
            elif stat.S_ISDIR(st.st_mode):
                out[rel] = ('dir', mode)
            elif stat.S_ISREG(st.st_mode):
                with open(p, 'rb') as f:
                    out[rel] = ('file', mode, hashlib.sha256(f.read()).hexdigest())
            else:
                out[rel] = ('other', stat.S_IFMT(st.st_mode))
    return out


# What the program may write in the home, nothing else: its settings and its
# window geometry (each written to a ".tmp" name first and renamed), and
# fontconfig's cache, which the font library writes when the machine's own
# font cache is out of date.
ALLOWED_FILES = ('.config/Quillet/settings.json', '.config/Quillet/geometry.json')
ALLOWED_TREES = ('.cache/fontconfig',)


def allowed(rel):
    return rel in ALLOWED_FILES or any(rel == t or rel.startswith(t + '/') for t in ALLOWED_TREES)


def compare_manifest(before, after, deleted_rel, home):
    '''The home now must be the one before minus exactly the deleted entries
    (with everything below them), apart from the allowed files.'''
    def gone(rel):
        return any(rel == d or rel.startswith(d + '/') for d in deleted_rel)

    expected = {k: v for k, v in before.items() if not gone(k) and not allowed(k)}
    actual = {k: v for k, v in after.items() if not allowed(k)}
    missing = sorted(set(expected) - set(actual))
    extra = sorted(set(actual) - set(expected))
    changed = sorted(k for k in set(expected) & set(actual) if expected[k] != actual[k])
    check(not missing, f'files that should still be in {home} are gone: {missing[:10]}')
    check(not extra, f'unexpected files in {home} (not deleted, or new): {extra[:10]}')
    check(not changed, f'files changed in {home}: {[(k, expected[k], actual[k]) for k in changed[:5]]}')
    for d in deleted_rel:
        check(not os.path.lexists(os.path.join(home, d)), f'{d} is still on disk')
    return sorted(k for k in after if allowed(k))


# ---------------------------------------------------------------------------
# The running program
# ---------------------------------------------------------------------------

class State:
    def __init__(self, text):
        self.fields = {}
        self.targets = []
        self.cats = {}
        self.items = []
        self.manual = []
        self.langs = {}
        self.panes = {}
        for line in text.split('\n'):
            if not line:
                continue
            parts = [self.unescape(p) for p in line.split('\t')]
            kind = parts[0]
            if kind == 'state':
                for p in parts[1:]:
                    k, _, v = p.partition('=')
                    self.fields[k] = v
            elif kind == 'target':
                act, index = int(parts[1]), int(parts[2])
                x, y, w, h = (float(v) for v in parts[3:7])
                self.targets.append((act, index, x, y, w, h))
            elif kind == 'cat':
                self.cats[parts[2]] = {'index': int(parts[1]), 'total': int(parts[3]),
                                       'entries': int(parts[4]), 'did_scan': parts[5] == '1'}
            elif kind == 'item':
                self.items.append({'index': int(parts[1]), 'path': parts[2],
                                   'selected': parts[3] == '1', 'size': int(parts[4]),
                                   'safety': int(parts[5]),
                                   'reasons': parts[6] if len(parts) > 6 else ''})
            elif kind == 'manual':
                self.manual.append({'index': int(parts[1]), 'path': parts[2],
                                    'detail': parts[3]})
            elif kind == 'lang':
                self.langs[parts[2]] = int(parts[1])
            elif kind == 'pane':
                self.panes[parts[1]] = tuple(float(v) for v in parts[2:6])

    @staticmethod
    def unescape(s):
        out, i = [], 0
        while i < len(s):
            if s[i] == '\\' and i + 1 < len(s):
                out.append({'t': '\t', 'n': '\n', '\\': '\\'}.get(s[i + 1], s[i + 1]))
                i += 2
            else:
                out.append(s[i])
                i += 1
        return ''.join(out)

    def num(self, key):
        return float(self.fields[key])

    def int(self, key):
        return int(self.fields[key])

    def find(self, act, index=None):
        return [t for t in self.targets if t[0] == act and (index is None or t[1] == index)]

    def pane_of(self, x, y):
        for name, (px, py, pw, ph) in self.panes.items():
            if px <= x < px + pw and py <= y < py + ph:
                return (px, py, pw, ph)
        return None

    def inside_pane(self, t):
        '''Whether the target lies wholly inside one pane of the layout.'''
        p = self.pane_of(t[2] + 1, t[3] + 1)
        return p is not None and t[2] >= p[0] and t[3] >= p[1] and \
            t[2] + t[4] <= p[0] + p[2] and t[3] + t[5] <= p[1] + p[3]

    def hit(self, x, y):
        '''The target a click at (x, y) lands on: the last registered one
        that contains the point, edges included, as the program decides.'''
        found = None
        for t in self.targets:
            if t[2] <= x <= t[2] + t[4] and t[3] <= y <= t[3] + t[5]:
                found = t
        return found


class Session:
    def __init__(self, app, shots, root):
        self.app = app
        self.shots = shots
        self.root = root
        self.home = os.path.join(root, 'home')
        self.state_file = os.path.join(root, 'state', 'frame.tsv')
        self.procs = []
        self.drop = []
        if os.geteuid() == 0:
            # Only the program and its services give up root; the test keeps
            # it to set up the home and read the screen.
            self.drop = ['setpriv', '--reuid=%d' % NOBODY, '--regid=%d' % NOBODY,
                         '--clear-groups', '--no-new-privs']
        self.env = {
            'PATH': '/usr/bin:/bin',
            'HOME': self.home,
            'XDG_CONFIG_HOME': os.path.join(self.home, '.config'),
            'XDG_CACHE_HOME': os.path.join(self.home, '.cache'),
            'XDG_DATA_HOME': os.path.join(self.home, '.local', 'share'),
            'XDG_STATE_HOME': os.path.join(self.home, '.local', 'state'),
            'XDG_RUNTIME_DIR': os.path.join(root, 'runtime'),
            # The machine's own desktop files and defaults stay out of reach.
            'XDG_DATA_DIRS': os.path.join(root, 'sys-data'),
            'XDG_CONFIG_DIRS': os.path.join(root, 'sys-config'),
            'LANG': 'C.UTF-8',
            'NO_AT_BRIDGE': '1',
            'GSETTINGS_BACKEND': 'memory',
            'GDK_BACKEND': 'x11',
            'QUILLET_STATE_FILE': self.state_file,
        }
        self.win = None
        self.win_x = self.win_y = 0
        self.app_proc = None
        self.shot_index = 0

    # --- processes ---

    def spawn(self, argv, **kw):
        p = subprocess.Popen(self.drop + argv, env=self.env, **kw)
        self.procs.append(p)
        return p

    def start_display(self):
        read_end, write_end = os.pipe()
        self.xvfb = subprocess.Popen(
            ['Xvfb', '-displayfd', str(write_end), '-nolisten', 'tcp', '-noreset', '-screen', '0',
             '1280x800x24'], pass_fds=(write_end,), stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        self.procs.append(self.xvfb)
        os.close(write_end)
        with os.fdopen(read_end) as f:
            number = f.readline().strip()
        check(number, 'Xvfb did not start')
        self.env['DISPLAY'] = ':' + number
        os.environ['DISPLAY'] = ':' + number

    def start_bus(self):
        # A bus of the test's own that starts no service by itself, so that
        # the only file manager on it is the stand-in.
        bus = self.spawn(['dbus-daemon', '--config-file=' + DBUS_CONF, '--nofork',
                          '--print-address=1'], stdout=subprocess.PIPE, text=True)
        address = bus.stdout.readline().strip()
        check(address, 'the private session bus did not start')
        self.env['DBUS_SESSION_BUS_ADDRESS'] = address
        self.spawn(['/usr/bin/python3', '-m', 'dbusmock', '--session', '--template',
                    FILE_MANAGER, '-p', '{}'], stdout=subprocess.DEVNULL,
                   stderr=open(os.path.join(self.root, 'file-manager.log'), 'w'))
        check(wait_until(lambda: self.file_manager_calls() is not None, 10),
              'the stand-in file manager did not answer on the private bus within 10 s')

    def file_manager_calls(self):
        '''(method, [arguments]) of every call the stand-in received, asked
        on the bus as the bus's own user; None when it does not answer.'''
        code = ('import dbus, json\n'
                'o = dbus.SessionBus().get_object("org.freedesktop.FileManager1",'
                ' "/org/freedesktop/FileManager1")\n'
                'calls = dbus.Interface(o, "org.freedesktop.DBus.Mock").GetCalls()\n'
                'print(json.dumps([[str(m), [[str(u) for u in a] if isinstance(a, list)'
                ' else str(a) for a in args]] for _, m, args in calls]))\n')
        done = subprocess.run(self.drop + ['/usr/bin/python3', '-c', code], env=self.env,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                              timeout=10, check=False)
        if done.returncode != 0:
            return None
        return json.loads(done.stdout)

    def start_app(self):
        # The last line of defence before a program that deletes for real
        # starts: its home must be the temporary one, never the real one.
        real_home = os.path.realpath(os.path.expanduser('~'))
        home = os.path.realpath(self.env['HOME'])
        root = os.path.realpath(self.root)
        check(home.startswith(root + os.sep), f'HOME {home} is not inside {root}')
        check(home != real_home and not real_home.startswith(home + os.sep),
              f'HOME {home} is the real home or holds it')
        for k, v in self.env.items():
            if k.startswith('XDG_') and k not in ('XDG_DATA_DIRS', 'XDG_CONFIG_DIRS'):
                check(os.path.realpath(v).startswith(root + os.sep), f'{k}={v} is outside {root}')
        self.app_proc = self.spawn([self.app], stdout=open(os.path.join(self.root, 'app.log'), 'w'),
                                   stderr=subprocess.STDOUT)
        if self.drop:
            uid = wait_until(lambda: self.uid_of(self.app_proc.pid) == NOBODY, 5)
            check(uid, f'the program does not run as nobody (uid {self.uid_of(self.app_proc.pid)})')

        def window():
            out = subprocess.run(['xdotool', 'search', '--onlyvisible', '--pid',
                                  str(self.app_proc.pid)], stdout=subprocess.PIPE,
                                 stderr=subprocess.DEVNULL, text=True).stdout.split()
            check(self.app_proc.poll() is None,
                  'the program ended before showing a window: ' + self.log())
            return out[0] if out else None
        self.win = wait_until(window, 10)
        check(self.win, 'no window appeared within 10 seconds')
        geo = subprocess.run(['xwininfo', '-id', self.win], stdout=subprocess.PIPE,
                             text=True).stdout
        for line in geo.splitlines():
            if 'Absolute upper-left X:' in line:
                self.win_x = int(line.split()[-1])
            if 'Absolute upper-left Y:' in line:
                self.win_y = int(line.split()[-1])

    @staticmethod
    def uid_of(pid):
        try:
            with open(f'/proc/{pid}/status') as f:
                for line in f:
                    if line.startswith('Uid:'):
                        return int(line.split()[2])  # effective
        except OSError:
            return None
        return None

    def log(self):
        try:
            with open(os.path.join(self.root, 'app.log'), errors='replace') as f:
                return f.read()[-2000:]
        except OSError:
            return ''

    def close_app(self):
        '''Asks the window to close, again each second as a person would
        click the close button again; returns the exit status.'''
        deadline = time.monotonic() + 5
        next_request = 0
        while time.monotonic() < deadline:
            if time.monotonic() >= next_request:
                subprocess.run(['/usr/bin/python3', CLOSE_WINDOW, self.win],
                               stderr=subprocess.DEVNULL, check=False)
                next_request = time.monotonic() + 1
            status = self.app_proc.poll()
            if status is not None:
                return status
            time.sleep(0.05)
        raise Failure('the program did not end within 5 s of the close request')

    def stop_all(self):
        for p in reversed(self.procs):
            if p.poll() is None:
                p.terminate()
                try:
                    p.wait(5)
                except subprocess.TimeoutExpired:
                    p.kill()
                    p.wait()

    # --- reading the window ---

    def state(self):
        try:
            with open(self.state_file, encoding='utf-8') as f:
                return State(f.read())
        except FileNotFoundError:
            return None

    def wait_state(self, predicate, what, timeout=10):
        '''Polls the frame file until predicate(state) holds; fails naming
        what was awaited and what the last frame said.'''
        last = [None]

        def probe():
            check(self.app_proc.poll() is None,
                  f'the program ended (status {self.app_proc.poll()}) while waiting for {what}: '
                  + self.log())
            s = self.state()
            last[0] = s
            return s is not None and predicate(s)
        if not wait_until(probe, timeout):
            fields = last[0].fields if last[0] else None
            raise Failure(f'{what}: not seen within {timeout} s; last frame said {fields}')
        return last[0]

    def shot(self, name):
        self.shot_index += 1
        path = os.path.join(self.shots, f'{self.shot_index:02d}-{name}.png')
        subprocess.run(['import', '-window', 'root', path], check=True)
        return path

    def window_colour_share(self, png, colour):
        '''Share of the window's pixels in the given colour.'''
        s = self.state()
        w, h = int(s.num('width')), int(s.num('height'))
        hist = subprocess.run(['convert', png, '-crop', f'{w}x{h}+{self.win_x}+{self.win_y}',
                               '+repage', '-format', '%c', 'histogram:info:-'],
                              stdout=subprocess.PIPE, text=True, check=True).stdout
        want = '#%02X%02X%02X' % colour
        count = 0
        for line in hist.splitlines():
            if f' {want} ' in line or line.rstrip().endswith(f' {want}'):
                count += int(line.split(':')[0])
        return count / (w * h)

    # --- input ---

    def click(self, act, index=0, what=None):
        '''Clicks a target of the current frame at a point where no later
        target lies on top of it, so the click means this target.'''
        s = self.state()
        found = s.find(act, index)
        check(found, f'{what or (act, index)}: no such target in the frame '
              f'(overlay={s.fields.get("overlay")}, selection={s.fields.get("selection")})')
        t = found[-1]
        _, _, x, y, w, h = t
        # A row cut by its pane's edge keeps its whole rectangle as a target,
        # though only the part inside the pane can be seen: click there.
        # Overlays lie over every pane.
        left, top, right, bottom = 0, 0, s.num('width'), s.num('height')
        pane = s.pane_of(x + 1, y + 1) if s.int('overlay') == OVERLAY_NONE else None
        if pane:
            left, top = pane[0], pane[1]
            right, bottom = pane[0] + pane[2], pane[1] + pane[3]
        cx, cy = x + w / 2, y + h / 2
        points = []
        step = 3
        yy = y + 1
        while yy < y + h - 1:
            xx = x + 1
            while xx < x + w - 1:
                if left <= xx < right and top <= yy < bottom:
                    points.append((abs(xx - cx) + abs(yy - cy), xx, yy))
                xx += step
            yy += step
        for _, px, py in sorted(points):
            if s.hit(px, py) == t:
                subprocess.run(['xdotool', 'mousemove', '--window', self.win, str(int(px)),
                                str(int(py)), 'click', '1'], check=True)
                return t
        raise Failure(f'{what or (act, index)}: the target {t} is covered or off the window')

    def scroll_sidebar(self, down):
        '''One wheel step over the sidebar; False when it did not move.'''
        s = self.state()
        x, y, w, h = s.panes['sidebar']
        before = s.num('sidebar_scroll')
        subprocess.run(['xdotool', 'mousemove', '--window', self.win, str(int(x + w / 2)),
                        str(int(y + h / 2)), 'click', '5' if down else '4'], check=True)
        return wait_until(lambda: self.state().num('sidebar_scroll') != before, 1)

    def sidebar_rows(self):
        '''The categories whose sidebar rows can be seen whole, scrolling the
        sidebar from its top to its end.'''
        while self.scroll_sidebar(False):
            pass
        seen = set()
        while True:
            s = self.state()
            seen |= {t[1] for t in s.find(SELECT_CATEGORY) if s.inside_pane(t)}
            if not self.scroll_sidebar(True):
                return seen

    def show_in_sidebar(self, index):
        '''Scrolls the sidebar until the category's row can be seen whole.'''
        for down in (True, False):
            for _ in range(40):
                s = self.state()
                if any(s.inside_pane(t) for t in s.find(SELECT_CATEGORY, index)):
                    return
                if not self.scroll_sidebar(down):
                    break
        raise Failure(f'the sidebar row of category {index} cannot be scrolled into view')

    # Keys go through the X server's test extension to the focused window,
    # as a keyboard's would: GTK does not take key events sent to a window
    # directly (xdotool --window) as typing.
    def focus(self):
        subprocess.run(['xdotool', 'windowfocus', '--sync', self.win], check=True,
                       stderr=subprocess.DEVNULL)

    def key(self, *keys):
        self.focus()
        subprocess.run(['xdotool', 'key', *keys], check=True)

    def type_text(self, text):
        self.focus()
        subprocess.run(['xdotool', 'type', '--delay', '30', text], check=True)


def fmt_bytes(n):
    '''The footer's size format: 1024-based, whole numbers below a megabyte,
    two decimals above.'''
    units = ['B', 'KB', 'MB', 'GB', 'TB', 'PB']
    v, unit = float(max(n, 0)), 0
    while v >= 1024 and unit < 5:
        v /= 1024
        unit += 1
    return f'{v:.{0 if unit < 2 else 2}f} {units[unit]}'


def empty_shots(shots):
    '''Makes the screenshot folder, without the pictures of the last run, so
    that every picture in it was taken by this one.'''
    os.makedirs(shots, exist_ok=True)
    for old in os.listdir(shots):
        if old.endswith('.png'):
            os.remove(os.path.join(shots, old))


def remove_own_root(root, prefix):
    '''Removes a test's temporary root, and only when it is what the test
    made: a folder directly in the temporary folder whose name starts with
    the test's prefix. A root that resolves anywhere else is left alone.'''
    base = os.path.realpath(tempfile.gettempdir())
    real = os.path.realpath(root)
    if os.path.dirname(real) == base and os.path.basename(real).startswith(prefix):
        shutil.rmtree(real, ignore_errors=True)


def read_settings(home):
    with open(os.path.join(home, '.config/Quillet/settings.json'), encoding='utf-8') as f:
        return json.load(f)


# ---------------------------------------------------------------------------
# The road
# ---------------------------------------------------------------------------

def run(app, shots):
    started = time.monotonic()
    empty_shots(shots)
    root = tempfile.mkdtemp(prefix='quillet-e2e-road-')
    s = Session(app, shots, root)
    home = s.home
    try:
        for d in ('home/.config/Quillet', 'home/.cache', 'home/.local/share', 'runtime', 'state',
                  'sys-data', 'sys-config'):
            os.makedirs(os.path.join(root, d), exist_ok=True)
        os.chmod(os.path.join(root, 'runtime'), 0o700)
        build_home(home)
        projects = os.path.join(home, 'projects')
        with open(os.path.join(home, '.config/Quillet/settings.json'), 'w') as f:
            json.dump({'language': 'auto', 'theme': 'light', 'projects_root': projects,
                       'file_manager_command': ''}, f)
        # GTK's own settings say light: the machine's never decide a colour.
        os.makedirs(os.path.join(home, '.config/gtk-3.0'))
        with open(os.path.join(home, '.config/gtk-3.0/settings.ini'), 'w') as f:
            f.write('[Settings]\ngtk-theme-name=Adwaita\n'
                    'gtk-application-prefer-dark-theme=false\n')
        if s.drop:
            for dirpath, dirnames, filenames in os.walk(root):
                for name in dirnames + filenames:
                    os.lchown(os.path.join(dirpath, name), NOBODY, NOBODY)
            os.lchown(root, NOBODY, NOBODY)
        make_read_only(home)
        expected = expected_categories(home)
        before = manifest(home)

        s.start_display()
        s.start_bus()
        s.start_app()

        # --- 1. the scan ends; the lists hold what the disk holds ---
        st = s.wait_state(lambda x: x.fields.get('scanning') == '0' and x.int('scans') >= 1
                          and x.cats and all(c['did_scan'] for c in x.cats.values()),
                          'the first scan to end', 20)
        check(st.int('width') == 1100 and st.int('height') == 720,
              f'the window is {st.fields["width"]}x{st.fields["height"]}, expected 1100x720')
        png = s.shot('overview-light')
        check(s.window_colour_share(png, LIGHT) > 0.05 and s.window_colour_share(png, DARK) == 0,
              f'the overview is not in the light window colour #F2F1F4 ({png})')
        shown = {k: v for k, v in st.cats.items() if v['entries'] > 0}
        check(set(shown) == set(expected),
              f'categories with entries are {sorted(shown)}, expected {sorted(expected)}')
        in_sidebar = s.sidebar_rows()
        for cid, items in expected.items():
            c = st.cats[cid]
            total = sum(v for v in items.values() if v > 0)
            check(c['entries'] == len(items),
                  f'{cid}: {c["entries"]} entries listed, the disk has {len(items)}')
            check(c['total'] == total, f'{cid}: {c["total"]} bytes listed, the disk has {total}')
            check(c['index'] in in_sidebar, f'{cid} is not in the sidebar')
        sidebar = st.find(SELECT_CATEGORY)
        check(all(t[2] + t[4] < 1100 / 2 for t in sidebar),
              'in English the sidebar is not on the left half')
        print(f'1. scan done: {len(shown)} categories, sizes and counts as on disk')

        # --- 2. tick two by hand, "Safe ones" in another, delete, confirm ---
        def open_category(cid, want=None):
            want = expected[cid] if want is None else want
            s.show_in_sidebar(s.state().cats[cid]['index'])
            s.click(SELECT_CATEGORY, s.state().cats[cid]['index'], f'sidebar row {cid}')
            s.wait_state(lambda x: x.fields['selection'] == cid and len(x.items) > 0
                         and x.find(TOGGLE_ITEM), f'the page of {cid}')
            st = s.state()
            listed = {i['path']: i['size'] for i in st.items}
            check(listed == want,
                  f'{cid} lists {sorted(listed.items())}, the disk has {sorted(want.items())}')
            return st

        st = open_category('gradleCaches')
        picked = [st.items[1], st.items[3]]
        for it in picked:
            s.click(TOGGLE_ITEM, it['index'], f'the row of {it["path"]}')
            s.wait_state(lambda x, p=it['path']: any(i['path'] == p and i['selected']
                                                     for i in x.items),
                         f'{it["path"]} ticked')
        st = s.wait_state(lambda x: x.int('selected_count') == 2, 'two entries ticked')
        check(sum(1 for i in st.items if i['selected']) == 2,
              'other entries than the two clicked are ticked')
        s.shot('category-two-ticked')

        st = open_category('cargoRegistry')
        s.click(SELECT_ALL_SAFE, 0, '"Safe ones"')
        st = s.wait_state(lambda x: x.int('selected_count') == 2 + len(expected['cargoRegistry']),
                          '"Safe ones" ticking the whole safe category')
        check(all(i['selected'] for i in st.items), '"Safe ones" left a safe entry unticked')
        to_delete = {it['path']: it['size'] for it in picked}
        to_delete.update(expected['cargoRegistry'])
        # One file of the cargo registry is also linked from Documents: it
        # stays on the disk, and the selection does not count it.
        freed = will_free(list(to_delete))
        check(freed < sum(v for v in to_delete.values() if v > 0),
              'the fixture\'s file linked from outside the selection was counted as freed')
        check(st.int('selected_size') == freed,
              f'selected_size={st.fields["selected_size"]}, the ticked entries free {freed}')
        s.shot('category-safe-ones')

        s.click(CLEAN, 0, '"Delete permanently"')
        st = s.wait_state(lambda x: x.int('overlay') == OVERLAY_DIALOG,
                          'the confirmation dialog')
        check(st.find(DIALOG_BUTTON, BUTTON_DELETE) and st.find(DIALOG_BUTTON, BUTTON_CLOSE),
              'the confirmation dialog lacks "Delete permanently" or "Cancel"')
        s.shot('confirm-dialog')
        # Nothing has gone before the confirmation.
        check(all(os.path.lexists(p) for p in to_delete), 'an entry went before confirming')
        s.click(DIALOG_BUTTON, BUTTON_DELETE, 'the dialog\'s "Delete permanently"')
        st = s.wait_state(lambda x: x.int('overlay') == OVERLAY_NONE and x.fields['cleaning'] == '0'
                          and x.int('freed') > 0, 'the deletion to end', 15)
        print(f'2. ticked {len(picked)} by hand and {len(expected["cargoRegistry"])} as safe ones,'
              ' deleted after confirming')

        # --- 3. exactly those are gone, the rest unchanged, the footer tells ---
        deleted_rel = [os.path.relpath(p, home) for p in to_delete]
        changed = compare_manifest(before, manifest(home), deleted_rel, home)
        check(st.int('freed') == freed, f'freed={st.fields["freed"]}, the deleted entries held {freed}')
        # The footer names what the disk gained when that could be read,
        # else what was expected.
        gained = st.int('gained')
        shown = fmt_bytes(max(gained, 0)) if gained >= 0 else fmt_bytes(freed)
        check(shown in st.fields['status'] and 'freed' in st.fields['status'],
              f'the footer says "{st.fields["status"]}", expected it to name {shown} freed')
        check(st.int('selected_count') == 0, 'entries are still ticked after the deletion')
        check(not st.items, 'the emptied category still lists entries')
        check(st.cats['cargoRegistry']['entries'] == 0, 'the cargo registry row still has entries')
        g = st.cats['gradleCaches']
        check(g['entries'] == 43 and g['total'] == sum(expected['gradleCaches'].values()) -
              sum(it['size'] for it in picked), f'the Gradle row after the deletion: {g}')
        for cid in expected:
            if cid not in ('gradleCaches', 'cargoRegistry'):
                total = sum(expected[cid].values())
                check(st.cats[cid]['total'] == total and
                      st.cats[cid]['entries'] == len(expected[cid]),
                      f'{cid} changed although nothing of it was ticked: {st.cats[cid]}')
        s.click(SELECT_CATEGORY, st.cats['gradleCaches']['index'], 'sidebar row gradleCaches')
        st = s.wait_state(lambda x: x.fields['selection'] == 'gradleCaches' and x.items,
                          'the Gradle page again')
        listed = {i['path'] for i in st.items}
        check(len(listed) == 43 and not listed & set(to_delete),
              'the Gradle page still lists a deleted entry')
        s.shot('after-deletion')
        print(f'3. exactly {len(to_delete)} entries gone, {len(before) - len(deleted_rel)} other '
              f'paths checked unchanged, footer "{st.fields["status"]}"; changed by the program: '
              f'{changed}')

        # --- 4. an entry that cannot be deleted; the manual page ---
        st = open_category('npmLogs')
        stuck = st.items[0]
        s.click(TOGGLE_ITEM, stuck['index'], f'the row of {stuck["path"]}')
        s.wait_state(lambda x: x.int('selected_count') == 1, 'the log entry ticked')
        s.click(CLEAN, 0, '"Delete permanently"')
        s.wait_state(lambda x: x.int('overlay') == OVERLAY_DIALOG, 'the confirmation dialog')
        s.click(DIALOG_BUTTON, BUTTON_DELETE, 'the dialog\'s "Delete permanently"')
        st = s.wait_state(lambda x: x.int('overlay') == OVERLAY_DIALOG and x.fields['cleaning'] == '0'
                          and x.find(DIALOG_BUTTON, BUTTON_SHOW_LIST),
                          'the failure dialog with "Show the list"', 15)
        check(st.int('freed') == 0, f'freed={st.fields["freed"]} although nothing was deleted')
        check('freed' not in st.fields['status'],
              f'the footer claims a freed amount: "{st.fields["status"]}"')
        check(os.path.exists(stuck['path']), 'the entry in the read-only folder is gone')
        s.shot('failure-dialog')
        s.click(DIALOG_BUTTON, BUTTON_SHOW_LIST, '"Show the list"')
        st = s.wait_state(lambda x: x.int('overlay') == OVERLAY_NONE
                          and x.fields['selection'] == '__manual__', 'the "Remove manually" page')
        check([m['path'] for m in st.manual] == [stuck['path']],
              f'the manual list is {[m["path"] for m in st.manual]}, expected {stuck["path"]}')
        s.shot('manual-page')
        s.click(OPEN_MANUAL_ITEM, 0, '"Show in file manager"')
        uri = 'file://' + urllib.parse.quote(stuck['path'])
        calls = wait_until(lambda: s.file_manager_calls(), 5)
        check(calls, 'the stand-in file manager received no call')
        check(calls == [['ShowItems', [[uri], '']]],
              f'the file manager was asked {calls}, expected ShowItems [{uri}]')
        compare_manifest(before, manifest(home), deleted_rel, home)
        print(f'4. {stuck["path"]} could not be deleted; failure dialog, manual page, file manager '
              f'asked ShowItems {uri}')

        # --- 5. settings and the about page ---
        s.click(APP_MENU, 0, '"Settings"')
        s.wait_state(lambda x: x.int('overlay') == OVERLAY_SETTINGS, 'the settings page')
        s.shot('settings-light')
        s.click(SETTINGS_THEME, THEME_DARK, '"Dark"')
        s.wait_state(lambda x: x.fields['theme'] == 'dark', 'the dark theme chosen')
        check(read_settings(home)['theme'] == 'dark', 'settings.json does not say dark')
        s.shot('settings-dark')
        s.key('Escape')
        s.wait_state(lambda x: x.int('overlay') == OVERLAY_NONE, 'Escape closing the settings')
        png = s.shot('main-dark')
        share = s.window_colour_share(png, DARK)
        check(share > 0.05, f'the window is not dark #1C1C1E after choosing Dark ({png})')
        check(s.window_colour_share(png, LIGHT) == 0, f'light colour left in the dark window ({png})')

        s.click(APP_MENU, 0, '"Settings"')
        st = s.wait_state(lambda x: x.int('overlay') == OVERLAY_SETTINGS, 'the settings page')
        check('ar' in st.langs and 'en' in st.langs, f'languages offered: {sorted(st.langs)}')
        s.click(SETTINGS_LANG, LANG_FIRST + st.langs['ar'], 'the Arabic row')
        st = s.wait_state(lambda x: x.fields['rtl'] == '1' and x.fields['language'] == 'ar',
                          'the interface in Arabic, right to left')
        check(read_settings(home)['language'] == 'ar', 'settings.json does not say ar')
        s.shot('settings-arabic')
        s.key('Escape')
        st = s.wait_state(lambda x: x.int('overlay') == OVERLAY_NONE, 'Escape closing the settings')
        sidebar = st.find(SELECT_CATEGORY)
        check(sidebar and all(t[2] > st.num('width') / 2 for t in sidebar),
              'in Arabic the sidebar rows are not on the right half')
        s.shot('main-arabic')
        s.click(APP_MENU, 0, '"Settings" in Arabic')
        st = s.wait_state(lambda x: x.int('overlay') == OVERLAY_SETTINGS, 'the settings page')
        s.click(SETTINGS_LANG, LANG_FIRST + st.langs['en'], 'the English row')
        s.wait_state(lambda x: x.fields['rtl'] == '0' and x.fields['language'] == 'en',
                     'the interface back in English')
        check(read_settings(home)['language'] == 'en', 'settings.json does not say en')
        s.click(SETTINGS_THEME, THEME_LIGHT, '"Light"')
        s.wait_state(lambda x: x.fields['theme'] == 'light', 'the light theme chosen')

        check(read_settings(home)['projects_root'] == projects, 'projects_root was not as set')
        scans = s.state().int('scans')
        s.click(RESET_PROJECTS, 0, 'the projects folder reset')
        st = s.wait_state(lambda x: x.int('scans') > scans and x.fields['scanning'] == '0',
                          'a rescan after the projects folder reset', 20)
        check(read_settings(home)['projects_root'] == '', 'settings.json still names a projects folder')
        for cid in ('nodeModules', 'buildDirs', 'pycache', 'venvs'):
            check(st.cats[cid]['entries'] == len(expected[cid]),
                  f'after the reset (the home searched) {cid} has {st.cats[cid]["entries"]} entries')
        s.shot('settings-projects-reset')

        command = 'nautilus --select %s'
        s.click(EDIT_FILE_MANAGER, 0, 'the file-manager command field')
        s.wait_state(lambda x: x.fields['fm_editing'] == '1', 'the command field in edit mode')
        s.type_text(command)
        s.wait_state(lambda x: x.fields['fm_text'] == command, f'"{command}" typed in the field')
        s.shot('settings-typing')
        s.key('Return')
        st = s.wait_state(lambda x: x.fields['fm_editing'] == '0', 'Return ending the edit')
        check(st.fields['fm_text'] == command, f'fm_text is "{st.fields["fm_text"]}"')
        check(read_settings(home)['file_manager_command'] == command,
              f'settings.json holds file_manager_command '
              f'"{read_settings(home)["file_manager_command"]}"')
        check(st.int('overlay') == OVERLAY_SETTINGS, 'Return closed the settings page')
        s.key('Escape')
        s.wait_state(lambda x: x.int('overlay') == OVERLAY_NONE, 'Escape closing the settings')

        s.click(ABOUT, 0, '"About"')
        s.wait_state(lambda x: x.int('overlay') == OVERLAY_ABOUT, 'the about page')
        s.shot('about')
        print('5. dark, Arabic mirrored and back, projects folder reset with rescan, '
              f'command "{command}" typed and stored, about page')

        # --- 6. keys ---
        s.key('Escape')
        s.wait_state(lambda x: x.int('overlay') == OVERLAY_NONE, 'Escape closing the about page')
        scans = s.state().int('scans')
        s.key('F5')
        s.wait_state(lambda x: x.int('scans') == scans + 1 and x.fields['scanning'] == '0',
                     'F5 starting one rescan that ends', 20)
        remaining = {p: v for p, v in expected['gradleCaches'].items() if p not in to_delete}
        st = open_category('gradleCaches', remaining)
        check(st.num('scroll') == 0, 'a freshly opened page is scrolled')
        pane, content = st.num('pane_height'), st.num('content_height')
        check(content > pane + 100, f'the Gradle list ({content} px) is not longer than its pane')
        expected_scroll = min(max(80, pane - 60), max(0, content - pane))
        s.key('Next')
        st = s.wait_state(lambda x: x.num('scroll') > 0, 'Page Down scrolling')
        check(abs(st.num('scroll') - expected_scroll) < 0.5,
              f'Page Down scrolled to {st.num("scroll")}, expected {expected_scroll}')
        for _ in range(20):
            s.key('Next')
        last = max(0, content - pane)
        st = s.wait_state(lambda x: abs(x.num('scroll') - last) < 0.5,
                          f'Page Down stopping at the last page ({last})')
        s.shot('page-down')
        # The log entry that could not be deleted is still ticked.
        ticked = st.int('selected_count')
        s.click(TOGGLE_ITEM, st.find(TOGGLE_ITEM)[-1][1], 'a Gradle row')
        s.wait_state(lambda x: x.int('selected_count') == ticked + 1, 'one more entry ticked')
        s.click(CLEAN, 0, '"Delete permanently"')
        s.wait_state(lambda x: x.int('overlay') == OVERLAY_DIALOG, 'the confirmation dialog')
        s.key('Escape')
        st = s.wait_state(lambda x: x.int('overlay') == OVERLAY_NONE,
                          'Escape closing the confirmation dialog')
        time.sleep(0.3)
        check(s.state().fields['cleaning'] == '0', 'Escape on the dialog started a deletion')
        print(f'6. F5 rescanned, Escape closed settings, about and dialog, Page Down scrolled '
              f'by {expected_scroll} and stopped at {last}')

        status = s.close_app()
        check(status == 0, f'the program exited with status {status}: ' + s.log())
        changed = compare_manifest(before, manifest(home), deleted_rel, home)
        print(f'closed with status 0; in the home only these of the allowed files exist: {changed}')
        print(f'deletion road: passed in {time.monotonic() - started:.1f} s; screenshots in {shots}')
    finally:
        s.stop_all()
        # Give back write access to the read-only folder so the removal works,
        # and remove only the folder made above.
        ro = os.path.join(home, '.npm/_logs')
        if os.path.isdir(ro):
            os.chmod(ro, 0o755)
        remove_own_root(root, 'quillet-e2e-road-')


def main():
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    try:
        run(os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2]))
    except Failure as e:
        print(f'FAIL: {e}', file=sys.stderr)
        return 1
    return 0


if __name__ == '__main__':
    sys.exit(main())
