#!/usr/bin/python3
'''Two Gradle projects side by side, each a real git repository: one whose
build/ folder holds committed files (icons and signing entitlements, as an
Electron app keeps them), one whose build/ is ignored output. Through the real
window:

  1. the scan lists both under "Build output": the ignored one Safe, saying
     "Ignored by git · beside build.gradle", the committed one Risky, saying
     how many files git tracks there;
  2. "Safe ones" ticks the ignored one only;
  3. the confirmation opens and is cancelled; the program is closed; nothing
     in the home changed;
  4. the same page in dark, with the same verdicts, drawn dark;
  5. the same page in Arabic: mirrored, the reasons exactly as the Arabic
     catalogue words them.
Each page is taken on a screenshot. The theme and the language are set in
settings.json before each start, so these are three runs of the program.

The program runs as in the deletion road (a private home made with mkdtemp,
as nobody when this runs as root, its own X server and session bus); the
helpers are that test's own.

usage: evidence_test.py PATH_TO_QUILLET SCREENSHOT_DIR
'''

import json
import os
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
# Importing the deletion road's helpers leaves no compiled copy in the tree.
sys.dont_write_bytecode = True
import deletion_road_test as road  # noqa: E402
from deletion_road_test import check, Failure  # noqa: E402

PO_DIR = os.path.join(HERE, '..', '..', 'po')
BUILD_DIRS = 'buildDirs'
SAFE, CAUTION, RISKY = 0, 1, 2
# What the program puts around a name or a number inside right-to-left text.
LRI, PDI = '\u2066', '\u2069'
SEP = ' · '


# ---------------------------------------------------------------------------
# The fixture: two repositories
# ---------------------------------------------------------------------------

def git(repo, env, *args):
    return subprocess.run(['git', '-c', 'user.name=Test', '-c', 'user.email=test@example.invalid',
                           '-c', 'init.defaultBranch=main', '-c', 'commit.gpgsign=false', *args],
                          cwd=repo, env=env, check=True, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, text=True).stdout


def build_projects(home):
    '''code/desktop-app: build/ committed; code/service: build/ ignored.
    Returns both build folders and how many files git tracks in the first.'''
    env = {'PATH': '/usr/bin:/bin', 'HOME': home, 'GIT_CONFIG_NOSYSTEM': '1',
           'GIT_CONFIG_GLOBAL': '/dev/null'}
    j = os.path.join
    kept = j(home, 'code/desktop-app')
    road.write(j(kept, 'build.gradle'), 300, 'gradle-a')
    road.write(j(kept, 'src/main.js'), 2000, 'main-a')
    road.write(j(kept, 'build/icon.png'), 9000, 'icon')
    road.write(j(kept, 'build/entitlements.plist'), 700, 'plist')
    git(kept, env, 'init', '-q')
    git(kept, env, 'add', '.')
    git(kept, env, 'commit', '-q', '-m', 'first')
    tracked = git(kept, env, 'ls-files', '--', 'build').split()

    ignored = j(home, 'code/service')
    road.write(j(ignored, 'build.gradle'), 300, 'gradle-b')
    road.write(j(ignored, 'src/Main.java'), 3000, 'main-b')
    with open(j(ignored, '.gitignore'), 'w') as f:
        f.write('build/\n')
    git(ignored, env, 'init', '-q')
    git(ignored, env, 'add', '.')
    git(ignored, env, 'commit', '-q', '-m', 'first')
    road.write(j(ignored, 'build/libs/service.jar'), 48000, 'jar')
    road.write(j(ignored, 'build/classes/Main.class'), 6000, 'class')
    check(git(ignored, env, 'ls-files', '--', 'build') == '',
          'git tracks files in the ignored build/ of the fixture')
    check(git(ignored, env, 'check-ignore', 'build/libs/service.jar').strip() ==
          'build/libs/service.jar', 'git does not ignore the fixture\'s service/build')
    return j(kept, 'build'), j(ignored, 'build'), len(tracked)


def prepare(root, theme, language):
    '''The folders the program is given, and its settings for the next run.'''
    for d in ('home/.config/Quillet', 'home/.cache', 'home/.local/share', 'runtime', 'state',
              'sys-data', 'sys-config'):
        os.makedirs(os.path.join(root, d), exist_ok=True)
    os.chmod(os.path.join(root, 'runtime'), 0o700)
    home = os.path.join(root, 'home')
    with open(os.path.join(home, '.config/Quillet/settings.json'), 'w') as f:
        json.dump({'language': language, 'theme': theme,
                   'projects_root': os.path.join(home, 'code'), 'file_manager_command': ''}, f)
    os.makedirs(os.path.join(home, '.config/gtk-3.0'), exist_ok=True)
    with open(os.path.join(home, '.config/gtk-3.0/settings.ini'), 'w') as f:
        f.write('[Settings]\ngtk-theme-name=Adwaita\ngtk-application-prefer-dark-theme=false\n')
    # The last frame of the previous run must not pass for one of the next.
    for name in os.listdir(os.path.join(root, 'state')):
        os.remove(os.path.join(root, 'state', name))


def give_to_nobody(root):
    # libgit2 reads only repositories of the user it runs as: the program's.
    for dirpath, dirnames, filenames in os.walk(root):
        for name in dirnames + filenames:
            os.lchown(os.path.join(dirpath, name), road.NOBODY, road.NOBODY)
    os.lchown(root, road.NOBODY, road.NOBODY)


def catalogue(language):
    '''msgid -> msgstr of po/<language>.po.'''
    table, msgid, msgstr, into = {}, None, None, None

    def unquote(s):
        return json.loads(s)  # a po string is a C string; these need no more

    with open(os.path.join(PO_DIR, language + '.po'), encoding='utf-8') as f:
        for line in f:
            line = line.strip()
            if line.startswith('msgid '):
                if msgid is not None:
                    table[msgid] = msgstr
                msgid, msgstr, into = unquote(line[6:]), '', 'id'
            elif line.startswith('msgstr '):
                msgstr, into = unquote(line[7:]), 'str'
            elif line.startswith('"') and into == 'id':
                msgid += unquote(line)
            elif line.startswith('"') and into == 'str':
                msgstr += unquote(line)
    if msgid is not None:
        table[msgid] = msgstr
    return table


# ---------------------------------------------------------------------------
# Driving the window
# ---------------------------------------------------------------------------

def open_build_output(s):
    st = s.wait_state(lambda x: x.fields['scanning'] == '0' and x.int('scans') >= 1
                      and BUILD_DIRS in x.cats and x.cats[BUILD_DIRS]['did_scan'],
                      'the scan to end', 60)
    index = st.cats[BUILD_DIRS]['index']
    s.show_in_sidebar(index)
    s.click(road.SELECT_CATEGORY, index, 'the "Build output" row')
    return s.wait_state(lambda x: x.fields['selection'] == BUILD_DIRS and len(x.items) == 2
                        and len(x.find(road.TOGGLE_ITEM)) == 2,
                        'the "Build output" page with two entries')


def by_path(st):
    return {i['path']: i for i in st.items}


class Runs:
    '''Starts the program once per run on the same home; numbers the
    screenshots across runs.'''

    def __init__(self, app, shots, root):
        self.app, self.shots, self.root = app, shots, root
        self.taken = 0

    def run(self, theme, language, test):
        prepare(self.root, theme, language)
        if os.geteuid() == 0:
            give_to_nobody(self.root)
        s = road.Session(self.app, self.shots, self.root)
        s.shot_index = self.taken
        try:
            s.start_display()
            s.start_bus()
            s.start_app()
            st = s.wait_state(lambda x: x.fields['theme'] == theme
                              and x.fields['language'] == language,
                              f'the window in theme {theme}, language {language}')
            check(st.int('rtl') == (1 if language == 'ar' else 0),
                  f'rtl={st.fields["rtl"]} for language {language}')
            test(s)
            status = s.close_app()
            check(status == 0, f'the program ended with status {status}: ' + s.log())
        finally:
            self.taken = s.shot_index
            s.stop_all()


def run(app, shots):
    started = time.monotonic()
    road.empty_shots(shots)
    root = tempfile.mkdtemp(prefix='quillet-e2e-evidence-')
    passed = 0
    try:
        prepare(root, 'light', 'en')
        home = os.path.join(root, 'home')
        kept, ignored, tracked = build_projects(home)
        check(tracked == 2, f'the fixture commits {tracked} files in desktop-app/build, not 2')
        before = road.manifest(home)
        runs = Runs(app, shots, root)

        def unchanged():
            road.compare_manifest(before, road.manifest(home), [], home)

        def english_light(s):
            nonlocal passed
            st = open_build_output(s)
            items = by_path(st)
            check(set(items) == {kept, ignored}, f'"Build output" lists {sorted(items)}')
            check(items[ignored]['safety'] == SAFE,
                  f'the ignored build/ is {items[ignored]["safety"]}, not Safe ({SAFE})')
            check(items[ignored]['reasons'] == 'Ignored by git' + SEP + 'beside build.gradle',
                  f'the ignored build/ says "{items[ignored]["reasons"]}"')
            check(items[kept]['safety'] == RISKY,
                  f'the committed build/ is {items[kept]["safety"]}, not Risky ({RISKY})')
            check(items[kept]['reasons'] == f'Holds {tracked} files tracked by git',
                  f'the committed build/ says "{items[kept]["reasons"]}"')
            check(not any(i['selected'] for i in st.items), 'an entry is ticked before any click')
            passed += 1
            print('1. both listed: the ignored one Safe, the committed one Risky, each saying why')

            s.click(road.SELECT_ALL_SAFE, 0, '"Safe ones"')
            st = s.wait_state(lambda x: x.int('selected_count') == 1, '"Safe ones" to tick')
            items = by_path(st)
            check(items[ignored]['selected'] and not items[kept]['selected'],
                  f'"Safe ones" ticked {[p for p, i in items.items() if i["selected"]]}')
            check(st.int('selected_size') == items[ignored]['size'],
                  f'selected_size={st.fields["selected_size"]}, the ignored build/ holds '
                  f'{items[ignored]["size"]}')
            png = s.shot('light-safe-ones')
            check(s.window_colour_share(png, road.LIGHT) > 0.2,
                  f'the light window is not mostly #F2F1F4 ({png})')
            passed += 1
            print('2. "Safe ones" ticked the ignored build/ only')

            s.click(road.CLEAN, 0, '"Delete permanently"')
            s.wait_state(lambda x: x.int('overlay') == road.OVERLAY_DIALOG, 'the confirmation')
            s.shot('light-confirm')
            s.click(road.DIALOG_BUTTON, road.BUTTON_CLOSE, '"Cancel"')
            s.wait_state(lambda x: x.int('overlay') == road.OVERLAY_NONE, 'the dialog to close')
            time.sleep(0.5)
            st = s.state()
            check(st.fields['cleaning'] == '0' and st.int('freed') == 0,
                  f'after "Cancel": cleaning={st.fields["cleaning"]}, freed={st.fields["freed"]}')
            check(os.path.isdir(ignored) and os.path.isdir(kept), 'a build/ is gone after "Cancel"')
            unchanged()

        runs.run('light', 'en', english_light)
        unchanged()
        passed += 1
        print('3. confirmation cancelled, program closed, nothing in the home changed')

        def dark(s):
            st = open_build_output(s)
            items = by_path(st)
            check(items[ignored]['safety'] == SAFE and items[kept]['safety'] == RISKY,
                  'dark: the verdicts differ from the light run')
            png = s.shot('dark-build-output')
            share = s.window_colour_share(png, road.DARK)
            check(share > 0.2, f'dark: only {share:.0%} of the window has the dark background')
            check(s.window_colour_share(png, road.LIGHT) == 0,
                  f'dark: the light background colour is left in the window ({png})')

        runs.run('dark', 'en', dark)
        unchanged()
        passed += 1
        print('4. dark: the same verdicts, drawn dark')

        ar = catalogue('ar')
        want_safe = ar['Ignored by git'] + SEP + ar['beside %s'].replace('%s',
                                                                         LRI + 'build.gradle' + PDI)
        want_risky = ar['Holds %s files tracked by git'].replace('%s', LRI + str(tracked) + PDI)

        def arabic(s):
            st = open_build_output(s)
            items = by_path(st)
            check(items[ignored]['safety'] == SAFE and items[kept]['safety'] == RISKY,
                  'Arabic: the verdicts differ from English')
            check(items[ignored]['reasons'] == want_safe,
                  f'Arabic: the ignored build/ says {items[ignored]["reasons"]!r}, '
                  f'expected {want_safe!r}')
            check(items[kept]['reasons'] == want_risky,
                  f'Arabic: the committed build/ says {items[kept]["reasons"]!r}, '
                  f'expected {want_risky!r}')
            width = st.num('width')
            sx = st.panes['sidebar'][0]
            cx, _, cw, _ = st.panes['content']
            check(sx >= width / 2 and cx + cw <= sx + 0.5,
                  f'Arabic: the sidebar is not right of the content (panes {st.panes})')
            boxes = st.find(road.TOGGLE_ITEM)
            check(all(t[2] + t[4] > cx + cw / 2 for t in boxes),
                  f'Arabic: the entries\' targets are not on the right of the content: {boxes}')
            png = s.shot('arabic-build-output')
            check(s.window_colour_share(png, road.LIGHT) > 0.2,
                  f'Arabic: the light window is not mostly #F2F1F4 ({png})')

        runs.run('light', 'ar', arabic)
        unchanged()
        passed += 1
        print('5. Arabic: mirrored, the same verdicts, the reasons as the Arabic catalogue '
              'words them')
    except Exception as e:  # noqa: BLE001  (any error is one failed step, named)
        kind = '' if isinstance(e, Failure) else type(e).__name__ + ': '
        print(f'FAIL: {kind}{e}', file=sys.stderr)
        print(f'{passed} passed, 1 failed')
        return 1
    finally:
        road.remove_own_root(root, 'quillet-e2e-evidence-')
    print(f'evidence: {time.monotonic() - started:.1f} s; screenshots in {shots}')
    print(f'{passed} passed, 0 failed')
    return 0


def main():
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    return run(os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2]))


if __name__ == '__main__':
    sys.exit(main())
